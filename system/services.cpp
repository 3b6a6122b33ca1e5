#include "system/services.h"

#include "runtime/handles.h"
#include "runtime/log.h"
#include "runtime/record_text.h"
#include "runtime/records.h"
#include "runtime/session.h"
#include "system/path_text.h"
#include "system/process.h"
#include "system/registry.h"
#include "system/service_text.h"

#include <initguid.h>

#include <devguid.h>
#include <setupapi.h>

#include <cstdio>
#include <vector>

namespace {

// The overall budget of StopNamedService, from entry, for both of its waits.
constexpr DWORD kStopBudgetMs = 30000;
// DeleteServiceIfBinaryInDirectory's wait after its stop request.
constexpr DWORD kDeleteStopPollMs = 101;
constexpr DWORD kDeleteStopBudgetMs = 3000;

// SERVICE_ENUMERATE_DEPENDENTS is asked for though dependents are never
// stopped: the access the stop routine has always requested (0x2C).
constexpr DWORD kStopAccess = SERVICE_STOP | SERVICE_ENUMERATE_DEPENDENTS | SERVICE_QUERY_STATUS;
// The manager's all-access value, also passed as the service access by the
// removal: it holds stop, query status, query configuration and delete.
constexpr DWORD kRemovalAccess = SC_MANAGER_ALL_ACCESS;

bool QueryStatus(SC_HANDLE hService, SERVICE_STATUS_PROCESS& status) {
    DWORD cbNeeded = 0;
    return QueryServiceStatusEx(hService, SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status),
                                sizeof(status), &cbNeeded) != FALSE;
}

// The start and stop routines report to the debugger output; the quiet stop
// passes fReport = false and says nothing.
void Report(bool fReport, const wchar_t* szText) {
    if (fReport) {
        OutputDebugStringW(szText);
    }
}

// StopNamedService and StopNamedServiceQuiet: wait out an earlier stop, send
// the stop, then re-query every dwWaitHint ms (as the service gives it, not
// clamped) until stopped or 30,000 ms after entry.
bool StopService(const wchar_t* szService, bool fReport) {
    const DWORD dwStart = GetTickCount();
    const UniqueServiceHandle hManager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS));
    if (!hManager) {
        Report(fReport, L"Error: Failed to open SCM.\n");
        return false;
    }
    const UniqueServiceHandle hService(OpenServiceW(hManager.get(), szService, kStopAccess));
    if (!hService) {
        return false;
    }
    SERVICE_STATUS_PROCESS status = {};
    if (!QueryStatus(hService.get(), status)) {
        Report(fReport, L"Error: QueryServiceStatusEx failed.\n");
        return false;
    }
    if (status.dwCurrentState == SERVICE_STOPPED) {
        Report(fReport, L"Service is already stopped.\n");
        return true;
    }
    while (status.dwCurrentState == SERVICE_STOP_PENDING) {
        Report(fReport, L"Service stop pending...\n");
        Sleep(ServicePollInterval(status.dwWaitHint));
        if (!QueryStatus(hService.get(), status)) {
            Report(fReport, L"Error: QueryServiceStatusEx failed.\n");
            return false;
        }
        if (status.dwCurrentState == SERVICE_STOPPED) {
            Report(fReport, L"Service stopped successfully.\n");
            return true;
        }
        if (GetTickCount() - dwStart > kStopBudgetMs) {
            Report(fReport, L"Service stop timed out.\n");
            return false;
        }
    }
    if (!ControlService(hService.get(), SERVICE_CONTROL_STOP,
                        reinterpret_cast<SERVICE_STATUS*>(&status))) {
        Report(fReport, L"Error: ControlService failed.\n");
        return false;
    }
    while (status.dwCurrentState != SERVICE_STOPPED) {
        Sleep(status.dwWaitHint);
        if (!QueryStatus(hService.get(), status)) {
            Report(fReport, L"Error: QueryServiceStatusEx failed.\n");
            return false;
        }
        if (status.dwCurrentState != SERVICE_STOPPED && GetTickCount() - dwStart > kStopBudgetMs) {
            Report(fReport, L"Error: Timeout waiting for service to stop.\n");
            return false;
        }
    }
    Report(fReport, L"Service stopped successfully.\n");
    return true;
}

// The folder's identity on disk: the volume and the file index. Opening with
// backup semantics reaches folders; a trailing "\" names the same folder.
struct FileIdentity {
    DWORD dwVolume;
    DWORD dwIndexHigh;
    DWORD dwIndexLow;
};

