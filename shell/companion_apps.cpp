// The suite's companion applications in the shell: the settings application
// (VantorSettings.exe, "VCC") on the desktop's context menu and its shut-down before
// its files are replaced, and the shortcuts of two companions. The settings
// application's folder is the "Location" value of the suite's PNext key.
#include "runtime/handles.h"
#include "runtime/log.h"
#include "runtime/session.h"
#include "shell/companion_apps_text.h"
#include "system/path_text.h"
#include "system/process.h"
#include "system/registry.h"

#include <shlobj.h>
#include <shlwapi.h>
#include <tlhelp32.h>

#include <algorithm>
#include <optional>
#include <vector>

namespace {

constexpr const wchar_t* kSettingsImage = L"VantorSettings.exe";
constexpr const wchar_t* kVerbKey = L"SOFTWARE\\Classes\\DesktopBackground\\Shell\\VantorSettings";
// Long enough for the settings application to save what it holds; short enough
// that an installer waiting on it does not look hung.
constexpr DWORD kdwCloseWaitMs = 5000;

// {00021401-0000-0000-C000-000000000046}: the shell's link object.
constexpr CLSID kClsidShellLink = {0x00021401, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

// The settings application's folder: HKLM "SOFTWARE\ORX Technologies\Install\PNext"
// "Location" in the 64-bit view, when it is a usable folder (see IsUsableFolder).
// Logs "could not get Location" for the action otherwise.
std::optional<std::wstring> ReadSettingsFolder(const wchar_t* szAction) {
    UniqueRegKey hKey;
    std::optional<std::wstring> strFolder;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\ORX Technologies\\Install\\PNext", 0,
                      KEY_READ | KEY_WOW64_64KEY, hKey.put()) == ERROR_SUCCESS) {
        strFolder = QueryStringValue(hKey.get(), L"Location", MAX_PATH * sizeof(wchar_t));
    }
    if (!strFolder || !IsUsableFolder(*strFolder)) {
        LogMessage(g_hInstall, L"VAREN_CA %s could not get Location  \n", szAction);
        return std::nullopt;
    }
    return strFolder;
}

// The program strFile in the settings application's folder, when it is there;
// logs what is missing otherwise.
std::optional<std::wstring> FindSettingsProgram(const wchar_t* szAction, const wchar_t* szFile) {
    const std::optional<std::wstring> strFolder = ReadSettingsFolder(szAction);
    if (!strFolder) {
        return std::nullopt;
    }
    std::wstring strProgram = JoinFolderAndName(*strFolder, szFile);
    const DWORD dwAttributes = GetFileAttributesW(strProgram.c_str());
    if (dwAttributes == INVALID_FILE_ATTRIBUTES || (dwAttributes & FILE_ATTRIBUTE_DIRECTORY)) {
        LogMessage(g_hInstall, L"VAREN_CA %s %s not found \n", szAction, strProgram.c_str());
        return std::nullopt;
    }
    return strProgram;
}

// Creates or opens HKLM szPath in the 64-bit view and sets its string values
// (name, data pairs; a null name is the default value).
LONG WriteStringValues(const std::wstring& strPath,
                       std::initializer_list<std::pair<const wchar_t*, std::wstring>> values) {
    UniqueRegKey hKey;
    LONG lResult = RegCreateKeyExW(HKEY_LOCAL_MACHINE, strPath.c_str(), 0, nullptr, 0,
                                   KEY_SET_VALUE | KEY_WOW64_64KEY, nullptr, hKey.put(), nullptr);
    for (auto it = values.begin(); lResult == ERROR_SUCCESS && it != values.end(); ++it) {
        lResult = RegSetValueExW(hKey.get(), it->first, 0, REG_SZ,
                                 reinterpret_cast<const BYTE*>(it->second.c_str()),
                                 static_cast<DWORD>((it->second.size() + 1) * sizeof(wchar_t)));
    }
    return lResult;
}

struct Shortcut {
    std::wstring strTarget;
    std::wstring strArguments;
    std::wstring strFolder; // working folder; none when empty
    std::wstring strIcon;   // icon file (its first icon); the target's own when empty
    const wchar_t* szDescription;
};

