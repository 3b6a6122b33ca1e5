// The install-manager hand-off and reboot state.
#include "tests/support/cases.h"

using namespace cases;

namespace {

const std::wstring kManager = L"SOFTWARE\\ORX Technologies\\Install\\ORX Velium Install Manager";
const std::wstring kQvx = L"SOFTWARE\\QVX";
const std::wstring kFolder = L"%CASE%\\IM";
const std::wstring kProgram = kFolder + L"\\InstallManagerApp.exe";
const std::wstring kAll = L"/IGNORE_UPGRADE /FORCE_HIDE_FIRST_RUN /UNATTENDED_UNINSTALL "
                          L"/AUTOACCEPT_ALL /FORCE_CLOSE_WHEN_DONE /ON_REBOOT_MESSAGE:NO";
const std::wstring kComp = L"/UNINSTALL /IGNORE_UPGRADE /ON_REBOOT_MESSAGE:NO";
const wchar_t kNoWindow[] = L"Unable to show/hide MSI uninstall window";

Item Manager(const wchar_t* szReboot, unsigned views = N) {
    return Str(views, kManager, L"VLM_Reboot", szReboot);
}
Item Mode(DWORD dwMode) {
    return Dword(N, kQvx, L"UninstallMode", dwMode, HKEY_CURRENT_USER);
}

// The installed manager: its folder registered (native view) and its program a stand-in.
std::vector<Item> Installed(std::vector<Item> more = {}) {
    more.push_back(Str(N, kManager, L"InstallDir", kFolder));
    more.push_back(Program(kProgram));
    return more;
}

// What the process launch logs around a waited-for start of the install manager.
Lines Launched(const std::wstring& strArguments) {
    const std::wstring strCommand = L"\"" + kProgram + L"\" " + strArguments;
    return {kNoWindow, L"VAREN_CA Security String converted",
            L"CreateProcess successfully launched " + strCommand +
                L" \nWaitng for process to return...",
            L"CreateProcess successfully returned from wait after launching " + strCommand + L" \n",
            kNoWindow};
}
Lines Command(const std::wstring& strArguments) {
    return {L"\"" + kProgram + L"\" " + strArguments};
}

BOOL WINAPI RefuseCreateProcess(LPCWSTR, LPWSTR, LPSECURITY_ATTRIBUTES, LPSECURITY_ATTRIBUTES, BOOL,
                                DWORD, LPVOID, LPCWSTR, LPSTARTUPINFOW, LPPROCESS_INFORMATION) {
    CountFault();
    SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
}

// A hand-off that starts the installed manager with strArguments and leaves REBOOT as szReboot.
Case Launch(const char* szName, const char* szAction, std::vector<Item> before,
            const std::wstring& strArguments, const wchar_t* szReboot,
            std::vector<Item> after = {}) {
    return {.szName = szName,
            .szAction = szAction,
            .before = Installed(std::move(before)),
            .lines = Launched(strArguments),
            .after = std::move(after),
            .commands = Command(strArguments),
            .set = {{L"REBOOT", szReboot}}};
}
// A hand-off that finds no manager to start: uReturn, no lines, REBOOT left as szReboot.
Case NotStarted(const char* szName, const char* szAction, std::vector<Item> before, UINT uReturn,
                const wchar_t* szReboot, std::vector<Item> after = {}) {
    return {.szName = szName,
            .szAction = szAction,
            .before = std::move(before),
            .uReturn = uReturn,
            .after = std::move(after),
            .set = {{L"REBOOT", szReboot}}};
}

const int kLaunches = Register({
    Launch("runs the manager, waits, writes mode 3 and carries YES over", "LaunchApp_UinstallAll",
           {Manager(L"YES")}, kAll, L"F", {Mode(3)}),
    Launch("a component: no mode written; Yes only in the 32-bit view is not read",
           "LaunchApp_UinstallComp", {Manager(L"Yes", W), Mode(7)}, kComp, L""),
    Launch("update: no reboot carried over", "LaunchApp_Update", {Manager(L"Yes"), Mode(7)},
           L"/UPDATE", L""),
    {.szName = "the shell starts the manager when the process launch fails",
     .szAction = "LaunchApp_UinstallAll",
     .before = Installed(),
     .lines = {kNoWindow, L"VAREN_CA Security String converted",
               L"\nVAREN_CA Failed to lauch >\"" + kProgram + L"\" " + kAll +
                   L"<\n Last error return: 5\n",
               L"Varen_CA launched the following successfully: \"" + kProgram +
                   L"\" \nWaiting for process to end...",
               L"Varen_CA Process: \"" + kProgram + L"\" \nsuccessfully ended launching",
               kNoWindow},
     .after = {Mode(3)},
     .commands = Command(kAll),
     .arrange = Faulty("kernel32.dll", "CreateProcessW", &RefuseCreateProcess)},
    NotStarted("a folder in the 32-bit view only starts nothing: 1603, still mode 3 and reboot",
               "LaunchApp_UinstallAll", {Str(W, kManager, L"InstallDir", kFolder), Manager(L"Yes")},
               1603, L"F", {Mode(3)}),
    NotStarted("a folder that is no string starts nothing; No leaves REBOOT alone",
               "LaunchApp_UinstallCurrent", {Dword(N, kManager, L"InstallDir", 1), Manager(L"No")},
               1603, L"", {Mode(1)}),
    NotStarted("a component without the manager: 1603", "LaunchApp_UinstallComp", {Manager(L"yes")},
               1603, L"F"),
    NotStarted("update without the manager: 1627", "LaunchApp_Update", {}, 1627, L""),
});

const std::wstring kAbort =
    L"This package requires QVX Installer Setup.\nPlease obtain and install "
    L"QVX Installer from www.qvx.com to continue installing this "
    L"package.\nThis application will now abort.";
const wchar_t kNotLaunched[] = L"VAREN_CA Not Launched from VLM and unable to get property";

Case NotFromVlm(const char* szName, PropertyRows properties) {
    return {.szName = szName,
            .szAction = "LaunchedFromVLM",
            .properties = std::move(properties),
            .uReturn = 1612,
            .lines = {kNotLaunched},
            .messages = {kAbort}};
}

const int kLaunchedFromVLM = Register({
    {.szName = "1 goes on",
     .szAction = "LaunchedFromVLM",
     .properties = {{L"LAUNCHED_FROM_VLM", L"1"}},
     .lines = {L"VAREN_CA Launched from VLM: 1 \n"}},
    NotFromVlm("any other value aborts with the message", {{L"LAUNCHED_FROM_VLM", L"1 "}}),
    NotFromVlm("undefined aborts", {}),
    NotFromVlm("a value of 260 characters cannot be read and aborts",
               {{L"LAUNCHED_FROM_VLM", L"1" + std::wstring(259, L' ')}}),
});

const int kResetRebootKey = Register({
    {.szName = "writes No in both views",
     .szAction = "ResetRebootKey",
     .before = {Manager(L"Yes", NW), Str(NW, kManager, L"InstallDir", kFolder)},
     .lines = {L"VAREN_CA ResetRebootKey succeeded"},
     .after = {Manager(L"No", NW)}},
});

const std::wstring kInstallKey = L"SOFTWARE\\ORX Technologies\\Install";

const int kGetINSTFolder = Register({
    {.szName = "sets a folder from a native string; no string or the 32-bit view sets nothing",
     .szAction = "GetINSTFolder",
     .before = {Str(N, kInstallKey, L"InstallDir", L"C:\\Suite\\"),
                Dword(N, kInstallKey, L"VLMInstallDir", 1),
                Str(W, kInstallKey, L"VLMInstallDir", L"C:\\IM\\")},
     .lines = {L"VAREN_CA Inside GetINSTFolder is, C:\\Suite\\ \n",
               L"VAREN_CA Inside GetINSTFolder2 is,  \n"},
     .set = {{L"INSTFOLDER", L"C:\\Suite\\"}, {L"VLMINSTFOLDER", L""}}},
});

const std::wstring kKmpfd = L"%PROGRAMFILES%\\QVX\\QVXKMPFD";
const wchar_t kInsideKmpfd[] = L"VAREN_CA Inside IsKMPFDFolderExists \n";

const int kIsKMPFDFolderExists = Register({
    {.szName = "hands the folder to RemoveKMPFD and reports the reboot flag",
     .szAction = "IsKMPFDFolderExists",
     .before = {Folder(kKmpfd), Manager(L"Yes")},
     .lines = {kInsideKmpfd,
               L"Varen_CA RemoveKMPFD, " + kKmpfd + L" should be set in CustomActionData \n",
               L"VAREN_CA Inside IsKMPFDFolderExists - RegKey Opened\n",
               L"VAREN_CA IsKMPFDFolderExists - VLM_Reboot Flag: , Yes \n"},
     .set = {{L"RemoveKMPFD", kKmpfd}}},
    {.szName = "a file of that name is no folder; no flag reads empty",
     .szAction = "IsKMPFDFolderExists",
     .before = {File(kKmpfd), Str(N, kManager, L"InstallDir", kFolder)},
     .lines = {kInsideKmpfd, L"VAREN_CA Inside IsKMPFDFolderExists - RegKey Opened\n",
               L"VAREN_CA IsKMPFDFolderExists - VLM_Reboot Flag: ,  \n"},
     .set = {{L"RemoveKMPFD", L""}}},
    {.szName = "neither folder nor install manager",
     .szAction = "IsKMPFDFolderExists",
     .lines = {kInsideKmpfd},
     .set = {{L"RemoveKMPFD", L""}}},
});

const std::wstring kProxyKey = L"SOFTWARE\\ORX\\UVE\\Settings\\MOM\\Install";
const std::wstring kCoreKey = L"SOFTWARE\\ORX\\UVE\\Packages\\Core-Static";
const std::wstring kProxyProgram = L"C:\\Suite\\ORX.UVE\\MOM-InstallProxy\\MOM.InstallProxy.exe";

// Appends a line for each of the two values in one view: strBefore, its path, szAfter.
Lines Values(Lines lines, bool f32BitView, const std::wstring& strBefore, const wchar_t* szAfter) {
    for (const wchar_t* szValue : {L"ORX\\UVE\\Settings\\MOM\\Install\\Install",
                                   L"ORX\\UVE\\Packages\\Core-Static\\Location"}) {
        lines.push_back(strBefore + (f32BitView ? L"SOFTWARE\\Wow6432Node\\" : L"SOFTWARE\\") +
                        szValue + szAfter);
    }
    return lines;
}
const std::wstring kWritten = L"VAREN_CA SetInstallProxyKey, ";

LONG WINAPI Refuse32BitKeys(HKEY hRoot, LPCWSTR szKey, DWORD dwReserved, LPWSTR szClass,
                            DWORD dwOptions, REGSAM sam, LPSECURITY_ATTRIBUTES pSecurity,
                            PHKEY phKey, LPDWORD pdwDisposition) {
    CountFault();
    if (sam & KEY_WOW64_32KEY) {
        return ERROR_ACCESS_DENIED;
    }
    return RegCreateKeyExW(hRoot, szKey, dwReserved, szClass, dwOptions, sam, pSecurity, phKey,
                           pdwDisposition);
}

const int kProxyKeys = Register({
    {.szName = "writes the proxy and its location in both views",
     .szAction = "SetInstallProxyKey",
     .data = L"C:\\Suite\\",
     .before = {Str(NW, kProxyKey, L"Other", L"x")},
     .lines = Values(
         Values({L"CustomActionData: C:\\Suite\\", L"VAREN_CA SetInstallProxyKey: C:\\Suite\\ \n"},
                false, kWritten, L" \n"),
         true, kWritten, L" \n"),
     .after = {Str(NW, kProxyKey, L"Install", kProxyProgram),
               Str(NW, kCoreKey, L"Location", L"C:\\Suite\\")}},
    {.szName = "a view that cannot be written fails the action after trying every value",
     .szAction = "SetInstallProxyKey",
     .data = L"C:\\Suite",
     .uReturn = 1603,
     .lines = Values(
         Values({L"CustomActionData: C:\\Suite", L"VAREN_CA SetInstallProxyKey: C:\\Suite \n"},
                false, kWritten, L" \n"),
         true, L"VAREN_CA SetInstallProxyKey failed, ", L".\n"),
     .after = {Str(N, kProxyKey, L"Install", kProxyProgram),
               Str(N, kCoreKey, L"Location", L"C:\\Suite")},
     .arrange = Faulty("advapi32.dll", "RegCreateKeyExW", &Refuse32BitKeys)},
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
});

const std::wstring kProxyFolder = L"%CASE%\\ORX.UVE\\MOM-InstallProxy";

// Starts szProgram in the proxy folder, the other items arranged too, and waits for it.
Case Proxy(const char* szName, const wchar_t* szProgram, std::vector<Item> before = {}) {
    const std::wstring strProgram = kProxyFolder + L"\\" + szProgram;
    const std::wstring strCommand = L"\"" + strProgram + L"\"";
    before.push_back(Program(strProgram));
    return {.szName = szName,
            .szAction = "LaunchInstallProxy",
            .data = L"%CASE%\\",
            .before = std::move(before),
            .lines = {L"CustomActionData: %CASE%\\", L"VAREN_CA Security String converted",
                      L"CreateProcess successfully launched " + strCommand +
                          L" \nWaitng for process to return...",
                      L"CreateProcess successfully returned from wait after launching " +
                          strCommand + L" \n"},
            .commands = {strCommand}};
}

const int kLaunchInstallProxy = Register({
    Proxy("runs the install proxy and waits", L"MOM.InstallProxy.exe",
          {File(kProxyFolder + L"\\CLI.exe")}),
    Proxy("the older CLI.exe where the proxy is missing", L"CLI.exe"),
    {.szName = "no proxy: 1603",
     .szAction = "LaunchInstallProxy",
     .data = L"%CASE%\\",
     .before = {Folder(kProxyFolder)},
     .uReturn = 1603,
     .lines = {L"CustomActionData: %CASE%\\",
               L"VAREN_CA LaunchInstallProxy: no install proxy in " + kProxyFolder + L" \n"}},
});

} // namespace
