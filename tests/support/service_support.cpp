#include "tests/support/service_support.h"

#include <tlhelp32.h>

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

// Ends every process whose program is strPath and waits for each to be gone.
void EndProcessesOf(const std::wstring& strPath) {
    HANDLE hSnapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    if (hSnapshot == INVALID_HANDLE_VALUE) {
        return;
    }
    PROCESSENTRY32W entry = {};
    entry.dwSize = sizeof(entry);
    for (BOOL fMore = Process32FirstW(hSnapshot, &entry); fMore;
         fMore = Process32NextW(hSnapshot, &entry)) {
        HANDLE hProcess =
            OpenProcess(PROCESS_TERMINATE | PROCESS_QUERY_LIMITED_INFORMATION | SYNCHRONIZE, FALSE,
                        entry.th32ProcessID);
        if (!hProcess) {
            continue;
        }
        wchar_t szImage[MAX_PATH] = {};
        DWORD cchImage = MAX_PATH;
        if (QueryFullProcessImageNameW(hProcess, 0, szImage, &cchImage) &&
            CompareStringOrdinal(szImage, -1, strPath.c_str(), -1, TRUE) == CSTR_EQUAL) {
            TerminateProcess(hProcess, 1);
            WaitForSingleObject(hProcess, kSettleMs);
        }
        CloseHandle(hProcess);
    }
    CloseHandle(hSnapshot);
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
    RemoveTestService(strName, strPath);
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

void RemoveTestService(const std::wstring& strName, const std::wstring& strPath) {
    {
        const ServiceHandle hManager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS));
        const ServiceHandle hService(OpenServiceW(hManager.h, strName.c_str(), DELETE));
        if (hService.h) {
            DeleteService(hService.h);
        }
    }
    EndProcessesOf(strPath);
}

std::optional<DWORD> ServiceState(const std::wstring& strName) {
    const ServiceHandle hManager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    const ServiceHandle hService(
        OpenServiceW(hManager.h, strName.c_str(), SERVICE_QUERY_STATUS | SERVICE_CHANGE_CONFIG));
    if (!hService.h) {
        return std::nullopt;
    }
    // A change that changes nothing fails only for a service marked for deletion; a
    // stopped one goes as soon as its process has let go of it.
    const DWORD dwState = QueryStatus(hService.h).dwCurrentState;
    if (dwState == SERVICE_STOPPED &&
        !ChangeServiceConfigW(hService.h, SERVICE_NO_CHANGE, SERVICE_NO_CHANGE, SERVICE_NO_CHANGE,
                              nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr) &&
        GetLastError() == ERROR_SERVICE_MARKED_FOR_DELETE) {
        return std::nullopt;
    }
    return dwState;
}
