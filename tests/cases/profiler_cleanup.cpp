// The profiler tool clean-up actions.
#include "tests/support/cases.h"

#include <gtest/gtest.h>

using namespace cases;

namespace {

const std::wstring kServices = L"SYSTEM\\CurrentControlSet\\services\\";
const std::wstring kDrivers = L"%SYSTEM%\\Drivers\\";
const std::wstring kKey = L"SOFTWARE\\QVX\\Codrevo\\Key";
const std::wstring kUninstall = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\";
const std::wstring kCode = L"{6D1A2B3C-4E5F-4061-8293-A4B5C6D7E8F9}";
const std::wstring kWiseCode = L"{0F1E2D3C-4B5A-4968-8776-655443322110}";
const std::wstring kUninstaller = L"%CASE%\\uninst.exe";
const std::wstring kFolder = L"%CASE%\\Codrevo";
const std::wstring kHelp = L"%PROGRAMFILES32%\\Microsoft Help Viewer\\v1.0\\HelpLibManager.exe";
const std::wstring kHelpCommand = L"\"" + kHelp + L"\" /product VS /version 100 /locale en-us ";
const std::wstring kProgram = kFolder + L"\\bin\\Codrevo.exe";

// The profiler in views: its product code, its uninstall entry (run by the stand-in
// kUninstaller, placed too) and its folder.
std::vector<Item> Profiler(unsigned views, const std::wstring& strCode,
                           std::vector<Item> more = {}) {
    more.insert(more.end(),
                {Str(views, L"SOFTWARE\\QVX\\Codrevo\\Install", L"ProductCode", strCode),
                 Str(views, kUninstall + strCode, L"DisplayName", L"Codrevo Performance Analyzer"),
                 Str(views, kUninstall + strCode, L"UninstallString",
                     L"\"" + kUninstaller + L"\" /X" + strCode),
                 Str(views, kKey, L"InstallDir", kFolder), Program(kUninstaller)});
    return more;
}

std::wstring Line(std::string_view strAction, const std::wstring& strText) {
    return L"Varen_CA " + std::wstring(strAction.begin(), strAction.end()) + L"(), " + strText +
           L" \n";
}

// Gives the profiler's program the file version 2.99.65535.0.
std::shared_ptr<void> StampOldVersion(ActionSession&) {
    struct {
        WORD wLength = sizeof(*this), wValueLength = sizeof(VS_FIXEDFILEINFO), wType = 0;
        wchar_t szKey[16] = L"VS_VERSION_INFO";
        WORD wPadding = 0;
        VS_FIXEDFILEINFO info;
    } version;
    version.info = {
        VS_FFI_SIGNATURE, VS_FFI_STRUCVERSION, 0x20063, 0xFFFF0000, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    HANDLE hUpdate = BeginUpdateResourceW(Expand(kProgram).c_str(), FALSE);
    EXPECT_TRUE(
        hUpdate &&
        UpdateResourceW(hUpdate, RT_VERSION, MAKEINTRESOURCEW(1), 0, &version, sizeof(version)) &&
        EndUpdateResourceW(hUpdate, FALSE));
    return nullptr;
}

// The action logs strCommand and runs it.
Case RunCase(const char* szName, const char* szAction, const std::wstring& strCommand,
             std::vector<Item> before) {
    return {.szName = szName,
            .szAction = szAction,
            .before = std::move(before),
            .lines = {Line(szAction, L"running " + strCommand)},
            .commands = {strCommand}};
}

const int kCases = Register({
    {.szName = "the three service trees go, their neighbours stay",
     .szAction = "RemoveCADriverSettings",
     .before = {Key(N, kServices + L"PCORE\\Enum"), Str(N, kServices + L"CAPROF", L"Start", L"3"),
                Key(N, kServices + L"CAUTILITY"), Key(N, kServices + L"PCORE2")},
     .uReturn = 1,
     .lines = {L"VAREN_CA: SearchCADriverRegKey  \n"},
     .gone = {Key(N, kServices + L"PCORE"), Key(N, kServices + L"CAPROF"),
              Key(N, kServices + L"CAUTILITY")}},
    {.szName = "five files go, the utility's catalogue stays",
     .szAction = "UnLoadOldDriver",
     .before = {File(kDrivers + L"pcore.sys"), File(kDrivers + L"pcore.cat"),
                File(kDrivers + L"caprof.sys"), File(kDrivers + L"caprof.cat"),
                File(kDrivers + L"cautility.sys"), File(kDrivers + L"cautility.cat")},
     .uReturn = 1,
     .gone = {File(kDrivers + L"pcore.sys"), File(kDrivers + L"pcore.cat"),
              File(kDrivers + L"caprof.sys"), File(kDrivers + L"caprof.cat"),
              File(kDrivers + L"cautility.sys")}},
    {.szName = "the 32-bit folder's drivers replace the old ones, sub-folders stay",
     .szAction = "CopyCADrivers64",
     .before = {Str(W, kKey, L"InstallDir", kFolder + L"\\"),
                File(kFolder + L"\\bin\\Drivers64\\pcore.sys", "new"),
                File(kFolder + L"\\bin\\Drivers64\\sub\\caprof.sys"),
                File(kDrivers + L"pcore.sys")},
     .lines = {Line("CopyCADrivers64", L"copied " + kDrivers + L"pcore.sys")},
     .gone = {File(kDrivers + L"caprof.sys")},
     .after = {File(kDrivers + L"pcore.sys", "new")}},
    RunCase("installs the help from the profiler folder", "InstallHelp64",
            kHelpCommand + L"/sourceMedia \"" + kFolder + L"\\help\\helpcontentsetup.msha\"",
            {Program(kHelp), Str(N, kKey, L"InstallDir", kFolder)}),
    RunCase("removes the help book silently", "RemoveHelp64",
            kHelpCommand + L"/uninstall /vendor \"Qorvexa\" /mediaBookList \"QVX Codrevo\" "
                           L"/productName \"QVX Codrevo Performance Analyzer\" /silent",
            {Program(kHelp)}),
    RunCase("native entry first", "RemoveCAEntrance",
            L"\"" + kUninstaller + L"\" /X" + kCode + L" /qn /norestart",
            Profiler(N, kCode, Profiler(W, kWiseCode))),
    RunCase("32-bit entry first", "RemoveCAFromWise",
            L"\"" + kUninstaller + L"\" /X" + kWiseCode + L" /qn /norestart",
            Profiler(N, kCode, Profiler(W, kWiseCode))),
    {.szName = "before 3.0.0.0 forces a restart",
     .szAction = "SetCARebootFlag",
     .before = Profiler(N, kCode, {Program(kProgram)}),
     .lines = {Line("SetCARebootFlag", kProgram + L" version 2.99.65535.0"),
               Line("SetCARebootFlag", L"REBOOT=Force")},
     .set = {{L"REBOOT", L"Force"}},
     .arrange = StampOldVersion},
});

} // namespace
