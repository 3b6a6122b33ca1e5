#include "suite/profile_client_text.h"

#include <gtest/gtest.h>

namespace {

using Strings = std::vector<std::wstring>;
using Bytes = std::vector<unsigned char>;

// UTF-16LE bytes of strText, which may hold NULs.
Bytes Utf16(std::wstring_view strText) {
    Bytes data;
    for (wchar_t ch : strText) {
        data.push_back(static_cast<unsigned char>(ch & 0xFF));
        data.push_back(static_cast<unsigned char>(ch >> 8));
    }
    return data;
}

using namespace std::string_view_literals;

TEST(SplitMultiString, DamagedDataReadsAsFarAsItGoes) {
    const struct {
        Bytes data;
        Strings expected;
    } cases[] = {
        {{}, {}},
        {Utf16(L"a\0\0b\0c\0\0"sv), {L"a", L"", L"b", L"c"}}, // a deletion keeps its ""
        {Utf16(L"a\0\0\0"sv), {L"a", L""}},
        {Utf16(L"a\0b\0"sv), {L"a", L"b"}},            // no list terminator
        {Utf16(L"a\0bc"sv), {L"a", L"bc"}},            // no final terminator at all
        {{'a', 0, 0, 0, 'x'}, {L"a"}},                 // an odd byte more
        {{0xE9, 0x00, 0x3B, 0x26}, {L"\u00E9\u263B"}}, // units beyond ASCII
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.expected, SplitMultiString(c.data.data(), c.data.size()))
            << c.data.size() << " bytes";
    }
    EXPECT_EQ(Strings{}, SplitMultiString(nullptr, 8));
}

} // namespace
