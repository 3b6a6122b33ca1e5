#include "suite/profiler_cleanup_text.h"

#include <gtest/gtest.h>

namespace {

TEST(JoinFolderAndName, OneSeparator) {
    EXPECT_EQ(L"C:\\W\\Drivers\\pcore.sys", JoinFolderAndName(L"C:\\W\\Drivers", L"pcore.sys"));
    EXPECT_EQ(L"C:\\W\\pcore.sys", JoinFolderAndName(L"C:\\W\\", L"pcore.sys"));
    EXPECT_EQ(L"C:/W/pcore.sys", JoinFolderAndName(L"C:/W/", L"pcore.sys"));
    EXPECT_EQ(L"\\pcore.sys", JoinFolderAndName(L"", L"pcore.sys"));
}

TEST(IsProductCode, RegistryFormOnly) {
    EXPECT_TRUE(IsProductCode(L"{12345678-ABCD-ef01-2345-6789abcdef01}"));
    for (const wchar_t* szBad :
         {L"", L"12345678-ABCD-ef01-2345-6789abcdef01", L"{12345678-ABCD-ef01-2345-6789abcdef0}",
          L"{12345678-ABCD-ef01-2345-6789abcdef012}", L"{12345678-ABCD-ef01-2345-6789abcdefg1}",
          L"{12345678-ABCD-ef01-2345_6789abcdef01}", L"{12345678-ABCD-ef01-2345-6789abcdef01\\",
          L"..\\..\\..\\..\\..\\..\\..\\..\\..\\..\\..\\..\\..\\x"}) {
        EXPECT_FALSE(IsProductCode(szBad)) << testing::PrintToString(std::wstring(szBad));
    }
}

TEST(CompareVersions, NumbersNotText) {
    const struct {
        const wchar_t* szA;
        const wchar_t* szB;
        std::optional<int> expected;
    } cases[] = {
        {L"2.9.9.9", L"3.0.0.0", -1},
        {L"10.0.0.0", L"3.0.0.0", 1}, // "1" sorts before "3" as text
        {L"3.0.0.10", L"3.0.0.9", 1},
        {L"3", L"3.0.0.0", 0},
        {L"3.0", L"3.0.0.0", 0},
        {L"3.0.1", L"3.0.0.0", 1},
        {L"003.000.0.0", L"3.0.0.0", 0},
        {L"65535.65535.65535.65535", L"3.0.0.0", 1},
        {L"65536.0.0.0", L"3.0.0.0", std::nullopt},
        {L"99999999999999999999", L"3.0.0.0", std::nullopt},
        {L"3.0.0.0.0", L"3.0.0.0", std::nullopt},
        {L"3..0.0", L"3.0.0.0", std::nullopt},
        {L"3.0.0.", L"3.0.0.0", std::nullopt},
        {L".3", L"3.0.0.0", std::nullopt},
        {L"", L"3.0.0.0", std::nullopt},
        {L"3.0 beta", L"3.0.0.0", std::nullopt},
        {L"-3.0", L"3.0.0.0", std::nullopt},
        {L"3.0.0.0", L"x", std::nullopt},
    };
    for (const auto& c : cases) {
        const auto result = CompareVersions(c.szA, c.szB);
        ASSERT_EQ(c.expected.has_value(), result.has_value()) << testing::PrintToString(c.szA);
        if (result) {
            EXPECT_EQ(*c.expected, *result < 0 ? -1 : (*result > 0 ? 1 : 0))
                << testing::PrintToString(c.szA);
        }
    }
}

} // namespace
