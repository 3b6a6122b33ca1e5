// The companion-application actions: the settings application's context menu and
// shut-down, and the two shortcuts.
#include "tests/support/cases.h"

using namespace cases;

namespace {

const std::wstring kPNext = L"SOFTWARE\\ORX Technologies\\Install\\PNext";
const std::wstring kShell = L"SOFTWARE\\Classes\\DesktopBackground\\Shell";
const std::wstring kVerb = kShell + L"\\VantorSettings";
const std::wstring kSettings = L"%CASE%\\VantorSettings.exe";
const std::wstring kTaskKill = L"%SYSTEM%\\TaskKill.exe";

// The settings application's folder as the package writes it: with a trailing "\".
Item Location(unsigned views = N) {
    return Str(views, kPNext, L"Location", L"%CASE%\\");
}

const int kContextMenu = Register({
    {.szName = "registers the verb in the 64-bit view",
     .szAction = "CreateVCCContextMenu64",
     .before = {Location(), File(kSettings), Str(N, kShell + L"\\Sibling", L"", L"keep"),
                Str(N, kVerb, L"Icon", L"old")},
     .lines = {L"Varen_CA CreateVCCContextMenu64() start",
               L"VAREN_CA CreateVCCContextMenu64 registered \"" + kSettings + L"\" \n"},
     .after = {Str(N, kVerb, L"", L"Vantor Settings"), Str(N, kVerb, L"Icon", kSettings),
               Str(N, kVerb + L"\\command", L"", L"\"" + kSettings + L"\"")}},
    {.szName = "a Location in the 32-bit view only is not the suite's",
     .szAction = "CreateVCCContextMenu64",
     .before = {Location(W), File(kSettings)},
     .uReturn = 1603,
     .lines = {L"Varen_CA CreateVCCContextMenu64() start",
               L"VAREN_CA CreateVCCContextMenu64 could not get Location  \n"}},
    {.szName = "no program in the folder: nothing registered",
     .szAction = "CreateVCCContextMenu64",
     .before = {Location(), Str(N, kVerb, L"Icon", L"old")},
     .uReturn = 1603,
     .lines = {L"Varen_CA CreateVCCContextMenu64() start",
               L"VAREN_CA CreateVCCContextMenu64 " + kSettings + L" not found \n"}},
});

const Lines kShutDownAsked = {L"Varen_CA ShutDownVCC() start",
                              L"VAREN_CA ShutDownVCC asked VantorSettings.exe to close \n"};
const std::wstring kEnding = L"VAREN_CA ShutDownVCC ending VantorSettings.exe with TaskKill \n";

const int kShutDown = Register({
    {.szName = "not running: nothing ended",
     .szAction = "ShutDownVCC",
     .before = {Running(L"%CASE%\\VantorSettingsHelper.exe", L"close"), Program(kTaskKill)},
     .lines = {L"Varen_CA ShutDownVCC() start",
               L"VAREN_CA ShutDownVCC VantorSettings.exe is not running \n"}},
    {.szName = "closes when asked: no TaskKill, other programs keep running",
     .szAction = "ShutDownVCC",
     .before = {Running(kSettings, L"close"), Running(L"%CASE%\\Other.exe", L"close"),
                Program(kTaskKill)},
     .lines = {kShutDownAsked[0], kShutDownAsked[1],
               L"VAREN_CA ShutDownVCC VantorSettings.exe closed \n"},
     .gone = {Running(kSettings, L"close")}},
    {.szName = "refuses to close: TaskKill after the wait",
     .szAction = "ShutDownVCC",
     .before = {Running(kSettings, L"ignore"), Program(kTaskKill)},
     .lines = {kShutDownAsked[0], kShutDownAsked[1], kEnding},
     .commands = {L"\"" + kTaskKill + L"\" /IM VantorSettings.exe /F"}},
    {.szName = "no window to ask: the system's TaskKill ends it at once",
     .szAction = "ShutDownVCC",
     .before = {Running(kSettings, L"none")},
     .lines = {L"Varen_CA ShutDownVCC() start", kEnding},
     .gone = {Running(kSettings, L"none")}},
});

const std::wstring kBethasda = L"%CASE%\\Bethasda.exe";
const std::wstring kBethasdaLink = L"%COMMONDESKTOP%\\Bethasda.lnk";
const std::wstring kAppId = L"QVX.QVXLink_1a2b3c4d5e6f7!App";
const std::wstring kQvxLink = L"%COMMONPROGRAMS%\\QVX Link.lnk";

Lines QvxLinkLines(const std::wstring& strLast) {
    return {L"Varen_CA createQVXLinkWindowsAppShortcut() start",
            L"VAREN_CA createQVXLinkWindowsAppShortcut " + strLast + L" \n"};
}

const int kShortcuts = Register({
    {.szName = "desktop shortcut to the program in the settings folder",
     .szAction = "CreateBethasdaShortcut",
     .before = {Location(), File(kBethasda)},
     .lines = {L"Varen_CA CreateBethasdaShortcut() start",
               L"VAREN_CA CreateBethasdaShortcut created " + kBethasdaLink + L" \n"},
     .after = {Shortcut(kBethasdaLink, kBethasda, L"", L"%CASE%")}},
    {.szName = "no program: no shortcut",
     .szAction = "CreateBethasdaShortcut",
     .before = {Location(), File(L"%CASE%\\Bethasda.exe.txt")},
     .uReturn = 1603,
     .lines = {L"Varen_CA CreateBethasdaShortcut() start",
               L"VAREN_CA CreateBethasdaShortcut " + kBethasda + L" not found \n"}},
    {.szName = "Start menu shortcut starts the app through explorer",
     .szAction = "createQVXLinkWindowsAppShortcut",
     .data = kAppId,
     .lines = QvxLinkLines(L"created " + kQvxLink),
     .after = {Shortcut(kQvxLink, L"%WINDIR%\\explorer.exe", L"shell:AppsFolder\\" + kAppId)}},
    {.szName = "a path is no app ID",
     .szAction = "createQVXLinkWindowsAppShortcut",
     .data = L"%WINDIR%\\explorer.exe",
     .uReturn = 1603,
     .lines = QvxLinkLines(L"invalid app ID, %WINDIR%\\explorer.exe")},
    {.szName = "260 characters cannot be read: refused as empty",
     .szAction = "createQVXLinkWindowsAppShortcut",
     .data = kAppId + std::wstring(260 - kAppId.size(), L'x'),
     .uReturn = 1603,
     .lines = QvxLinkLines(L"invalid app ID, ")},
});

} // namespace
