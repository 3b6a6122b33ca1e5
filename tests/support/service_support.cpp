#include "tests/support/service_support.h"

#include "runtime/handles.h"

#include <tlhelp32.h>

#include <gtest/gtest.h>

namespace {

constexpr DWORD kSettleMs = 20000;

UniqueServiceHandle OpenNamedService(const std::wstring& strName, DWORD dwAccess) {
    const UniqueServiceHandle hManager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    return UniqueServiceHandle(OpenServiceW(hManager.get(), strName.c_str(), dwAccess));
}

// Ends every process whose program is strPath and waits for each to be gone.
void EndProcessesOf(const std::wstring& strPath) {
    const UniqueHandle hSnapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    PROCESSENTRY32W entry = {};
    entry.dwSize = sizeof(entry);
    for (BOOL fMore = Process32FirstW(hSnapshot.get(), &entry); fMore;
         fMore = Process32NextW(hSnapshot.get(), &entry)) {
        const UniqueHandle hProcess(
            OpenProcess(PROCESS_TERMINATE | PROCESS_QUERY_LIMITED_INFORMATION | SYNCHRONIZE, FALSE,
                        entry.th32ProcessID));
        wchar_t szImage[MAX_PATH] = {};
        DWORD cchImage = MAX_PATH;
        if (hProcess && QueryFullProcessImageNameW(hProcess.get(), 0, szImage, &cchImage) &&
            CompareStringOrdinal(szImage, -1, strPath.c_str(), -1, TRUE) == CSTR_EQUAL) {
            TerminateProcess(hProcess.get(), 1);
            WaitForSingleObject(hProcess.get(), kSettleMs);
        }
    }
}

} // namespace

void WaitForServiceManager() {
    // Connecting starts Wine's service manager, which sets this event once its
    // automatic services have been started. Elsewhere there is no such event.
    const UniqueServiceHandle hManager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    const UniqueHandle hStarted(OpenEventW(SYNCHRONIZE, FALSE, L"__wine_SvcctlStarted"));
    if (hStarted) {
        EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(hStarted.get(), 60000))
            << "the service manager did not finish starting";
    }
}

void CreateTestService(const std::wstring& strName, const std::wstring& strPath,
                       const std::wstring& strArguments, DWORD dwState,
                       const std::wstring& strProgram) {
    RemoveTestService(strName, strPath);
    ASSERT_TRUE(CopyFileW(strProgram.c_str(), strPath.c_str(), FALSE))
        << "cannot place the test service";
    const UniqueServiceHandle hManager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS));
    const std::wstring strBinary =
        L"\"" + strPath + L"\"" + (strArguments.empty() ? L"" : L" " + strArguments);
    const UniqueServiceHandle hService(
        CreateServiceW(hManager.get(), strName.c_str(), strName.c_str(), SERVICE_ALL_ACCESS,
                       SERVICE_WIN32_OWN_PROCESS, SERVICE_DEMAND_START, SERVICE_ERROR_IGNORE,
                       strBinary.c_str(), nullptr, nullptr, nullptr, nullptr, nullptr));
    ASSERT_TRUE(hService) << "CreateServiceW failed: " << GetLastError();
    if (dwState == SERVICE_STOPPED) {
        return;
    }
    // The service sets this event when it reports running.
    const UniqueHandle hRunning(
        CreateEventW(nullptr, TRUE, FALSE, (L"VarenTestService." + strName).c_str()));
    ASSERT_TRUE(StartServiceW(hService.get(), 0, nullptr))
        << "StartServiceW failed: " << GetLastError();
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(hRunning.get(), kSettleMs))
        << "the service did not run";
    SERVICE_STATUS status = {};
    if (dwState == SERVICE_STOP_PENDING) {
        ASSERT_TRUE(ControlService(hService.get(), SERVICE_CONTROL_STOP, &status));
        ASSERT_EQ(static_cast<DWORD>(SERVICE_STOP_PENDING), status.dwCurrentState);
    }
}

void RemoveTestService(const std::wstring& strName, const std::wstring& strPath) {
    if (const UniqueServiceHandle hService = OpenNamedService(strName, DELETE)) {
        DeleteService(hService.get());
    }
    EndProcessesOf(strPath);
}

std::optional<DWORD> ServiceState(const std::wstring& strName) {
    const UniqueServiceHandle hService =
        OpenNamedService(strName, SERVICE_QUERY_STATUS | SERVICE_CHANGE_CONFIG);
    SERVICE_STATUS status = {};
    if (!hService || !QueryServiceStatus(hService.get(), &status)) {
        return std::nullopt;
    }
    // A change that changes nothing fails only for a service marked for deletion; a
    // stopped one goes as soon as its process has let go of it.
    if (status.dwCurrentState == SERVICE_STOPPED &&
        !ChangeServiceConfigW(hService.get(), SERVICE_NO_CHANGE, SERVICE_NO_CHANGE,
                              SERVICE_NO_CHANGE, nullptr, nullptr, nullptr, nullptr, nullptr,
                              nullptr, nullptr) &&
        GetLastError() == ERROR_SERVICE_MARKED_FOR_DELETE) {
        return std::nullopt;
    }
    return status.dwCurrentState;
}
