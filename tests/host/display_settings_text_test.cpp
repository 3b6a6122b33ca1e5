#include "suite/display_settings_text.h"

#include <gtest/gtest.h>

// The cases check the well-formed driver key and log path; these, the malformed ones.
TEST(DisplaySettingsText, MalformedDriverKeysAndProgramData) {
    for (const wchar_t* szBad :
         {L"", L"\\", L"{class}", L"{class}\\", L"\\0000", L"a\\b\\c", L"{class}\\0000\\"}) {
        EXPECT_FALSE(IsDriverKeyName(szBad)) << testing::PrintToString(szBad);
    }
    EXPECT_EQ(L"C:\\ProgramData\\QVX\\PN\\Analytics\\orxkmdag_dce.log",
              BuildDceLogPaths(L"C:\\ProgramData\\").strFile);
    for (const wchar_t* szBad : {L"", L"ProgramData", L"C:ProgramData"}) {
        const DceLogPaths paths = BuildDceLogPaths(szBad);
        EXPECT_TRUE(paths.strFolder.empty() && paths.strFile.empty())
            << testing::PrintToString(szBad);
    }
}
