#include "runtime/handles.h"
#include "runtime/log.h"
#include "tests/support/session_support.h"

#include <msiquery.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

using Lines = std::vector<std::wstring>;

TEST(LogMessage, SendsTheTextFormattedByWvsprintfRawAsField0OfAnInfoRecord) {
    MsiCloseAllHandles(); // so that only this test's handles are counted below
    ActionSession session(WithProperties({{L"INSTALLDIR", L"C:\\ORX\\"}}));
    LogMessage(session.Handle(), L"Varen_CA plain line, no conversions \n");
    // Brackets reach the log as written: the installer does not format field 0.
    LogMessage(session.Handle(), L"VAREN_CA %s [INSTALLDIR] {[1]} [%s]", L"dir", L"");
    LogMessage(session.Handle(), L"%d|%u|%x|%08.8lx|%08X|%c|%%", -5, 4000000000u, 0xBEEFu, 0xABCul,
               0x1Fu, L'Z');
    LogMessage(session.Handle(), L"Error 0x%08.8lx", 0x80070005ul);
    EXPECT_EQ(
        (Lines{L"Varen_CA plain line, no conversions \n", L"VAREN_CA dir [INSTALLDIR] {[1]} []",
               L"-5|4000000000|beef|00000abc|0000001F|Z|%", L"Error 0x80070005"}),
        session.Lines())
        << JoinLines(session.Lines());
    for (const CapturedRecord& record : session.Records()) {
        EXPECT_EQ(static_cast<UINT>(INSTALLMESSAGE_INFO), record.uType);
        EXPECT_EQ(0u, record.cFields);
    }
    EXPECT_EQ(0, session.CloseLeftoverHandles()); // each record is closed
}

TEST(LogMessage, ALineOver519CharactersLogsTheOverflowTextWithoutOverrun) {
    ActionSession session;
    const std::wstring str519(519, L'a');
    const std::wstring strLong(5000, L'z');
    LogMessage(session.Handle(), L"%s", str519.c_str());
    LogMessage(session.Handle(), L"%s", (str519 + L"b").c_str());
    LogMessage(session.Handle(), L"x%s", str519.substr(1).c_str()); // literal text counts too
    LogMessage(session.Handle(), L"x%s", str519.c_str());
    // Around the 1024 characters wvsprintfW writes of its own accord, and far beyond.
    for (size_t cch : {1023u, 1024u, 1025u, 5000u}) {
        LogMessage(session.Handle(), L"%s", strLong.substr(0, cch).c_str());
    }
    LogMessage(session.Handle(), (L"no conversions " + std::wstring(2000, L'-')).c_str());
    LogMessage(session.Handle(), L"%s%s%s", strLong.c_str(), strLong.c_str(), L"tail");
    LogMessage(session.Handle(), L"after");
    const std::wstring strOverflow = L"CA buffer overflow\n";
    Lines expected{str519, strOverflow, L"x" + str519.substr(1)};
    expected.insert(expected.end(), 7, strOverflow);
    expected.push_back(L"after");
    EXPECT_EQ(expected, session.Lines());
}

TEST(ShowInstallerMessage, SendsAUserRecordWithTheStyleAndReturnsTheAnswer) {
    const struct {
        UINT uStyle;
        int iAnswer;
    } cases[] = {
        {MB_YESNO | MB_ICONWARNING, IDNO}, {MB_OKCANCEL | MB_ICONERROR, IDCANCEL}, {0, IDOK}};
    for (const auto& test : cases) {
        ActionSession session(WithProperties({{L"INSTALLDIR", L"C:\\ORX\\"}}));
        session.SetUserAnswer(test.iAnswer);
        EXPECT_EQ(test.iAnswer,
                  ShowInstallerMessage(session.Handle(), L"The package cannot go on. [INSTALLDIR]",
                                       test.uStyle));
        const std::vector<CapturedRecord> records = session.Records();
        ASSERT_EQ(1u, records.size());
        EXPECT_EQ(INSTALLMESSAGE_USER + test.uStyle, records[0].uType);
        EXPECT_EQ(L"The package cannot go on. [INSTALLDIR]", records[0].strText);
        EXPECT_EQ(2u, records[0].cFields); // fields 1 and 2 stay empty
    }
}

TEST(LogAndMessage, ANonSessionHandleLosesTheRecordQuietly) {
    ActionSession session;
    UniqueMsiHandle hRecord(MsiCreateRecord(2));
    LogMessage(0, L"lost");
    LogMessage(hRecord.get(), L"lost too");
    // The message passes on whatever the installer answers.
    const int iInstaller = MsiProcessMessage(0, INSTALLMESSAGE_USER, hRecord.get());
    EXPECT_EQ(iInstaller, ShowInstallerMessage(0, L"nobody sees this", 0));
    EXPECT_TRUE(session.Records().empty());
}
