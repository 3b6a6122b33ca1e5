#include "system/process.h"

#include "runtime/handles.h"
#include "runtime/log.h"
#include "runtime/session.h"
#include "system/process_text.h"

#include <sddl.h>
#include <shellapi.h>

namespace {

// Full access for Local System, the Administrators and the creator-owner;
// read, write and execute for interactive users; all inherited.
constexpr const wchar_t* kLaunchSecurity =
    L"D:(A;OICI;GA;;;SY)(A;OICI;GA;;;BA)(A;OICI;GA;;;CO)(A;OICI;GRGWGX;;;IU)";

// Closes both handles of a created process.
struct ProcessHandles {
    explicit ProcessHandles(const PROCESS_INFORMATION& info)
        : hProcess(info.hProcess), hThread(info.hThread) {}
    UniqueHandle hProcess;
    UniqueHandle hThread;
};

// The descriptor for kLaunchSecurity, or null (default security) when the
// conversion fails; each outcome is logged. The descriptor is never freed: the
// launch has always leaked it, once per call.
PSECURITY_DESCRIPTOR ConvertLaunchSecurity() {
    PSECURITY_DESCRIPTOR pDescriptor = nullptr;
    if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(kLaunchSecurity, SDDL_REVISION_1,
                                                              &pDescriptor, nullptr)) {
        LogMessage(
            g_hInstall,
            L"VAREN_CA Failed to ConvertStringSecurityDescriptorToSecurityDescriptor: error = %d\n",
            GetLastError());
        return nullptr;
    }
    LogMessage(g_hInstall, L"VAREN_CA Security String converted");
    return pDescriptor;
}

// A command line for the composed failure text; a null one reads as empty.
std::wstring_view CommandText(const wchar_t* szCommandLine) {
    return szCommandLine != nullptr ? szCommandLine : L"";
}

// CreateProcessW with no application name, no thread attributes, handles not
// inherited, no environment and no current directory, and a zeroed start-up record.
// A null command line fails with ERROR_INVALID_PARAMETER without reaching the
// system (Wine's CreateProcessW faults on it).
bool CreateCommandProcess(wchar_t* szCommandLine, SECURITY_ATTRIBUTES* pProcessSecurity,
                          DWORD dwFlags, PROCESS_INFORMATION& info) {
    if (szCommandLine == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return false;
    }
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    return CreateProcessW(nullptr, szCommandLine, pProcessSecurity, nullptr, FALSE, dwFlags,
                          nullptr, nullptr, &startup, &info) != FALSE;
}

} // namespace

std::wstring GetShellFolderPath(int iCsidl) {
    UniqueItemList pidl;
    wchar_t szPath[MAX_PATH] = {};
    if (FAILED(SHGetFolderLocation(nullptr, iCsidl, nullptr, 0, pidl.put())) ||
        !SHGetPathFromIDListW(pidl.get(), szPath)) {
        return {};
    }
    return szPath;
}

bool LaunchProcess(wchar_t* szCommandLine, [[maybe_unused]] const wchar_t* szDirectory, bool fWait,
                   DWORD dwTimeout) {
    PROCESS_INFORMATION info = {};
    if (!CreateCommandProcess(szCommandLine, nullptr, CREATE_NO_WINDOW, info)) {
        // The failure text is composed and deliberately not logged: the actions
        // built on this launcher report a failed start by their own result only.
        [[maybe_unused]] const std::wstring strFailure =
            LaunchFailureText(L"", CommandText(szCommandLine), GetLastError());
        return false;
    }
    const ProcessHandles handles(info);
    if (fWait) {
        WaitForSingleObject(handles.hProcess.get(), dwTimeout);
    }
    return true;
}

int LaunchProcessSecured(wchar_t* szCommandLine, [[maybe_unused]] const wchar_t* szDirectory,
                         bool fWait, DWORD dwTimeout) {
    SECURITY_ATTRIBUTES security = {};
    security.nLength = sizeof(security);
    security.lpSecurityDescriptor = ConvertLaunchSecurity();
    security.bInheritHandle = TRUE;
    PROCESS_INFORMATION info = {};
    if (!CreateCommandProcess(szCommandLine, &security, 0, info)) {
        const std::wstring strFailure =
            LaunchFailureText(L"VAREN_CA ", CommandText(szCommandLine), GetLastError());
        LogMessage(g_hInstall, L"%s", strFailure.c_str());
        return 0;
    }
    const ProcessHandles handles(info);
    if (fWait) {
        LogMessage(g_hInstall,
                   L"CreateProcess successfully launched %s \nWaitng for process to return...",
                   szCommandLine);
        WaitForSingleObject(handles.hProcess.get(), dwTimeout);
        LogMessage(g_hInstall,
                   L"CreateProcess successfully returned from wait after launching %s \n",
                   szCommandLine);
    } else {
        LogMessage(g_hInstall, L"CreateProcess successfully launched %s \nWating flag was not set.",
                   szCommandLine);
    }
    return 1;
}

bool ShellExecuteAndWait(const wchar_t* szFile, const wchar_t* szParameters, bool fWait) {
    SHELLEXECUTEINFOW execute = {};
    execute.cbSize = sizeof(execute);
    execute.fMask = SEE_MASK_NOCLOSEPROCESS;
    execute.lpVerb = L"open";
    execute.lpFile = szFile;
    execute.lpParameters = szParameters;
    execute.nShow = SW_SHOWNORMAL;
    if (!ShellExecuteExW(&execute)) {
        // The message stands where the file would: the file is not named here.
        LogMessage(g_hInstall, L"Varen_CA failed to launch the following: %s",
                   ShellExecuteErrorMessage(reinterpret_cast<intptr_t>(execute.hInstApp)));
        return false;
    }
    // execute.hProcess is deliberately never closed (one handle per call stays
    // open until the custom-action server ends); the launcher is kept as it was.
    if (!fWait) {
        LogMessage(g_hInstall, L"Varen_CA launched the following successfully: %s", szFile);
        return true;
    }
    LogMessage(g_hInstall,
               L"Varen_CA launched the following successfully: %s \nWaiting for process to end...",
               szFile);
    WaitForSingleObject(execute.hProcess, INFINITE);
    LogMessage(g_hInstall, L"Varen_CA Process: %s \nsuccessfully ended launching", szFile);
    return true;
}

bool RunBoundedCommand(std::wstring_view strCommand, size_t cchBuffer) {
    std::wstring strBounded = BoundCommandLine(strCommand, cchBuffer);
    return LaunchProcess(strBounded.data(), L"", true, INFINITE);
}

// An unresolved system folder starts nothing: "\TaskKill.exe" would be looked
// up in the root of the current drive.
void KillVantorSettings() {
    const std::wstring strSystem = GetShellFolderPath(CSIDL_SYSTEM);
    if (!strSystem.empty()) {
        RunBoundedCommand(BuildKillVantorSettingsCommand(strSystem), kcchToolCommandBuffer);
    }
}

void TaskKillImage(const wchar_t* szImage) {
    const std::wstring strSystem = GetShellFolderPath(CSIDL_SYSTEM);
    if (!strSystem.empty()) {
        RunBoundedCommand(BuildTaskKillCommand(strSystem, szImage != nullptr ? szImage : L""),
                          kcchToolCommandBuffer);
    }
}
