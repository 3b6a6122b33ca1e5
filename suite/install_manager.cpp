// The hand-off to the suite's install manager (uninstall everything, a component or
// the current package; update), the check that a package was started by it, and the
// install manager's reboot request, carried into the installer's "REBOOT".
#include "runtime/handles.h"
#include "runtime/log.h"
#include "runtime/records.h"
#include "runtime/session.h"
#include "suite/install_manager_text.h"
#include "system/process.h"
#include "system/registry.h"
#include "system/path_text.h"
#include "system/registry_text.h"

#include <msiquery.h>
#include <shlobj.h>

#include <optional>
#include <string>

namespace {

constexpr wchar_t kInstallKey[] = L"SOFTWARE\\ORX Technologies\\Install\\";
constexpr wchar_t kInstallManagerKey[] =
    L"SOFTWARE\\ORX Technologies\\Install\\ORX Velium Install Manager";
constexpr wchar_t kUninstallArguments[] =
    L"/IGNORE_UPGRADE /FORCE_HIDE_FIRST_RUN /UNATTENDED_UNINSTALL /AUTOACCEPT_ALL "
    L"/FORCE_CLOSE_WHEN_DONE /ON_REBOOT_MESSAGE:NO";
// The installer's progress window, kept out of the install manager's way.
constexpr wchar_t kInstallerWindowClass[] = L"MsiDialogCloseClass";

// A string value of HKLM szKey (native view, read access) of fewer than MAX_PATH
// characters; nullopt when the key or value is missing or not a string.
std::optional<std::wstring> ReadHklmString(const wchar_t* szKey, const wchar_t* szName) {
    UniqueRegKey hKey;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, szKey, 0, KEY_READ, hKey.put()) != ERROR_SUCCESS) {
        return std::nullopt;
    }
    return QueryStringValue(hKey.get(), szName, (MAX_PATH - 1) * sizeof(wchar_t));
}

std::optional<std::wstring> ReadInstallManagerValue(const wchar_t* szName) {
    return ReadHklmString(kInstallManagerKey, szName);
}

bool IsFile(const std::wstring& strPath) {
    const DWORD dwAttributes = GetFileAttributesW(strPath.c_str());
    return dwAttributes != INVALID_FILE_ATTRIBUTES && !(dwAttributes & FILE_ATTRIBUTE_DIRECTORY);
}

// The install proxy's two registered values: key (native spelling) and name.
struct ProxyValue {
    const wchar_t* szKey;
    const wchar_t* szName;
};
constexpr ProxyValue kProxyValues[] = {{L"SOFTWARE\\ORX\\UVE\\Settings\\MOM\\Install", L"Install"},
                                       {L"SOFTWARE\\ORX\\UVE\\Packages\\Core-Static", L"Location"}};
constexpr wchar_t kProxyFolder[] = L"ORX.UVE\\MOM-InstallProxy";

REGSAM ViewAccess(bool f32BitView) {
    return f32BitView ? KEY_WOW64_32KEY : 0;
}

// Deletes szKey in one view when it holds neither values nor sub-keys.
void DeleteKeyIfEmpty(const wchar_t* szKey, bool f32BitView) {
    DWORD cSubKeys = 1;
    DWORD cValues = 1;
    {
        UniqueRegKey hKey;
        if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, szKey, 0, KEY_QUERY_VALUE | ViewAccess(f32BitView),
                          hKey.put()) != ERROR_SUCCESS ||
            RegQueryInfoKeyW(hKey.get(), nullptr, nullptr, nullptr, &cSubKeys, nullptr, nullptr,
                             &cValues, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) {
            return;
        }
    }
    if (cSubKeys == 0 && cValues == 0) {
        RegDeleteKeyExW(HKEY_LOCAL_MACHINE, szKey, ViewAccess(f32BitView), 0);
    }
}

void PlaceInstallerWindow(HWND hInsertAfter, UINT uFlags) {
    const HWND hWindow = FindWindowW(kInstallerWindowClass, nullptr);
    if (hWindow == nullptr) {
        LogMessage(g_hInstall, L"Unable to show/hide MSI uninstall window");
        return;
    }
    SetWindowPos(hWindow, hInsertAfter, 0, 0, 0, 0, uFlags);
}

