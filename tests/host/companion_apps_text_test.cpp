#include "shell/companion_apps_text.h"

#include <gtest/gtest.h>

#include <string>

TEST(CompanionAppsText, OnlyAbsoluteFoldersShorterThanMaxPathAreUsed) {
    const std::wstring str259 = L"C:\\" + std::wstring(256, L'a');
    EXPECT_TRUE(IsUsableFolder(str259));
    EXPECT_FALSE(IsUsableFolder(str259 + L"a"));
    EXPECT_TRUE(IsUsableFolder(L"\\\\server\\share\\Vantor\\"));
    EXPECT_FALSE(IsUsableFolder(L"Vantor\\"));
    EXPECT_FALSE(IsUsableFolder(L""));
}

TEST(CompanionAppsText, AppUserModelIds) {
    const struct {
        std::wstring strId;
        bool fValid;
    } kCases[] = {
        {L"QVX.QVXLink_1a2b3c4d5e6f7!App", true},
        {L"a!b", true},
        {L"", false},
        {L"!App", false},
        {L"QVX.QVXLink!", false},
        {L"QVXLink", false},
        {L"a!b!c", false},
        {L"QVX Link!App", false},
        {L"C:\\Windows\\explorer.exe!App", false},
        {L"a!\"b", false},
        {L"a!b\n", false},
        {std::wstring(257, L'a') + L"!b", true},
        {std::wstring(258, L'a') + L"!b", false},
    };
    for (const auto& c : kCases) {
        EXPECT_EQ(c.fValid, IsAppUserModelId(c.strId)) << c.strId.size();
    }
    EXPECT_EQ(L"shell:AppsFolder\\a!b", BuildAppsFolderArguments(L"a!b"));
    EXPECT_EQ(L"\"C:\\p q\\V.exe\"", BuildVerbCommand(L"C:\\p q\\V.exe"));
}
