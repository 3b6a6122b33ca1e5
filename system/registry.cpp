// Registry routines shared by the actions (see registry.h).
#include "system/registry.h"

namespace {

IsWow64ProcessFn LookUpIsWow64Process() {
    return reinterpret_cast<IsWow64ProcessFn>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32"), "IsWow64Process")));
}

} // namespace

IsWow64ProcessFn g_pfnIsWow64Process = LookUpIsWow64Process();

bool IsRunningUnderWow64() {
    BOOL fWow64 = FALSE;
    IsWow64ProcessFn pfnIsWow64Process = LookUpIsWow64Process();
    if (pfnIsWow64Process != nullptr) {
        pfnIsWow64Process(GetCurrentProcess(), &fWow64);
    }
    return fWow64 != FALSE;
}

bool Is64BitWindows() {
    OSVERSIONINFOW osvi = {};
    static_assert(sizeof(osvi) == 276);
    osvi.dwOSVersionInfoSize = sizeof(osvi);
    GetVersionExW(&osvi);
    SYSTEM_INFO si = {};
    // Only Windows 10 is asked for the native system; older versions report
    // through GetSystemInfo (and rely on the WOW64 check below).
    if (osvi.dwMajorVersion == 10) {
        GetNativeSystemInfo(&si);
    } else {
        GetSystemInfo(&si);
    }
    if (si.wProcessorArchitecture == PROCESSOR_ARCHITECTURE_AMD64 ||
        si.wProcessorArchitecture == PROCESSOR_ARCHITECTURE_IA64) {
        return true;
    }
    return IsRunningUnderWow64();
}