// Runs the install manager with szArguments and waits for it (fWait) without limit;
// the installer's window is hidden meanwhile. The process launch comes first, the
// shell the fallback. True when either started the program; nothing is started
// when the install manager's folder is not registered (or is empty).
bool LaunchInstallManager(const wchar_t* szArguments, bool fWait) {
    const std::optional<std::wstring> strFolder = ReadInstallManagerValue(L"InstallDir");
    if (!strFolder || strFolder->empty()) {
        return false;
    }
    const std::wstring strProgram = BuildInstallManagerPath(*strFolder);
    std::wstring strCommand = BuildInstallManagerCommand(strProgram, szArguments);
    PlaceInstallerWindow(HWND_BOTTOM, SWP_NOSIZE | SWP_NOMOVE | SWP_HIDEWINDOW);
    const bool fLaunched =
        LaunchProcessSecured(strCommand.data(), L"", fWait, INFINITE) != 0 ||
        ShellExecuteAndWait(QuoteProgram(strProgram).c_str(), szArguments, fWait);
    PlaceInstallerWindow(HWND_TOPMOST, SWP_NOSIZE | SWP_NOMOVE | SWP_SHOWWINDOW);
    return fLaunched;
}

// Sets "REBOOT" to "F" when the install manager's "VLM_Reboot" is "yes" in any
// case; returns 1 when it did.
int CarryOverVlmReboot() {
    const std::optional<std::wstring> strReboot = ReadInstallManagerValue(L"VLM_Reboot");
    if (!strReboot ||
        CompareStringOrdinal(strReboot->c_str(), -1, L"yes", -1, TRUE) != CSTR_EQUAL) {
        return 0;
    }
    return MsiSetPropertyW(g_hInstall, L"REBOOT", L"F") == ERROR_SUCCESS ? 1 : 0;
}

// Writes "VLM_Reboot" = "Yes" or "No" (REG_SZ) in the 32-bit view and then the
// native one, creating the key; 1 when at least one view opened.
int SetVlmRebootValue(bool fReboot) {
    const KeyPathParts parts = SplitKeyPath(std::wstring(kInstallManagerKey) + L"\\VLM_Reboot");
    const std::wstring strValue = fReboot ? L"Yes" : L"No";
    int iOpened = 0;
    for (const REGSAM samView : {kKeyAllAccess32, static_cast<REGSAM>(KEY_ALL_ACCESS)}) {
        UniqueRegKey hKey;
        if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, parts.strKeyPart.c_str(), 0, nullptr, 0, samView,
                            nullptr, hKey.put(), nullptr) == ERROR_SUCCESS) {
            RegSetValueExW(hKey.get(), parts.strLeafPart.c_str(), 0, REG_SZ,
                           reinterpret_cast<const BYTE*>(strValue.c_str()),
                           static_cast<DWORD>((strValue.size() + 1) * sizeof(wchar_t)));
            iOpened = 1;
        }
    }
    return iOpened;
}

// The four launch actions: store the handle, run the install manager and wait,
// carry its reboot request over when asked, and fail with uFailure when it could
// not be started.
UINT HandOverToInstallManager(MSIHANDLE hInstall, const wchar_t* szArguments, bool fCarryOverReboot,
                              UINT uFailure) {
    g_hInstall = hInstall;
    const bool fLaunched = LaunchInstallManager(szArguments, true);
    if (fCarryOverReboot) {
        CarryOverVlmReboot();
    }
    return fLaunched ? ERROR_SUCCESS : uFailure;
}

} // namespace

extern "C" UINT __stdcall LaunchApp_UinstallAll(MSIHANDLE hInstall) {
    // Composed and deliberately never logged, as the action always has.
    wchar_t szUnlogged[kcchLogLine];
    wsprintfW(szUnlogged,
              L"VAREN_CA LaunchApp_UinstallAll Before CreateRegDWValue and dwval is %ld \n", 3L);
    g_hInstall = hInstall;
    CreateRegDWValue(L"UninstallMode", 3);
    return HandOverToInstallManager(hInstall, kUninstallArguments, true, ERROR_INSTALL_FAILURE);
}

extern "C" UINT __stdcall LaunchApp_UinstallComp(MSIHANDLE hInstall) {
    return HandOverToInstallManager(hInstall, L"/UNINSTALL /IGNORE_UPGRADE /ON_REBOOT_MESSAGE:NO",
                                    true, ERROR_INSTALL_FAILURE);
}

extern "C" UINT __stdcall LaunchApp_UinstallCurrent(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    CreateRegDWValue(L"UninstallMode", 1);
    return HandOverToInstallManager(hInstall, kUninstallArguments, true, ERROR_INSTALL_FAILURE);
}

