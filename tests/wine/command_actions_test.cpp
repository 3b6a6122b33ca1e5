// The command-interpreter actions against a stand-in for the 32-bit system
// folder's cmd.exe (this prefix has no 32-bit programs), and ClearCADir against
// real folders and the Recycle Bin.
#include "runtime/session.h"
#include "tests/support/session_support.h"
#include "tests/support/folder_support.h"
#include "tests/support/standin_support.h"
#include "tests/support/shell_folder_override.h"

#include <shlobj.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

// The library's own copies of the command actions, for white-box checks of the slot.
extern "C" UINT __stdcall CreateDIR_CA(MSIHANDLE hInstall);
extern "C" UINT __stdcall RemoveFolder_CA(MSIHANDLE hInstall);
extern "C" UINT __stdcall RemoveKDB_CA(MSIHANDLE hInstall);
extern "C" UINT __stdcall RemoveShortcut_CA(MSIHANDLE hInstall);
extern "C" UINT __stdcall SetFolderPermission_CA(MSIHANDLE hInstall);
extern "C" UINT __stdcall launchKdbsync_CA(MSIHANDLE hInstall);

using Lines = std::vector<std::wstring>;
namespace fs = std::filesystem;

namespace {

std::wstring Interpreter() {
    return KnownFolder(CSIDL_SYSTEMX86) + L"\\cmd.exe";
}

struct CommandCase {
    const char* szAction;
    std::wstring strCommand; // as run, after the interpreter folder and "\"
};

const CommandCase kCommandCases[] = {
    {"CreateDIR_CA", L"cmd.exe /c mkdir \"%PROGRAMDATA%\\QVX\\KDB\""},
    {"RemoveFolder_CA", L"Cmd.exe /c rd /s /q \"%ProgramData%\\QVX\\KDB\""},
    {"RemoveKDB_CA", L"Cmd.exe /c del \"%systemroot%\\kdb\\aml_*.kdb\""},
    {"RemoveShortcut_CA", L"Cmd.exe /c del \"%ProgramData%\\Microsoft\\Windows\\Start "
                          L"Menu\\Programs\\Startup\\AML*.*\""},
    {"SetFolderPermission_CA",
     L"Cmd.exe /c Icacls \"%ProgramData%\\QVX\\KDB\" /grant Users:(OI)(CI)M"},
    // Wine reports 64-bit Windows, so the 32-bit program folder's variable is used.
    {"launchKdbsync_CA",
     L"Cmd.exe /c start \"QVX Accelerated Video Transcoding device initialization\" /min "
     L"\"%programfiles(x86)%\\QVX AVT\\bin\\kdbsync.exe\" aml"},
};

// What ClearCADir logs after reading strInstallDir: the start line, the path, and
// the path again when the shell removed it or the failure line when it did not.
Lines ClearCADirLines(const std::wstring& strInstallDir, bool fCleared) {
    return {L"Varen_CA GetInstallCADir() start", L"VAREN_CA ClearCADir: " + strInstallDir + L" \n",
            (fCleared ? L"VAREN_CA ClearCADir: " : L"VAREN_CA can not ClearCADir: ") +
                strInstallDir + L" \n"};
}

} // namespace

TEST(CommandActions, RunTheirCommandThroughThe32BitInterpreterAndWait) {
    for (const CommandCase& test : kCommandCases) {
        SCOPED_TRACE(test.szAction);
        StandIn interpreter(Interpreter());
        interpreter.SetDelay(200);
        interpreter.SetExitCode(1); // a failed command changes nothing
        ActionSession session;
        EXPECT_EQ(0u, session.Call(test.szAction));
        EXPECT_EQ(Lines{KnownFolder(CSIDL_SYSTEMX86) + L"\\" + test.strCommand},
                  interpreter.CommandLines());
        const Lines lines = interpreter.LogLines();
        ASSERT_EQ(2u, lines.size());
        EXPECT_TRUE(lines[1].ends_with(L"|done")) << lines[1];
        EXPECT_EQ(Lines{}, session.Lines());
    }
}

TEST(CommandActions, LeaveTheSessionSlotAsItIs) {
    StandIn interpreter(Interpreter());
    ActionSession session;
    g_hInstall = 0;
    for (auto* pfnAction : {&CreateDIR_CA, &RemoveFolder_CA, &RemoveKDB_CA, &RemoveShortcut_CA,
                            &SetFolderPermission_CA, &launchKdbsync_CA}) {
        EXPECT_EQ(0u, pfnAction(session.Handle()));
        EXPECT_EQ(0u, g_hInstall);
    }
    EXPECT_EQ(std::size(kCommandCases), interpreter.CommandLines().size());
}

