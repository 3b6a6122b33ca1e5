// The shell removal routines, called directly with g_hInstall set to a real session.
#include "runtime/session.h"
#include "system/removal.h"
#include "tests/support/session_support.h"
#include "tests/support/folder_support.h"
#include "tests/support/standin_support.h"
#include "tests/support/program_import.h"

#include <shellapi.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <utility>
#include <vector>
#include <filesystem>
#include <fstream>

using Lines = std::vector<std::wstring>;
namespace fs = std::filesystem;

namespace {

// What the shell's delete itself returns for a source, with the flags the routines use.
int RawShellDelete(const std::wstring& strPath) {
    const std::wstring strSource = strPath + L'\0';
    SHFILEOPSTRUCTW operation = {};
    operation.wFunc = FO_DELETE;
    operation.pFrom = strSource.c_str();
    operation.fFlags = FOF_SILENT | FOF_NOCONFIRMATION;
    return SHFileOperationW(&operation);
}

// What one SHFileOperationW call was given.
struct ShellOperation {
    bool fWindow = false;
    UINT wFunc = 0;
    std::vector<std::wstring> sources; // the double-NUL-ended list, one path an entry
    bool fDestination = false;
    FILEOP_FLAGS fFlags = 0;
    BOOL fAborted = FALSE;
    bool fNameMappings = false;
    bool fProgressTitle = false;
};

// Answers every SHFileOperationW call with a chosen result, touching nothing, and
// records what it was given. With fReportAborted the operation also claims that
// it was aborted.
class ShellOperationStub {
  public:
    explicit ShellOperationStub(int iResult, bool fReportAborted = false) {
        s_iResult = iResult;
        s_fReportAborted = fReportAborted;
        s_calls.clear();
    }
    static const std::vector<ShellOperation>& Calls() { return s_calls; }

  private:
    static int WINAPI Answer(SHFILEOPSTRUCTW* pOperation) {
        ShellOperation call;
        call.fWindow = pOperation->hwnd != nullptr;
        call.wFunc = pOperation->wFunc;
        for (const wchar_t* szSource = pOperation->pFrom; *szSource != L'\0';
             szSource += wcslen(szSource) + 1) {
            call.sources.emplace_back(szSource);
        }
        call.fDestination = pOperation->pTo != nullptr;
        call.fFlags = pOperation->fFlags;
        call.fAborted = pOperation->fAnyOperationsAborted;
        call.fNameMappings = pOperation->hNameMappings != nullptr;
        call.fProgressTitle = pOperation->lpszProgressTitle != nullptr;
        s_calls.push_back(call);
        pOperation->fAnyOperationsAborted = s_fReportAborted;
        return s_iResult;
    }

    ProgramImport<decltype(&SHFileOperationW)> m_import{"shell32.dll", "SHFileOperationW", &Answer};
    static inline int s_iResult = 0;
    static inline bool s_fReportAborted = false;
    static inline std::vector<ShellOperation> s_calls;
};

// The system's own text for a code, as the shell's error line quotes it.
std::wstring SystemText(DWORD dwCode) {
    wchar_t szText[MAX_PATH] = {};
    FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, dwCode,
                   0x400, szText, MAX_PATH, nullptr);
    return szText;
}

// The two lines DeleteDirectory logs for strPath: removed, or failed with strMessage.
Lines RemovedLines(const std::wstring& strPath) {
    return {L"VAREN_CA DeleteDirectory attempting to delete " + strPath + L" \n",
            L"VAREN_CA DeleteDirectory " + strPath + L": no errors using SHFileOperation.  \n"};
}
Lines FailedLines(const std::wstring& strPath, const std::wstring& strMessage) {
    return {L"VAREN_CA DeleteDirectory attempting to delete " + strPath + L" \n",
            L"VAREN_CA DeleteDirectory " + strPath + L" Error: " + strMessage + L". \n"};
}

class RemovalTest : public ::testing::Test {
  protected:
    RemovalTest() { g_hInstall = m_session.Handle(); }
    ~RemovalTest() override { g_hInstall = 0; }
    ActionSession m_session;
};

} // namespace

TEST_F(RemovalTest, DeleteDirectoryRemovesTheTreeWithTwoLines) {
    TempTree tree;
    EXPECT_EQ(1, DeleteDirectory(tree.Path().c_str(), 0));
    EXPECT_FALSE(tree.Exists());
    EXPECT_TRUE(tree.SiblingExists());
    EXPECT_EQ(RemovedLines(tree.Path()), m_session.Lines());
}

TEST_F(RemovalTest, DeleteDirectoryDropsATrailingQuoteOnly) {
    TempTree tree;
    const std::wstring strQuoted = tree.Path() + L"\"";
    EXPECT_EQ(1, DeleteDirectory(strQuoted.c_str(), 0));
    EXPECT_FALSE(tree.Exists());
    EXPECT_TRUE(tree.SiblingExists());
    EXPECT_EQ(RemovedLines(tree.Path()), m_session.Lines());
}