// Fails with 1627, not 1603, and carries no reboot over: packages test for that code.
extern "C" UINT __stdcall LaunchApp_Update(MSIHANDLE hInstall) {
    return HandOverToInstallManager(hInstall, L"/UPDATE", false, ERROR_FUNCTION_FAILED);
}

// Logs through its own handle and leaves the session slot as it is.
extern "C" UINT __stdcall LaunchedFromVLM(MSIHANDLE hInstall) {
    PropertyBuffer szValue = {};
    if (ReadProperty(hInstall, L"LAUNCHED_FROM_VLM", szValue) == ERROR_SUCCESS &&
        lstrcmpW(szValue, L"1") == 0) {
        LogMessage(hInstall, L"VAREN_CA Launched from VLM: %s \n", szValue);
        return ERROR_SUCCESS;
    }
    LogMessage(hInstall, L"VAREN_CA Not Launched from VLM and unable to get property");
    ShowInstallerMessage(hInstall,
                         L"This package requires QVX Installer Setup.\nPlease obtain and install "
                         L"QVX Installer from www.qvx.com to continue installing this "
                         L"package.\nThis application will now abort.",
                         0);
    return ERROR_INSTALL_SOURCE_ABSENT;
}

extern "C" UINT __stdcall ResetRebootKey(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    LogMessage(g_hInstall, SetVlmRebootValue(false) == 1 ? L"VAREN_CA ResetRebootKey succeeded"
                                                         : L"VAREN_CA ResetRebootKey failed");
    return ERROR_SUCCESS;
}

extern "C" UINT __stdcall GetINSTFolder(MSIHANDLE hInstall) {
    struct Folder {
        const wchar_t* szValue;
        const wchar_t* szProperty;
        const wchar_t* szLine;
    };
    static constexpr Folder kFolders[] = {
        {L"InstallDir", L"INSTFOLDER", L"VAREN_CA Inside GetINSTFolder is, %s \n"},
        {L"VLMInstallDir", L"VLMINSTFOLDER", L"VAREN_CA Inside GetINSTFolder2 is, %s \n"}};
    g_hInstall = hInstall;
    for (const Folder& folder : kFolders) {
        const std::optional<std::wstring> strFolder = ReadHklmString(kInstallKey, folder.szValue);
        LogMessage(g_hInstall, folder.szLine, strFolder ? strFolder->c_str() : L"");
        if (strFolder) {
            MsiSetPropertyW(g_hInstall, folder.szProperty, strFolder->c_str());
        }
    }
    return ERROR_SUCCESS;
}

extern "C" UINT __stdcall IsKMPFDFolderExists(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    LogMessage(g_hInstall, L"VAREN_CA Inside IsKMPFDFolderExists \n");
    const std::wstring strProgramFiles = GetShellFolderPath(CSIDL_PROGRAM_FILES);
    const std::wstring strFolder = strProgramFiles + L"\\QVX\\QVXKMPFD";
    const DWORD dwAttributes = GetFileAttributesW(strFolder.c_str());
    if (!strProgramFiles.empty() && dwAttributes != INVALID_FILE_ATTRIBUTES &&
        (dwAttributes & FILE_ATTRIBUTE_DIRECTORY)) {
        if (MsiSetPropertyW(g_hInstall, L"RemoveKMPFD", strFolder.c_str()) == ERROR_SUCCESS) {
            LogMessage(g_hInstall, L"Varen_CA RemoveKMPFD, %s should be set in CustomActionData \n",
                       strFolder.c_str());
        } else {
            LogMessage(g_hInstall, L"Varen_CA RemoveKMPFD failed to set Pid in CustomActionData");
        }
    }
    UniqueRegKey hKey;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kInstallManagerKey, 0, KEY_READ, hKey.put()) ==
        ERROR_SUCCESS) {
        LogMessage(g_hInstall, L"VAREN_CA Inside IsKMPFDFolderExists - RegKey Opened\n");
        const std::optional<std::wstring> strFlag =
            QueryStringValue(hKey.get(), L"VLM_Reboot", (MAX_PATH - 1) * sizeof(wchar_t));
        LogMessage(g_hInstall, L"VAREN_CA IsKMPFDFolderExists - VLM_Reboot Flag: , %s \n",
                   strFlag ? strFlag->c_str() : L"");
    }
    return ERROR_SUCCESS;
}

