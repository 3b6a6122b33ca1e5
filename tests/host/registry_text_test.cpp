#include "system/registry_text.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

TEST(SplitKeyPath, KeyPartIsEverythingBeforeTheLastBackslash) {
    const struct {
        const wchar_t *szPath, *szKeyPart, *szLeafPart;
    } kCases[] = {
        {L"SOFTWARE\\ORX\\P1\\", L"SOFTWARE\\ORX\\P1", L""},
        {L"SOFTWARE\\ORX\\A4", L"SOFTWARE\\ORX", L"A4"}, // without "\" at the end: the parent
        {L"Uninstall\\QVX\\\\", L"Uninstall\\QVX\\", L""},
        {L"SOFTWARE", L"", L"SOFTWARE"}, // no backslash: all leaf
        {L"", L"", L""},
        {L"\\", L"", L""},
    };
    for (const auto& c : kCases) {
        const KeyPathParts parts = SplitKeyPath(c.szPath);
        EXPECT_EQ(c.szKeyPart, parts.strKeyPart) << c.szPath;
        EXPECT_EQ(c.szLeafPart, parts.strLeafPart) << c.szPath;
    }
}

TEST(KeyNames, SingleNamesAndExactCaseSensitiveMatches) {
    EXPECT_TRUE(IsSingleKeyName(L" "));
    for (const wchar_t* szName : {L"", L"\\", L"A\\B", L"{GUID}\\"}) {
        EXPECT_FALSE(IsSingleKeyName(szName)) << szName;
    }
    const std::vector<std::wstring> vecNames = {L"Skins", L"C:/B/logo.png"};
    EXPECT_TRUE(ContainsName(vecNames, L"Skins"));
    for (const wchar_t* szName : {L"skins", L"Skin", L"Skins "}) {
        EXPECT_FALSE(ContainsName(vecNames, szName)) << szName;
    }
    // Names with embedded NULs compare by their full length.
    EXPECT_FALSE(ContainsName({std::wstring(L"Sk\0ins", 6)}, L"Sk"));
}
