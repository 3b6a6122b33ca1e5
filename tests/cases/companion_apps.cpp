// The companion-application actions: the settings application's context menu and
// shut-down, and the two shortcuts.
#include "tests/support/cases.h"

#include "runtime/handles.h"

using namespace cases;

namespace {

const std::wstring kPNext = L"SOFTWARE\\ORX Technologies\\Install\\PNext";
const std::wstring kVerb = L"SOFTWARE\\Classes\\DesktopBackground\\Shell\\VantorSettings";
const std::wstring kSettings = L"%CASE%\\VantorSettings.exe";
const std::wstring kTaskKill = L"%SYSTEM%\\TaskKill.exe";
const std::wstring kBethasda = L"%CASE%\\Bethasda.exe";
const std::wstring kAppId = L"QVX.QVXLink_1a2b3c4d5e6f7!App";
const std::wstring kQvxLink = L"%COMMONPROGRAMS%\\QVX Link.lnk";
// The settings application's folder as the package writes it, with a trailing "\";
// the 32-bit view's names another folder, which is not the suite's.
const Item kLocation = Str(N, kPNext, L"Location", L"%CASE%\\");
const Item kLocation32 = Str(W, kPNext, L"Location", L"%CASE%\\W\\");
// A test service's process runs as the settings application. It shows no window, so
// for ShutDownVCC to ask it to close, shims show one top-level window of that process,
// whose answer to WM_CLOSE the case chooses.
const Item kRunningSettings = Service(L"VarenSettings", kSettings, L"", SERVICE_RUNNING);
const HWND kWindow = reinterpret_cast<HWND>(0x1234);

// The settings application's process; with fStop, stopped first.
DWORD ReachSettings(bool fStop) {
    const UniqueServiceHandle hManager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    const UniqueServiceHandle hService(
        OpenServiceW(hManager.get(), L"VarenSettings", SERVICE_STOP | SERVICE_QUERY_STATUS));
    SERVICE_STATUS_PROCESS status = {};
    DWORD cbNeeded = 0;
    if (fStop) {
        ControlService(hService.get(), SERVICE_CONTROL_STOP,
                       reinterpret_cast<SERVICE_STATUS*>(&status));
    }
    QueryServiceStatusEx(hService.get(), SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status),
                         sizeof(status), &cbNeeded);
    return status.dwProcessId;
}

BOOL WINAPI ShowWindowOfSettings(WNDENUMPROC pfnEnum, LPARAM lParam) {
    CountFault();
    return pfnEnum(kWindow, lParam);
}

DWORD WINAPI OwnWindowBySettings(HWND hWnd, DWORD* pdwProcess) {
    *pdwProcess = hWnd == kWindow ? ReachSettings(false) : 0;
    return 1;
}

// The application closes when asked.
BOOL WINAPI CloseSettings(HWND hWnd, UINT uMessage, WPARAM, LPARAM) {
    if (hWnd == kWindow && uMessage == WM_CLOSE) {
        ReachSettings(true);
    }
    return TRUE;
}

// The application takes the message and stays.
BOOL WINAPI IgnoreMessage(HWND, UINT, WPARAM, LPARAM) {
    return TRUE;
}

// The window shown to the action, with pfnPost for the messages posted to it.
std::function<std::shared_ptr<void>(ActionSession&)>
ShowSettings(BOOL(WINAPI* pfnPost)(HWND, UINT, WPARAM, LPARAM)) {
    return Faulty({{"user32.dll", "EnumWindows", &ShowWindowOfSettings},
                   {"user32.dll", "GetWindowThreadProcessId", &OwnWindowBySettings},
                   {"user32.dll", "PostMessageW", pfnPost}});
}

