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

LONG WINAPI RefuseCreateKey(HKEY, LPCWSTR, DWORD, LPWSTR, DWORD, REGSAM, LPSECURITY_ATTRIBUTES,
                            PHKEY, LPDWORD) {
    CountFault();
    return ERROR_ACCESS_DENIED;
}

const int kLaunches = Register({
    {.szName = "runs the manager, waits, writes mode 3 and carries YES over",
     .szAction = "LaunchApp_UinstallAll",
     .before = Installed({Manager(L"YES")}),
     .lines = Launched(kAll),
     .after = {Mode(3)},
     .commands = Command(kAll),
     .set = {{L"REBOOT", L"F"}}},
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
    {.szName = "a folder in the 32-bit view only starts nothing: 1603, still mode 3 and reboot",
     .szAction = "LaunchApp_UinstallAll",
     .before = {Str(W, kManager, L"InstallDir", kFolder), Manager(L"Yes")},
     .uReturn = 1603,
     .after = {Mode(3)},
     .set = {{L"REBOOT", L"F"}}},
    {.szName = "a folder that is no string starts nothing",
     .szAction = "LaunchApp_UinstallCurrent",
     .before = {Dword(N, kManager, L"InstallDir", 1)},
     .uReturn = 1603,
     .after = {Mode(1)}},
    {.szName = "writes mode 1; No leaves REBOOT alone",
     .szAction = "LaunchApp_UinstallCurrent",
     .before = Installed({Manager(L"No"), Mode(3)}),
     .lines = Launched(kAll),
     .after = {Mode(1)},
     .commands = Command(kAll),
     .set = {{L"REBOOT", L""}}},
    {.szName = "a component: no mode written; Yes only in the 32-bit view is not read",
     .szAction = "LaunchApp_UinstallComp",
     .before = Installed({Manager(L"Yes", W), Mode(7)}),
     .lines = Launched(kComp),
     .commands = Command(kComp),
     .set = {{L"REBOOT", L""}}},
    {.szName = "a component without the manager: 1603",
     .szAction = "LaunchApp_UinstallComp",
     .before = {Manager(L"yes")},
     .uReturn = 1603,
     .set = {{L"REBOOT", L"F"}}},
    {.szName = "update: no reboot carried over",
     .szAction = "LaunchApp_Update",
     .before = Installed({Manager(L"Yes"), Mode(7)}),
     .lines = Launched(L"/UPDATE"),
     .commands = Command(L"/UPDATE"),
     .set = {{L"REBOOT", L""}}},
    {.szName = "update without the manager: 1627", .szAction = "LaunchApp_Update", .uReturn = 1627},
});

const std::wstring kAbort =
    L"This package requires QVX Installer Setup.\nPlease obtain and install "
    L"QVX Installer from www.qvx.com to continue installing this "
    L"package.\nThis application will now abort.";
const wchar_t kNotLaunched[] = L"VAREN_CA Not Launched from VLM and unable to get property";

const int kLaunchedFromVLM = Register({
    {.szName = "1 goes on",
     .szAction = "LaunchedFromVLM",
     .properties = {{L"LAUNCHED_FROM_VLM", L"1"}},
     .lines = {L"VAREN_CA Launched from VLM: 1 \n"}},
    {.szName = "any other value aborts with the message",
     .szAction = "LaunchedFromVLM",
     .properties = {{L"LAUNCHED_FROM_VLM", L"1 "}},
     .uReturn = 1612,
     .lines = {kNotLaunched},
     .messages = {kAbort}},
    {.szName = "undefined aborts",
     .szAction = "LaunchedFromVLM",
     .uReturn = 1612,
     .lines = {kNotLaunched},
     .messages = {kAbort}},
    {.szName = "a value of 260 characters cannot be read and aborts",
     .szAction = "LaunchedFromVLM",
     .properties = {{L"LAUNCHED_FROM_VLM", L"1" + std::wstring(259, L' ')}},
     .uReturn = 1612,
     .lines = {kNotLaunched},
     .messages = {kAbort}},
});

