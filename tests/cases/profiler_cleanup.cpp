// The profiler tool clean-up actions.
#include "tests/support/cases.h"

#include <gtest/gtest.h>

using namespace cases;

namespace {

const std::wstring kServices = L"SYSTEM\\CurrentControlSet\\services\\";
const std::wstring kDrivers = L"%SYSTEM%\\Drivers\\";
const std::wstring kKey = L"SOFTWARE\\QVX\\Codrevo\\Key";
const std::wstring kInstall = L"SOFTWARE\\QVX\\Codrevo\\Install";
const std::wstring kUninstall = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\";
const std::wstring kName = L"Codrevo Performance Analyzer";
const std::wstring kCode = L"{6D1A2B3C-4E5F-4061-8293-A4B5C6D7E8F9}";
const std::wstring kWiseCode = L"{0F1E2D3C-4B5A-4968-8776-655443322110}";
const std::wstring kUninstaller = L"%CASE%\\uninst.exe";
const std::wstring kFolder = L"%CASE%\\Codrevo";

// The product code, its uninstall entry (display name strName, run by the stand-in
// kUninstaller) and the folder, in views.
std::vector<Item> Profiler(unsigned views, const std::wstring& strCode,
                           const std::wstring& strName = kName) {
    return {Str(views, kInstall, L"ProductCode", strCode),
            Str(views, kUninstall + strCode, L"DisplayName", strName),
            Str(views, kUninstall + strCode, L"UninstallString",
                L"\"" + kUninstaller + L"\" /X" + strCode),
            Str(views, kKey, L"InstallDir", kFolder)};
}

std::vector<Item> Joined(std::vector<Item> items, const std::vector<Item>& more) {
    items.insert(items.end(), more.begin(), more.end());
    return items;
}

std::wstring Line(const wchar_t* szAction, const std::wstring& strText) {
    return L"Varen_CA " + std::wstring(szAction) + L"(), " + strText + L" \n";
}

std::wstring Running(const wchar_t* szAction, const std::wstring& strCode) {
    return Line(szAction, L"running \"" + kUninstaller + L"\" /X" + strCode + L" /qn /norestart");
}

// Gives the stand-in placed at strPath a file version (major.minor, build.revision).
std::function<std::shared_ptr<void>(ActionSession&)> WithFileVersion(std::wstring strPath,
                                                                     DWORD dwMS, DWORD dwLS) {
    return [strPath, dwMS, dwLS](ActionSession&) -> std::shared_ptr<void> {
        struct {
            WORD wLength = sizeof(*this);
            WORD wValueLength = sizeof(VS_FIXEDFILEINFO);
            WORD wType = 0;
            wchar_t szKey[16] = L"VS_VERSION_INFO";
            WORD wPadding = 0;
            VS_FIXEDFILEINFO info = {};
        } version;
        version.info.dwSignature = VS_FFI_SIGNATURE;
        version.info.dwStrucVersion = VS_FFI_STRUCVERSION;
        version.info.dwFileVersionMS = dwMS;
        version.info.dwFileVersionLS = dwLS;
        HANDLE hUpdate = BeginUpdateResourceW(Expand(strPath).c_str(), FALSE);
        EXPECT_TRUE(hUpdate != nullptr &&
                    UpdateResourceW(hUpdate, RT_VERSION, MAKEINTRESOURCEW(VS_VERSION_INFO),
                                    MAKELANGID(LANG_NEUTRAL, SUBLANG_NEUTRAL), &version,
                                    sizeof(version)) &&
                    EndUpdateResourceW(hUpdate, FALSE));
        return nullptr;
    };
}

const int kDriverCases = Register({
    {.szName = "the three service trees go, their neighbours stay",
     .szAction = "RemoveCADriverSettings",
     .before = {Key(N, kServices + L"PCORE\\Enum"), Str(N, kServices + L"CAPROF", L"Start", L"3"),
                Key(N, kServices + L"CAUTILITY"), Key(N, kServices + L"PCORE2"),
                Key(N, kServices + L"CAUTILITYX\\Enum")},
     .uReturn = 1,
     .lines = {L"VAREN_CA: SearchCADriverRegKey  \n"},
     .gone = {Key(N, kServices + L"PCORE"), Key(N, kServices + L"CAPROF"),
              Key(N, kServices + L"CAUTILITY")}},
    {.szName = "five files go, the utility's catalogue stays",
     .szAction = "UnLoadOldDriver",
     .before = {File(kDrivers + L"pcore.sys"), File(kDrivers + L"pcore.cat"),
                File(kDrivers + L"caprof.sys"), File(kDrivers + L"caprof.cat"),
                File(kDrivers + L"cautility.sys"), File(kDrivers + L"cautility.cat"),
                File(kDrivers + L"pcore.sys.bak")},
     .uReturn = 1,
     .gone = {File(kDrivers + L"pcore.sys"), File(kDrivers + L"pcore.cat"),
              File(kDrivers + L"caprof.sys"), File(kDrivers + L"caprof.cat"),
              File(kDrivers + L"cautility.sys")}},
    {.szName = "the 32-bit folder's drivers replace the old ones, sub-folders stay",
     .szAction = "CopyCADrivers64",
     .before = {Str(W, kKey, L"InstallDir", kFolder + L"\\"),
                File(kFolder + L"\\bin\\Drivers64\\pcore.sys", "new"),
                File(kFolder + L"\\bin\\Drivers64\\sub\\caprof.sys", "sub"),
                File(kDrivers + L"pcore.sys", "old")},
     .lines = {Line(L"CopyCADrivers64", L"copied " + Expand(kDrivers) + L"pcore.sys")},
     .gone = {File(kDrivers + L"caprof.sys")},
     .after = {File(kDrivers + L"pcore.sys", "new")}},
    {.szName = "no profiler folder: nothing copied",
     .szAction = "CopyCADrivers64",
     .before = {Key(NW, kKey)},
     .lines = {Line(L"CopyCADrivers64", kName + L" folder not found")}},
});

const std::wstring kHelpViewer =
    L"%PROGRAMFILES32%\\Microsoft Help Viewer\\v1.0\\HelpLibManager.exe";

const int kHelpCases = Register({
    {.szName = "installs the help from the profiler folder",
     .szAction = "InstallHelp64",
     .before = {Program(kHelpViewer), Str(N, kKey, L"InstallDir", kFolder)},
     .lines = {Line(L"InstallHelp64",
                    L"running \"" + kHelpViewer +
                        L"\" /product VS /version 100 /locale en-us /sourceMedia \"" + kFolder +
                        L"\\help\\helpcontentsetup.msha\"")},
     .commands = {L"\"" + kHelpViewer +
                  L"\" /product VS /version 100 /locale en-us /sourceMedia \"" + kFolder +
                  L"\\help\\helpcontentsetup.msha\""}},
    {.szName = "without the help viewer nothing runs",
     .szAction = "InstallHelp64",
     .before = {Str(N, kKey, L"InstallDir", kFolder)},
     .lines = {Line(L"InstallHelp64", kHelpViewer + L" not found")}},
    {.szName = "removes the help book silently",
     .szAction = "RemoveHelp64",
     .before = {Program(kHelpViewer)},
     .lines = {Line(L"RemoveHelp64",
                    L"running \"" + kHelpViewer +
                        L"\" /product VS /version 100 /locale en-us /uninstall /vendor "
                        L"\"Qorvexa\" /mediaBookList \"QVX Codrevo\" /productName \"QVX Codrevo "
                        L"Performance Analyzer\" /silent")},
     .commands = {L"\"" + kHelpViewer +
                  L"\" /product VS /version 100 /locale en-us /uninstall /vendor \"Qorvexa\" "
                  L"/mediaBookList \"QVX Codrevo\" /productName \"QVX Codrevo Performance "
                  L"Analyzer\" /silent"}},
});

const int kUninstallCases = Register({
    {.szName = "native entry first",
     .szAction = "RemoveCAEntrance",
     .before = Joined(Profiler(N, kCode), Joined(Profiler(W, kWiseCode), {Program(kUninstaller)})),
     .lines = {Running(L"RemoveCAEntrance", kCode)},
     .commands = {L"\"" + kUninstaller + L"\" /X" + kCode + L" /qn /norestart"}},
    {.szName = "32-bit entry first",
     .szAction = "RemoveCAFromWise",
     .before = Joined(Profiler(N, kCode), Joined(Profiler(W, kWiseCode), {Program(kUninstaller)})),
     .lines = {Running(L"RemoveCAFromWise", kWiseCode)},
     .commands = {L"\"" + kUninstaller + L"\" /X" + kWiseCode + L" /qn /norestart"}},
    {.szName = "a 32-bit code whose entry is native",
     .szAction = "RemoveCAEntrance",
     .before = {Str(W, kInstall, L"ProductCode", kCode),
                Str(N, kUninstall + kCode, L"DisplayName", kName),
                Str(N, kUninstall + kCode, L"UninstallString",
                    L"\"" + kUninstaller + L"\" /X" + kCode),
                Program(kUninstaller)},
     .lines = {Running(L"RemoveCAEntrance", kCode)},
     .commands = {L"\"" + kUninstaller + L"\" /X" + kCode + L" /qn /norestart"}},
    {.szName = "a name that differs in case is not the profiler",
     .szAction = "RemoveCAEntrance",
     .before =
         Joined(Profiler(NW, kCode, L"Codrevo Performance analyzer"), {Program(kUninstaller)}),
     .lines = {Line(L"RemoveCAEntrance", kCode + L" is not an uninstall entry of " + kName)}},
    {.szName = "a code that is no GUID is not joined onto the uninstall key",
     .szAction = "RemoveCAFromWise",
     .before = Joined(Profiler(N, kCode),
                      {Str(W, kInstall, L"ProductCode", L"..\\" + kCode), Program(kUninstaller)}),
     .lines = {Line(L"RemoveCAFromWise", L"..\\" + kCode + L" is not a product code")}},
    {.szName = "nothing installed",
     .szAction = "RemoveCAEntrance",
     .before = {Str(N, kUninstall + kCode, L"DisplayName", kName)},
     .lines = {Line(L"RemoveCAEntrance", kName + L" is not installed")}},
    {.szName = "an uninstaller that cannot start is logged",
     .szAction = "RemoveCAEntrance",
     .before = {Str(N, kInstall, L"ProductCode", kCode),
                Str(N, kUninstall + kCode, L"DisplayName", kName),
                Str(N, kUninstall + kCode, L"UninstallString", L"%CASE%\\none.exe")},
     .lines = {Line(L"RemoveCAEntrance", L"running %CASE%\\none.exe /qn /norestart"),
               Line(L"RemoveCAEntrance", L"could not start it, error 2")}},
});

const std::wstring kProgram = kFolder + L"\\bin\\Codrevo.exe";

// SetCARebootFlag on the profiler whose Codrevo.exe has the given version.
Case RebootCase(const char* szName, DWORD dwMS, DWORD dwLS, const wchar_t* szVersion,
                bool fReboot) {
    Lines lines = {Line(L"SetCARebootFlag", kProgram + L" version " + szVersion)};
    if (fReboot) {
        lines.push_back(Line(L"SetCARebootFlag", L"REBOOT=Force"));
    }
    return {.szName = szName,
            .szAction = "SetCARebootFlag",
            .before = Joined(Profiler(N, kCode), {Program(kUninstaller), Program(kProgram)}),
            .lines = lines,
            .set = {{L"REBOOT", fReboot ? L"Force" : L""}},
            .arrange = WithFileVersion(kProgram, dwMS, dwLS)};
}

const int kRebootCases = Register({
    RebootCase("before 3.0.0.0 forces a restart", MAKELONG(99, 2), MAKELONG(0, 65535),
               L"2.99.65535.0", true),
    RebootCase("10.0 is later than 3.0, not earlier as text", MAKELONG(0, 10), 0, L"10.0.0.0",
               false),
    {.szName = "a program without a version",
     .szAction = "SetCARebootFlag",
     .before = Joined(Profiler(N, kCode), {Program(kUninstaller), Program(kProgram)}),
     .lines = {Line(L"SetCARebootFlag", kProgram + L" version ")},
     .set = {{L"REBOOT", L""}}},
    {.szName = "an unverified entry",
     .szAction = "SetCARebootFlag",
     .before = Joined(Profiler(N, kCode, L"Other"), {Program(kUninstaller), Program(kProgram)}),
     .lines = {Line(L"SetCARebootFlag", kCode + L" is not an uninstall entry of " + kName)},
     .set = {{L"REBOOT", L""}},
     .arrange = WithFileVersion(kProgram, MAKELONG(0, 2), 0)},
});

} // namespace
