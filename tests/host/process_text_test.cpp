#include "system/process_text.h"

#include <gtest/gtest.h>

TEST(BoundCommandLine, CutsToTheBufferLessItsTerminator) {
    const std::wstring strLong(600, L'x');
    EXPECT_EQ(std::wstring(518, L'x'), BoundCommandLine(strLong, kcchToolCommandBuffer));
    EXPECT_EQ(std::wstring(519, L'x'), BoundCommandLine(strLong, kcchInterpreterCommandBuffer));
    EXPECT_EQ(std::wstring(519, L'x'),
              BoundCommandLine(std::wstring(519, L'x'), kcchInterpreterCommandBuffer));
    EXPECT_EQ(std::wstring(518, L'x'),
              BoundCommandLine(std::wstring(518, L'x'), kcchToolCommandBuffer));
    EXPECT_EQ(L"a b", BoundCommandLine(L"a b", kcchToolCommandBuffer));
    EXPECT_EQ(L"", BoundCommandLine(L"", kcchToolCommandBuffer));
    EXPECT_EQ(L"", BoundCommandLine(L"abc", 1));
    EXPECT_EQ(L"", BoundCommandLine(L"abc", 0));
}

TEST(LaunchFailureText, DecimalErrorAndTheKeptMisspelling) {
    EXPECT_EQ(L"\nFailed to lauch >C:\\x.exe /q<\n Last error return: 2\n",
              LaunchFailureText(L"", L"C:\\x.exe /q", 2));
    EXPECT_EQ(L"\nVAREN_CA Failed to lauch >a<\n Last error return: 4294967295\n",
              LaunchFailureText(L"VAREN_CA ", L"a", 0xFFFFFFFFul));
    EXPECT_EQ(L"\nFailed to lauch ><\n Last error return: 0\n", LaunchFailureText(L"", L"", 0));
}

TEST(TaskKillCommands, QuotesCloseInDifferentPlaces) {
    EXPECT_EQ(L"\"C:\\Windows\\system32\\TaskKill.exe /IM VantorSettings.exe /F\"",
              BuildKillVantorSettingsCommand(L"C:\\Windows\\system32"));
    EXPECT_EQ(L"\"C:\\Windows\\system32\\TaskKill.exe\" /IM Foo Bar.exe /F",
              BuildTaskKillCommand(L"C:\\Windows\\system32", L"Foo Bar.exe"));
    EXPECT_EQ(L"\"\\TaskKill.exe\" /IM  /F", BuildTaskKillCommand(L"", L""));
}

TEST(ShellExecuteErrorMessage, EveryCodeAndTheFallback) {
    const std::pair<intptr_t, std::wstring> entries[] = {
        {0, L"The operating system is out of memory or resources"},
        {2, L"File not found."},
        {3, L"Path not found."},
        {5, L"Access denied."},
        {8, L"Out of memory."},
        {26, L"Cannot share an open file."},
        {27, L"File association information not complete."},
        {28, L" The DDE transaction could not be completed because the request timed out"},
        {29, L"DDE operation failed."},
        {30, L"DDE operation is busy."},
        {31, L"File association not available."},
        {32, L"Dynamic-link library not found."},
    };
    for (const auto& [iCode, strMessage] : entries) {
        EXPECT_EQ(strMessage, ShellExecuteErrorMessage(iCode)) << iCode;
    }
    for (intptr_t iCode : {1, 4, 6, 25, 33, 42, -1}) {
        EXPECT_EQ(std::wstring(L"Unknown error, could be SE_ERR_FNF, or SE_ERR_PNF"),
                  ShellExecuteErrorMessage(iCode))
            << iCode;
    }
}