const int kResetRebootKey = Register({
    {.szName = "writes No in both views",
     .szAction = "ResetRebootKey",
     .before = {Manager(L"Yes", NW), Str(NW, kManager, L"InstallDir", kFolder)},
     .lines = {L"VAREN_CA ResetRebootKey succeeded"},
     .after = {Manager(L"No", NW)}},
    {.szName = "creates the key in both views",
     .szAction = "ResetRebootKey",
     .lines = {L"VAREN_CA ResetRebootKey succeeded"},
     .after = {Manager(L"No", NW)}},
    {.szName = "neither view opens: failed, 0",
     .szAction = "ResetRebootKey",
     .before = {Manager(L"Yes", NW)},
     .lines = {L"VAREN_CA ResetRebootKey failed"},
     .arrange = Faulty("advapi32.dll", "RegCreateKeyExW", &RefuseCreateKey)},
});

} // namespace

namespace {

const std::wstring kInstallKey = L"SOFTWARE\\ORX Technologies\\Install";

const int kGetINSTFolder = Register({
    {.szName = "sets both folders",
     .szAction = "GetINSTFolder",
     .before = {Str(N, kInstallKey, L"InstallDir", L"C:\\Suite\\"),
                Str(N, kInstallKey, L"VLMInstallDir", L"C:\\IM\\")},
     .lines = {L"VAREN_CA Inside GetINSTFolder is, C:\\Suite\\ \n",
               L"VAREN_CA Inside GetINSTFolder2 is, C:\\IM\\ \n"},
     .set = {{L"INSTFOLDER", L"C:\\Suite\\"}, {L"VLMINSTFOLDER", L"C:\\IM\\"}}},
    {.szName = "no string in the native view sets nothing",
     .szAction = "GetINSTFolder",
     .before = {Dword(N, kInstallKey, L"InstallDir", 1),
                Str(W, kInstallKey, L"VLMInstallDir", L"x")},
     .lines = {L"VAREN_CA Inside GetINSTFolder is,  \n", L"VAREN_CA Inside GetINSTFolder2 is,  \n"},
     .set = {{L"INSTFOLDER", L""}, {L"VLMINSTFOLDER", L""}}},
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

Lines ProxyLines(const wchar_t* szOutcome, bool f32BitView) {
    const std::wstring strSoftware = f32BitView ? L"SOFTWARE\\Wow6432Node\\" : L"SOFTWARE\\";
    return {
        L"VAREN_CA SetInstallProxyKey" + std::wstring(szOutcome) + strSoftware +
            L"ORX\\UVE\\Settings\\MOM\\Install\\Install" + (*szOutcome == L',' ? L" \n" : L".\n"),
        L"VAREN_CA SetInstallProxyKey" + std::wstring(szOutcome) + strSoftware +
            L"ORX\\UVE\\Packages\\Core-Static\\Location" + (*szOutcome == L',' ? L" \n" : L".\n")};
}
Lines Join(std::initializer_list<Lines> parts) {
    Lines lines;
    for (const Lines& part : parts) {
        lines.insert(lines.end(), part.begin(), part.end());
    }
    return lines;
}

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

LONG WINAPI RefuseDeleteValue(HKEY, LPCWSTR) {
    CountFault();
    return ERROR_ACCESS_DENIED;
}

const int kProxyKeys = Register({
    {.szName = "writes the proxy and its location in both views",
     .szAction = "SetInstallProxyKey",
     .data = L"C:\\Suite\\",
     .before = {Str(NW, kProxyKey, L"Other", L"x")},
     .lines =
         Join({{L"CustomActionData: C:\\Suite\\", L"VAREN_CA SetInstallProxyKey: C:\\Suite\\ \n"},
               ProxyLines(L", ", false),
               ProxyLines(L", ", true)}),
     .after = {Str(NW, kProxyKey, L"Install", kProxyProgram),
               Str(NW, kCoreKey, L"Location", L"C:\\Suite\\")}},
    {.szName = "a view that cannot be written fails the action after trying every value",
     .szAction = "SetInstallProxyKey",
     .data = L"C:\\Suite",
     .uReturn = 1603,
     .lines = Join({{L"CustomActionData: C:\\Suite", L"VAREN_CA SetInstallProxyKey: C:\\Suite \n"},
                    ProxyLines(L", ", false),
                    ProxyLines(L" failed, ", true)}),
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
    {.szName = "nothing to remove is success",
     .szAction = "DelInstallProxyKey",
     .lines = {L"VAREN_CA: DelInstallProxyKey  \n",
               L"VAREN_CA: DelInstallProxyKey successfully  \n"}},
    {.szName = "values that cannot be deleted are named, 32-bit view first",
     .szAction = "DelInstallProxyKey",
     .before = {Str(NW, kProxyKey, L"Install", L"x"), Str(NW, kCoreKey, L"Location", L"z")},
     .lines = {L"VAREN_CA: DelInstallProxyKey  \n",
               L"VAREN_CA: DelInstallProxyKey could not delete "
               L"SOFTWARE\\Wow6432Node\\ORX\\UVE\\Settings\\MOM\\Install\\Install  \n",
               L"VAREN_CA: DelInstallProxyKey could not delete "
               L"SOFTWARE\\Wow6432Node\\ORX\\UVE\\Packages\\Core-Static\\Location  \n",
               L"VAREN_CA: DelInstallProxyKey could not delete "
               L"SOFTWARE\\ORX\\UVE\\Settings\\MOM\\Install\\Install  \n",
               L"VAREN_CA: DelInstallProxyKey could not delete "
               L"SOFTWARE\\ORX\\UVE\\Packages\\Core-Static\\Location  \n"},
     .arrange = Faulty("advapi32.dll", "RegDeleteValueW", &RefuseDeleteValue)},
});

const std::wstring kProxyFolder = L"%CASE%\\ORX.UVE\\MOM-InstallProxy";

Lines SecuredLaunch(const std::wstring& strProgram) {
    const std::wstring strCommand = L"\"" + strProgram + L"\"";
    return {L"CustomActionData: %CASE%\\", L"VAREN_CA Security String converted",
            L"CreateProcess successfully launched " + strCommand +
                L" \nWaitng for process to return...",
            L"CreateProcess successfully returned from wait after launching " + strCommand +
                L" \n"};
}

const int kLaunchInstallProxy = Register({
    {.szName = "runs the install proxy and waits",
     .szAction = "LaunchInstallProxy",
     .data = L"%CASE%\\",
     .before = {Program(kProxyFolder + L"\\MOM.InstallProxy.exe"),
                File(kProxyFolder + L"\\CLI.exe")},
     .lines = SecuredLaunch(kProxyFolder + L"\\MOM.InstallProxy.exe"),
     .commands = {L"\"" + kProxyFolder + L"\\MOM.InstallProxy.exe\""}},
    {.szName = "the older CLI.exe where the proxy is missing",
     .szAction = "LaunchInstallProxy",
     .data = L"%CASE%\\",
     .before = {Program(kProxyFolder + L"\\CLI.exe")},
     .lines = SecuredLaunch(kProxyFolder + L"\\CLI.exe"),
     .commands = {L"\"" + kProxyFolder + L"\\CLI.exe\""}},
    {.szName = "no proxy: 1603",
     .szAction = "LaunchInstallProxy",
     .data = L"%CASE%\\",
     .before = {Folder(kProxyFolder)},
     .uReturn = 1603,
     .lines = {L"CustomActionData: %CASE%\\",
               L"VAREN_CA LaunchInstallProxy: no install proxy in " + kProxyFolder + L" \n"}},
});

} // namespace
