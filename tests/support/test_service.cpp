// A Windows service whose behaviour the test sets with words among the arguments of its
// configured binary path (CreateServiceW), looked for in the whole command line, so its
// program path must not hold them; other arguments are ignored (cases give some to see
// them stripped):
//   (none)     starts at once, and stops at once when asked
//   slowstart  stays start-pending for 2.5 seconds, its check point advancing every 100 ms
//   frozen     stays start-pending for good, its check point never advancing
//   slowstop   stays stop-pending for 3 seconds after a stop request
//   refuse     does not accept the stop request
//   hint=N     the wait hint in every status it reports (0 unless given)
// When it reports running it sets the event "VarenTestService.<service name>", which
// the test creates to learn that the start has completed.
#include <windows.h>

#include <cwchar>
#include <string>

namespace {

SERVICE_STATUS_HANDLE g_hStatus = nullptr;
HANDLE g_hStopped = nullptr;
HANDLE g_hDispatcher = nullptr;

bool Has(const wchar_t* szWord) {
    return wcsstr(GetCommandLineW(), szWord) != nullptr;
}

void Report(DWORD dwState, DWORD dwCheckPoint = 0) {
    const wchar_t* szHint = wcsstr(GetCommandLineW(), L"hint=");
    const DWORD dwHint = szHint ? wcstoul(szHint + 5, nullptr, 10) : 0;
    const DWORD dwAccepted = Has(L"refuse") ? 0 : SERVICE_ACCEPT_STOP;
    SERVICE_STATUS status = {
        SERVICE_WIN32_OWN_PROCESS, dwState, dwAccepted, 0, 0, dwCheckPoint, dwHint};
    SetServiceStatus(g_hStatus, &status);
}

// Reports dwPending for uMs (for good when frozen). The sleep paces the service's own
// progress; it is not a wait for the test.
void Pend(DWORD dwPending, unsigned uMs) {
    for (DWORD dwCheckPoint = 1; Has(L"frozen") || dwCheckPoint * 100 <= uMs; ++dwCheckPoint) {
        Report(dwPending, Has(L"frozen") ? 1 : dwCheckPoint);
        Sleep(100);
    }
}

DWORD WINAPI HandleControl(DWORD dwControl, DWORD, void*, void*) {
    // Controls arrive on the dispatcher thread; main waits for it before the process ends.
    if (g_hDispatcher == nullptr) {
        DuplicateHandle(GetCurrentProcess(), GetCurrentThread(), GetCurrentProcess(),
                        &g_hDispatcher, SYNCHRONIZE | THREAD_TERMINATE, FALSE, 0);
    }
    // Only a stop or an interrogation reach it: it accepts no other control. A slow
    // stop is carried on by the service's main thread, so that the request is answered.
    if (dwControl == SERVICE_CONTROL_STOP) {
        Report(Has(L"slowstop") ? SERVICE_STOP_PENDING : SERVICE_STOPPED);
        SetEvent(g_hStopped);
    }
    return NO_ERROR;
}

void WINAPI ServiceMain(DWORD cArgs, wchar_t** ppArgs) {
    const std::wstring strName = cArgs > 0 ? ppArgs[0] : L"";
    g_hStatus = RegisterServiceCtrlHandlerExW(strName.c_str(), HandleControl, nullptr);
    if (Has(L"slowstart") || Has(L"frozen")) {
        Pend(SERVICE_START_PENDING, 2500);
    }
    Report(SERVICE_RUNNING);
    const std::wstring strEvent = L"VarenTestService." + strName;
    if (HANDLE hReady = OpenEventW(EVENT_MODIFY_STATE, FALSE, strEvent.c_str())) {
        SetEvent(hReady);
        CloseHandle(hReady);
    }
    WaitForSingleObject(g_hStopped, INFINITE);
    if (Has(L"slowstop")) {
        Pend(SERVICE_STOP_PENDING, 3000);
        Report(SERVICE_STOPPED);
    }
}

} // namespace

int wmain() {
    g_hStopped = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    wchar_t szName[] = L"";
    const SERVICE_TABLE_ENTRYW table[] = {{szName, ServiceMain}, {nullptr, nullptr}};
    if (!StartServiceCtrlDispatcherW(table)) {
        return 1;
    }
    // Wine's dispatcher returns as soon as the service reports stopped, which the stop
    // handler does before its answer to the stop request is on the pipe: ending the
    // process at once would now and then fail that request. The answer is written when
    // the dispatcher thread waits for the next request, so the process ends once that
    // wait is cancelled and the thread has left.
    while (g_hDispatcher != nullptr && WaitForSingleObject(g_hDispatcher, 0) == WAIT_TIMEOUT) {
        CancelSynchronousIo(g_hDispatcher);
        WaitForSingleObject(g_hDispatcher, 100);
    }
    return 0;
}
