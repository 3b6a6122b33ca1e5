#include "suite/profile_client_text.h"
#include "suite/profiler_cleanup_text.h"
#include "tasks/elevated_task_text.h"
#include "tasks/schtasks_text.h"

#include <gtest/gtest.h>

// Each pair of bytes is one character, low byte first, both unsigned; no data, no strings.
TEST(SplitMultiString, UnsignedLittleEndianPairs) {
    const unsigned char data[] = {0xE9, 0x00, 0x3B, 0x26};
    EXPECT_EQ(std::vector<std::wstring>{L"\u00E9\u263B"}, SplitMultiString(data, sizeof(data)));
    EXPECT_TRUE(SplitMultiString(nullptr, 8).empty());
}

TEST(ProfilerCleanupText, ProductCodesAndVersionsAsNumbers) {
    EXPECT_TRUE(IsProductCode(L"{12345678-ABCD-ef01-2345-6789abcdef01}"));
    for (const wchar_t* szBad :
         {L"{12345678-ABCD-ef01-2345-6789abcdefg1}", L"{12345678-ABCD-ef01-2345_6789abcdef01}",
          L"{12345678-ABCD-ef01-2345-6789abcdef01\\"}) {
        EXPECT_FALSE(IsProductCode(szBad)) << szBad;
    }
    const std::pair<const wchar_t*, std::optional<int>> kVersions[] = {
        {L"2.9.9.9", -1},   {L"10.0.0.0", 1}, {L"3.0.0.10", 1}, {L"003", 0}, {L"65536", {}},
        {L"3.0.0.0.0", {}}, {L"3..0", {}},    {L"3.0.", {}},    {L"", {}},   {L"3.0 beta", {}},
    };
    for (const auto& [szVersion, iOrder] : kVersions) {
        EXPECT_EQ(iOrder, CompareVersions(szVersion, L"3.0.0.0")) << szVersion;
    }
}

// A command one character too long for the buffer loses its closing quote, no more.
TEST(TaskText, CommandsCutToTheBufferLessItsTerminator) {
    const std::wstring strPrefix = L"schtasks /Create /TN \"T\" /XML \"";
    const size_t cchFits = kcchTaskCommand - 2 - strPrefix.size();
    EXPECT_EQ(strPrefix + std::wstring(cchFits, L'p') + L"\"",
              BuildCreateTaskCommand(L"T", std::wstring(cchFits, L'p')));
    EXPECT_EQ(strPrefix + std::wstring(cchFits + 1, L'p'),
              BuildCreateTaskCommand(L"T", std::wstring(cchFits + 1, L'p')));
}

// Who the registered tasks name as author, what they run as, and when.
TEST(TaskText, TemplatesRunForUsersWithTheHighestRights) {
    const std::wstring strLogon = BuildLogonTaskXml(L"PPC Task", L"C:\\P\\ppc.exe");
    const std::wstring strOnDemand = BuildOnDemandTaskXml(L"A&B<C", L"\"C:\\x.exe\" /a & b");
    for (const wchar_t* szLine :
         {L"\n    <LogonTrigger>\n", L"\n      <GroupId>S-1-5-32-545</GroupId>\n",
          L"\n      <RunLevel>HighestAvailable</RunLevel>\n",
          L"\n    <Author>WORKGROUP\\ORXBUILD$</Author>\n"}) {
        EXPECT_NE(std::wstring::npos, strLogon.find(szLine)) << szLine;
    }
    EXPECT_NE(std::wstring::npos, strOnDemand.find(L"\n<RunLevel>HighestAvailable</RunLevel>\n"));
    EXPECT_EQ(std::wstring::npos, strOnDemand.find(L"Trigger"));
}