bool GetFileIdentity(const std::wstring& strPath, FileIdentity& identity) {
    const UniqueFileHandle hFile(CreateFileW(strPath.c_str(), FILE_READ_ATTRIBUTES,
                                             FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                             nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS,
                                             nullptr));
    BY_HANDLE_FILE_INFORMATION info = {};
    if (!hFile || !GetFileInformationByHandle(hFile.get(), &info)) {
        return false;
    }
    identity = {info.dwVolumeSerialNumber, info.nFileIndexHigh, info.nFileIndexLow};
    return true;
}

// True when both paths exist and name the same file or folder. A path that
// does not exist matches nothing, so a service is never removed on the word
// of a folder that is not there.
bool IsSameFolder(const std::wstring& strA, const std::wstring& strB) {
    FileIdentity a = {};
    FileIdentity b = {};
    return GetFileIdentity(strA, a) && GetFileIdentity(strB, b) && a.dwVolume == b.dwVolume &&
           a.dwIndexHigh == b.dwIndexHigh && a.dwIndexLow == b.dwIndexLow;
}

// Reads the configured binary path of hService; false when it cannot be read.
bool QueryBinaryPath(SC_HANDLE hService, std::wstring& strBinary) {
    std::vector<BYTE> config(sizeof(QUERY_SERVICE_CONFIGW));
    DWORD cbNeeded = 0;
    while (!QueryServiceConfigW(hService, reinterpret_cast<QUERY_SERVICE_CONFIGW*>(config.data()),
                                static_cast<DWORD>(config.size()), &cbNeeded)) {
        if (GetLastError() != ERROR_INSUFFICIENT_BUFFER) {
            return false;
        }
        config.resize(cbNeeded);
    }
    const wchar_t* szBinary =
        reinterpret_cast<const QUERY_SERVICE_CONFIGW*>(config.data())->lpBinaryPathName;
    strBinary = szBinary != nullptr ? szBinary : L"";
    return true;
}

constexpr wchar_t kEeuService[] = L"QVX External Events Utility";

// The A4 install directory: HKLM "SOFTWARE\ORX\A4" "InstallDir", native view first.
std::wstring GetA4InstallDir() {
    for (const REGSAM samView : {static_cast<REGSAM>(0), static_cast<REGSAM>(KEY_WOW64_32KEY)}) {
        UniqueRegKey hKey;
        if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\ORX\\A4", 0, KEY_READ | samView,
                          hKey.put()) == ERROR_SUCCESS) {
            const std::optional<std::wstring> strDir =
                QueryStringValue(hKey.get(), L"InstallDir", (MAX_PATH - 1) * sizeof(wchar_t));
            if (strDir && !strDir->empty()) {
                return *strDir;
            }
        }
    }
    return {};
}

// StartA4Service and StopA4Service: run the A4 directory's AdaptiveSleepService.exe
// with szSwitch and wait for it.
UINT RunAdaptiveSleepService(MSIHANDLE hInstall, const wchar_t* szAction, const wchar_t* szSwitch) {
    g_hInstall = hInstall;
    const std::wstring strDir = GetA4InstallDir();
    if (strDir.empty()) {
        LogMessage(g_hInstall, L"VAREN_CA %s: no A4 install directory registered \n", szAction);
        return ERROR_SUCCESS;
    }
    const std::wstring strProgram = JoinFolderAndName(strDir, L"AdaptiveSleepService.exe");
    if (GetFileAttributesW(strProgram.c_str()) == INVALID_FILE_ATTRIBUTES) {
        LogMessage(g_hInstall, L"VAREN_CA %s: %s not found \n", szAction, strProgram.c_str());
        return ERROR_SUCCESS;
    }
    std::wstring strCommand = L"\"" + strProgram + L"\" " + szSwitch;
    const std::wstring strShown = strCommand;
    LogMessage(g_hInstall,
               LaunchProcess(strCommand.data(), L"", true, INFINITE)
                   ? L"VAREN_CA %s: running %s \n"
                   : L"VAREN_CA %s: could not run %s \n",
               szAction, strShown.c_str());
    return ERROR_SUCCESS;
}

