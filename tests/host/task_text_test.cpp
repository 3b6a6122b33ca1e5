#include "tasks/elevated_task_text.h"
#include "tasks/schtasks_text.h"
#include "tasks/task_xml_text.h"

#include <gtest/gtest.h>

#include <vector>

TEST(AppendFileName, OneSeparatorWhateverTheFolderEndsIn) {
    const std::pair<std::wstring, std::wstring> cases[] = {
        {L"C:\\App", L"C:\\App\\StartPN.xml"},
        {L"C:\\App\\", L"C:\\App\\StartPN.xml"},
        {L"C:\\App/", L"C:\\App/StartPN.xml"},
        {L"", L"\\StartPN.xml"},
    };
    for (const auto& [strFolder, strPath] : cases) {
        EXPECT_EQ(strPath, AppendFileName(strFolder, L"StartPN.xml")) << strFolder;
    }
}

TEST(TaskCommands, TheFourFormsAndTheEmptyArgument) {
    EXPECT_EQ(L"schtasks /Create /TN \"StartPN\" /XML \"C:\\A b\\StartPN.xml\"",
              BuildCreateTaskCommand(L"StartPN", L"C:\\A b\\StartPN.xml"));
    EXPECT_EQ(L"schtasks /change /TN \"StartPN\" /TR \"\\\"C:\\A\\pncmd.exe\\\" startwithdelay\"",
              BuildChangeTaskCommand(L"StartPN", L"C:\\A\\pncmd.exe", L"startwithdelay"));
    EXPECT_EQ(L"schtasks /change /TN \"StartDVR\" /TR \"\\\"C:\\A\\VSServCmd.exe\\\" \"",
              BuildChangeTaskCommand(L"StartDVR", L"C:\\A\\VSServCmd.exe", L""));
    EXPECT_EQ(L"schtasks /run /TN \"StartPN\"", BuildRunTaskCommand(L"StartPN"));
    EXPECT_EQ(L"schtasks /delete /TN \"QVX Updater\" /F", BuildDeleteTaskCommand(L"QVX Updater"));
}

TEST(TaskCommands, CutToTheBufferLessItsTerminator) {
    const std::wstring strPrefix = L"schtasks /Create /TN \"T\" /XML \"";
    for (size_t cchPath : {226u, 227u, 228u, 400u}) {
        const std::wstring strCommand = BuildCreateTaskCommand(L"T", std::wstring(cchPath, L'p'));
        const size_t cchWhole = strPrefix.size() + cchPath + 1;
        EXPECT_EQ(std::min<size_t>(cchWhole, kcchTaskCommand - 1), strCommand.size()) << cchPath;
        EXPECT_EQ(cchWhole <= kcchTaskCommand - 1, strCommand.back() == L'"') << cchPath;
        EXPECT_EQ(0u, strCommand.find(strPrefix));
    }
}

namespace {

std::tm LocalTime(int iYear, int iMonth, int iDay, int iHour, int iMinute, int iSecond) {
    std::tm time = {};
    time.tm_year = iYear - 1900;
    time.tm_mon = iMonth - 1;
    time.tm_mday = iDay;
    time.tm_hour = iHour;
    time.tm_min = iMinute;
    time.tm_sec = iSecond;
    return time;
}

} // namespace

TEST(FormatStartBoundary, TwoDigitsAfterTheYear) {
    const std::pair<std::tm, std::wstring> cases[] = {
        {LocalTime(2024, 5, 2, 14, 3, 7), L"2024-05-02T14:03:07"},
        {LocalTime(1999, 12, 31, 23, 59, 59), L"1999-12-31T23:59:59"},
        {LocalTime(2100, 1, 1, 0, 0, 0), L"2100-01-01T00:00:00"},
    };
    for (const auto& [time, strText] : cases) {
        EXPECT_EQ(strText, FormatStartBoundary(time));
    }
}