// Deferred as "SetInstallProxyReg": "CustomActionData" is INSTALLDIR.
extern "C" UINT __stdcall SetInstallProxyKey(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    const std::wstring strFolder = ReadCustomActionData();
    if (strFolder.empty()) {
        LogMessage(g_hInstall, L"VAREN_CA SetInstallProxyKey failed, %s.\n", L"CustomActionData");
        return ERROR_INSTALL_FAILURE;
    }
    LogMessage(g_hInstall, L"VAREN_CA SetInstallProxyKey: %s \n", strFolder.c_str());
    const std::wstring strValues[] = {
        JoinFolderAndName(JoinFolderAndName(strFolder, kProxyFolder), L"MOM.InstallProxy.exe"),
        strFolder};
    bool fEveryWrite = true;
    for (const bool f32BitView : {false, true}) {
        for (size_t iValue = 0; iValue < std::size(kProxyValues); ++iValue) {
            const ProxyValue& value = kProxyValues[iValue];
            const std::wstring& strData = strValues[iValue];
            UniqueRegKey hKey;
            const bool fWritten =
                RegCreateKeyExW(HKEY_LOCAL_MACHINE, value.szKey, 0, nullptr, 0,
                                KEY_SET_VALUE | ViewAccess(f32BitView), nullptr, hKey.put(),
                                nullptr) == ERROR_SUCCESS &&
                RegSetValueExW(hKey.get(), value.szName, 0, REG_SZ,
                               reinterpret_cast<const BYTE*>(strData.c_str()),
                               static_cast<DWORD>((strData.size() + 1) * sizeof(wchar_t))) ==
                    ERROR_SUCCESS;
            LogMessage(g_hInstall,
                       fWritten ? L"VAREN_CA SetInstallProxyKey, %s \n"
                                : L"VAREN_CA SetInstallProxyKey failed, %s.\n",
                       SpellProxyValuePath(value.szKey, value.szName, f32BitView).c_str());
            fEveryWrite = fEveryWrite && fWritten;
        }
    }
    return fEveryWrite ? ERROR_SUCCESS : ERROR_INSTALL_FAILURE;
}

// A clean-up step: always 0. The 32-bit view first, as every removal in both views.
extern "C" UINT __stdcall DelInstallProxyKey(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    LogMessage(g_hInstall, L"VAREN_CA: DelInstallProxyKey  \n");
    bool fAllGone = true;
    for (const bool f32BitView : {true, false}) {
        for (const ProxyValue& value : kProxyValues) {
            UniqueRegKey hKey;
            LONG lResult = RegOpenKeyExW(HKEY_LOCAL_MACHINE, value.szKey, 0,
                                         KEY_SET_VALUE | ViewAccess(f32BitView), hKey.put());
            if (lResult == ERROR_SUCCESS) {
                lResult = RegDeleteValueW(hKey.get(), value.szName);
            }
            hKey.reset();
            if (lResult != ERROR_SUCCESS && lResult != ERROR_FILE_NOT_FOUND) {
                LogMessage(g_hInstall, L"VAREN_CA: DelInstallProxyKey could not delete %s  \n",
                           SpellProxyValuePath(value.szKey, value.szName, f32BitView).c_str());
                fAllGone = false;
                continue;
            }
            DeleteKeyIfEmpty(value.szKey, f32BitView);
        }
    }
    if (fAllGone) {
        LogMessage(g_hInstall, L"VAREN_CA: DelInstallProxyKey successfully  \n");
    }
    return ERROR_SUCCESS;
}

// Deferred as "LaunchInstallProxyExe": "CustomActionData" is INSTALLDIR.
extern "C" UINT __stdcall LaunchInstallProxy(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    const std::wstring strData = ReadCustomActionData();
    const std::wstring strFolder = JoinFolderAndName(strData, kProxyFolder);
    std::wstring strProgram = JoinFolderAndName(strFolder, L"MOM.InstallProxy.exe");
    if (!IsFile(strProgram)) {
        strProgram = JoinFolderAndName(strFolder, L"CLI.exe");
    }
    if (!IsAbsolutePath(strData) || !IsFile(strProgram)) {
        LogMessage(g_hInstall, L"VAREN_CA LaunchInstallProxy: no install proxy in %s \n",
                   strFolder.c_str());
        return ERROR_INSTALL_FAILURE;
    }
    std::wstring strCommand = QuoteProgram(strProgram);
    return LaunchProcessSecured(strCommand.data(), L"", true, INFINITE) ? ERROR_SUCCESS
                                                                        : ERROR_INSTALL_FAILURE;
}
