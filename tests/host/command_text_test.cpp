#include "suite/command_text.h"

#include <gtest/gtest.h>

TEST(InterpreterCommand, HeadQuotedArgumentTail) {
    EXPECT_EQ(L"cmd.exe /c mkdir \"%PROGRAMDATA%\\QVX\\KDB\"",
              BuildInterpreterCommand(L"cmd.exe /c mkdir ", L"%PROGRAMDATA%\\QVX\\KDB", L""));
    EXPECT_EQ(L"Cmd.exe /c Icacls \"%ProgramData%\\QVX\\KDB\" /grant Users:(OI)(CI)M",
              BuildInterpreterCommand(L"Cmd.exe /c Icacls ", L"%ProgramData%\\QVX\\KDB",
                                      L" /grant Users:(OI)(CI)M"));
    EXPECT_EQ(L"\"\"", BuildInterpreterCommand(L"", L"", L""));
}

TEST(KdbsyncCommand, ProgramFilesVariablePerPlatform) {
    const std::wstring str64 = BuildKdbsyncCommand(true);
    EXPECT_EQ(L"Cmd.exe /c start \"QVX Accelerated Video Transcoding device initialization\" /min "
              L"\"%programfiles(x86)%\\QVX AVT\\bin\\kdbsync.exe\" aml",
              str64);
    EXPECT_EQ(129u, str64.size());
    const std::wstring str32 = BuildKdbsyncCommand(false);
    EXPECT_EQ(L"Cmd.exe /c start \"QVX Accelerated Video Transcoding device initialization\" /min "
              L"\"%programfiles%\\QVX AVT\\bin\\kdbsync.exe\" aml",
              str32);
    EXPECT_EQ(124u, str32.size());
}
