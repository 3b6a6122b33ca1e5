// The stack protector's guard value and failure routine, defined here so that the
// toolchain's libssp is not linked in: its guard set-up acquires a cryptographic
// provider (loading rsaenh.dll) every time the DLL is loaded, and the installer
// loads the DLL afresh for every action it calls, so that load was most of an
// action's cost. The guard mixes what Windows compilers mix into their own
// security cookie: the time, the performance counter, the process and thread
// identifiers and a randomised stack address.
#include <windows.h>

#include <cstdint>

extern "C" {

// Replaced by SetStackGuard before any protected function of the library runs.
uintptr_t __stack_chk_guard = 0x2B992DDFA232;

// A protected function found its frame overwritten: end the process at once, as
// a Windows image does on a security cookie failure.
[[noreturn]] void __stack_chk_fail() {
    TerminateProcess(GetCurrentProcess(), STATUS_STACK_BUFFER_OVERRUN);
    __builtin_unreachable();
}
}

namespace {

// Runs among the DLL's static constructors, called by the runtime's start-up code,
// which is built without the protector; itself unprotected, as it changes the guard.
__attribute__((constructor, no_stack_protector)) void SetStackGuard() {
    FILETIME ftNow = {};
    GetSystemTimeAsFileTime(&ftNow);
    LARGE_INTEGER liCounter = {};
    QueryPerformanceCounter(&liCounter);
    uintptr_t uGuard = (static_cast<uintptr_t>(ftNow.dwHighDateTime) << 32) ^ ftNow.dwLowDateTime;
    uGuard ^= static_cast<uintptr_t>(liCounter.QuadPart) << 16 ^
              static_cast<uintptr_t>(liCounter.QuadPart);
    uGuard ^= static_cast<uintptr_t>(GetCurrentProcessId()) << 32 ^ GetCurrentThreadId();
    uGuard ^= reinterpret_cast<uintptr_t>(&uGuard);
    __stack_chk_guard = uGuard & 0x0000FFFFFFFFFFFF; // a zero top, as Windows cookies have
    // The load leaves the thread's last error at 0, as the runtime's own guard set-up
    // did: actions that log a last error no call of theirs set (UpdatePNVersionInReg
    // after a failed view) have always shown 0 there.
    SetLastError(ERROR_SUCCESS);
}

} // namespace
