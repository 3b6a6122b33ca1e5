// A Windows service that starts at once and stops at once when asked. The arguments of
// its configured binary path are ignored (cases give some to see them stripped).
// When it reports running it sets the event "VarenTestService.<service name>", which
// the test creates to learn that the start has completed.
#include <windows.h>

#include <string>

namespace {

SERVICE_STATUS_HANDLE g_hStatus = nullptr;
HANDLE g_hStopped = nullptr;
HANDLE g_hDispatcher = nullptr;

void Report(DWORD dwState) {
    SERVICE_STATUS status = {SERVICE_WIN32_OWN_PROCESS, dwState, SERVICE_ACCEPT_STOP, 0, 0, 0, 0};
    SetServiceStatus(g_hStatus, &status);
}

DWORD WINAPI HandleControl(DWORD dwControl, DWORD, void*, void*) {
    // Controls arrive on the dispatcher thread; main waits for it before the process ends.
    if (g_hDispatcher == nullptr) {
        DuplicateHandle(GetCurrentProcess(), GetCurrentThread(), GetCurrentProcess(),
                        &g_hDispatcher, SYNCHRONIZE | THREAD_TERMINATE, FALSE, 0);
    }
    // Only a stop or an interrogation reach it: it accepts no other control.
    if (dwControl == SERVICE_CONTROL_STOP) {
        Report(SERVICE_STOPPED);
        SetEvent(g_hStopped);
    }
    return NO_ERROR;
}

void WINAPI ServiceMain(DWORD cArgs, wchar_t** ppArgs) {
    const std::wstring strName = cArgs > 0 ? ppArgs[0] : L"";
    g_hStatus = RegisterServiceCtrlHandlerExW(strName.c_str(), HandleControl, nullptr);
    Report(SERVICE_RUNNING);
    const std::wstring strEvent = L"VarenTestService." + strName;
    if (HANDLE hReady = OpenEventW(EVENT_MODIFY_STATE, FALSE, strEvent.c_str())) {
        SetEvent(hReady);
        CloseHandle(hReady);
    }
    WaitForSingleObject(g_hStopped, INFINITE);
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
