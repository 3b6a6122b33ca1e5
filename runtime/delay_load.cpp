// The installer loads the DLL afresh for every action it calls, and every system
// DLL in the regular import table that its process does not already hold is loaded
// and freed again with it. setupapi.dll and xmllite.dll serve a few actions only,
// so they are bound on first call instead (delay-load import libraries made in
// cmake/Windows.cmake); the toolchain's delay-load helper resolves them.
//
// The helper would load a DLL by its bare name, searching the folder the installer
// extracted the DLL to and the current folder; this hook loads it by its full path
// in the system folder (which needs no loader flag Windows 7 may lack). A bound DLL
// stays loaded for the life of the process.
#include <windows.h>
#include <delayimp.h>

namespace {

FARPROC WINAPI LoadFromSystemFolder(unsigned uNotify, PDelayLoadInfo pInfo) {
    if (uNotify != dliNotePreLoadLibrary) {
        return nullptr; // the helper's own handling
    }
    char szPath[MAX_PATH];
    const UINT cchFolder = GetSystemDirectoryA(szPath, MAX_PATH);
    const UINT cchDll = static_cast<UINT>(lstrlenA(pInfo->szDll));
    if (cchFolder == 0 || cchFolder + cchDll + 2 > MAX_PATH) {
        return nullptr; // never so for the system folder; the helper would load by name
    }
    szPath[cchFolder] = '\\';
    CopyMemory(szPath + cchFolder + 1, pInfo->szDll, cchDll + 1);
    return reinterpret_cast<FARPROC>(LoadLibraryA(szPath));
}

} // namespace

// Declared by <delayimp.h>; defined here in place of the toolchain's empty hook.
PfnDliHook __pfnDliNotifyHook2 = &LoadFromSystemFolder;
