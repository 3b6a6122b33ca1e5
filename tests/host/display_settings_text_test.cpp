#include "suite/display_settings_text.h"

#include <gtest/gtest.h>

TEST(DisplaySettingsText, OnlyDriveAndUncPathsAreAbsolute) {
    const struct {
        const wchar_t* szPath;
        bool fAbsolute;
    } kCases[] = {
        {L"C:\\Setup", true}, {L"z:\\", true},       {L"\\\\server\\share", true},
        {L"", false},         {L"C:", false},        {L"C:Setup", false},
        {L"\\Setup", false},  {L"Setup\\x", false},  {L"\\\\", false},
        {L"\\\\\\x", false},  {L"1:\\Setup", false}, {L"CC:\\Setup", false},
    };
    for (const auto& c : kCases) {
        EXPECT_EQ(c.fAbsolute, IsAbsolutePath(c.szPath)) << testing::PrintToString(c.szPath);
    }
}

TEST(DisplaySettingsText, JoinsWithOneBackslash) {
    EXPECT_EQ(L"C:\\Pkg\\orxpblup.dat", JoinFolderAndName(L"C:\\Pkg", L"orxpblup.dat"));
    EXPECT_EQ(L"C:\\Pkg\\orxpblup.dat", JoinFolderAndName(L"C:\\Pkg\\", L"orxpblup.dat"));
    EXPECT_EQ(L"orxpblup.dat", JoinFolderAndName(L"", L"orxpblup.dat"));
}

TEST(DisplaySettingsText, DriverKeyIsClassAndInstance) {
    EXPECT_TRUE(IsDriverKeyName(L"{4d36e968-e325-11ce-bfc1-08002be10318}\\0000"));
    for (const wchar_t* szBad :
         {L"", L"\\", L"{class}", L"{class}\\", L"\\0000", L"a\\b\\c", L"{class}\\0000\\"}) {
        EXPECT_FALSE(IsDriverKeyName(szBad)) << testing::PrintToString(szBad);
    }
}

TEST(DisplaySettingsText, DceLogUnderProgramData) {
    for (const wchar_t* szProgramData : {L"C:\\ProgramData", L"C:\\ProgramData\\"}) {
        const DceLogPaths paths = BuildDceLogPaths(szProgramData);
        EXPECT_EQ(L"C:\\ProgramData\\QVX\\PN\\Analytics", paths.strFolder);
        EXPECT_EQ(L"C:\\ProgramData\\QVX\\PN\\Analytics\\orxkmdag_dce.log", paths.strFile);
    }
    for (const wchar_t* szBad : {L"", L"ProgramData", L"C:ProgramData"}) {
        const DceLogPaths paths = BuildDceLogPaths(szBad);
        EXPECT_TRUE(paths.strFolder.empty() && paths.strFile.empty())
            << testing::PrintToString(szBad);
    }
}
