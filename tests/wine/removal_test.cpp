// The shell removal routines, called directly with g_hInstall set to a real session.
#include "runtime/session.h"
#include "system/removal.h"
#include "tests/support/session_support.h"
#include "tests/support/folder_support.h"
#include "tests/support/standin_support.h"

#include <shellapi.h>

#include <gtest/gtest.h>

#include <algorithm>
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
    EXPECT_EQ((Lines{L"VAREN_CA DeleteDirectory attempting to delete " + tree.Path() + L" \n",
                     L"VAREN_CA DeleteDirectory " + tree.Path() +
                         L": no errors using SHFileOperation.  \n"}),
              m_session.Lines());
}

TEST_F(RemovalTest, DeleteDirectoryDropsATrailingQuoteOnly) {
    TempTree tree;
    const std::wstring strQuoted = tree.Path() + L"\"";
    EXPECT_EQ(1, DeleteDirectory(strQuoted.c_str(), 0));
    EXPECT_FALSE(tree.Exists());
    EXPECT_TRUE(tree.SiblingExists());
    EXPECT_EQ((Lines{L"VAREN_CA DeleteDirectory attempting to delete " + tree.Path() + L" \n",
                     L"VAREN_CA DeleteDirectory " + tree.Path() +
                         L": no errors using SHFileOperation.  \n"}),
              m_session.Lines());
}

TEST_F(RemovalTest, DeleteDirectoryKeepsALeadingQuoteAndWineRejectsTheName) {
    TempTree tree;
    const std::wstring strQuoted = L"\"" + tree.Path();
    // Wine answers a name with a quote in it with ERROR_INVALID_NAME (123), a code
    // with no entry of its own, so the system's text is logged.
    EXPECT_EQ(ERROR_INVALID_NAME, RawShellDelete(strQuoted));
    EXPECT_EQ(0, DeleteDirectory(strQuoted.c_str(), 0));
    EXPECT_TRUE(tree.Exists());
    EXPECT_EQ((Lines{L"VAREN_CA DeleteDirectory attempting to delete " + strQuoted + L" \n",
                     L"VAREN_CA DeleteDirectory " + strQuoted + L" Error: Invalid name.\r\n. \n"}),
              m_session.Lines());
}

TEST_F(RemovalTest, DeleteDirectoryOnAMissingPathLogsTheShellsError) {
    const std::wstring strMissing = TestTempFolder() + L"varen_missing_" + NewGuid();
    // Wine's shell returns ERROR_FILE_NOT_FOUND (2) here, not one of the DE_* codes.
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, RawShellDelete(strMissing));
    EXPECT_EQ(0, DeleteDirectory(strMissing.c_str(), 0));
    EXPECT_EQ(
        (Lines{L"VAREN_CA DeleteDirectory attempting to delete " + strMissing + L" \n",
               L"VAREN_CA DeleteDirectory " + strMissing + L" Error: File not found.\r\n. \n"}),
        m_session.Lines());
}

TEST_F(RemovalTest, DeleteDirectoryOnAnEmptyOrNullPath) {
    // An empty source list: Wine's shell returns ERROR_ACCESS_DENIED (5).
    EXPECT_EQ(ERROR_ACCESS_DENIED, RawShellDelete(L""));
    EXPECT_EQ(0, DeleteDirectory(L"", 0));
    EXPECT_EQ((Lines{L"VAREN_CA DeleteDirectory attempting to delete  \n",
                     L"VAREN_CA DeleteDirectory  Error: Access denied.\r\n. \n"}),
              m_session.Lines());
    m_session.ClearLines();
    EXPECT_EQ(0, DeleteDirectory(nullptr, 0));
    EXPECT_EQ(Lines{}, m_session.Lines());
}

TEST_F(RemovalTest, DeleteDirectoryWithUndoSendsToTheRecycleBin) {
    TempTree tree;
    TrashedItem trashed(tree.Name());
    EXPECT_EQ(1, DeleteDirectory(tree.Path().c_str(), 1));
    EXPECT_FALSE(tree.Exists());
    EXPECT_TRUE(tree.SiblingExists());
    EXPECT_TRUE(trashed.InTrash()) << TrashFolder();
    EXPECT_TRUE(fs::exists(trashed.Files() / L"sub" / L"file.txt"));
    EXPECT_EQ(2u, m_session.Lines().size());
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
