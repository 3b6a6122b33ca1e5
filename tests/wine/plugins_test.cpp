// The plug-in registration actions against stand-ins placed where each tool lives.
#include "runtime/session.h"
#include "tests/support/session_support.h"
#include "tests/support/standin_support.h"
#include "tests/support/shell_folder_override.h"

#include <shlobj.h>

#include <gtest/gtest.h>

// The library's own copies of the actions, for white-box checks of the slot.
extern "C" UINT __stdcall RegisterInternetExplorerUrl64(MSIHANDLE hInstall);
extern "C" UINT __stdcall RegisterInternetExplorerUrl(MSIHANDLE hInstall);
extern "C" UINT __stdcall UnRegisterInternetExplorerUrl64(MSIHANDLE hInstall);
extern "C" UINT __stdcall UnRegisterInternetExplorerUrl(MSIHANDLE hInstall);
extern "C" UINT __stdcall RegisterWMPPlugin(MSIHANDLE hInstall);
extern "C" UINT __stdcall UnRegisterWMPPlugin(MSIHANDLE hInstall);

using Lines = std::vector<std::wstring>;

namespace {

std::wstring RegAsm(const wchar_t* szFramework) {
    return KnownFolder(CSIDL_WINDOWS) + L"\\Microsoft.NET\\" + szFramework +
           L"\\v4.0.30319\\RegAsm.exe";
}

// The tool path as the actions spell it: the Windows folder, "\" and "\Microsoft.NET...".
std::wstring RegAsmAsCalled(const wchar_t* szFramework) {
    return KnownFolder(CSIDL_WINDOWS) + L"\\\\Microsoft.NET\\" + szFramework +
           L"\\v4.0.30319\\RegAsm.exe";
}

std::wstring Plugin(const wchar_t* szFile) {
    return KnownFolder(CSIDL_PROGRAM_FILES) + L"\\Prepif\\HP Pixel Sharp\\" + szFile;
}

struct PluginCase {
    const char* szAction;
    std::wstring strToolPlaced;
    std::wstring strExpectedCommand;
};

std::vector<PluginCase> AllCases() {
    const std::wstring strBrowser = L"\"" + Plugin(L"HPInternetExplorerUrl.dll") + L"\"";
    const std::wstring strMedia = L"\"" + Plugin(L"wmpplugin2.dll") + L"\"";
    const std::wstring strRegsvr32 = KnownFolder(CSIDL_SYSTEM) + L"\\Regsvr32.exe";
    return {
        {"RegisterInternetExplorerUrl64", RegAsm(L"Framework64"),
         L"\"" + RegAsmAsCalled(L"Framework64") + L"\" /s /codebase " + strBrowser},
        {"RegisterInternetExplorerUrl", RegAsm(L"Framework"),
         L"\"" + RegAsmAsCalled(L"Framework") + L"\" /s /codebase " + strBrowser},
        {"UnRegisterInternetExplorerUrl64", RegAsm(L"Framework64"),
         L"\"" + RegAsmAsCalled(L"Framework64") + L"\" /s /u " + strBrowser},
        {"UnRegisterInternetExplorerUrl", RegAsm(L"Framework"),
         L"\"" + RegAsmAsCalled(L"Framework") + L"\" /s /u " + strBrowser},
        {"RegisterWMPPlugin", strRegsvr32, L"\"" + strRegsvr32 + L"\" /s " + strMedia},
        {"UnRegisterWMPPlugin", strRegsvr32, L"\"" + strRegsvr32 + L"\" /s /u " + strMedia},
    };
}

} // namespace

TEST(PluginActions, RunTheirToolWithTheExactCommandAndWait) {
    for (const PluginCase& test : AllCases()) {
        SCOPED_TRACE(test.szAction);
        StandIn tool(test.strToolPlaced);
        tool.SetDelay(200);
        // A failing exit code of the tool does not matter: it was started.
        tool.SetExitCode(5);
        ActionSession session;
        EXPECT_EQ(0u, session.Call(test.szAction));
        EXPECT_EQ(Lines{test.strExpectedCommand}, tool.CommandLines());
        const Lines lines = tool.LogLines();
        ASSERT_EQ(2u, lines.size());
        EXPECT_TRUE(lines[1].ends_with(L"|done")) << lines[1];
        EXPECT_EQ(Lines{}, session.Lines());
    }
}

