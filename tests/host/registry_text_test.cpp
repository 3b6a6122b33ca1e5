#include "system/registry_text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cwchar>
#include <string>
#include <vector>

TEST(SplitKeyPath, KeyPartIsEverythingBeforeTheLastBackslash) {
    const struct {
        const wchar_t* szPath;
        const wchar_t* szKeyPart;
        const wchar_t* szLeafPart;
    } kCases[] = {
        {L"SOFTWARE\\ORX Technologies\\Install\\Packages\\P1\\",
         L"SOFTWARE\\ORX Technologies\\Install\\Packages\\P1", L""},
        {L"SOFTWARE\\ORX\\A4", L"SOFTWARE\\ORX", L"A4"}, // without "\" at the end: the parent
        {L"Uninstall\\QVX Velium Install Manager\\\\", L"Uninstall\\QVX Velium Install Manager\\",
         L""},
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

TEST(IsSingleKeyName, RejectsEmptyAndBackslashes) {
    EXPECT_TRUE(IsSingleKeyName(L"W-05-000U-000-003-002-001-00-00"));
    EXPECT_TRUE(IsSingleKeyName(L" "));
    for (const wchar_t* szName : {L"", L"\\", L"A\\B", L"{GUID}\\"}) {
        EXPECT_FALSE(IsSingleKeyName(szName)) << szName;
    }
}

TEST(ContainsName, ExactAndCaseSensitive) {
    const std::vector<std::wstring> vecNames = {L"Skins", L"C:/B/logo.png"};
    EXPECT_TRUE(ContainsName(vecNames, L"Skins"));
    for (const wchar_t* szName : {L"skins", L"Skin", L"Skins "}) {
        EXPECT_FALSE(ContainsName(vecNames, szName)) << szName;
    }
    EXPECT_FALSE(ContainsName({}, L"Skins"));
    // Names with embedded NULs compare by their full length.
    EXPECT_FALSE(ContainsName({std::wstring(L"Sk\0ins", 6)}, L"Sk"));
}

// Into a buffer of 8 characters followed by guard characters: whatever fits is
// appended, the text always ends within the 8 and nothing is written past them.
TEST(AppendWithinBound, AppendsWhatFitsAndAlwaysTerminates) {
    constexpr size_t kcch = 8;
    const struct {
        const wchar_t* szStart; // all 8 characters and no NUL for the unterminated buffer
        const wchar_t* szAppend;
        bool fResult;
        const wchar_t* szExpected;
    } kCases[] = {
        {L"ab", L"cdefg", true, L"abcdefg"}, // 7 characters and the NUL
        {L"ab", L"cdefgh", false, L"abcdefg"},
        {L"abcdefg", L"", true, L"abcdefg"},
        {L"abcdefg", L"\\", false, L"abcdefg"},
        {L"abcdefgh", L"x", false, L"abcdefg"}, // unterminated: cut at the bound
    };
    for (const auto& c : kCases) {
        wchar_t sz[kcch + 4];
        std::fill(std::begin(sz), std::end(sz), L'#');
        std::wcsncpy(sz, c.szStart, kcch);
        EXPECT_EQ(c.fResult, AppendWithinBound(sz, kcch, c.szAppend)) << c.szStart << c.szAppend;
        EXPECT_EQ(std::wstring(c.szExpected), sz);
        EXPECT_TRUE(std::all_of(sz + kcch, std::end(sz), [](wchar_t ch) { return ch == L'#'; }));
    }
    wchar_t szNone[1] = {L'z'};
    EXPECT_FALSE(AppendWithinBound(szNone, 0, L"x"));
    EXPECT_EQ(L'z', szNone[0]);
}
