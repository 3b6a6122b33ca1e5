#include "system/removal_text.h"

#include <gtest/gtest.h>

using namespace std::string_literals;

TEST(ShellDeleteSource, EndsInTwoNulsAfterThePath) {
    EXPECT_EQ(L"C:\\a b\\c\0\0"s, BuildShellDeleteSource(L"C:\\a b\\c", true));
    EXPECT_EQ(L"C:\\a b\\c\0\0"s, BuildShellDeleteSource(L"C:\\a b\\c", false));
    EXPECT_EQ(L"\0\0"s, BuildShellDeleteSource(L"", true));
}

TEST(ShellDeleteSource, DropsOnlyATrailingQuoteAndOnlyWhenAsked) {
    EXPECT_EQ(L"C:\\dir\0\0\0"s, BuildShellDeleteSource(L"C:\\dir\"", true));
    EXPECT_EQ(L"\"C:\\dir\0\0\0"s, BuildShellDeleteSource(L"\"C:\\dir\"", true));
    EXPECT_EQ(L"\"C:\\dir\0\0"s, BuildShellDeleteSource(L"\"C:\\dir", true));
    EXPECT_EQ(L"C:\\d\"ir\0\0"s, BuildShellDeleteSource(L"C:\\d\"ir", true));
    EXPECT_EQ(L"\0\0\0"s, BuildShellDeleteSource(L"\"", true));
    EXPECT_EQ(L"C:\\dir\"\0\0"s, BuildShellDeleteSource(L"C:\\dir\"", false));
}

TEST(ShellOperationMessage, EveryCodeWithAnEntry) {
    const std::pair<int, std::wstring> entries[] = {
        {113, L"Source and destination file are the same"},
        {114, L"Multiple paths were specified in the source of the operation, but only one "
              L"destination path"},
        {115, L"Rename operation was specified but the destination path is a different directory.  "
              L"Use move "
              L"instead."},
        {116, L"Source is a root directory, cannot be moved or renamed"},
        {117, L"Operation was cancelled by the user (or silently cancelled if the specified flags "
              L"were supplied "
              L"to SHFileOperation)"},
        {118, L"The destination is a sub-tree of the source"},
        {120, L"Security problems on source"},
        {121, L"The source or destination path exceeded or would exceed MAX_PATH"},
        {122, L"Operation involved multiple destination paths which can fail in the case of a move "
              L"operation"},
        {124, L"The paths in the source or destination were invalid"},
        {125, L"Source and destination have the same parent folder."},
        {126, L"The destination path is to an existing file"},
        {128, L"The destination path is to an existing folder"},
        {129, L"The name of the file exceeds MAX_PATH"},
        {130, L"Destination is a Read-Only CDRom, possibly unformatted"},
        {131, L"Destination is a Read-Only DVD, possibly unformatted"},
        {132, L"Destination is a Recordable (AudioL) CDRom, possibly unformatted"},
        {183, L"MAX_PATH was exceeded during the operation."},
        {65536, L"An unspecified error occurred on the destination."},
        {65652, L"MAX_PATH was exceeded during the operation."},
    };
    for (const auto& [iCode, strMessage] : entries) {
        ASSERT_NE(nullptr, ShellOperationMessage(iCode)) << iCode;
        EXPECT_EQ(strMessage, ShellOperationMessage(iCode)) << iCode;
    }
}

TEST(ShellOperationMessage, GapsAndOtherCodesHaveNoEntry) {
    for (int iCode :
         {0, 2, 3, 5, 112, 119, 123, 127, 133, 150, 182, 184, 1026, 65535, 65537, 65651, -1}) {
        EXPECT_EQ(nullptr, ShellOperationMessage(iCode)) << iCode;
    }
}

TEST(ClassifyRemovalPath, KindAndTargetByText) {
    using enum RemovalPathKind;
    const struct {
        const wchar_t* szPath;
        RemovalPathKind kind;
        const wchar_t* szTarget;
    } rows[] = {
        {L"C:\\A\\B", Removable, L"C:\\A\\B"},
        {L"c:/A/B//", Removable, L"c:\\A\\B"},
        {L"C:\\A\\B.\\..x\\...", Removable, L"C:\\A\\B.\\..x\\..."}, // the system's form decides
        {L"\\\\server\\share\\dir\\", Removable, L"\\\\server\\share\\dir"},
        {L"", Empty, L""},
        {L"C:\\", Root, L"C:"},
        {L"C:\\\\\\", Root, L"C:"},
        {L"C:/", Root, L"C:"},
        {L"\\\\server\\share", Root, L"\\\\server\\share"},
        {L"//server/share/", Root, L"\\\\server\\share"},
        {L"C:", Invalid, L"C:"},
        {L"C:dir", Invalid, L"C:dir"},
        {L"1:\\dir", Invalid, L"1:\\dir"},
        {L"dir\\sub", Invalid, L"dir\\sub"},
        {L".", Invalid, L"."},
        {L"\\dir", Invalid, L"\\dir"},
        {L"\\\\server", Invalid, L"\\\\server"},
        {L"\\\\server\\", Invalid, L"\\\\server\\"},
        {L"\\\\\\server\\share", Invalid, L"\\\\\\server\\share"},
        {L"\\\\?\\C:\\dir", Invalid, L"\\\\?\\C:\\dir"},
        {L"\\\\.\\C:\\dir", Invalid, L"\\\\.\\C:\\dir"},
        {L"C:\\A\\..", Invalid, L"C:\\A\\.."},
        {L"C:\\A\\.\\B", Invalid, L"C:\\A\\.\\B"},
        {L"\\\\server\\share\\..\\x", Invalid, L"\\\\server\\share\\..\\x"},
        {L"C:\\A\\*", Invalid, L"C:\\A\\*"},
        {L"C:\\Window?", Invalid, L"C:\\Window?"},
        {L"C:\\Window<", Invalid, L"C:\\Window<"},
        {L"C:\\A>", Invalid, L"C:\\A>"},
        {L"\"C:\\A", Invalid, L"\"C:\\A"},
    };
    for (const auto& row : rows) {
        const RemovalPath path = ClassifyRemovalPath(row.szPath);
        EXPECT_EQ(row.kind, path.kind) << row.szPath;
        EXPECT_EQ(row.szTarget, path.strTarget) << row.szPath;
    }
}
