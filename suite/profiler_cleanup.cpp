// The profiler tool clean-up: the older "Codrevo Performance Analyzer" leaves
// kernel drivers, their service keys, help content and its own uninstaller behind;
// these actions remove them, copy the profiler's 64-bit drivers into place and
// ask for a restart where old drivers stay loaded.
//
// The profiler is found in both registry views: its 32-bit installer wrote under
// "SOFTWARE\Wow6432Node\...", reached here through KEY_WOW64_32KEY.
#include "runtime/handles.h"
#include "runtime/log.h"
#include "runtime/records.h"
#include "runtime/session.h"
#include "suite/profiler_cleanup_text.h"
#include "system/file_copy.h"
#include "system/process.h"
#include "system/registry.h"
#include "system/removal.h"

#include <msiquery.h>
#include <shlobj.h>
#include <shlwapi.h>

#include <array>
#include <optional>
#include <string>

namespace {

constexpr wchar_t kProfilerName[] = L"Codrevo Performance Analyzer";
constexpr wchar_t kProfilerKey[] = L"SOFTWARE\\QVX\\Codrevo\\Key";
constexpr wchar_t kProfilerInstallKey[] = L"SOFTWARE\\QVX\\Codrevo\\Install";
constexpr wchar_t kUninstallKey[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\";
// Uninstall strings and folders longer than this are not the profiler's.
constexpr DWORD kcbLongValue = kcchLongPath * sizeof(wchar_t);

using ViewOrder = std::array<REGSAM, 2>;
constexpr ViewOrder kNativeFirst = {0, KEY_WOW64_32KEY};
constexpr ViewOrder kWow32First = {KEY_WOW64_32KEY, 0};

// A string value of HKLM szKey in one view (samView 0 or KEY_WOW64_32KEY).
std::optional<std::wstring> ReadMachineString(const std::wstring& strKey, const wchar_t* szName,
                                              REGSAM samView) {
    UniqueRegKey hKey;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, strKey.c_str(), 0, KEY_READ | samView, hKey.put()) !=
        ERROR_SUCCESS) {
        return std::nullopt;
    }
    return QueryStringValue(hKey.get(), szName, kcbLongValue);
}

// The first view in order that holds a non-empty szName under HKLM szKey.
std::optional<std::wstring> ReadFromEitherView(const std::wstring& strKey, const wchar_t* szName,
                                               const ViewOrder& views) {
    for (REGSAM samView : views) {
        if (auto strValue = ReadMachineString(strKey, szName, samView);
            strValue && !strValue->empty()) {
            return strValue;
        }
    }
    return std::nullopt;
}

// The profiler's folder ("InstallDir" of its "Key", either view), or "" with a
// line saying so.
std::wstring FindProfilerFolder(const wchar_t* szAction, const wchar_t* szValueName) {
    const auto strFolder = ReadFromEitherView(kProfilerKey, szValueName, kNativeFirst);
    if (!strFolder) {
        LogMessage(g_hInstall, L"Varen_CA %s(), Codrevo Performance Analyzer folder not found \n",
                   szAction);
        return {};
    }
    return *strFolder;
}

// The profiler's uninstall string, when its product code (either view, in the
// given order) is a product code whose uninstall entry (either view, same order)
// names it exactly; otherwise nullopt with a line saying why.
std::optional<std::wstring> FindProfilerUninstall(const wchar_t* szAction, const ViewOrder& views) {
    const auto strCode = ReadFromEitherView(kProfilerInstallKey, L"ProductCode", views);
    if (!strCode) {
        LogMessage(g_hInstall, L"Varen_CA %s(), Codrevo Performance Analyzer is not installed \n",
                   szAction);
        return std::nullopt;
    }
    if (!IsProductCode(*strCode)) {
        LogMessage(g_hInstall, L"Varen_CA %s(), %s is not a product code \n", szAction,
                   strCode->c_str());
        return std::nullopt;
    }
    const std::wstring strEntry = kUninstallKey + *strCode;
    for (REGSAM samView : views) {
        if (ReadMachineString(strEntry, L"DisplayName", samView) == kProfilerName) {
            if (auto strUninstall = ReadMachineString(strEntry, L"UninstallString", samView);
                strUninstall && !strUninstall->empty()) {
                return strUninstall;
            }
        }
    }
    LogMessage(g_hInstall, L"Varen_CA %s(), %s is not an uninstall entry of %s \n", szAction,
               strCode->c_str(), kProfilerName);
    return std::nullopt;
}

