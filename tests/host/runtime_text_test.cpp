#include "runtime/record_text.h"
#include "runtime/settings_file_text.h"

#include <gtest/gtest.h>

using Parser = std::wstring (*)(std::wstring_view);

// Each key's parser; the rules themselves are the fuzz target's (record_text_fuzz).
TEST(RecordParser, EachKeysValueToTheNextSemicolon) {
    const struct {
        Parser pfnParse;
        std::wstring strRecord, strValue;
    } kCases[] = {
        {GetCommandToLaunch, L"TaskName=T;CommandToLaunch=C:\\x.exe /q", L"C:\\x.exe /q"},
        {GetServiceName, L"DirectoryOfBinary=C:\\x;ServiceName= a b ;", L" a b "},
        {GetDirectoryOfBinary, L"ServiceName=S;DirectoryOfBinary=C:\\x\\;", L"C:\\x\\"},
        // The first occurrence wins, inside a longer key or an earlier value too.
        {GetTaskName, L"OldTaskName=X;TaskName=Y", L"X"},
        {GetUsername, L"CommandToLaunch=Username=Z;Username=W", L"Z"},
    };
    for (const auto& c : kCases) {
        EXPECT_EQ(c.strValue, c.pfnParse(c.strRecord)) << testing::PrintToString(c.strRecord);
    }
}

namespace {

// The bytes written back after setting strName, or "!" when the bytes cannot be edited.
std::string Edit(const std::string& strBytes, const wchar_t* szName, const wchar_t* szValue) {
    std::optional<CfgDocument> document = ReadCfgDocument(strBytes);
    if (!document) {
        return "!";
    }
    SetCfgValue(*document, szName, szValue);
    return WriteCfgDocument(*document);
}

} // namespace

TEST(SetCfgValue, EveryOtherByteStays) {
    const struct {
        const char* szWhat;
        std::string strBefore, strAfter;
    } kCases[] = {
        {"every line of the name in place, any case, blanks and line ends kept",
         "; c\r\nLanguage=en\n\r\n  installdir =  C:\\Old  \r\nINSTALLDIR=b\r\n# end\r\n",
         "; c\r\nLanguage=en\n\r\n  installdir =  C:\\New\r\nINSTALLDIR=C:\\New\r\n# end\r\n"},
        {"appended with the first line end, after one given to the last line", "A=1\nB=2",
         "A=1\nB=2\nInstallDir=C:\\New\n"},
        {"empty file", "", "InstallDir=C:\\New\r\n"},
        {"comments, unknown lines and longer names are no entry",
         ";InstallDir=x\r\nInstallDir x\r\nInstallDir2=y\r\n",
         ";InstallDir=x\r\nInstallDir x\r\nInstallDir2=y\r\nInstallDir=C:\\New\r\n"},
        {"byte-order mark and bytes that are not UTF-8",
         "\xEF\xBB\xBFX=\xFF\xFE\r\nInstallDir=\r\n",
         "\xEF\xBB\xBFX=\xFF\xFE\r\nInstallDir=C:\\New\r\n"},
        {"a lone carriage return is part of the line", "A=1\rInstallDir=x\r\n",
         "A=1\rInstallDir=x\r\nInstallDir=C:\\New\r\n"},
        {"odd UTF-16", std::string("\xFF\xFE\x41", 3), "!"},
        {"big-endian UTF-16", "\xFE\xFF", "!"},
        {"UTF-16 without its mark", std::string("A\0=\0", 4), "!"},
    };
    for (const auto& c : kCases) {
        EXPECT_EQ(c.strAfter, Edit(c.strBefore, L"InstallDir", L"C:\\New")) << c.szWhat;
    }
    const std::string strUtf16("\xFF\xFE\x41\0=\0\x31\0\r\0\n\0", 12);
    EXPECT_EQ(strUtf16 + std::string("B\0=\0\xE9\0\r\0\n\0", 10), Edit(strUtf16, L"B", L"\u00e9"));
    EXPECT_EQ("X=\xC3\xA9\xE2\x82\xAC\r\n", Edit("", L"X", L"\u00e9\u20ac"));
    EXPECT_EQ("A=x\r\n", Edit("", L"A", L"x\r\nB=evil")); // a line break cuts the value
}

TEST(GetCfgValue, BytesThatDoNotDecodeReadAsReplacements) {
    // A valid two- and four-byte sequence, then a byte that starts none, a lead whose
    // trail is missing, a sequence cut by the end of the value, and a lone trail byte.
    const std::optional<CfgDocument> document =
        ReadCfgDocument("A=\xC3\xA9\xF0\x9F\x98\x80\xFF\xC3\xE2\x82\r\n");
    ASSERT_TRUE(document);
    EXPECT_EQ(L"\u00e9\U0001F600\uFFFD\uFFFD\uFFFD\uFFFD", GetCfgValue(*document, L"A"));
}
