// The settings application's logon and run-once tasks, created, started and
// deleted with the system's schtasks tool. The task definitions are installed
// next to the application; a copy with one element rewritten goes to the
// temporary folder.
#include "runtime/handles.h"
#include "runtime/session.h"
#include "system/path_text.h"
#include "system/process.h"
#include "system/registry.h"
#include "tasks/schtasks_text.h"
#include "tasks/task_xml.h"

#include <shlwapi.h>

#include <optional>

namespace {

constexpr wchar_t kPnInstallKey[] = L"SOFTWARE\\ORX Technologies\\Install\\PNext";
constexpr wchar_t kPnSettingsKey[] = L"SOFTWARE\\QVX\\PN";
// "GiBenchmark" holds this single character once the benchmark run has been arranged.
constexpr wchar_t kBenchmarkArranged[] = L"1";

// A task of the settings application: its name, its installed definition file,
// the program it runs from the application folder and that program's argument.
struct AppTask {
    const wchar_t* szTask;
    const wchar_t* szDefinition;
    const wchar_t* szProgram;
    const wchar_t* szArgument;
};
constexpr AppTask kStartPn = {L"StartPN", L"StartPN.xml", L"pncmd.exe", L"startwithdelay"};
constexpr AppTask kStartDvr = {L"StartDVR", L"StartDVR.xml", L"VSServCmd.exe", L""};
constexpr AppTask kStartPnBenchmark = {L"StartPNBM", L"StartPNBM.xml", L"pncmd.exe", L"benchmark"};

// A string value under HKLM szPath of at most MAX_PATH - 1 characters, the key
// opened with full access in the 64-bit view or, failing that, in the native one.
std::optional<std::wstring> ReadMachineString(const wchar_t* szPath, const wchar_t* szName) {
    UniqueRegKey hKey;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, szPath, 0, kKeyAllAccess64, hKey.put()) !=
            ERROR_SUCCESS &&
        RegOpenKeyExW(HKEY_LOCAL_MACHINE, szPath, 0, KEY_ALL_ACCESS, hKey.put()) != ERROR_SUCCESS) {
        return std::nullopt;
    }
    return QueryStringValue(hKey.get(), szName, MAX_PATH * sizeof(wchar_t));
}

std::optional<std::wstring> ReadApplicationFolder() {
    return ReadMachineString(kPnInstallKey, L"Location");
}

// The temporary folder followed directly by szFile, or "" when the temporary
// folder cannot be had (the rewriter then fails to open the copy and says so).
std::wstring TempCopyPath(const wchar_t* szFile) {
    wchar_t szTemp[MAX_PATH] = {};
    const DWORD cchTemp = GetTempPathW(MAX_PATH, szTemp);
    return cchTemp != 0 && cchTemp < MAX_PATH ? szTemp + std::wstring(szFile) : std::wstring();
}

// Runs a schtasks command line without a window; with fWait, until it ends.
bool RunTaskCommand(std::wstring strCommand, bool fWait) {
    return LaunchProcess(strCommand.data(), L"", fWait, INFINITE);
}

// Registers strDefinition as the task and then points the task at its program
// in strFolder (the program path always gets its own "\"), not waiting for that.
void RegisterAppTask(const AppTask& task, const std::wstring& strDefinition,
                     const std::wstring& strFolder) {
    RunTaskCommand(BuildCreateTaskCommand(task.szTask, strDefinition), true);
    RunTaskCommand(
        BuildChangeTaskCommand(task.szTask, strFolder + L"\\" + task.szProgram, task.szArgument),
        false);
}

UINT CreateLogonTask(const AppTask& task) {
    DeleteRunValue(task.szTask);
    const std::optional<std::wstring> strFolder = ReadApplicationFolder();
    if (!strFolder) {
        return ERROR_INSTALL_FAILURE;
    }
    const std::wstring strInstalled = JoinFolderAndName(*strFolder, task.szDefinition);
    RewriteWorkingDirectory(strInstalled, TempCopyPath(task.szDefinition), *strFolder);
    // The installed definition is registered, not the rewritten copy: packages
    // have always registered it so.
    RegisterAppTask(task, strInstalled, *strFolder);
    return ERROR_SUCCESS;
}

// 1 when schtasks was started for the deletion (and has ended), else 0.
UINT DeleteTask(const wchar_t* szTask) {
    return RunTaskCommand(BuildDeleteTaskCommand(szTask), true) ? 1 : 0;
}

bool IsWindows7() {
    OSVERSIONINFOW info = {};
    info.dwOSVersionInfoSize = sizeof(info);
    return GetVersionExW(&info) && info.dwPlatformId == VER_PLATFORM_WIN32_NT &&
           info.dwMajorVersion == 6 && info.dwMinorVersion == 1;
}

} // namespace

extern "C" UINT __stdcall CreateLogonSchTask(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    return CreateLogonTask(kStartPn);
}

extern "C" UINT __stdcall CreateDVRLogonSchTask(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    return CreateLogonTask(kStartDvr);
}

// Always 0: the benchmark task is a convenience that never fails an installation.
extern "C" UINT __stdcall CreateBenchMarkRunOnceSchTask(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    if (ReadMachineString(kPnSettingsKey, L"GiBenchmark") == kBenchmarkArranged) {
        return ERROR_SUCCESS;
    }
    const std::optional<std::wstring> strFolder = ReadApplicationFolder();
    if (!strFolder) {
        return ERROR_SUCCESS;
    }
    const std::wstring strInstalled = JoinFolderAndName(*strFolder, kStartPnBenchmark.szDefinition);
    if (!PathFileExistsW(strInstalled.c_str())) {
        return ERROR_SUCCESS;
    }
    const std::wstring strCopy = TempCopyPath(kStartPnBenchmark.szDefinition);
    RewriteStartBoundary(strInstalled, strCopy);
    // Unlike the logon tasks, the run-once task is registered from the rewritten copy.
    RegisterAppTask(kStartPnBenchmark, strCopy, *strFolder);
    return ERROR_SUCCESS;
}

// Always 1 (packages check for it); on Windows 7 the task is not started.
extern "C" UINT __stdcall LaunchPN(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    if (!IsWindows7()) {
        RunTaskCommand(BuildRunTaskCommand(kStartPn.szTask), true);
    }
    return 1;
}

// Branded installations start the settings application lazily ("LazeStart" = 1)
// and do without the logon task. Always 0.
extern "C" UINT __stdcall DeleteSchedTaskonBranding(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    UniqueRegKey hKey;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kPnSettingsKey, 0, KEY_READ, hKey.put()) ==
            ERROR_SUCCESS &&
        QueryDwordValue(hKey.get(), L"LazeStart") == 1u) {
        RunTaskCommand(BuildDeleteTaskCommand(kStartPn.szTask), true);
    }
    return ERROR_SUCCESS;
}

// The removal actions return 1 when schtasks was started: packages sequence them
// with that value.
extern "C" UINT __stdcall RemoveBenchMarkRunOnceSchedularTask(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    return DeleteTask(kStartPnBenchmark.szTask);
}

extern "C" UINT __stdcall RemovePNSchedularTask(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    return DeleteTask(kStartPn.szTask);
}

extern "C" UINT __stdcall RemoveDVRSchedularTask(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    return DeleteTask(kStartDvr.szTask);
}

extern "C" UINT __stdcall RemoveSchedularTask(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    return DeleteTask(L"QVX Updater");
}
