#include "system/registry_text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cwchar>
#include <string>
#include <vector>

TEST(SplitKeyPath, KeyPartIsEverythingBeforeTheLastBackslash) {
    const KeyPathParts trailing =
        SplitKeyPath(L"SOFTWARE\\ORX Technologies\\Install\\Packages\\P1\\");
    EXPECT_EQ(L"SOFTWARE\\ORX Technologies\\Install\\Packages\\P1", trailing.strKeyPart);
    EXPECT_EQ(L"", trailing.strLeafPart);

    // Without the trailing backslash the path names its parent.
    const KeyPathParts leaf = SplitKeyPath(L"SOFTWARE\\ORX\\A4");
    EXPECT_EQ(L"SOFTWARE\\ORX", leaf.strKeyPart);
    EXPECT_EQ(L"A4", leaf.strLeafPart);

    // A doubled backslash at the end leaves one on the key part.
    const KeyPathParts doubled = SplitKeyPath(L"Uninstall\\QVX Velium Install Manager\\\\");
    EXPECT_EQ(L"Uninstall\\QVX Velium Install Manager\\", doubled.strKeyPart);
    EXPECT_EQ(L"", doubled.strLeafPart);
}

TEST(SplitKeyPath, PathWithoutBackslashIsAllLeaf) {
    const KeyPathParts plain = SplitKeyPath(L"SOFTWARE");
    EXPECT_EQ(L"", plain.strKeyPart);
    EXPECT_EQ(L"SOFTWARE", plain.strLeafPart);
    const KeyPathParts empty = SplitKeyPath(L"");
    EXPECT_EQ(L"", empty.strKeyPart);
    EXPECT_EQ(L"", empty.strLeafPart);
    const KeyPathParts lone = SplitKeyPath(L"\\");
    EXPECT_EQ(L"", lone.strKeyPart);
    EXPECT_EQ(L"", lone.strLeafPart);
}

TEST(IsSingleKeyName, RejectsEmptyAndBackslashes) {
    EXPECT_TRUE(IsSingleKeyName(L"W-05-000U-000-003-002-001-00-00"));
    EXPECT_TRUE(IsSingleKeyName(L" "));
    EXPECT_FALSE(IsSingleKeyName(L""));
    EXPECT_FALSE(IsSingleKeyName(L"\\"));
    EXPECT_FALSE(IsSingleKeyName(L"A\\B"));
    EXPECT_FALSE(IsSingleKeyName(L"{GUID}\\"));
}

TEST(ContainsName, ExactAndCaseSensitive) {
    const std::vector<std::wstring> vecNames = {L"Skins", L"C:/B/logo.png"};
    EXPECT_TRUE(ContainsName(vecNames, L"Skins"));
    EXPECT_FALSE(ContainsName(vecNames, L"skins"));
    EXPECT_FALSE(ContainsName(vecNames, L"Skin"));
    EXPECT_FALSE(ContainsName(vecNames, L"Skins "));
    EXPECT_FALSE(ContainsName({}, L"Skins"));
    // Names with embedded NULs compare by their full length.
    EXPECT_FALSE(ContainsName({std::wstring(L"Sk\0ins", 6)}, L"Sk"));
}

namespace {

// A buffer with guard characters after its bound, to see that nothing is
// written past it.
struct GuardedBuffer {
    static constexpr size_t kcch = 8;
    static constexpr size_t kcchGuard = 4;
    wchar_t sz[kcch + kcchGuard];
    explicit GuardedBuffer(const wchar_t* szStart) {
        std::fill(std::begin(sz), std::end(sz), L'#');
        std::wcsncpy(sz, szStart, kcch);
    }
    bool GuardIntact() const {
        return std::all_of(sz + kcch, sz + kcch + kcchGuard, [](wchar_t ch) { return ch == L'#'; });
    }
};

} // namespace

TEST(AppendWithinBound, AppendsWhatFitsAndAlwaysTerminates) {
    GuardedBuffer fits(L"ab");
    EXPECT_TRUE(AppendWithinBound(fits.sz, GuardedBuffer::kcch, L"cdefg")); // 7 characters + NUL
    EXPECT_EQ(std::wstring(L"abcdefg"), fits.sz);
    EXPECT_TRUE(fits.GuardIntact());

    GuardedBuffer cut(L"ab");
    EXPECT_FALSE(AppendWithinBound(cut.sz, GuardedBuffer::kcch, L"cdefgh"));
    EXPECT_EQ(std::wstring(L"abcdefg"), cut.sz);
    EXPECT_TRUE(cut.GuardIntact());

    GuardedBuffer full(L"abcdefg");
    EXPECT_TRUE(AppendWithinBound(full.sz, GuardedBuffer::kcch, L""));
    EXPECT_FALSE(AppendWithinBound(full.sz, GuardedBuffer::kcch, L"\\"));
    EXPECT_EQ(std::wstring(L"abcdefg"), full.sz);
    EXPECT_TRUE(full.GuardIntact());
}

TEST(AppendWithinBound, UnterminatedBufferIsTerminatedAtItsBound) {
    GuardedBuffer unterminated(L"abcdefgh"); // all 8 characters, no NUL
    EXPECT_FALSE(AppendWithinBound(unterminated.sz, GuardedBuffer::kcch, L"x"));
    EXPECT_EQ(std::wstring(L"abcdefg"), unterminated.sz);
    EXPECT_TRUE(unterminated.GuardIntact());
    wchar_t szNone[1] = {L'z'};
    EXPECT_FALSE(AppendWithinBound(szNone, 0, L"x"));
    EXPECT_EQ(L'z', szNone[0]);
}
