#include "system/process_text.h"

#include <gtest/gtest.h>

TEST(BoundCommandLine, CutsToTheBufferLessItsTerminator) {
    const struct {
        size_t cchText, cchBuffer, cchKept;
    } cases[] = {{600, kcchToolCommandBuffer, 518},
                 {518, kcchToolCommandBuffer, 518},
                 {600, kcchInterpreterCommandBuffer, 519},
                 {519, kcchInterpreterCommandBuffer, 519},
                 {0, kcchToolCommandBuffer, 0},
                 {3, 1, 0},
                 {3, 0, 0}};
    for (const auto& c : cases) {
        EXPECT_EQ(std::wstring(c.cchKept, L'x'),
                  BoundCommandLine(std::wstring(c.cchText, L'x'), c.cchBuffer))
            << c.cchText << " in " << c.cchBuffer;
    }
}

// The cases check the prefixed failure text and the task kill command exactly; the shell's
// messages are a table, of which one entry and the fallback are enough.
TEST(ProcessTexts, UnprefixedFailureOddQuotingAndTheShellFallback) {
    EXPECT_EQ(L"\nFailed to lauch >C:\\x.exe /q<\n Last error return: 4294967295\n",
              LaunchFailureText(L"", L"C:\\x.exe /q", 0xFFFFFFFFul));
    EXPECT_EQ(L"\"C:\\Windows\\system32\\TaskKill.exe /IM VantorSettings.exe /F\"",
              BuildKillVantorSettingsCommand(L"C:\\Windows\\system32"));
    EXPECT_EQ(L"\"\\TaskKill.exe\" /IM  /F", BuildTaskKillCommand(L"", L""));
    EXPECT_EQ(std::wstring(L"File not found."), ShellExecuteErrorMessage(2));
    for (intptr_t iCode : {1, 33, -1}) {
        EXPECT_EQ(std::wstring(L"Unknown error, could be SE_ERR_FNF, or SE_ERR_PNF"),
                  ShellExecuteErrorMessage(iCode))
            << iCode;
    }
}