TEST_F(RemovalTest, DeleteDirectoryKeepsALeadingQuoteAndWineRejectsTheName) {
    TempTree tree;
    const std::wstring strQuoted = L"\"" + tree.Path();
    // Wine answers a name with a quote in it with ERROR_INVALID_NAME (123), a code
    // with no entry of its own, so the system's text is logged.
    EXPECT_EQ(ERROR_INVALID_NAME, RawShellDelete(strQuoted));
    EXPECT_EQ(0, DeleteDirectory(strQuoted.c_str(), 0));
    EXPECT_TRUE(tree.Exists());
    EXPECT_EQ(FailedLines(strQuoted, L"Invalid name.\r\n"), m_session.Lines());
}

TEST_F(RemovalTest, DeleteDirectoryOnAMissingPathLogsTheShellsError) {
    const std::wstring strMissing = TestTempFolder() + L"varen_missing_" + NewGuid();
    // Wine's shell returns ERROR_FILE_NOT_FOUND (2) here, not one of the DE_* codes.
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, RawShellDelete(strMissing));
    EXPECT_EQ(0, DeleteDirectory(strMissing.c_str(), 0));
    EXPECT_EQ(FailedLines(strMissing, L"File not found.\r\n"), m_session.Lines());
}

TEST_F(RemovalTest, DeleteDirectoryOnAnEmptyOrNullPath) {
    // An empty source list: Wine's shell returns ERROR_ACCESS_DENIED (5).
    EXPECT_EQ(ERROR_ACCESS_DENIED, RawShellDelete(L""));
    EXPECT_EQ(0, DeleteDirectory(L"", 0));
    EXPECT_EQ(FailedLines(L"", L"Access denied.\r\n"), m_session.Lines());
    m_session.ClearLines();
    EXPECT_EQ(0, DeleteDirectory(nullptr, 0));
    EXPECT_EQ(Lines{}, m_session.Lines());
}

TEST_F(RemovalTest, APathOfMaxPathCharactersOrMoreNeverReachesTheShell) {
    // 259 characters still go to the shell (Wine's answers DE_INVALIDFILES for
    // this missing path); from 260 on the routines answer with the shell's own
    // "too deep" code, and a 700-character path (whose line overflows) no longer
    // crashes the process in the shell.
    const std::wstring strFolder = TestTempFolder() + L"varen_deep_" + NewGuid() + L"\\";
    const auto PathOf = [&](size_t cch) {
        return strFolder + std::wstring(cch - strFolder.size(), L'a');
    };
    EXPECT_EQ(0, DeleteDirectory(PathOf(MAX_PATH - 1).c_str(), 0));
    EXPECT_EQ(
        FailedLines(PathOf(MAX_PATH - 1), L"The paths in the source or destination were invalid"),
        m_session.Lines());
    m_session.ClearLines();
    EXPECT_EQ(0, DeleteDirectory(PathOf(MAX_PATH).c_str(), 1));
    EXPECT_EQ(FailedLines(PathOf(MAX_PATH),
                          L"The source or destination path exceeded or would exceed MAX_PATH"),
              m_session.Lines());
    EXPECT_EQ(0, DeleteDirectory(PathOf(700).c_str(), 0));
    for (size_t cch : {size_t{MAX_PATH}, size_t{700}}) {
        EXPECT_FALSE(RemovePathViaShell(PathOf(cch).c_str(), 0));
        EXPECT_FALSE(RemovePathViaShell(PathOf(cch).c_str(), 1));
    }
}

TEST_F(RemovalTest, DeleteDirectoryWithUndoSendsToTheRecycleBin) {
    TempTree tree;
    TrashedItem trashed(tree.Name());
    EXPECT_EQ(1, DeleteDirectory(tree.Path().c_str(), 1));
    EXPECT_FALSE(tree.Exists());
    EXPECT_TRUE(tree.SiblingExists());
    EXPECT_TRUE(trashed.InTrash()) << TrashFolder();
    EXPECT_TRUE(fs::exists(trashed.Files() / L"sub" / L"file.txt"));
    EXPECT_EQ(RemovedLines(tree.Path()), m_session.Lines());
}

TEST_F(RemovalTest, DeleteDirectoryWithoutUndoBypassesTheRecycleBin) {
    TempTree tree;
    TrashedItem trashed(tree.Name());
    EXPECT_EQ(1, DeleteDirectory(tree.Path().c_str(), 0));
    EXPECT_FALSE(tree.Exists());
    EXPECT_FALSE(trashed.InTrash());
}