const int kCompanionApps = Register({
    {.szName = "registers the verb in the 64-bit view",
     .szAction = "CreateVCCContextMenu64",
     .before = {kLocation, kLocation32, File(kSettings), File(L"%CASE%\\W\\VantorSettings.exe"),
                Str(N, kVerb + L"Sibling", L"", L"keep"), Str(N, kVerb, L"Icon", L"old")},
     .lines = {L"Varen_CA CreateVCCContextMenu64() start",
               L"VAREN_CA CreateVCCContextMenu64 registered \"" + kSettings + L"\" \n"},
     .after = {Str(N, kVerb, L"", L"Vantor Settings"), Str(N, kVerb, L"Icon", kSettings),
               Str(N, kVerb + L"\\command", L"", L"\"" + kSettings + L"\"")}},
    {.szName = "no window to ask: TaskKill",
     .szAction = "ShutDownVCC",
     .before = {kRunningSettings, Program(kTaskKill)},
     .lines = {L"Varen_CA ShutDownVCC() start",
               L"VAREN_CA ShutDownVCC ending VantorSettings.exe with TaskKill \n"},
     .commands = {L"\"" + kTaskKill + L"\" /IM VantorSettings.exe /F"}},
    {.szName = "asked to close, it closes: no TaskKill",
     .szAction = "ShutDownVCC",
     .before = {kRunningSettings, Program(kTaskKill)},
     .lines = {L"Varen_CA ShutDownVCC() start",
               L"VAREN_CA ShutDownVCC asked VantorSettings.exe to close \n",
               L"VAREN_CA ShutDownVCC VantorSettings.exe closed \n"},
     .after = {Service(L"VarenSettings", kSettings)},
     .arrange = ShowSettings(&CloseSettings)},
    {.szName = "asked to close, it stays: TaskKill after the wait",
     .szAction = "ShutDownVCC",
     .before = {kRunningSettings, Program(kTaskKill)},
     .lines = {L"Varen_CA ShutDownVCC() start",
               L"VAREN_CA ShutDownVCC asked VantorSettings.exe to close \n",
               L"VAREN_CA ShutDownVCC ending VantorSettings.exe with TaskKill \n"},
     .commands = {L"\"" + kTaskKill + L"\" /IM VantorSettings.exe /F"},
     .arrange = ShowSettings(&IgnoreMessage)},
    {.szName = "a program of a longer name is not it",
     .szAction = "ShutDownVCC",
     .before = {Service(L"VarenSettingsX", L"%CASE%\\VantorSettingsX.exe", L"", SERVICE_RUNNING)},
     .lines = {L"Varen_CA ShutDownVCC() start",
               L"VAREN_CA ShutDownVCC VantorSettings.exe is not running \n"}},
    {.szName = "desktop shortcut to the program in the settings folder",
     .szAction = "CreateBethasdaShortcut",
     .before = {kLocation, kLocation32, File(kBethasda)},
     .lines = {L"Varen_CA CreateBethasdaShortcut() start",
               L"VAREN_CA CreateBethasdaShortcut created %COMMONDESKTOP%\\Bethasda.lnk \n"},
     .after = {Shortcut(L"%COMMONDESKTOP%\\Bethasda.lnk", kBethasda, L"", L"%CASE%")}},
    {.szName = "no program: no shortcut",
     .szAction = "CreateBethasdaShortcut",
     .before = {kLocation, File(kBethasda + L".txt")},
     .uReturn = 1603,
     .lines = {L"Varen_CA CreateBethasdaShortcut() start",
               L"VAREN_CA CreateBethasdaShortcut " + kBethasda + L" not found \n"}},
    {.szName = "Start menu shortcut starts the app through explorer",
     .szAction = "createQVXLinkWindowsAppShortcut",
     .data = kAppId,
     .lines = {L"Varen_CA createQVXLinkWindowsAppShortcut() start",
               L"VAREN_CA createQVXLinkWindowsAppShortcut created " + kQvxLink + L" \n"},
     .after = {Shortcut(kQvxLink, L"%WINDIR%\\explorer.exe", L"shell:AppsFolder\\" + kAppId)}},
});

} // namespace
