#include "suite/package_cleanup_text.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

TEST(IsExceptedPackage, OnlyTheThreeIdentifiersExactly) {
    EXPECT_TRUE(IsExceptedPackage(L"W-05-000U-000-003-002-001-00-00"));
    EXPECT_TRUE(IsExceptedPackage(L"W-06-2U00-000-002-188-001-00-25"));
    EXPECT_TRUE(IsExceptedPackage(L"W-06-2U01-000-002-189-001-00-25"));
    EXPECT_FALSE(IsExceptedPackage(L"W-05-000U-000-003-002-001-00-001"));
    EXPECT_FALSE(IsExceptedPackage(L"W-05-000U-000-003-002-001-00-0"));
    EXPECT_FALSE(IsExceptedPackage(L"w-05-000u-000-003-002-001-00-00"));
    EXPECT_FALSE(IsExceptedPackage(std::wstring(L"W-05-000U-000-003-002-001-00-00\0", 32)));
    EXPECT_FALSE(IsExceptedPackage(L""));
}

TEST(BrandingEntryPath, JoinsWithOneForwardSlash) {
    EXPECT_EQ(L"C:/Program Files/QVX/Branding/logo.png",
              BrandingEntryPath(L"C:\\Program Files\\QVX\\Branding", L"logo.png"));
    EXPECT_EQ(L"C:/B/Skins", BrandingEntryPath(L"C:\\B\\", L"Skins"));
    EXPECT_EQ(L"C:/B/x", BrandingEntryPath(L"C:/B/", L"x"));
    EXPECT_EQ(L"/x", BrandingEntryPath(L"", L"x"));
    EXPECT_EQ(L"a/b/c", WithForwardSlashes(L"a\\b\\c"));
}

// An entry containing "Skins" is kept when the list holds "Skins" itself;
// otherwise, like every other entry, only when an item equals it exactly.
TEST(KeepsBrandingEntry, SkinsEntriesFollowTheSkinsNameOthersNeedAnExactItem) {
    EXPECT_FALSE(KeepsBrandingEntry(L"C:/B/Skins", {})); // an empty list keeps nothing
    EXPECT_FALSE(KeepsBrandingEntry(L"C:/B/logo.png", {}));
    const std::vector<std::wstring> vecSkins = {L"Skins"};
    EXPECT_TRUE(KeepsBrandingEntry(L"C:/B/Skins", vecSkins));
    EXPECT_TRUE(KeepsBrandingEntry(L"C:/B/OldSkins.zip", vecSkins)); // any text containing it
    EXPECT_FALSE(KeepsBrandingEntry(L"C:/B/skins", vecSkins));       // case matters
    EXPECT_FALSE(KeepsBrandingEntry(L"C:/B/logo.png", vecSkins));
    const std::vector<std::wstring> vecOther = {L"C:/B/Skins", L"C:/B/logo.png", L"Logo"}; // sorted
    EXPECT_TRUE(KeepsBrandingEntry(L"C:/B/Skins", vecOther));
    EXPECT_TRUE(KeepsBrandingEntry(L"C:/B/logo.png", vecOther));
    for (const wchar_t* szEntry :
         {L"C:/B/Skins2", L"C:/B/Logo.png", L"C:/B/logo.png2", L"C:\\B\\logo.png", L"C:/B/Logo"}) {
        EXPECT_FALSE(KeepsBrandingEntry(szEntry, vecOther)) << szEntry;
    }
}