TEST(CommandActions, ReturnZeroSilentlyWhenTheInterpreterCannotStart) {
    ASSERT_EQ(INVALID_FILE_ATTRIBUTES, GetFileAttributesW(Interpreter().c_str()));
    for (const CommandCase& test : kCommandCases) {
        ActionSession session;
        EXPECT_EQ(0u, session.Call(test.szAction)) << test.szAction;
        EXPECT_EQ(Lines{}, session.Lines()) << test.szAction;
    }
}

TEST(CommandActions, StartNothingWhenTheInterpreterFolderCannotBeResolved) {
    // The line would begin with "\" and so name cmd.exe in the root of the current
    // drive, where a stand-in waits.
    const RootOfWindowsDrive root;
    StandIn rootInterpreter(root.Path(L"cmd.exe"));
    for (const CommandCase& test : kCommandCases) {
        ActionSession session;
        const ShellFolderOverride folders({{KnownFolder(CSIDL_SYSTEMX86), std::nullopt}});
        EXPECT_EQ(0u, session.Call(test.szAction)) << test.szAction;
        EXPECT_EQ(Lines{}, session.Lines()) << test.szAction;
    }
    EXPECT_EQ(Lines{}, rootInterpreter.CommandLines());
}

TEST(ClearCADir, SendsTheInstallFolderToTheRecycleBin) {
    TempTree folder;
    TrashedItem trashed(folder.Name());
    ActionSession session(WithProperties({{L"INSTALLDIR", folder.Path()}}));
    EXPECT_EQ(1u, session.Call("ClearCADir"));
    EXPECT_FALSE(folder.Exists());
    EXPECT_TRUE(folder.SiblingExists());
    EXPECT_TRUE(trashed.InTrash()) << TrashFolder();
    EXPECT_EQ(ClearCADirLines(folder.Path(), true), session.Lines());
}

TEST(ClearCADir, MissingFolderFails) {
    const std::wstring strMissing = TestTempFolder() + L"varen_missing_" + NewGuid();
    ActionSession session(WithProperties({{L"INSTALLDIR", strMissing}}));
    EXPECT_EQ(0u, session.Call("ClearCADir"));
    EXPECT_EQ(ClearCADirLines(strMissing, false), session.Lines());
}

TEST(ClearCADir, TrailingQuoteIsKeptAndWineReportsSuccessWithoutRemoving) {
    // No quote is stripped here. Wine's Recycle Bin path answers the quoted name
    // with 0 although nothing is removed or trashed, so the action returns 1.
    TempTree folder;
    TrashedItem trashed(folder.Name());
    const std::wstring strQuoted = folder.Path() + L"\"";
    ActionSession session(WithProperties({{L"INSTALLDIR", strQuoted}}));
    EXPECT_EQ(1u, session.Call("ClearCADir"));
    EXPECT_TRUE(folder.Exists());
    EXPECT_FALSE(trashed.InTrash());
    EXPECT_EQ(ClearCADirLines(strQuoted, true), session.Lines());
}

TEST(ClearCADir, EmptyInstallDirIsHandedToTheShellAndFails) {
    ActionSession session;
    EXPECT_EQ(0u, session.Call("ClearCADir"));
    EXPECT_EQ(ClearCADirLines(L"", false), session.Lines());
}

TEST(ClearCADir, DeletesWhatAFailedReadLeftInTheBuffer) {
    // An INSTALLDIR of 260 characters or more fails to read, but the installer has
    // already copied its first 259 characters into the buffer, and that path is
    // still handed to the shell: here it names an existing file.
    const fs::path folder = TestTempFolder() + L"varen_ca_" + NewGuid();
    fs::create_directories(folder);
    const std::wstring strPrefix = folder.wstring() + L"\\f";
    const std::wstring strTruncated = strPrefix + std::wstring(259 - strPrefix.size(), L'x');
    std::ofstream(fs::path(strTruncated)) << "x";
    TrashedItem trashed(fs::path(strTruncated).filename().wstring());
    ActionSession session(WithProperties({{L"INSTALLDIR", strTruncated + L"_tail"}}));
    EXPECT_EQ(1u, session.Call("ClearCADir"));
    EXPECT_FALSE(fs::exists(strTruncated));
    EXPECT_TRUE(trashed.InTrash());
    EXPECT_EQ((Lines{L"Varen_CA GetInstallCADir() start", L"VAREN_CA Could not get INSTALLDIR  \n",
                     L"VAREN_CA ClearCADir: " + strTruncated + L" \n"}),
              session.Lines());
    std::error_code error;
    fs::remove_all(folder, error);
}
