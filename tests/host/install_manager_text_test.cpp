#include "suite/install_manager_text.h"

#include <gtest/gtest.h>

TEST(InstallManagerCommand, OneSeparatorAndTheProgramQuoted) {
    const std::pair<const wchar_t*, const wchar_t*> folders[] = {
        {L"C:\\IM", L"C:\\IM\\InstallManagerApp.exe"},
        {L"C:\\IM\\", L"C:\\IM\\InstallManagerApp.exe"},
        {L"C:/IM/", L"C:/IM/InstallManagerApp.exe"},
    };
    for (const auto& [szFolder, szProgram] : folders) {
        EXPECT_EQ(szProgram, BuildInstallManagerPath(szFolder)) << szFolder;
    }
    EXPECT_EQ(L"\"C:\\A B\\x.exe\" /UPDATE",
              BuildInstallManagerCommand(L"C:\\A B\\x.exe", L"/UPDATE"));
    EXPECT_EQ(L"\"C:\\A B\\x.exe\"", QuoteProgram(L"C:\\A B\\x.exe"));
    EXPECT_EQ(L"SOFTWARE\\Wow6432Node\\ORX\\K\\V",
              SpellProxyValuePath(L"SOFTWARE\\ORX\\K", L"V", true));
    EXPECT_EQ(L"SOFTWARE\\ORX\\K\\V", SpellProxyValuePath(L"SOFTWARE\\ORX\\K", L"V", false));
}
