// The install-manager hand-off, its secured launch and reboot state, and the install proxy.
#include "tests/support/cases.h"

#include <sddl.h>

using namespace cases;

namespace {

const std::wstring kInstall = L"SOFTWARE\\ORX Technologies\\Install";
const std::wstring kManager = kInstall + L"\\ORX Velium Install Manager";
const std::wstring kProgram = L"%CASE%\\IM\\InstallManagerApp.exe";
const wchar_t kAll[] = L"/IGNORE_UPGRADE /FORCE_HIDE_FIRST_RUN /UNATTENDED_UNINSTALL "
                       L"/AUTOACCEPT_ALL /FORCE_CLOSE_WHEN_DONE /ON_REBOOT_MESSAGE:NO";
const wchar_t kNoWindow[] = L"Unable to show/hide MSI uninstall window";
const std::wstring kProxyKey = L"SOFTWARE\\ORX\\UVE\\Settings\\MOM\\Install";
const std::wstring kCoreKey = L"SOFTWARE\\ORX\\UVE\\Packages\\Core-Static";
const std::wstring kWritten = L"VAREN_CA SetInstallProxyKey, ";
const std::wstring kProxy = L"%CASE%\\ORX.UVE\\MOM-InstallProxy\\MOM.InstallProxy.exe";

Item Reboot(const wchar_t* szReboot, unsigned views = N) {
    return Str(views, kManager, L"VLM_Reboot", szReboot);
}
Item Mode(DWORD dwMode) {
    return Dword(N, L"SOFTWARE\\QVX", L"UninstallMode", dwMode, HKEY_CURRENT_USER);
}

// strFirst, then what the secured launcher logs around a waited-for start of strCommand.
Lines Launched(const std::wstring& strFirst, const std::wstring& strCommand) {
    return {strFirst, L"VAREN_CA Security String converted",
            L"CreateProcess successfully launched " + strCommand +
                L" \nWaitng for process to return...",
            L"CreateProcess successfully returned from wait after launching " + strCommand +
                L" \n"};
}

// A launch action finds the manager's folder in the native view (the 32-bit view names
// another folder), runs its program with szArguments, waits, and leaves REBOOT as szReboot.
Case Launch(const char* szAction, const char* szName, std::vector<Item> before,
            const wchar_t* szArguments, const wchar_t* szReboot, std::vector<Item> after = {}) {
    const std::wstring strCommand = L"\"" + kProgram + L"\" " + szArguments;
    Lines lines = Launched(kNoWindow, strCommand);
    lines.push_back(kNoWindow);
    before.push_back(Str(N, kManager, L"InstallDir", L"%CASE%\\IM"));
    before.push_back(Str(W, kManager, L"InstallDir", L"%CASE%\\IM32"));
    before.push_back(Program(kProgram));
    return {.szName = szName,
            .szAction = szAction,
            .before = std::move(before),
            .lines = lines,
            .after = std::move(after),
            .commands = {strCommand},
            .set = {{L"REBOOT", szReboot}}};
}

// Notes the process descriptor by its SDDL text (Wine keeps descriptors but does not
// enforce them), then starts the process.
BOOL WINAPI NoteSecurity(LPCWSTR szApplication, LPWSTR szCommandLine,
                         LPSECURITY_ATTRIBUTES pProcess, LPSECURITY_ATTRIBUTES pThread,
                         BOOL fInherit, DWORD dwFlags, LPVOID pEnvironment, LPCWSTR szDirectory,
                         LPSTARTUPINFOW pStartup, LPPROCESS_INFORMATION pInfo) {
    CountFault();
    LPWSTR szSddl = nullptr;
    if (pProcess && pProcess->lpSecurityDescriptor) {
        ConvertSecurityDescriptorToStringSecurityDescriptorW(
            pProcess->lpSecurityDescriptor, SDDL_REVISION_1, DACL_SECURITY_INFORMATION, &szSddl,
            nullptr);
    }
    Note(std::wstring(szSddl ? szSddl : L"(none)") +
         (pProcess && pProcess->bInheritHandle ? L", inheritable" : L""));
    LocalFree(szSddl);
    return CreateProcessW(szApplication, szCommandLine, pProcess, pThread, fInherit, dwFlags,
                          pEnvironment, szDirectory, pStartup, pInfo);
}

// System, Administrators and the owner get full control, the interactive user read, write
// and execute; the handle is inheritable (kept on purpose: the install manager's own
// children rely on it).
Case SecuredUpdate() {
    Case c = Launch("LaunchApp_Update", "started with the fixed descriptor; no reboot carried",
                    {Reboot(L"Yes"), Mode(7)}, L"/UPDATE", L"");
    c.lines.insert(c.lines.begin() + 2, L"D:(A;OICI;GA;;;SY)(A;OICI;GA;;;BA)(A;OICI;GA;;;CO)"
                                        L"(A;OICI;GXGWGR;;;IU), inheritable");
    c.szWine = "Wine's SDDL writer orders the rights GXGWGR where the library wrote GRGWGX";
    c.arrange = Faulty({{"kernel32.dll", "CreateProcessW", &NoteSecurity}});
    return c;
}

const int kInstallManager = Register({
    Launch("LaunchApp_UinstallAll", "writes mode 3 and carries YES over", {Reboot(L"YES")}, kAll,
           L"F", {Mode(3)}),
    Launch("LaunchApp_UinstallCurrent", "writes mode 1; No leaves REBOOT alone", {Reboot(L"No")},
           kAll, L"", {Mode(1)}),
    Launch("LaunchApp_UinstallComp", "no mode written; Yes in the 32-bit view is not read",
           {Reboot(L"Yes", W), Mode(7)}, L"/UNINSTALL /IGNORE_UPGRADE /ON_REBOOT_MESSAGE:NO", L""),
    SecuredUpdate(),
    {.szName = "a folder only in the 32-bit view starts nothing: 1627",
     .szAction = "LaunchApp_Update",
     .before = {Str(W, kManager, L"InstallDir", L"%CASE%\\IM"), Program(kProgram)},
     .uReturn = 1627},
    {.szName = "1 goes on",
     .szAction = "LaunchedFromVLM",
     .properties = {{L"LAUNCHED_FROM_VLM", L"1"}},
     .lines = {L"VAREN_CA Launched from VLM: 1 \n"}},
    {.szName = "any other value aborts with the message",
     .szAction = "LaunchedFromVLM",
     .properties = {{L"LAUNCHED_FROM_VLM", L"1 "}},
     .uReturn = 1612,
     .lines = {L"VAREN_CA Not Launched from VLM and unable to get property"},
     .messages = {L"This package requires QVX Installer Setup.\nPlease obtain and install QVX "
                  L"Installer from www.qvx.com to continue installing this package.\nThis "
                  L"application will now abort."}},
    {.szName = "writes No in both views",
     .szAction = "ResetRebootKey",
     .before = {Reboot(L"Yes", NW), Str(NW, kManager, L"InstallDir", L"%CASE%\\IM")},
     .lines = {L"VAREN_CA ResetRebootKey succeeded"},
     .after = {Reboot(L"No", NW)}},
    {.szName = "sets a folder from a native string; no string or the 32-bit view sets nothing",
     .szAction = "GetINSTFolder",
     .before = {Str(N, kInstall, L"InstallDir", L"C:\\Suite\\"),
                Dword(N, kInstall, L"VLMInstallDir", 1),
                Str(W, kInstall, L"VLMInstallDir", L"C:\\IM\\")},
     .lines = {L"VAREN_CA Inside GetINSTFolder is, C:\\Suite\\ \n",
               L"VAREN_CA Inside GetINSTFolder2 is,  \n"},
     .set = {{L"INSTFOLDER", L"C:\\Suite\\"}, {L"VLMINSTFOLDER", L""}}},
    {.szName = "hands the folder to RemoveKMPFD and reports the reboot flag",
     .szAction = "IsKMPFDFolderExists",
     .before = {Folder(L"%PROGRAMFILES%\\QVX\\QVXKMPFD"), Reboot(L"Yes")},
     .lines = {L"VAREN_CA Inside IsKMPFDFolderExists \n",
               L"Varen_CA RemoveKMPFD, %PROGRAMFILES%\\QVX\\QVXKMPFD should be set in "
               L"CustomActionData \n",
               L"VAREN_CA Inside IsKMPFDFolderExists - RegKey Opened\n",
               L"VAREN_CA IsKMPFDFolderExists - VLM_Reboot Flag: , Yes \n"},
     .set = {{L"RemoveKMPFD", L"%PROGRAMFILES%\\QVX\\QVXKMPFD"}}},
    {.szName = "writes the proxy and its location in both views",
     .szAction = "SetInstallProxyKey",
     .data = L"C:\\Suite\\",
     .before = {Str(NW, kProxyKey, L"Other", L"x")},
     .lines = {L"CustomActionData: C:\\Suite\\", L"VAREN_CA SetInstallProxyKey: C:\\Suite\\ \n",
               kWritten + kProxyKey + L"\\Install \n", kWritten + kCoreKey + L"\\Location \n",
               kWritten + L"SOFTWARE\\Wow6432Node\\ORX\\UVE\\Settings\\MOM\\Install\\Install \n",
               kWritten + L"SOFTWARE\\Wow6432Node\\ORX\\UVE\\Packages\\Core-Static\\Location \n"},
     .after = {Str(NW, kProxyKey, L"Install",
                   L"C:\\Suite\\ORX.UVE\\MOM-InstallProxy\\MOM.InstallProxy.exe"),
               Str(NW, kCoreKey, L"Location", L"C:\\Suite\\")}},
    {.szName = "no folder: 1603, nothing written",
     .szAction = "SetInstallProxyKey",
     .uReturn = 1603,
     .lines = {L"CustomActionData: ", L"VAREN_CA SetInstallProxyKey failed, CustomActionData.\n"}},
    {.szName = "removes both values and the key left empty, keeps the rest",
     .szAction = "DelInstallProxyKey",
     .before = {Str(NW, kProxyKey, L"Install", L"x"), Str(NW, kProxyKey, L"Other", L"y"),
                Str(NW, kCoreKey, L"Location", L"z"),
                Key(NW, L"SOFTWARE\\ORX\\UVE\\Packages\\Other")},
     .lines = {L"VAREN_CA: DelInstallProxyKey  \n",
               L"VAREN_CA: DelInstallProxyKey successfully  \n"},
     .gone = {Str(NW, kProxyKey, L"Install", L"x"), Key(NW, kCoreKey)}},
    {.szName = "runs the install proxy, not the older CLI.exe, and waits",
     .szAction = "LaunchInstallProxy",
     .data = L"%CASE%\\",
     .before = {Program(kProxy), File(L"%CASE%\\ORX.UVE\\MOM-InstallProxy\\CLI.exe")},
     .lines = Launched(L"CustomActionData: %CASE%\\", L"\"" + kProxy + L"\""),
     .commands = {L"\"" + kProxy + L"\""}},
    {.szName = "no proxy in the folder: 1603",
     .szAction = "LaunchInstallProxy",
     .data = L"%CASE%\\",
     .before = {Folder(L"%CASE%\\ORX.UVE\\MOM-InstallProxy")},
     .uReturn = 1603,
     .lines = {L"CustomActionData: %CASE%\\", L"VAREN_CA LaunchInstallProxy: no install proxy in "
                                              L"%CASE%\\ORX.UVE\\MOM-InstallProxy \n"}},
});

} // namespace
