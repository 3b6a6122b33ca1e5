#include "shell/companion_apps_text.h"
#include "suite/display_settings_text.h"
#include "suite/package_cleanup_text.h"
#include "suite/profile_client_text.h"
#include "suite/profiler_cleanup_text.h"
#include "tasks/elevated_task_text.h"
#include "tasks/schtasks_text.h"

#include <gtest/gtest.h>

using namespace std::literals;

TEST(CompanionAppsText, FoldersAndAppUserModelIds) {
    EXPECT_TRUE(IsUsableFolder(L"C:\\" + std::wstring(256, L'a')));
    for (const std::wstring& strFolder : {L"C:\\" + std::wstring(257, L'a'), L"Vantor\\"s, L""s}) {
        EXPECT_FALSE(IsUsableFolder(strFolder)) << strFolder.size();
    }
    EXPECT_TRUE(IsAppUserModelId(std::wstring(257, L'a') + L"!b"));
    for (const std::wstring& strId :
         {L""s, L"!App"s, L"QVX.QVXLink!"s, L"QVXLink"s, L"a!b!c"s, L"QVX Link!App"s,
          L"C:\\x.exe!App"s, L"a!\"b"s, L"a!b\n"s, std::wstring(258, L'a') + L"!b"}) {
        EXPECT_FALSE(IsAppUserModelId(strId)) << testing::PrintToString(strId);
    }
}

TEST(DisplaySettingsText, MalformedDriverKeysAndProgramData) {
    for (const wchar_t* szBad :
         {L"", L"\\", L"{class}", L"{class}\\", L"\\0000", L"a\\b\\c", L"{class}\\0000\\"}) {
        EXPECT_FALSE(IsDriverKeyName(szBad)) << szBad;
    }
    for (const wchar_t* szBad : {L"", L"ProgramData", L"C:ProgramData"}) {
        const DceLogPaths paths = BuildDceLogPaths(szBad);
        EXPECT_TRUE(paths.strFolder.empty() && paths.strFile.empty()) << szBad;
    }
}

TEST(PackageCleanupText, NearMissesOfTheExceptedPackagesAndBrandingEntries) {
    for (const std::wstring& strPid :
         {L"W-05-000U-000-003-002-001-00-001"s, L"W-05-000U-000-003-002-001-00-0"s,
          L"w-05-000u-000-003-002-001-00-00"s, L"W-05-000U-000-003-002-001-00-00\0"s, L""s}) {
        EXPECT_FALSE(IsExceptedPackage(strPid)) << testing::PrintToString(strPid);
    }
    EXPECT_EQ(L"/x", BrandingEntryPath(L"", L"x"));
    EXPECT_FALSE(KeepsBrandingEntry(L"C:/B/Skins", {}));
    const std::vector<std::wstring> vecOther = {L"C:/B/Skins", L"C:/B/logo.png", L"Logo"};
    for (const wchar_t* szEntry :
         {L"C:/B/Skins2", L"C:/B/Logo.png", L"C:/B/logo.png2", L"C:\\B\\logo.png", L"C:/B/Logo"}) {
        EXPECT_FALSE(KeepsBrandingEntry(szEntry, vecOther)) << szEntry;
    }
}

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

TEST(TaskText, FileNamesCommandsCutToTheBufferAndTheLogonTask) {
    for (const wchar_t* szFolder : {L"C:\\App", L"C:\\App\\"}) {
        EXPECT_EQ(L"C:\\App\\StartPN.xml", AppendFileName(szFolder, L"StartPN.xml")) << szFolder;
    }
    EXPECT_EQ(L"C:\\App/StartPN.xml", AppendFileName(L"C:\\App/", L"StartPN.xml"));
    const std::wstring strPrefix = L"schtasks /Create /TN \"T\" /XML \"";
    for (size_t cchPath : {226u, 227u, 228u, 400u}) {
        const std::wstring strCommand = BuildCreateTaskCommand(L"T", std::wstring(cchPath, L'p'));
        const size_t cchWhole = strPrefix.size() + cchPath + 1;
        EXPECT_EQ(std::min<size_t>(cchWhole, kcchTaskCommand - 1), strCommand.size()) << cchPath;
        EXPECT_EQ(cchWhole < kcchTaskCommand, strCommand.back() == L'"') << cchPath;
    }
    // The logon task is registered from this text alone; its key lines, indented by two.
    const std::wstring strXml = BuildLogonTaskXml(L"PPC Task", L"C:\\P\\ppc.exe");
    for (const wchar_t* szLines :
         {L"\n    <URI>PPC Task</URI>\n",
          L"\n      <StartBoundary>2016-12-11T23:29:00</StartBoundary>\n",
          L"\n      <GroupId>S-1-5-32-545</GroupId>\n      <RunLevel>HighestAvailable</RunLevel>\n",
          L"\n    <MultipleInstancesPolicy>IgnoreNew</MultipleInstancesPolicy>\n",
          L"\n    <ExecutionTimeLimit>PT72H</ExecutionTimeLimit>\n",
          L"\n      <Command>C:\\P\\ppc.exe</Command>\n"}) {
        EXPECT_NE(std::wstring::npos, strXml.find(szLines)) << szLines;
    }
}