HRESULT SaveShortcut(const std::wstring& strLink, const Shortcut& shortcut) {
    const ComApartment apartment;
    HRESULT hr = apartment.Result();
    UniqueComPtr<IShellLinkW> pLink;
    if (SUCCEEDED(hr)) {
        hr = CoCreateInstance(kClsidShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_IShellLinkW,
                              reinterpret_cast<void**>(pLink.put()));
    }
    if (SUCCEEDED(hr)) {
        hr = pLink.get()->SetPath(shortcut.strTarget.c_str());
    }
    if (SUCCEEDED(hr)) {
        hr = pLink.get()->SetArguments(shortcut.strArguments.c_str());
    }
    if (SUCCEEDED(hr) && !shortcut.strFolder.empty()) {
        hr = pLink.get()->SetWorkingDirectory(shortcut.strFolder.c_str());
    }
    if (SUCCEEDED(hr) && !shortcut.strIcon.empty()) {
        hr = pLink.get()->SetIconLocation(shortcut.strIcon.c_str(), 0);
    }
    if (SUCCEEDED(hr)) {
        hr = pLink.get()->SetDescription(shortcut.szDescription);
    }
    UniqueComPtr<IPersistFile> pFile;
    if (SUCCEEDED(hr)) {
        hr = pLink.get()->QueryInterface(IID_IPersistFile, reinterpret_cast<void**>(pFile.put()));
    }
    if (SUCCEEDED(hr)) {
        hr = pFile.get()->Save(strLink.c_str(), TRUE);
    }
    return hr;
}

// Saves the shortcut szName in the shell folder iCsidl and logs the outcome for the
// action: 0 when saved, else 1603.
UINT CreateShortcutIn(const wchar_t* szAction, int iCsidl, const wchar_t* szName,
                      const Shortcut& shortcut) {
    const std::wstring strFolder = GetShellFolderPath(iCsidl);
    const std::wstring strLink =
        strFolder.empty() ? std::wstring() : JoinFolderAndName(strFolder, szName);
    const HRESULT hr = strLink.empty() || shortcut.strTarget.empty()
                           ? HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND)
                           : SaveShortcut(strLink, shortcut);
    if (FAILED(hr)) {
        LogMessage(g_hInstall, L"VAREN_CA %s could not create %s, error 0x%08X \n", szAction,
                   strLink.c_str(), static_cast<unsigned>(hr));
        return ERROR_INSTALL_FAILURE;
    }
    LogMessage(g_hInstall, L"VAREN_CA %s created %s \n", szAction, strLink.c_str());
    return ERROR_SUCCESS;
}

// The running processes of the settings application: ids, and handles to wait on
// (null where the process cannot be opened, another user's say).
struct SettingsProcesses {
    std::vector<DWORD> ids;
    std::vector<UniqueHandle> handles;
};

SettingsProcesses FindSettingsProcesses() {
    SettingsProcesses processes;
    const UniqueHandle hSnapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    PROCESSENTRY32W entry = {};
    entry.dwSize = sizeof(entry);
    if (hSnapshot.get() == INVALID_HANDLE_VALUE) {
        return processes;
    }
    for (BOOL fEntry = Process32FirstW(hSnapshot.get(), &entry); fEntry;
         fEntry = Process32NextW(hSnapshot.get(), &entry)) {
        if (CompareStringOrdinal(entry.szExeFile, -1, kSettingsImage, -1, TRUE) == CSTR_EQUAL) {
            processes.ids.push_back(entry.th32ProcessID);
            processes.handles.emplace_back(OpenProcess(SYNCHRONIZE, FALSE, entry.th32ProcessID));
        }
    }
    return processes;
}

struct CloseRequest {
    const std::vector<DWORD>* pIds;
    int cAsked;
};

BOOL CALLBACK AskWindowToClose(HWND hWnd, LPARAM lParam) {
    auto* pRequest = reinterpret_cast<CloseRequest*>(lParam);
    DWORD dwProcess = 0;
    GetWindowThreadProcessId(hWnd, &dwProcess);
    const std::vector<DWORD>& ids = *pRequest->pIds;
    if (GetWindow(hWnd, GW_OWNER) == nullptr &&
        std::find(ids.begin(), ids.end(), dwProcess) != ids.end() &&
        PostMessageW(hWnd, WM_CLOSE, 0, 0)) {
        ++pRequest->cAsked;
    }
    return TRUE;
}

// True when every process ended within kdwCloseWaitMs, counted from the first wait.
bool WaitForAllToEnd(const std::vector<UniqueHandle>& handles) {
    const ULONGLONG ullDeadline = GetTickCount64() + kdwCloseWaitMs;
    for (const UniqueHandle& hProcess : handles) {
        const ULONGLONG ullNow = GetTickCount64();
        const DWORD dwLeft = ullNow < ullDeadline ? static_cast<DWORD>(ullDeadline - ullNow) : 0;
        if (!hProcess || WaitForSingleObject(hProcess.get(), dwLeft) != WAIT_OBJECT_0) {
            return false;
        }
    }
    return true;
}

} // namespace