TEST(PluginActions, StoreTheSessionHandle) {
    // Nothing is logged, so only the slot itself shows it. No tool is placed: the
    // RegAsm actions fail to start theirs, and Wine's own Regsvr32 runs.
    ActionSession session;
    for (auto* pfnAction : {&RegisterInternetExplorerUrl64, &RegisterInternetExplorerUrl,
                            &UnRegisterInternetExplorerUrl64, &UnRegisterInternetExplorerUrl,
                            &RegisterWMPPlugin, &UnRegisterWMPPlugin}) {
        g_hInstall = 0;
        pfnAction(session.Handle());
        EXPECT_EQ(session.Handle(), g_hInstall);
    }
    g_hInstall = 0;
}

TEST(PluginActions, RegAsmThatCannotStartFailsTheAction) {
    // No .NET Framework in the prefix and no stand-in: RegAsm.exe is not there.
    ASSERT_EQ(INVALID_FILE_ATTRIBUTES, GetFileAttributesW(RegAsm(L"Framework64").c_str()));
    ASSERT_EQ(INVALID_FILE_ATTRIBUTES, GetFileAttributesW(RegAsm(L"Framework").c_str()));
    for (const char* szAction :
         {"RegisterInternetExplorerUrl64", "RegisterInternetExplorerUrl",
          "UnRegisterInternetExplorerUrl64", "UnRegisterInternetExplorerUrl"}) {
        ActionSession session;
        EXPECT_EQ(1603u, session.Call(szAction)) << szAction;
        EXPECT_EQ(Lines{}, session.Lines()) << szAction;
    }
}

TEST(PluginActions, StartNothingWhenTheProgramFilesFolderCannotBeResolved) {
    // The plug-in would otherwise be taken from "\Prepif\..." in the root of the
    // current drive.
    for (const PluginCase& test : AllCases()) {
        SCOPED_TRACE(test.szAction);
        StandIn tool(test.strToolPlaced);
        ActionSession session;
        const ShellFolderOverride folders({{KnownFolder(CSIDL_PROGRAM_FILES), std::nullopt}});
        EXPECT_EQ(1603u, session.Call(test.szAction));
        EXPECT_EQ(Lines{}, tool.CommandLines());
        EXPECT_EQ(Lines{}, session.Lines());
    }
}

TEST(PluginActions, Regsvr32StartsNothingWhenTheSystemFolderCannotBeResolved) {
    // The tool would otherwise be "\Regsvr32.exe" in the root of the current drive,
    // where a stand-in waits.
    const RootOfWindowsDrive root;
    for (const char* szAction : {"RegisterWMPPlugin", "UnRegisterWMPPlugin"}) {
        SCOPED_TRACE(szAction);
        StandIn tool(root.Path(L"Regsvr32.exe"));
        ActionSession session;
        const ShellFolderOverride folders({{KnownFolder(CSIDL_SYSTEM), std::nullopt}});
        EXPECT_EQ(1603u, session.Call(szAction));
        EXPECT_EQ(Lines{}, tool.CommandLines());
        EXPECT_EQ(Lines{}, session.Lines());
    }
}

TEST(PluginActions, CommandIsCutAt518Characters) {
    // Deep system and program-files folders (one folder of 235 characters stands
    // for both) make the command 531 characters long; it is started cut.
    const std::wstring strPrefix = TestTempFolder() + L"varen_deep_" + NewGuid() + L"_";
    const std::wstring strDeep = strPrefix + std::wstring(235 - strPrefix.size(), L'd');
    StandIn tool(strDeep + L"\\Regsvr32.exe");
    ActionSession session;
    const ShellFolderOverride folders(
        {{KnownFolder(CSIDL_SYSTEM), strDeep}, {KnownFolder(CSIDL_PROGRAM_FILES), strDeep}});
    EXPECT_EQ(0u, session.Call("UnRegisterWMPPlugin"));
    const std::wstring strFull = L"\"" + strDeep + L"\\Regsvr32.exe\" /s /u \"" + strDeep +
                                 L"\\Prepif\\HP Pixel Sharp\\wmpplugin2.dll\"";
    ASSERT_EQ(531u, strFull.size());
    EXPECT_EQ(Lines{strFull.substr(0, 518)}, tool.CommandLines());
    EXPECT_EQ(Lines{}, session.Lines());
}