// True when a present display device's manufacturer, lower-cased, contains "qvx".
bool HasQvxDisplayDevice() {
    const HDEVINFO hDevices =
        SetupDiGetClassDevsW(&GUID_DEVCLASS_DISPLAY, nullptr, nullptr, DIGCF_PRESENT);
    if (hDevices == INVALID_HANDLE_VALUE) {
        return false;
    }
    bool fFound = false;
    SP_DEVINFO_DATA device = {};
    device.cbSize = sizeof(device);
    for (DWORD iDevice = 0; !fFound && SetupDiEnumDeviceInfo(hDevices, iDevice, &device);
         ++iDevice) {
        wchar_t szMaker[MAX_PATH] = {};
        if (SetupDiGetDeviceRegistryPropertyW(hDevices, &device, SPDRP_MFG, nullptr,
                                              reinterpret_cast<BYTE*>(szMaker),
                                              sizeof(szMaker) - sizeof(wchar_t), nullptr)) {
            CharLowerW(szMaker);
            fFound = wcsstr(szMaker, L"qvx") != nullptr;
        }
    }
    SetupDiDestroyDeviceInfoList(hDevices);
    return fFound;
}

} // namespace

bool StartNamedService(const wchar_t* szService) {
    const UniqueServiceHandle hManager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS));
    if (!hManager) {
        OutputDebugStringW(L"Error: Failed to open SCM.\n");
        return false;
    }
    const UniqueServiceHandle hService(OpenServiceW(hManager.get(), szService, SERVICE_ALL_ACCESS));
    if (!hService) {
        return false;
    }
    SERVICE_STATUS_PROCESS status = {};
    if (!QueryStatus(hService.get(), status)) {
        OutputDebugStringW(L"Error: QueryServiceStatusEx failed.\n");
        return false;
    }
    if (status.dwCurrentState != SERVICE_STOPPED && status.dwCurrentState != SERVICE_STOP_PENDING) {
        return true;
    }
    // The start tick and check point are taken afresh in every pass, so a wait
    // hint shorter than the sleep ends the wait after the first pass without
    // progress, even when that pass found the service stopped. Kept as it was.
    while (status.dwCurrentState == SERVICE_STOP_PENDING) {
        const DWORD dwPassStart = GetTickCount();
        const DWORD dwCheckPoint = status.dwCheckPoint;
        Sleep(ServicePollInterval(status.dwWaitHint));
        if (!QueryStatus(hService.get(), status)) {
            OutputDebugStringW(L"Error: QueryServiceStatusEx failed.\n");
            return false;
        }
        if (status.dwCheckPoint <= dwCheckPoint &&
            GetTickCount() - dwPassStart > status.dwWaitHint) {
            OutputDebugStringW(L"Error: Timeout waiting for service to stop.\n");
            return false;
        }
    }
    if (!StartServiceW(hService.get(), 0, nullptr)) {
        wchar_t szText[64];
        wsprintfW(szText, L"Unable to start service and Error code is %d", GetLastError());
        OutputDebugStringW(szText);
        return false;
    }
    if (!QueryStatus(hService.get(), status)) {
        OutputDebugStringW(L"Error: QueryServiceStatusEx failed.\n");
        return false;
    }
    DWORD dwProgressTick = GetTickCount();
    DWORD dwCheckPoint = status.dwCheckPoint;
    while (status.dwCurrentState == SERVICE_START_PENDING) {
        Sleep(ServicePollInterval(status.dwWaitHint));
        if (!QueryStatus(hService.get(), status)) {
            OutputDebugStringW(L"Error: QueryServiceStatusEx failed.\n");
            break;
        }
        if (status.dwCheckPoint > dwCheckPoint) {
            dwProgressTick = GetTickCount();
            dwCheckPoint = status.dwCheckPoint;
        } else if (GetTickCount() - dwProgressTick > status.dwWaitHint) {
            break;
        }
    }
    if (status.dwCurrentState != SERVICE_RUNNING) {
        OutputDebugStringW(L"Warning: Service did not start successfully.\n");
        return false;
    }
    OutputDebugStringW(L"Service started successfully.\n");
    return true;
}

void StopNamedService(std::wstring strService) {
    StopService(strService.c_str(), true);
}

bool StopNamedServiceQuiet(const std::wstring& strService) {
    return StopService(strService.c_str(), false);
}

