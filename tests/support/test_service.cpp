// A Windows service whose behaviour the test sets through the arguments of its
// configured binary path (CreateServiceW), so each case arranges the service it needs:
//   (none)        starts and stops at once
//   slowstart     stays start-pending for pending= ms before it runs
//   slowstop      stays stop-pending for pending= ms after a stop request
//   pending=N     the length of the slow transition in ms; "forever" never ends it
//   hint=N        the wait hint in every status it reports (0 unless given)
//   frozen        the check point of a pending state never advances (else every 100 ms)
//   refuse        does not accept the stop request
// When it reports running it sets the event "VarenTestService.<service name>", which
// the test creates to learn that the start has completed.
#include <windows.h>
#include <shellapi.h>

#include <cwchar>
#include <string>

namespace {

bool g_fSlowStart = false, g_fSlowStop = false, g_fFrozen = false, g_fRefuse = false;
DWORD g_dwPendingMs = 0; // INFINITE: forever
DWORD g_dwHint = 0;

SERVICE_STATUS_HANDLE g_hStatus = nullptr;
SERVICE_STATUS g_status = {};
CRITICAL_SECTION g_lock; // the stop handler and a transition's thread both report
HANDLE g_hStopped = nullptr;
HANDLE g_hDispatcher = nullptr;
std::wstring g_strName;

void ParseBehaviour() {
    int cArgs = 0;
    wchar_t** ppArgs = CommandLineToArgvW(GetCommandLineW(), &cArgs);
    for (int i = 1; ppArgs && i < cArgs; ++i) {
        const std::wstring strArg = ppArgs[i];
        g_fSlowStart |= strArg == L"slowstart";
        g_fSlowStop |= strArg == L"slowstop";
        g_fFrozen |= strArg == L"frozen";
        g_fRefuse |= strArg == L"refuse";
        if (strArg.starts_with(L"pending=")) {
            g_dwPendingMs =
                strArg == L"pending=forever" ? INFINITE : wcstoul(strArg.c_str() + 8, nullptr, 10);
        } else if (strArg.starts_with(L"hint=")) {
            g_dwHint = wcstoul(strArg.c_str() + 5, nullptr, 10);
        }
    }
    LocalFree(ppArgs);
}

void Report(DWORD dwState, DWORD dwCheckPoint) {
    EnterCriticalSection(&g_lock);
    g_status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
    g_status.dwCurrentState = dwState;
    g_status.dwControlsAccepted =
        dwState == SERVICE_RUNNING && !g_fRefuse ? SERVICE_ACCEPT_STOP : 0;
    g_status.dwCheckPoint = dwCheckPoint;
    g_status.dwWaitHint = g_dwHint;
    SetServiceStatus(g_hStatus, &g_status);
    LeaveCriticalSection(&g_lock);
    if (dwState == SERVICE_STOPPED) {
        SetEvent(g_hStopped);
    } else if (dwState == SERVICE_RUNNING) {
        const std::wstring strEvent = L"VarenTestService." + g_strName;
        if (HANDLE hReady = OpenEventW(EVENT_MODIFY_STATE, FALSE, strEvent.c_str())) {
            SetEvent(hReady);
            CloseHandle(hReady);
        }
    }
}

// Stays pending for the chosen time, advancing the check point unless frozen, then
// reports dwFinal (never, for "forever").
DWORD WINAPI RunTransition(void* pFinal) {
    const DWORD dwFinal = static_cast<DWORD>(reinterpret_cast<uintptr_t>(pFinal));
    const DWORD dwStart = GetTickCount();
    for (DWORD dwCheckPoint = 2;
         g_dwPendingMs == INFINITE || GetTickCount() - dwStart < g_dwPendingMs; ++dwCheckPoint) {
        // The pacing of the service's own progress, not a wait for the test.
        Sleep(100);
        if (!g_fFrozen) {
            Report(dwFinal == SERVICE_RUNNING ? SERVICE_START_PENDING : SERVICE_STOP_PENDING,
                   dwCheckPoint);
        }
    }
    Report(dwFinal, 0);
    return 0;
}

// Reports dwFinal at once, or after a slow transition.
void Move(DWORD dwFinal, bool fSlow) {
    if (!fSlow) {
        Report(dwFinal, 0);
        return;
    }
    Report(dwFinal == SERVICE_RUNNING ? SERVICE_START_PENDING : SERVICE_STOP_PENDING, 1);
    if (HANDLE hThread =
            CreateThread(nullptr, 0, RunTransition,
                         reinterpret_cast<void*>(static_cast<uintptr_t>(dwFinal)), 0, nullptr)) {
        CloseHandle(hThread);
    }
}

DWORD WINAPI HandleControl(DWORD dwControl, DWORD, void*, void*) {
    // Controls arrive on the dispatcher thread; main waits for it before the process ends.
    if (g_hDispatcher == nullptr) {
        DuplicateHandle(GetCurrentProcess(), GetCurrentThread(), GetCurrentProcess(),
                        &g_hDispatcher, SYNCHRONIZE | THREAD_TERMINATE, FALSE, 0);
    }
    if (dwControl != SERVICE_CONTROL_STOP || g_fRefuse) {
        return dwControl == SERVICE_CONTROL_INTERROGATE ? NO_ERROR : ERROR_CALL_NOT_IMPLEMENTED;
    }
    Move(SERVICE_STOPPED, g_fSlowStop);
    return NO_ERROR;
}

void WINAPI ServiceMain(DWORD cArgs, wchar_t** ppArgs) {
    g_strName = cArgs > 0 ? ppArgs[0] : L"";
    g_hStatus = RegisterServiceCtrlHandlerExW(g_strName.c_str(), HandleControl, nullptr);
    Move(SERVICE_RUNNING, g_fSlowStart);
    WaitForSingleObject(g_hStopped, INFINITE);
}

} // namespace

int wmain() {
    InitializeCriticalSection(&g_lock);
    ParseBehaviour();
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