// Runs strCommand without a window and waits for it; logs the command and a
// start that failed.
void RunLogged(const wchar_t* szAction, std::wstring strCommand) {
    LogMessage(g_hInstall, L"Varen_CA %s(), running %s \n", szAction, strCommand.c_str());
    if (!LaunchProcess(strCommand.data(), L"", true, INFINITE)) {
        LogMessage(g_hInstall, L"Varen_CA %s(), could not start it, error %d \n", szAction,
                   GetLastError());
    }
}

// Runs the profiler's own uninstaller quietly once the entry is verified.
UINT RemoveProfiler(MSIHANDLE hInstall, const wchar_t* szAction, const ViewOrder& views) {
    g_hInstall = hInstall;
    if (const auto strUninstall = FindProfilerUninstall(szAction, views)) {
        RunLogged(szAction, BuildQuietUninstallCommand(*strUninstall));
    }
    return 0;
}

// The system drivers folder, or "" when the system folder cannot be had.
std::wstring GetDriversFolder() {
    wchar_t szSystem[kcchLongPath] = {};
    const UINT cchSystem = GetSystemDirectoryW(szSystem, kcchLongPath);
    if (cchSystem == 0 || cchSystem >= kcchLongPath) {
        return {};
    }
    return std::wstring(szSystem, cchSystem) + L"\\Drivers";
}

// The help library manager of the 32-bit program files folder, or "" with a
// line saying it is not there.
std::wstring FindHelpLibManager(const wchar_t* szAction) {
    const std::wstring strProgramFiles = GetShellFolderPath(CSIDL_PROGRAM_FILESX86);
    const std::wstring strProgram = HelpLibManagerPath(strProgramFiles);
    if (strProgramFiles.empty() || !PathFileExistsW(strProgram.c_str())) {
        LogMessage(g_hInstall, L"Varen_CA %s(), %s not found \n", szAction, strProgram.c_str());
        return {};
    }
    return strProgram;
}

} // namespace

extern "C" UINT __stdcall RemoveCADriverSettings(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    LogMessage(g_hInstall, L"VAREN_CA: SearchCADriverRegKey  \n");
    // The trailing "\" makes each removal take the service key itself.
    for (const wchar_t* szService : {L"SYSTEM\\CurrentControlSet\\services\\PCORE\\",
                                     L"SYSTEM\\CurrentControlSet\\services\\CAPROF\\",
                                     L"SYSTEM\\CurrentControlSet\\services\\CAUTILITY\\"}) {
        RemoveKeyPartInBothViews(HKEY_LOCAL_MACHINE, szService);
    }
    return 1;
}

// The drivers stay loaded until the next restart; only their files go. Nothing
// is logged.
extern "C" UINT __stdcall UnLoadOldDriver(MSIHANDLE /*hInstall*/) {
    const std::wstring strDrivers = GetDriversFolder();
    if (strDrivers.empty()) {
        return 1;
    }
    for (const wchar_t* szFile :
         {L"pcore.sys", L"pcore.cat", L"caprof.sys", L"caprof.cat", L"cautility.sys"}) {
        RemoveFile(JoinFolderAndName(strDrivers, szFile).c_str());
    }
    return 1;
}