void DeleteServiceIfBinaryInDirectory(const std::wstring& strService,
                                      const std::wstring& strDirectory) {
    if (strService.empty()) {
        LogMessage(g_hInstall, L"Empty service name provided");
        return;
    }
    const UniqueServiceHandle hManager(
        OpenSCManagerW(nullptr, SERVICES_ACTIVE_DATABASEW, SC_MANAGER_ALL_ACCESS));
    if (!hManager) {
        LogMessage(g_hInstall, L"Unable call  OpenSCManager. Error code: %d", GetLastError());
        return;
    }
    const UniqueServiceHandle hService(
        OpenServiceW(hManager.get(), strService.c_str(), kRemovalAccess));
    if (!hService) {
        LogMessage(g_hInstall, L"Unable to open service %s. Error code: %d", strService.c_str(),
                   GetLastError());
        return;
    }
    std::wstring strBinary;
    if (!QueryBinaryPath(hService.get(), strBinary)) {
        LogMessage(g_hInstall, L"Unable to call QueryServiceConfig");
        return;
    }
    wprintf(L"binary path = %ls\n", strBinary.c_str());
    // Quotes and arguments are not part of the folder the program lies in.
    const std::wstring strParent = GetParentFolder(GetServiceBinaryFile(strBinary));
    LogMessage(g_hInstall, L"Parent path of %s is %s", strBinary.c_str(), strParent.c_str());
    if (!IsSameFolder(strParent, strDirectory)) {
        LogMessage(g_hInstall, L"%s is not in directory %s", strBinary.c_str(),
                   strDirectory.c_str());
        return;
    }
    SERVICE_STATUS status = {};
    if (ControlService(hService.get(), SERVICE_CONTROL_STOP, &status)) {
        for (DWORD dwWaited = 0;
             status.dwCurrentState != SERVICE_STOPPED && dwWaited <= kDeleteStopBudgetMs;
             dwWaited += kDeleteStopPollMs) {
            LogMessage(g_hInstall, L"Waiting for service to stop.");
            Sleep(kDeleteStopPollMs);
            QueryServiceStatus(hService.get(), &status);
        }
    }
    if (DeleteService(hService.get())) {
        LogMessage(g_hInstall, L"Successfully deleted %s", strService.c_str());
    } else {
        LogMessage(g_hInstall, L"Unable to delete %s. Error code: %d", strService.c_str(),
                   GetLastError());
    }
}

// Reports to the debugger output only, so the session slot is left as it is.
extern "C" UINT __stdcall StartEEUService([[maybe_unused]] MSIHANDLE hInstall) {
    StartNamedService(kEeuService);
    return ERROR_SUCCESS;
}

// Deferred: "CustomActionData" holds "ServiceName=<name>;DirectoryOfBinary=<folder>".
// A clean-up step: it never fails the installation.
extern "C" UINT __stdcall DeleteServiceIfBinaryIsInDirectory(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    const std::wstring strData = ReadCustomActionData();
    DeleteServiceIfBinaryInDirectory(GetServiceName(strData), GetDirectoryOfBinary(strData));
    return ERROR_SUCCESS;
}

// Deferred, after the A4 files are installed; always 0.
extern "C" UINT __stdcall StartA4Service(MSIHANDLE hInstall) {
    return RunAdaptiveSleepService(hInstall, L"StartA4Service", L"/start");
}

// Deferred, before the A4 files are removed; a clean-up step, always 0.
extern "C" UINT __stdcall StopA4Service(MSIHANDLE hInstall) {
    return RunAdaptiveSleepService(hInstall, L"StopA4Service", L"/stop");
}

// Deferred: removes the EEU service from a machine without the maker's display
// hardware. A clean-up step, always 0.
extern "C" UINT __stdcall StopandDeleteEEU(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    if (HasQvxDisplayDevice()) {
        LogMessage(g_hInstall,
                   L"VAREN_CA StopandDeleteEEU: a QVX display device is present, the EEU service "
                   L"stays \n");
        return ERROR_SUCCESS;
    }
    StopNamedServiceQuiet(kEeuService);
    const UniqueServiceHandle hManager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS));
    const UniqueServiceHandle hService(hManager ? OpenServiceW(hManager.get(), kEeuService, DELETE)
                                                : nullptr);
    if (!hService) {
        LogMessage(g_hInstall,
                   L"VAREN_CA StopandDeleteEEU: no QVX display device, the EEU service is not "
                   L"installed \n");
    } else if (DeleteService(hService.get())) {
        LogMessage(g_hInstall,
                   L"VAREN_CA StopandDeleteEEU: no QVX display device, EEU service deleted \n");
    } else {
        LogMessage(g_hInstall,
                   L"VAREN_CA StopandDeleteEEU: no QVX display device, the EEU service could not "
                   L"be deleted, error %d \n",
                   GetLastError());
    }
    return ERROR_SUCCESS;
}
