#include "suite/display_settings_text.h"

#include <gtest/gtest.h>

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