namespace {

std::vector<std::wstring> SplitLines(const std::wstring& strText) {
    std::vector<std::wstring> lines;
    size_t iStart = 0;
    for (size_t iEnd = strText.find(L'\n'); iEnd != std::wstring::npos;
         iEnd = strText.find(L'\n', iStart)) {
        lines.push_back(strText.substr(iStart, iEnd - iStart));
        iStart = iEnd + 1;
    }
    EXPECT_EQ(iStart, strText.size()) << "the last line ends in \\n";
    return lines;
}

// Elements are at depth 0 for the root; sIndent blanks per level; an opening
// line goes one deeper, a closing line one back, a line with both stays.
void ExpectIndentation(const std::wstring& strXml, size_t cchIndent) {
    size_t iDepth = 0;
    for (const std::wstring& strLine : SplitLines(strXml)) {
        const bool fClosing = strLine.find(L"</") != std::wstring::npos;
        const bool fOpening = strLine.find(L"<") != strLine.find(L"</");
        if (fClosing && !fOpening) {
            ASSERT_GT(iDepth, 0u) << strLine;
            --iDepth;
        }
        EXPECT_EQ(std::wstring(iDepth * cchIndent, L' '), strLine.substr(0, iDepth * cchIndent))
            << strLine;
        EXPECT_EQ(L'<', strLine.at(iDepth * cchIndent)) << strLine;
        if (fOpening && !fClosing) {
            ++iDepth;
        }
    }
    EXPECT_EQ(0u, iDepth);
}

size_t Count(const std::wstring& strText, const std::wstring& strPart) {
    size_t c = 0;
    for (size_t i = strText.find(strPart); i != std::wstring::npos;
         i = strText.find(strPart, i + 1)) {
        ++c;
    }
    return c;
}

const wchar_t kRoot[] =
    L"<Task version=\"1.2\" xmlns=\"http://schemas.microsoft.com/windows/2004/02/mit/task\">\n";

} // namespace

TEST(BuildOnDemandTaskXml, NameAndCommandGoInAsTheyAre) {
    const std::wstring strXml = BuildOnDemandTaskXml(L"A&B<C", L"\"C:\\x.exe\" /a & b");
    EXPECT_EQ(0u, strXml.find(kRoot));
    ExpectIndentation(strXml, 0);
    EXPECT_EQ(1u, Count(strXml, L"\n<Description>A&B<C</Description>\n<URI>A&B<C</URI>\n"));
    EXPECT_EQ(1u, Count(strXml, L"\n<Command>\"C:\\x.exe\" /a & b</Command>\n"));
    EXPECT_EQ(1u, Count(strXml, L"\n<RunLevel>HighestAvailable</RunLevel>\n"));
    EXPECT_EQ(0u, Count(strXml, L"Trigger"));
    EXPECT_EQ(0u, Count(strXml, L"<Arguments>"));
    EXPECT_EQ(0u, Count(strXml, L"<UserId>"));
}

TEST(BuildLogonTaskXml, UsersGroupAtLogonIndentedByTwo) {
    const std::wstring strXml = BuildLogonTaskXml(L"PPC Task", L"C:\\P\\ppc.exe");
    EXPECT_EQ(0u, strXml.find(kRoot));
    ExpectIndentation(strXml, 2);
    for (const wchar_t* szLine :
         {L"\n    <URI>PPC Task</URI>\n",
          L"\n      <StartBoundary>2016-12-11T23:29:00</StartBoundary>\n",
          L"\n      <GroupId>S-1-5-32-545</GroupId>\n      <RunLevel>HighestAvailable</RunLevel>\n",
          L"\n    <MultipleInstancesPolicy>IgnoreNew</MultipleInstancesPolicy>\n",
          L"\n    <ExecutionTimeLimit>PT72H</ExecutionTimeLimit>\n",
          L"\n      <Command>C:\\P\\ppc.exe</Command>\n"}) {
        EXPECT_EQ(1u, Count(strXml, szLine)) << szLine;
    }
    EXPECT_EQ(1u, Count(strXml, L"<Author>")) << "a fixed machine account";
    EXPECT_EQ(0u, Count(strXml, L"<Description>"));
}
