#include "runtime/log.h"
#include "runtime/session.h"
#include "tests/support/session_support.h"

#include <msiquery.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

using Lines = std::vector<std::wstring>;

namespace {

const wchar_t kOverflow[] = L"CA buffer overflow\n";

} // namespace

TEST(LogMessage, SendsTheFormattedTextRawAsField0OfAnInfoRecord) {
    MsiCloseAllHandles(); // so that only this test's handles are counted below
    ActionSession session(WithProperties({{L"INSTALLDIR", L"C:\\ORX\\"}}));
    LogMessage(session.Handle(), L"Varen_CA plain line, no conversions \n");
    // Brackets reach the log as written: the installer does not format field 0.
    LogMessage(session.Handle(), L"VAREN_CA %s [INSTALLDIR] {[1]} [%s]", L"dir", L"");
    const std::vector<CapturedRecord> records = session.Records();
    ASSERT_EQ(2u, records.size());
    for (const CapturedRecord& record : records) {
        EXPECT_EQ(static_cast<UINT>(INSTALLMESSAGE_INFO), record.uType);
        EXPECT_EQ(0u, record.cFields);
    }
    EXPECT_EQ(L"Varen_CA plain line, no conversions \n", records[0].strText);
    EXPECT_EQ(L"VAREN_CA dir [INSTALLDIR] {[1]} []", records[1].strText);
    EXPECT_EQ(0, session.CloseLeftoverHandles()); // each record is closed
}

TEST(LogMessage, FormatsWithWvsprintfRules) {
    ActionSession session;
    LogMessage(session.Handle(), L"Varen_CA %s() start", L"");
    LogMessage(session.Handle(), L"%d|%u|%x|%08.8lx|%08X|%c|%%", -5, 4000000000u, 0xBEEFu, 0xABCul,
               0x1Fu, L'Z');
    LogMessage(session.Handle(), L"Error 0x%08.8lx", 0x80070005ul);
    EXPECT_EQ((Lines{L"Varen_CA () start", L"-5|4000000000|beef|00000abc|0000001F|Z|%",
                     L"Error 0x80070005"}),
              session.Lines())
        << JoinLines(session.Lines());
}

TEST(LogMessage, A519CharacterLineFitsAnd520DoNot) {
    ActionSession session;
    const std::wstring str519(519, L'a');
    LogMessage(session.Handle(), L"%s", str519.c_str());
    LogMessage(session.Handle(), L"%s", (str519 + L"b").c_str());
    LogMessage(session.Handle(), L"x%s", str519.substr(1).c_str()); // literal text counts too
    LogMessage(session.Handle(), L"x%s", str519.c_str());
    EXPECT_EQ((Lines{str519, kOverflow, L"x" + str519.substr(1), kOverflow}), session.Lines());
}

TEST(LogMessage, LinesBeyondTheFormattersLimitOverflowWithoutOverrun) {
    ActionSession session;
    const std::wstring strLong(5000, L'z');
    for (size_t cch : {1023u, 1024u, 1025u, 5000u}) {
        LogMessage(session.Handle(), L"%s", strLong.substr(0, cch).c_str());
    }
    const std::wstring strFormat = L"no conversions " + std::wstring(2000, L'-');
    LogMessage(session.Handle(), strFormat.c_str());
    LogMessage(session.Handle(), L"%s%s%s", strLong.c_str(), strLong.c_str(), L"tail");
    LogMessage(session.Handle(), L"after");
    EXPECT_EQ((Lines{kOverflow, kOverflow, kOverflow, kOverflow, kOverflow, kOverflow, L"after"}),
              session.Lines());
}

TEST(LogMessage, ANonSessionHandleLosesTheLineQuietly) {
    ActionSession session;
    const MSIHANDLE hRecord = MsiCreateRecord(1);
    LogMessage(0, L"lost");
    LogMessage(hRecord, L"lost too");
    MsiCloseHandle(hRecord);
    EXPECT_EQ(Lines{}, session.Lines());
}

TEST(ShowInstallerMessage, SendsAUserRecordWithTheStyleAndReturnsTheAnswer) {
    struct Case {
        UINT uStyle;
        int iAnswer;
    };
    const Case cases[] = {{MB_YESNO | MB_ICONWARNING, IDNO},
                          {MB_YESNO | MB_ICONWARNING, IDYES},
                          {MB_OKCANCEL | MB_ICONERROR, IDCANCEL},
                          {0, IDOK}};
    for (const Case& test : cases) {
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
        EXPECT_EQ(Lines{}, session.Lines());
    }
}

TEST(ShowInstallerMessage, PassesOnTheInstallersResultForANonSessionHandle) {
    ActionSession session;
    const MSIHANDLE hRecord = MsiCreateRecord(2);
    const int iInstaller = MsiProcessMessage(0, INSTALLMESSAGE_USER, hRecord);
    MsiCloseHandle(hRecord);
    EXPECT_EQ(iInstaller, ShowInstallerMessage(0, L"nobody sees this", 0));
    EXPECT_TRUE(session.Records().empty());
}