extern "C" UINT __stdcall CopyCADrivers64(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    const std::wstring strFolder = FindProfilerFolder(L"CopyCADrivers64", L"InstallDir");
    const std::wstring strDrivers = GetDriversFolder();
    if (strFolder.empty() || strDrivers.empty()) {
        return 0;
    }
    const std::wstring strSource = JoinFolderAndName(strFolder, L"bin\\Drivers64");
    WIN32_FIND_DATAW found = {};
    UniqueFindHandle hFind(FindFirstFileW(JoinFolderAndName(strSource, L"*").c_str(), &found));
    if (!hFind) {
        LogMessage(g_hInstall, L"Varen_CA CopyCADrivers64(), no drivers in %s \n",
                   strSource.c_str());
        return 0;
    }
    do {
        if (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) {
            continue;
        }
        const std::wstring strTarget = JoinFolderAndName(strDrivers, found.cFileName);
        if (CopyWhole(JoinFolderAndName(strSource, found.cFileName), strTarget, strDrivers)) {
            LogMessage(g_hInstall, L"Varen_CA CopyCADrivers64(), copied %s \n", strTarget.c_str());
        } else {
            LogMessage(g_hInstall, L"Varen_CA CopyCADrivers64(), could not copy %s, error %d \n",
                       found.cFileName, GetLastError());
        }
    } while (FindNextFileW(hFind.get(), &found));
    return 0;
}

extern "C" UINT __stdcall InstallHelp64(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    const std::wstring strProgram = FindHelpLibManager(L"InstallHelp64");
    if (strProgram.empty()) {
        return 0;
    }
    const std::wstring strFolder = FindProfilerFolder(L"InstallHelp64", L"InstallDir");
    if (!strFolder.empty()) {
        RunLogged(L"InstallHelp64", BuildInstallHelpCommand(strProgram, strFolder));
    }
    return 0;
}

extern "C" UINT __stdcall RemoveHelp64(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    const std::wstring strProgram = FindHelpLibManager(L"RemoveHelp64");
    if (!strProgram.empty()) {
        RunLogged(L"RemoveHelp64", BuildRemoveHelpCommand(strProgram));
    }
    return 0;
}

// The profiler's own entry first: its product code and uninstall entry in the
// native view, then the 32-bit view.
extern "C" UINT __stdcall RemoveCAEntrance(MSIHANDLE hInstall) {
    return RemoveProfiler(hInstall, L"RemoveCAEntrance", kNativeFirst);
}

// The entry its older, 32-bit (Wise-built) setup wrote first, then the native one.
extern "C" UINT __stdcall RemoveCAFromWise(MSIHANDLE hInstall) {
    return RemoveProfiler(hInstall, L"RemoveCAFromWise", kWow32First);
}

// Versions before 3.0.0.0 load their drivers at start-up; UnLoadOldDriver only
// removes the files, so the new drivers take over after a restart.
extern "C" UINT __stdcall SetCARebootFlag(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    if (!FindProfilerUninstall(L"SetCARebootFlag", kNativeFirst)) {
        return 0;
    }
    const std::wstring strFolder = FindProfilerFolder(L"SetCARebootFlag", L"Installdir");
    if (strFolder.empty()) {
        return 0;
    }
    const std::wstring strProgram =
        JoinFolderAndName(strFolder, std::wstring(L"bin\\") + L"Codrevo.exe");
    const std::wstring strVersion = GetFileVersionString(strProgram);
    const auto iOrder = CompareVersions(strVersion, L"3.0.0.0");
    LogMessage(g_hInstall, L"Varen_CA SetCARebootFlag(), %s version %s \n", strProgram.c_str(),
               strVersion.c_str());
    if (!iOrder || *iOrder >= 0) {
        return 0;
    }
    if (MsiSetPropertyW(g_hInstall, L"REBOOT", L"Force") != ERROR_SUCCESS) {
        LogMessage(g_hInstall, L"Varen_CA SetCARebootFlag(), could not set REBOOT \n");
        return 0;
    }
    LogMessage(g_hInstall, L"Varen_CA SetCARebootFlag(), REBOOT=Force \n");
    return 0;
}
