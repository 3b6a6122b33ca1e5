#include "runtime/settings_file_text.h"

#include <gtest/gtest.h>

// Where a set value goes and which line end it gets, which the fuzz target cannot tell.
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
        {"comments, unknown lines, longer names and a line's lone carriage return are no entry",
         ";InstallDir=x\r\nInstallDir x\r\nInstallDir2=y\rInstallDir=z\r\n",
         ";InstallDir=x\r\nInstallDir x\r\nInstallDir2=y\rInstallDir=z\r\nInstallDir=C:\\New\r\n"},
        {"big-endian UTF-16", "\xFE\xFF", "!"},
        {"UTF-16 without its mark", std::string("A\0=\0", 4), "!"},
    };
    for (const auto& c : kCases) {
        std::optional<CfgDocument> document = ReadCfgDocument(c.strBefore);
        if (document) {
            SetCfgValue(*document, L"InstallDir", L"C:\\New");
        }
        // "!": the bytes cannot be edited.
        EXPECT_EQ(c.strAfter, document ? WriteCfgDocument(*document) : "!") << c.szWhat;
    }
}

TEST(GetCfgValue, BytesThatDoNotDecodeReadAsReplacements) {
    // A valid two- and four-byte sequence, then a byte that starts none, a lead whose
    // trail is missing, a sequence cut by the end of the value, and a lone trail byte.
    const std::optional<CfgDocument> document =
        ReadCfgDocument("A=\xC3\xA9\xF0\x9F\x98\x80\xFF\xC3\xE2\x82\r\n");
    ASSERT_TRUE(document);
    EXPECT_EQ(L"\u00e9\U0001F600\uFFFD\uFFFD\uFFFD\uFFFD", GetCfgValue(*document, L"A"));
}
