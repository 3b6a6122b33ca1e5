// The hand-off to the suite's install manager (uninstall everything, a component or
// the current package; update), the check that a package was started by it, and the
// install manager's reboot request, carried into the installer's "REBOOT".
#include "runtime/handles.h"
#include "runtime/log.h"
#include "runtime/session.h"
#include "suite/install_manager_text.h"
#include "system/process.h"
#include "system/registry.h"
#include "system/registry_text.h"

#include <msiquery.h>

#include <optional>
#include <string>

namespace {

constexpr wchar_t kInstallManagerKey[] =
    L"SOFTWARE\\ORX Technologies\\Install\\ORX Velium Install Manager";
constexpr wchar_t kUninstallArguments[] =
    L"/IGNORE_UPGRADE /FORCE_HIDE_FIRST_RUN /UNATTENDED_UNINSTALL /AUTOACCEPT_ALL "
    L"/FORCE_CLOSE_WHEN_DONE /ON_REBOOT_MESSAGE:NO";
// The installer's progress window, kept out of the install manager's way.
constexpr wchar_t kInstallerWindowClass[] = L"MsiDialogCloseClass";

// A string value of the install-manager key (native view, read access) of fewer than
// MAX_PATH characters; nullopt when the key or value is missing or not a string.
std::optional<std::wstring> ReadInstallManagerValue(const wchar_t* szName) {
    UniqueRegKey hKey;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kInstallManagerKey, 0, KEY_READ, hKey.put()) !=
        ERROR_SUCCESS) {
        return std::nullopt;
    }
    return QueryStringValue(hKey.get(), szName, (MAX_PATH - 1) * sizeof(wchar_t));
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
