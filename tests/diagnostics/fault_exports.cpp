// The exports of the test build Varen_CA_test.dll only: faults on purpose, picked by the
// property VARENTESTFAULT, that prove the crash reporter through the installer; and the
// reporting service stop, which no action calls.
#include "runtime/record_text.h"
#include "runtime/session.h"
#include "system/services.h"

#include <string>

namespace {

// Runs out of any thread's stack; the volatile buffer keeps it from becoming a loop.
__attribute__((noinline)) int Recurse(int iDepth) {
    volatile char buffer[4096];
    buffer[0] = static_cast<char>(iDepth);
    return iDepth == -1 ? 0 : Recurse(iDepth + 1) + buffer[0];
}

} // namespace

// The export table's stub (cmake/ActionGuards.cmake): a call enters as the installer's.
extern "C" UINT __stdcall VarenGuard_VarenTestFault(MSIHANDLE hInstall);

extern "C" UINT __stdcall VarenTestFault(MSIHANDLE hInstall) {
    PropertyBuffer szMode = {};
    ReadProperty(hInstall, L"VARENTESTFAULT", szMode);
    const std::wstring strMode = szMode;
    // With no session ("alone" calls itself so) it faults as an action given a handle of 0.
    if (strMode == L"access" || hInstall == 0) {
        *static_cast<volatile int*>(nullptr) = 1;
    } else if (strMode == L"throw") {
        // The record parser's deliberate out-of-range error on a record too short.
        return static_cast<UINT>(GetRecordValue(L"x", L"ServiceName=").size());
    } else if (strMode == L"overflow") {
        return static_cast<UINT>(Recurse(0));
    } else if (strMode == L"alone") {
        return VarenGuard_VarenTestFault(0);
    }
    return 0;
}

// StopNamedService on the service "CustomActionData" names: its debugger output is
// part of its contract.
extern "C" UINT __stdcall VarenTestStopService(MSIHANDLE hInstall) {
    PropertyBuffer szService = {};
    ReadProperty(hInstall, L"CustomActionData", szService);
    StopNamedService(szService);
    return 0;
}
