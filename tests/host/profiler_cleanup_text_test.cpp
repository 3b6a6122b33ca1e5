#include "suite/profiler_cleanup_text.h"

#include <gtest/gtest.h>

namespace {

TEST(IsProductCode, RegistryFormOnly) {
    EXPECT_TRUE(IsProductCode(L"{12345678-ABCD-ef01-2345-6789abcdef01}"));
    for (const wchar_t* szBad :
         {L"", L"12345678-ABCD-ef01-2345-6789abcdef01", L"{12345678-ABCD-ef01-2345-6789abcdef0}",
          L"{12345678-ABCD-ef01-2345-6789abcdef012}", L"{12345678-ABCD-ef01-2345-6789abcdefg1}",
          L"{12345678-ABCD-ef01-2345_6789abcdef01}", L"{12345678-ABCD-ef01-2345-6789abcdef01\\"}) {
        EXPECT_FALSE(IsProductCode(szBad)) << testing::PrintToString(std::wstring(szBad));
    }
}

TEST(CompareVersions, NumbersNotText) {
    const struct {
        const wchar_t* szA;
        std::optional<int> expected; // the order against 3.0.0.0
    } cases[] = {
        {L"2.9.9.9", -1},
        {L"10.0.0.0", 1},
        {L"3.0.0.10", 1},
        {L"3", 0},
        {L"003.000.0.0", 0},
        {L"65536.0.0.0", {}},
        {L"99999999999999", {}},
        {L"3.0.0.0.0", {}},
        {L"3..0", {}},
        {L"3.0.", {}},
        {L"", {}},
        {L"3.0 beta", {}},
    };
    for (const auto& c : cases) {
        auto result = CompareVersions(c.szA, L"3.0.0.0");
        if (result) {
            result = *result < 0 ? -1 : (*result > 0 ? 1 : 0);
        }
        EXPECT_EQ(c.expected, result) << testing::PrintToString(c.szA);
    }
}

} // namespace
