// The companion-application actions: the settings application's context menu and
// shut-down, and the two shortcuts.
#include "tests/support/cases.h"

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

const int kCompanionApps = Register({
    {.szName = "registers the verb in the 64-bit view",
     .szAction = "CreateVCCContextMenu64",
     .before = {kLocation, kLocation32, File(kSettings), File(L"%CASE%\\W\\VantorSettings.exe"),
                Str(N, kVerb + L"Sibling", L"", L"keep"), Str(N, kVerb, L"Icon", L"old")},
     .lines = {L"Varen_CA CreateVCCContextMenu64() start",
               L"VAREN_CA CreateVCCContextMenu64 registered \"" + kSettings + L"\" \n"},
     .after = {Str(N, kVerb, L"", L"Vantor Settings"), Str(N, kVerb, L"Icon", kSettings),
               Str(N, kVerb + L"\\command", L"", L"\"" + kSettings + L"\"")}},
    // A test service's process runs as the settings application: it shows no window to ask.
    {.szName = "no window to ask: TaskKill",
     .szAction = "ShutDownVCC",
     .before = {Service(L"VarenSettings", kSettings, L"", SERVICE_RUNNING), Program(kTaskKill)},
     .lines = {L"Varen_CA ShutDownVCC() start",
               L"VAREN_CA ShutDownVCC ending VantorSettings.exe with TaskKill \n"},
     .commands = {L"\"" + kTaskKill + L"\" /IM VantorSettings.exe /F"}},
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
