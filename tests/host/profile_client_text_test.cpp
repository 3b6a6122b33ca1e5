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
        {Utf16(L"\0"sv), {}},
        {Utf16(L"a\0b\0\0"sv), {L"a", L"b"}},
        {Utf16(L"a\0\0b\0c\0\0"sv), {L"a", L"", L"b", L"c"}}, // a deletion keeps its ""
        {Utf16(L"a\0\0\0"sv), {L"a", L""}},
        {Utf16(L"a\0b\0"sv), {L"a", L"b"}}, // no list terminator
        {Utf16(L"a\0bc"sv), {L"a", L"bc"}}, // no final terminator at all
        {[] {
             Bytes d = Utf16(L"a\0b\0\0"sv);
             d.push_back('x');
             return d;
         }(),
         {L"a", L"b"}},
        {{'x'}, {}},                                   // one odd byte
        {{0xE9, 0x00, 0x3B, 0x26}, {L"\u00E9\u263B"}}, // units beyond ASCII
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.expected, SplitMultiString(c.data.data(), c.data.size()))
            << c.data.size() << " bytes";
    }
    EXPECT_EQ(Strings{}, SplitMultiString(nullptr, 8));
}

TEST(JoinMultiString, RoundTripsWhatItWrites) {
    for (const Strings& strings :
         {Strings{}, Strings{L"a"}, Strings{L"\\??\\C:\\x", L"", L"b", L"c"}}) {
        const Bytes data = JoinMultiString(strings);
        EXPECT_EQ(strings, SplitMultiString(data.data(), data.size()));
    }
    EXPECT_EQ(Utf16(L"ab\0c\0\0"sv), JoinMultiString({L"ab", L"c"}));
    EXPECT_EQ(Utf16(L"\0"sv), JoinMultiString({}));
}

TEST(CleanPendingRenames, DropsEmptiesAndClientOperationsOneByOne) {
    const std::wstring strClient =
        L"\\??\\C:\\Program Files\\QVX\\Performance Profile Client\\a.dll";
    const struct {
        const char* szWhat;
        Strings before;
        std::optional<Strings> after; // nullopt: left as it is
    } cases[] = {
        {"other files only", {L"\\??\\C:\\a", L"\\??\\C:\\b"}, std::nullopt},
        {"nothing at all", {}, std::nullopt},
        {"a deletion loses its empty destination", {L"\\??\\C:\\a", L""}, Strings{L"\\??\\C:\\a"}},
        {"the client's source goes, its destination stays",
         {strClient, L"\\??\\C:\\dest", L"\\??\\C:\\x", L"\\??\\C:\\y"},
         Strings{L"\\??\\C:\\dest", L"\\??\\C:\\x", L"\\??\\C:\\y"}},
        {"a client deletion goes whole", {strClient, L"", L"k"}, Strings{L"k"}},
        {"the name without its backslash stays",
         {L"Performance Profile Client\\a.dll", L"x"},
         std::nullopt},
        {"the marker alone, 27 characters", {L"\\Performance Profile Client"}, Strings{}},
        {"case matters", {L"C:\\performance profile client\\a"}, std::nullopt},
    };
    for (const auto& c : cases) {
        const Bytes data = JoinMultiString(c.before);
        const auto cleaned = CleanPendingRenames(data.data(), data.size());
        ASSERT_EQ(c.after.has_value(), cleaned.has_value()) << c.szWhat;
        if (cleaned) {
            EXPECT_EQ(JoinMultiString(*c.after), *cleaned) << c.szWhat;
        }
    }
}

TEST(DecideClientOwner, ClientOwnsWhenItLaunchedOrStillNeedsTheClient) {
    // launched from the client, removing, QUEPClient, QUEPStatus, suite installed: owner
    const struct {
        ClientFacts facts;
        const wchar_t* szOwner;
    } cases[] = {
        {{false, false, L"", std::nullopt, false}, L"Suite"},
        {{true, false, L"", std::nullopt, true}, L"Client"},
        {{false, false, L"QUEP", 1, false}, L"Client"},
        {{false, false, L"QUEP", 1, true}, L"Suite"},
        {{false, true, L"QUEP", 1, true}, L"Client"},
        {{false, true, L"QUEP", 0, false}, L"Suite"},
        {{false, true, L"QUEP", std::nullopt, false}, L"Suite"},
        {{false, true, L"", 1, false}, L"Suite"},
    };
    for (const auto& c : cases) {
        EXPECT_STREQ(c.szOwner, DecideClientOwner(c.facts))
            << c.facts.fLaunchedFromClient << c.facts.fRemoving << c.facts.fSuiteInstalled;
    }
}

} // namespace
