#include "system/path_text.h"

#include <gtest/gtest.h>

TEST(IsAbsolutePath, OnlyDriveAndUncPaths) {
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
