#include "tests/support/service_support.h"

#include <gtest/gtest.h>

namespace {

// Set by Wine's service manager once its automatic services have been started.
constexpr wchar_t kManagerStarted[] = L"__wine_SvcctlStarted";
constexpr DWORD kSettleMs = 20000;

struct ServiceHandle {
    explicit ServiceHandle(SC_HANDLE h) : h(h) {}
    ~ServiceHandle() {
        if (h) {
            CloseServiceHandle(h);
        }
    }
    ServiceHandle(const ServiceHandle&) = delete;
    ServiceHandle& operator=(const ServiceHandle&) = delete;
    SC_HANDLE h;
};

std::wstring ExeFolder() {
    wchar_t szSelf[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, szSelf, MAX_PATH);
    std::wstring strFolder = szSelf;
    return strFolder.substr(0, strFolder.find_last_of(L'\\'));
}

SERVICE_STATUS_PROCESS QueryStatus(SC_HANDLE hService) {
    SERVICE_STATUS_PROCESS status = {};
    DWORD cbNeeded = 0;
    QueryServiceStatusEx(hService, SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status),
                         sizeof(status), &cbNeeded);
    return status;
}

} // namespace

void WaitForServiceManager() {
    const ServiceHandle hManager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    HANDLE hStarted = OpenEventW(SYNCHRONIZE, FALSE, kManagerStarted);
    if (hStarted == nullptr) {
        return; // not Wine: the manager is ready by the time anyone logs on
    }
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(hStarted, 60000))
        << "the service manager did not finish starting";
    CloseHandle(hStarted);
}

void CreateTestService(const std::wstring& strName, const std::wstring& strPath,
                       const std::wstring& strArguments, DWORD dwState) {
    RemoveTestService(strName);
    ASSERT_TRUE(CopyFileW((ExeFolder() + L"\\varen_service.exe").c_str(), strPath.c_str(), FALSE))
        << "cannot place the test service";
    const ServiceHandle hManager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS));
    const std::wstring strBinary =
        L"\"" + strPath + L"\"" + (strArguments.empty() ? L"" : L" " + strArguments);
    const ServiceHandle hService(
        CreateServiceW(hManager.h, strName.c_str(), strName.c_str(), SERVICE_ALL_ACCESS,
                       SERVICE_WIN32_OWN_PROCESS, SERVICE_DEMAND_START, SERVICE_ERROR_IGNORE,
                       strBinary.c_str(), nullptr, nullptr, nullptr, nullptr, nullptr));
    ASSERT_NE(nullptr, hService.h) << "CreateServiceW failed: " << GetLastError();
    if (dwState == SERVICE_STOPPED) {
        return;
    }
    // The service sets this event when it reports running.
    HANDLE hRunning = CreateEventW(nullptr, TRUE, FALSE, (L"VarenTestService." + strName).c_str());
    ASSERT_TRUE(StartServiceW(hService.h, 0, nullptr))
        << "StartServiceW failed: " << GetLastError();
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(hRunning, kSettleMs)) << "the service did not run";
    CloseHandle(hRunning);
    if (dwState == SERVICE_STOP_PENDING) {
        SERVICE_STATUS status = {};
        ASSERT_TRUE(ControlService(hService.h, SERVICE_CONTROL_STOP, &status));
        ASSERT_EQ(static_cast<DWORD>(SERVICE_STOP_PENDING), status.dwCurrentState);
    }
}

void RemoveTestService(const std::wstring& strName) {
    const ServiceHandle hManager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS));
    const ServiceHandle hService(OpenServiceW(hManager.h, strName.c_str(), SERVICE_ALL_ACCESS));
    if (!hService.h) {
        return;
    }
    const SERVICE_STATUS_PROCESS status = QueryStatus(hService.h);
    if (status.dwProcessId != 0) {
        if (HANDLE hProcess =
                OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, status.dwProcessId)) {
            TerminateProcess(hProcess, 1);
            WaitForSingleObject(hProcess, kSettleMs);
            CloseHandle(hProcess);
        }
    }
    DeleteService(hService.h);
}

std::optional<DWORD> ServiceState(const std::wstring& strName) {
    const ServiceHandle hManager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    const ServiceHandle hService(OpenServiceW(hManager.h, strName.c_str(), SERVICE_QUERY_STATUS));
    if (!hService.h) {
        return std::nullopt;
    }
    return QueryStatus(hService.h).dwCurrentState;
}
