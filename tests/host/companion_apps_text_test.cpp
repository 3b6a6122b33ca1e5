#include "shell/companion_apps_text.h"

#include <gtest/gtest.h>

#include <string>

TEST(CompanionAppsText, OnlyAbsoluteFoldersShorterThanMaxPathAreUsed) {
    const std::wstring str259 = L"C:\\" + std::wstring(256, L'a');
    const struct {
        std::wstring strFolder;
        bool fUsable;
    } kCases[] = {
        {L"C:\\Program Files\\Vantor\\", true},
        {L"d:/x", true},
        {L"\\\\server\\share\\x", true},
        {str259, true},
        {str259 + L"a", false},
        {L"", false},
        {L"C:", false},
        {L"C:Vantor", false},
        {L"Vantor\\", false},
        {L"\\Vantor", false},
        {L"\\\\\\x", false},
        {L"1:\\x", false},
        {std::wstring(L"C:\\a\0b", 6), false},
    };
    for (const auto& c : kCases) {
        EXPECT_EQ(c.fUsable, IsUsableFolder(c.strFolder)) << c.strFolder.size();
    }
}

TEST(CompanionAppsText, JoinAddsOneSeparatorOnlyWhereMissing) {
    EXPECT_EQ(L"C:\\A\\b.exe", JoinPath(L"C:\\A", L"b.exe"));
    EXPECT_EQ(L"C:\\A\\b.exe", JoinPath(L"C:\\A\\", L"b.exe"));
    EXPECT_EQ(L"C:/A/b.exe", JoinPath(L"C:/A/", L"b.exe"));
    EXPECT_EQ(L"\\b.exe", JoinPath(L"", L"b.exe"));
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