TEST_F(RemovalTest, RemovePathViaShellPermanentFlagIsTheOppositeSense) {
    {
        TempTree tree;
        TrashedItem trashed(tree.Name());
        EXPECT_TRUE(RemovePathViaShell(tree.Path().c_str(), 1));
        EXPECT_FALSE(tree.Exists());
        EXPECT_TRUE(tree.SiblingExists());
        EXPECT_FALSE(trashed.InTrash());
    }
    {
        TempTree tree;
        TrashedItem trashed(tree.Name());
        EXPECT_TRUE(RemovePathViaShell(tree.Path().c_str(), 0));
        EXPECT_FALSE(tree.Exists());
        EXPECT_TRUE(tree.SiblingExists());
        EXPECT_TRUE(trashed.InTrash()) << TrashFolder();
        EXPECT_TRUE(fs::exists(trashed.Files() / L"sub" / L"file.txt"));
    }
    EXPECT_EQ(Lines{}, m_session.Lines());
}

TEST_F(RemovalTest, RemovePathViaShellFailsQuietly) {
    TempTree tree;
    EXPECT_FALSE(RemovePathViaShell((TestTempFolder() + L"varen_missing_" + NewGuid()).c_str(), 1));
    // No quote handling here: the trailing quote stays and Wine rejects the name.
    EXPECT_FALSE(RemovePathViaShell((tree.Path() + L"\"").c_str(), 1));
    EXPECT_TRUE(tree.Exists());
    EXPECT_FALSE(RemovePathViaShell(nullptr, 1));
    EXPECT_EQ(Lines{}, m_session.Lines());
}

TEST_F(RemovalTest, RemovePathViaShellToTheRecycleBinReportsSuccessForAQuotedName) {
    // Wine's Recycle Bin path returns 0 for a name with a trailing quote although
    // nothing is removed or trashed (the permanent path rejects it, see above).
    TempTree tree;
    TrashedItem trashed(tree.Name());
    EXPECT_TRUE(RemovePathViaShell((tree.Path() + L"\"").c_str(), 0));
    EXPECT_TRUE(tree.Exists());
    EXPECT_FALSE(fs::exists(TrashFolder() / L"files" / tree.Name()));
}

TEST_F(RemovalTest, EachRoutineHandsTheShellOneSilentDeleteWithItsOwnFlagSense) {
    const ShellOperationStub shell(0);
    EXPECT_EQ(1, DeleteDirectory(L"C:\\a", 0));
    EXPECT_EQ(1, DeleteDirectory(L"C:\\b\"", 1));
    EXPECT_EQ(1, DeleteDirectory(L"C:\\c", -1));
    EXPECT_TRUE(RemovePathViaShell(L"C:\\d", 1));
    EXPECT_TRUE(RemovePathViaShell(L"C:\\e\"", 0));
    EXPECT_TRUE(RemovePathViaShell(L"C:\\f", 7));
    // 0x14: FOF_SILENT | FOF_NOCONFIRMATION, permanent; 0x54 adds FOF_ALLOWUNDO.
    const std::pair<std::wstring, FILEOP_FLAGS> expected[] = {{L"C:\\a", 0x14},   {L"C:\\b", 0x54},
                                                              {L"C:\\c", 0x54},   {L"C:\\d", 0x14},
                                                              {L"C:\\e\"", 0x54}, {L"C:\\f", 0x14}};
    ASSERT_EQ(std::size(expected), shell.Calls().size());
    for (size_t iCall = 0; iCall < std::size(expected); ++iCall) {
        const ShellOperation& call = shell.Calls()[iCall];
        SCOPED_TRACE(expected[iCall].first);
        EXPECT_FALSE(call.fWindow);
        EXPECT_EQ(static_cast<UINT>(FO_DELETE), call.wFunc);
        EXPECT_EQ(Lines{expected[iCall].first}, call.sources);
        EXPECT_FALSE(call.fDestination);
        EXPECT_EQ(expected[iCall].second, call.fFlags);
        EXPECT_EQ(FALSE, call.fAborted);
        EXPECT_FALSE(call.fNameMappings);
        EXPECT_FALSE(call.fProgressTitle);
    }
}

TEST_F(RemovalTest, DeleteDirectoryNamesTheShellsResult) {
    const std::pair<int, std::wstring> results[] = {
        {0x7C, L"The paths in the source or destination were invalid"},
        {0x10074, L"MAX_PATH was exceeded during the operation."},
        {0x10000, L"An unspecified error occurred on the destination."},
        {ERROR_ACCESS_DENIED, SystemText(ERROR_ACCESS_DENIED)},
        {119, SystemText(119)},
    };
    for (const auto& [iResult, strMessage] : results) {
        const ShellOperationStub shell(iResult);
        m_session.ClearLines();
        EXPECT_EQ(0, DeleteDirectory(L"C:\\x", 1)) << iResult;
        EXPECT_EQ(FailedLines(L"C:\\x", strMessage), m_session.Lines());
    }
}

TEST_F(RemovalTest, DeleteDirectoryGoesByTheResultAloneNotTheAbortedFlag) {
    const ShellOperationStub shell(0, true);
    EXPECT_EQ(1, DeleteDirectory(L"C:\\x", 0));
    EXPECT_EQ(RemovedLines(L"C:\\x"), m_session.Lines());
}