extern "C" UINT __stdcall CreateVCCContextMenu64(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    LogActionStart(L"CreateVCCContextMenu64");
    const std::optional<std::wstring> strProgram =
        FindSettingsProgram(L"CreateVCCContextMenu64", kSettingsImage);
    if (!strProgram) {
        return ERROR_INSTALL_FAILURE;
    }
    const std::wstring strCommand = BuildVerbCommand(*strProgram);
    std::wstring strKey = kVerbKey;
    LONG lResult =
        WriteStringValues(strKey, {{nullptr, L"Vantor Settings"}, {L"Icon", *strProgram}});
    if (lResult == ERROR_SUCCESS) {
        strKey += L"\\command";
        lResult = WriteStringValues(strKey, {{nullptr, strCommand}});
    }
    if (lResult != ERROR_SUCCESS) {
        LogMessage(g_hInstall, L"VAREN_CA CreateVCCContextMenu64 could not write %s, error %d \n",
                   strKey.c_str(), static_cast<int>(lResult));
        return ERROR_INSTALL_FAILURE;
    }
    LogMessage(g_hInstall, L"VAREN_CA CreateVCCContextMenu64 registered %s \n", strCommand.c_str());
    return ERROR_SUCCESS;
}

extern "C" UINT __stdcall ShutDownVCC(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    LogActionStart(L"ShutDownVCC");
    const SettingsProcesses processes = FindSettingsProcesses();
    if (processes.ids.empty()) {
        LogMessage(g_hInstall, L"VAREN_CA ShutDownVCC VantorSettings.exe is not running \n");
        return ERROR_SUCCESS;
    }
    CloseRequest request = {&processes.ids, 0};
    EnumWindows(&AskWindowToClose, reinterpret_cast<LPARAM>(&request));
    if (request.cAsked > 0) {
        LogMessage(g_hInstall, L"VAREN_CA ShutDownVCC asked VantorSettings.exe to close \n");
        if (WaitForAllToEnd(processes.handles)) {
            LogMessage(g_hInstall, L"VAREN_CA ShutDownVCC VantorSettings.exe closed \n");
            return ERROR_SUCCESS;
        }
    }
    LogMessage(g_hInstall, L"VAREN_CA ShutDownVCC ending VantorSettings.exe with TaskKill \n");
    TaskKillImage(kSettingsImage);
    return ERROR_SUCCESS; // a clean-up before files are replaced never fails the install
}

extern "C" UINT __stdcall CreateBethasdaShortcut(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    LogActionStart(L"CreateBethasdaShortcut");
    const std::optional<std::wstring> strProgram =
        FindSettingsProgram(L"CreateBethasdaShortcut", L"Bethasda.exe");
    if (!strProgram) {
        return ERROR_INSTALL_FAILURE;
    }
    const std::wstring strFolder = strProgram->substr(0, strProgram->find_last_of(L'\\'));
    return CreateShortcutIn(L"CreateBethasdaShortcut", CSIDL_COMMON_DESKTOPDIRECTORY,
                            L"Bethasda.lnk",
                            {*strProgram, L"", strFolder, *strProgram, L"Bethasda"});
}

extern "C" UINT __stdcall createQVXLinkWindowsAppShortcut(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    LogActionStart(L"createQVXLinkWindowsAppShortcut");
    PropertyBuffer szId = {};
    if (ReadProperty(hInstall, L"CustomActionData", szId) != ERROR_SUCCESS) {
        szId[0] = L'\0';
    }
    if (!IsAppUserModelId(szId)) {
        LogMessage(g_hInstall, L"VAREN_CA createQVXLinkWindowsAppShortcut invalid app ID, %s \n",
                   szId);
        return ERROR_INSTALL_FAILURE;
    }
    wchar_t szWindows[MAX_PATH] = {};
    const UINT cchWindows = GetWindowsDirectoryW(szWindows, MAX_PATH);
    const std::wstring strExplorer = cchWindows > 0 && cchWindows < MAX_PATH
                                         ? JoinFolderAndName(szWindows, L"explorer.exe")
                                         : L"";
    return CreateShortcutIn(L"createQVXLinkWindowsAppShortcut", CSIDL_COMMON_PROGRAMS,
                            L"QVX Link.lnk",
                            {strExplorer, BuildAppsFolderArguments(szId), L"", L"", L"QVX Link"});
}
