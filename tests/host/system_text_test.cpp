#include "system/path_text.h"
#include "system/removal_text.h"
#include "system/service_text.h"

#include <gtest/gtest.h>

TEST(IsAbsolutePath, OnlyDriveAndUncPaths) {
    for (const wchar_t* szPath : {L"C:\\Setup", L"z:\\", L"\\\\server\\share"}) {
        EXPECT_TRUE(IsAbsolutePath(szPath)) << szPath;
    }
    for (const wchar_t* szPath :
         {L"C:", L"C:Setup", L"\\Setup", L"\\\\", L"\\\\\\x", L"1:\\Setup", L"CC:\\Setup"}) {
        EXPECT_FALSE(IsAbsolutePath(szPath)) << szPath;
    }
}

// What the removal guard lets through: a root, a device path or a path that climbs
// out of its folder is never removed.
TEST(ClassifyRemovalPath, KindAndTargetByText) {
    using enum RemovalPathKind;
    const struct {
        const wchar_t *szPath, *szTarget;
        RemovalPathKind kind;
    } kCases[] = {
        {L"c:/A/B//", L"c:\\A\\B", Removable},
        {L"C:\\\\\\", L"C:", Root},
        {L"//server/share/", L"\\\\server\\share", Root},
        {L"", L"", Empty},
        {L"\\\\server\\", L"\\\\server\\", Invalid},
        {L"\\\\.\\C:\\dir", L"\\\\.\\C:\\dir", Invalid},
        {L"\\\\?\\C:\\dir", L"\\\\?\\C:\\dir", Invalid},
        {L"C:\\A\\.\\B", L"C:\\A\\.\\B", Invalid},
        {L"\\\\server\\share\\..\\x", L"\\\\server\\share\\..\\x", Invalid},
        {L"C:\\A\\*", L"C:\\A\\*", Invalid},
    };
    for (const auto& c : kCases) {
        const RemovalPath path = ClassifyRemovalPath(c.szPath);
        EXPECT_EQ(c.kind, path.kind) << c.szPath;
        EXPECT_EQ(c.szTarget, path.strTarget) << c.szPath;
    }
}

TEST(ServiceBinaryFolder, QuotesAndArgumentsAreNotPartOfTheFolder) {
    const std::pair<const wchar_t*, const wchar_t*> kCases[] = {
        {L"\"C:\\unclosed\\a b.exe", L"C:\\unclosed"},
        {L"C:\\Program Files\\QVX\\EEU.EXE -k run", L"C:\\Program Files\\QVX"},
        {L"C:\\my.exes\\x.exe.bak\\svc.exe /a", L"C:\\my.exes\\x.exe.bak"},
        {L"C:\\svc.exe", L"C:\\"},
        {L"C:/tools/svc", L"C:/tools"},
        {L"svchost.exe -k netsvcs", L""},
    };
    for (const auto& [szConfigured, szFolder] : kCases) {
        EXPECT_EQ(szFolder, GetParentFolder(GetServiceBinaryFile(szConfigured))) << szConfigured;
    }
}
