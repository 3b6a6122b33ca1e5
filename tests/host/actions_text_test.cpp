#include "suite/profile_client_text.h"
#include "suite/profiler_cleanup_text.h"
#include "tasks/elevated_task_text.h"
#include "tasks/schtasks_text.h"

#include <gtest/gtest.h>

using namespace std::literals;

TEST(SplitMultiString, DamagedDataReadsAsFarAsItGoes) {
    using Bytes = std::vector<unsigned char>;
    const auto Utf16 = [](std::wstring_view strText) {
        Bytes data;
        for (wchar_t ch : strText) {
            data.insert(data.end(), {static_cast<unsigned char>(ch & 0xFF),
                                     static_cast<unsigned char>(ch >> 8)});
        }
        return data;
    };
    const struct {
        Bytes data;
        std::vector<std::wstring> strings;
    } kCases[] = {
        {{}, {}},
        {Utf16(L"a\0\0b\0c\0\0"sv), {L"a", L"", L"b", L"c"}}, // a deletion keeps its ""
        {Utf16(L"a\0b\0"sv), {L"a", L"b"}},                   // no list terminator
        {Utf16(L"a\0bc"sv), {L"a", L"bc"}},                   // no final terminator at all
        {{'a', 0, 0, 0, 'x'}, {L"a"}},                        // an odd byte more
        {{0xE9, 0x00, 0x3B, 0x26}, {L"\u00E9\u263B"}},
    };
    for (const auto& c : kCases) {
        EXPECT_EQ(c.strings, SplitMultiString(c.data.data(), c.data.size())) << c.data.size();
    }
    EXPECT_TRUE(SplitMultiString(nullptr, 8).empty());
}

TEST(ProfilerCleanupText, ProductCodesAndVersionsAsNumbers) {
    EXPECT_TRUE(IsProductCode(L"{12345678-ABCD-ef01-2345-6789abcdef01}"));
    for (const wchar_t* szBad :
         {L"", L"12345678-ABCD-ef01-2345-6789abcdef01", L"{12345678-ABCD-ef01-2345-6789abcdef0}",
          L"{12345678-ABCD-ef01-2345-6789abcdef012}", L"{12345678-ABCD-ef01-2345-6789abcdefg1}",
          L"{12345678-ABCD-ef01-2345_6789abcdef01}", L"{12345678-ABCD-ef01-2345-6789abcdef01\\"}) {
        EXPECT_FALSE(IsProductCode(szBad)) << szBad;
    }
    const std::pair<const wchar_t*, std::optional<int>> kVersions[] = {
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
    for (const auto& [szVersion, iOrder] : kVersions) {
        std::optional<int> result = CompareVersions(szVersion, L"3.0.0.0");
        if (result) {
            result = (*result > 0) - (*result < 0);
        }
        EXPECT_EQ(iOrder, result) << szVersion;
    }
}

TEST(TaskText, CommandsCutToTheBufferLessItsTerminator) {
    const std::wstring strPrefix = L"schtasks /Create /TN \"T\" /XML \"";
    for (size_t cchPath : {226u, 227u, 228u, 400u}) {
        const std::wstring strCommand = BuildCreateTaskCommand(L"T", std::wstring(cchPath, L'p'));
        const size_t cchWhole = strPrefix.size() + cchPath + 1;
        EXPECT_EQ(std::min<size_t>(cchWhole, kcchTaskCommand - 1), strCommand.size()) << cchPath;
        EXPECT_EQ(cchWhole < kcchTaskCommand, strCommand.back() == L'"') << cchPath;
    }
}

// What the registered tasks run as, and when: the lines the Task Scheduler acts on.
TEST(TaskText, TemplatesRunForUsersWithTheHighestRights) {
    const std::wstring strLogon = BuildLogonTaskXml(L"PPC Task", L"C:\\P\\ppc.exe");
    const std::wstring strOnDemand = BuildOnDemandTaskXml(L"A&B<C", L"\"C:\\x.exe\" /a & b");
    for (const wchar_t* szLine :
         {L"\n    <LogonTrigger>\n", L"\n      <GroupId>S-1-5-32-545</GroupId>\n",
          L"\n      <RunLevel>HighestAvailable</RunLevel>\n",
          L"\n    <MultipleInstancesPolicy>IgnoreNew</MultipleInstancesPolicy>\n",
          L"\n    <ExecutionTimeLimit>PT72H</ExecutionTimeLimit>\n"}) {
        EXPECT_NE(std::wstring::npos, strLogon.find(szLine)) << szLine;
    }
    EXPECT_NE(std::wstring::npos, strOnDemand.find(L"\n<RunLevel>HighestAvailable</RunLevel>\n"));
    EXPECT_EQ(std::wstring::npos, strOnDemand.find(L"Trigger"));
}
