#include "runtime/settings_file_text.h"

#include <gtest/gtest.h>

namespace {

// Reads strBytes, sets strName, and returns the bytes written back ("" when the
// bytes cannot be edited).
std::string Edit(const std::string& strBytes, const wchar_t* szName, const wchar_t* szValue,
                 bool* pfChanged = nullptr) {
    std::optional<CfgDocument> document = ReadCfgDocument(strBytes);
    if (!document) {
        return "";
    }
    const bool fChanged = SetCfgValue(*document, szName, szValue);
    if (pfChanged) {
        *pfChanged = fChanged;
    }
    return WriteCfgDocument(*document);
}

} // namespace

TEST(SetCfgValue, KeepsEveryOtherLineByteForByte) {
    const struct {
        const char* szWhat;
        std::string strBefore, strAfter;
    } cases[] = {
        {"in place, other lines, comments, blanks and line ends kept",
         "; the install manager\r\nLanguage=en\n\r\n  installdir =  C:\\Old  \r\n# end\r\n",
         "; the install manager\r\nLanguage=en\n\r\n  installdir =  C:\\New\r\n# end\r\n"},
        {"every line of the name", "InstallDir=a\r\nInstallDir=b\r\n",
         "InstallDir=C:\\New\r\nInstallDir=C:\\New\r\n"},
        {"appended with the file's first line end", "A=1\nB=2\n", "A=1\nB=2\nInstallDir=C:\\New\n"},
        {"a last line without its end gets one", "A=1\r\nB=2",
         "A=1\r\nB=2\r\nInstallDir=C:\\New\r\n"},
        {"empty file", "", "InstallDir=C:\\New\r\n"},
        {"a comment or an unknown line is no entry", ";InstallDir=x\r\nInstallDir x\r\n=y\r\n",
         ";InstallDir=x\r\nInstallDir x\r\n=y\r\nInstallDir=C:\\New\r\n"},
        {"a longer name is another name", "InstallDir2=x\r\n",
         "InstallDir2=x\r\nInstallDir=C:\\New\r\n"},
        {"byte-order mark and bytes that are not UTF-8 kept",
         "\xEF\xBB\xBFX=\xFF\xFE\r\nInstallDir=\r\n",
         "\xEF\xBB\xBFX=\xFF\xFE\r\nInstallDir=C:\\New\r\n"},
        {"a last line ending in a carriage return keeps it", "A=1\n\r",
         "A=1\n\r\r\nInstallDir=C:\\New\n"},
        {"a lone carriage return is part of the line", "A=1\rInstallDir=x\r\n",
         "A=1\rInstallDir=x\r\nInstallDir=C:\\New\r\n"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.strAfter, Edit(c.strBefore, L"InstallDir", L"C:\\New")) << c.szWhat;
    }
}

TEST(SetCfgValue, Utf16AndNonAsciiValues) {
    const std::string strBefore("\xFF\xFE\x41\0=\0\x31\0\r\0\n\0", 12);
    EXPECT_EQ(strBefore + std::string("B\0=\0\xE9\0\r\0\n\0", 10),
              Edit(strBefore, L"B", L"\u00e9"));
    EXPECT_EQ("X=\xC3\xA9\xE2\x82\xAC\r\n", Edit("", L"X", L"\u00e9\u20ac"));
    const std::optional<CfgDocument> document = ReadCfgDocument("X=\xC3\xA9\xE2\x82\xAC \xC3\r\n");
    ASSERT_TRUE(document);
    EXPECT_EQ(L"\u00e9\u20ac \ufffd", GetCfgValue(*document, L"x"));
}

TEST(SetCfgValue, NoChangeWhenTheValueIsThereAndLineBreaksCutTheValue) {
    bool fChanged = true;
    EXPECT_EQ("InstallDir = C:\\New\r\n",
              Edit("InstallDir = C:\\New\r\n", L"InstallDir", L"C:\\New", &fChanged));
    EXPECT_FALSE(fChanged);
    EXPECT_EQ("A=x\r\n", Edit("", L"A", L"x\r\nB=evil"));
}

TEST(ReadCfgDocument, BytesItCannotEditSafely) {
    for (const std::string& strBytes :
         {std::string("\xFF\xFE\x41", 3), std::string("\xFE\xFF"), std::string("A\0=\0", 4)}) {
        EXPECT_FALSE(ReadCfgDocument(strBytes)) << strBytes.size();
    }
    EXPECT_TRUE(ReadCfgDocument(std::string("\xFF\xFE", 2)));
}

TEST(CfgLines, UnknownLinesAndValues) {
    const std::optional<CfgDocument> document =
        ReadCfgDocument("[Section]\r\n\r\n;c\r\nname only\r\n=v\r\n A = 1 \r\n A=2\r\n");
    ASSERT_TRUE(document);
    EXPECT_EQ(3u, CountUnknownCfgLines(*document));
    EXPECT_EQ(L"1", GetCfgValue(*document, L"a"));
    EXPECT_EQ(std::nullopt, GetCfgValue(*document, L"name only"));
}
