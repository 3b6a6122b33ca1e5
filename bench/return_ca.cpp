// The per-call baseline of the action-cost benchmark: a custom-action DLL built
// as Varen_CA.dll is, with one export that returns at once.
#include <windows.h>
#include <msi.h>

extern "C" UINT __stdcall ReturnAtOnce(MSIHANDLE) {
    return ERROR_SUCCESS;
}
