#include "shell/plugin_text.h"

#include <gtest/gtest.h>

TEST(PluginText, RegAsmPathsKeepTheDoubledBackslash) {
    EXPECT_EQ(L"C:\\Windows\\\\Microsoft.NET\\Framework64\\v4.0.30319\\RegAsm.exe",
              BuildRegAsmPath(L"C:\\Windows", NetFramework::Bits64));
    EXPECT_EQ(L"C:\\Windows\\\\Microsoft.NET\\Framework\\v4.0.30319\\RegAsm.exe",
              BuildRegAsmPath(L"C:\\Windows", NetFramework::Bits32));
}

TEST(PluginText, Regsvr32AndPluginPaths) {
    EXPECT_EQ(L"C:\\Windows\\system32\\Regsvr32.exe", BuildRegsvr32Path(L"C:\\Windows\\system32"));
    EXPECT_EQ(L"C:\\Program Files\\Prepif\\HP Pixel Sharp\\wmpplugin2.dll",
              BuildPluginPath(L"C:\\Program Files", L"wmpplugin2.dll"));
    EXPECT_EQ(L"\\Prepif\\HP Pixel Sharp\\x.dll", BuildPluginPath(L"", L"x.dll"));
}

TEST(PluginText, CommandQuotesToolAndPluginApart) {
    EXPECT_EQ(L"\"C:\\t\\RegAsm.exe\" /s /codebase \"C:\\p q\\a.dll\"",
              BuildPluginCommand(L"C:\\t\\RegAsm.exe", L" /s /codebase ", L"C:\\p q\\a.dll"));
    EXPECT_EQ(L"\"\"\"\"", BuildPluginCommand(L"", L"", L""));
}
