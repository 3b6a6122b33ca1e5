#include "runtime/package_table.h"
#include "runtime/session.h"
#include "tests/support/registry_support.h"
#include "tests/support/session_support.h"

#include <msiquery.h>

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <utility>
#include <vector>

// The library's own copies of the exports, for white-box checks of the slot.
extern "C" UINT __stdcall GetInstallA4Dir(MSIHANDLE hInstall);
extern "C" UINT __stdcall UpdatePNVersionInReg(MSIHANDLE hInstall);
extern "C" UINT __stdcall UpdateDriverVersionInReg(MSIHANDLE hInstall);

using Lines = std::vector<std::wstring>;
using Attempts = std::vector<std::pair<std::wstring, std::wstring>>;

namespace {

// Wine's MsiSetPropertyW fails only for a handle that is not a session (or a
// missing name); the actions read through the same handle first, so such a
// handle fails the read before any set. To reach the set failures, the loaded
// Varen_CA.dll's import of MsiSetPropertyW goes through this shim while it lives:
// it records each call and passes the named properties to the real function
// with handle 0, which fails them with ERROR_INVALID_HANDLE.
class SetPropertyShim {
  public:
    explicit SetPropertyShim(std::set<std::wstring> failing = {})
        : m_patch(GetModuleHandleW(L"Varen_CA.dll"), "msi.dll", "MsiSetPropertyW",
                  reinterpret_cast<void*>(&Shim)) {
        s_failing = std::move(failing);
        s_attempts.clear();
        s_pfnReal = reinterpret_cast<SetProperty>(m_patch.Original());
    }

    // Every MsiSetPropertyW call the DLL made, as (name, value), in order.
    static const Attempts& CallsMade() { return s_attempts; }

  private:
    using SetProperty = UINT(WINAPI*)(MSIHANDLE, LPCWSTR, LPCWSTR);

    static UINT WINAPI Shim(MSIHANDLE hInstall, LPCWSTR szName, LPCWSTR szValue) {
        s_attempts.emplace_back(szName, szValue);
        return s_pfnReal(s_failing.count(szName) ? 0 : hInstall, szName, szValue);
    }

    ImportPatch m_patch;
    static inline std::set<std::wstring> s_failing;
    static inline Attempts s_attempts;
    static inline SetProperty s_pfnReal = nullptr;
};

// One deferred action an INSTALLDIR hand-off action sets, with its two lines.
struct Target {
    const wchar_t* szProperty;
    std::wstring strSetPrefix; // the success line up to the value
    const wchar_t* szFailLine;
};

struct InstallDirAction {
    const char* szName;
    const wchar_t* szStartLine;
    const wchar_t* szReadFailLine;
    std::vector<Target> targets;
    UINT uSuccess;
    UINT uFailure;
};

const std::wstring kSetSuffix = L" should be set in CustomActionData \n";

const InstallDirAction kA4{"GetInstallA4Dir",
                           L"Varen_CA GetInstallA4Dir() start",
                           L"Varen_CA SetInstallA4Dir() failed.",
                           {{L"DeleteInstallA4", L"Varen_CA DeleteInstallA4, ",
                             L"Varen_CA DeleteInstallA4 failed to set Pid in CustomActionData"}},
                           0,
                           1603};
const InstallDirAction kCA{"GetInstallCADir",
                           L"Varen_CA GetInstallCADir() start",
                           L"Varen_CA SetInstallCADir() failed.",
                           {{L"DeleteInstallCA", L"Varen_CA DeleteInstallCA, ",
                             L"Varen_CA DeleteInstallCA failed to be set in CustomActionData"}},
                           1,
                           0};
const InstallDirAction kPyra{
    "GetInstallPyraDir",
    L"Varen_CA GetInstallPyraDir() start",
    L"Varen_CA SetInstallPyraDir() failed.",
    {{L"DeleteInstallPyra", L"Varen_CA DeleteInstallPyra, ",
      L"Varen_CA DeleteInstallPyra failed to set Pid in CustomActionData"}},
    1,
    0};
const InstallDirAction kProxy{
    "GetInstallProxyDir",
    L"Varen_CA GetInstallProxyDir() start",
    L"Varen_CA SetInstallProxyDir() failed.",
    {{L"LaunchInstallProxyExe", L"Varen_CA LaunchInstallProxyExe, ",
      L"Varen_CA LaunchInstallProxyExe failed to set Pid in CustomActionData"},
     {L"SetInstallProxyReg", L"Varen_CA SetInstallProxyReg, ",
      L"Varen_CA SetInstallProxyReg failed to set Pid in CustomActionData"}},
    1,
    0};
const InstallDirAction kUSBMon{
    "GetInstallUSBMonDir",
    L"Varen_CA GetInstallUSBMonDir() start",
    L"Varen_CA SetInstallUSBMONDir() failed.",
    {{L"DeleteUSBMONDir", L"Varen_CA DeleteUSBMONDir, ",
      L"Varen_CA DeleteUSBMONDir failed to set Installdir in CustomActionData"}},
    1,
    0};
const InstallDirAction kSetInstallDir{
    "SetInstallDir",
    L"Varen_CA SetInstallDir() start",
    L"Varen_CA SetInstallDir() failed to get Pid from ORX Property table.",
    {{L"DeleteVLMDir", L"Varen_CA DeleteVLMDir SetInstallDir(), ",
      L"Varen_CA DeleteVLMDir SetInstallDir() failed to set Pid in CustomActionData"},
     {L"UpdateCfg", L"Varen_CA UpdateCfg SetInstallDir(), ",
      L"Varen_CA UpdateCfg SetInstallDir() failed to set Pid in CustomActionData"}},
    0,
    1603};

const InstallDirAction* const kInstallDirActions[] = {&kA4,    &kCA,     &kPyra,
                                                      &kProxy, &kUSBMon, &kSetInstallDir};

// The lines of a run in which every set succeeds with strValue.
Lines SuccessLines(const InstallDirAction& action, const std::wstring& strValue) {
    Lines lines{action.szStartLine};
    for (const Target& target : action.targets) {
        lines.push_back(target.strSetPrefix + strValue + kSetSuffix);
    }
    return lines;
}

Attempts SetsOf(const InstallDirAction& action, const std::wstring& strValue) {
    Attempts attempts;
    for (const Target& target : action.targets) {
        attempts.emplace_back(target.szProperty, strValue);
    }
    return attempts;
}

} // namespace

TEST(InstallDirHandOff, HandsInstallDirToEachDeferredAction) {
    const std::wstring strDir = L"C:\\Program Files\\ORX\\";
    for (const InstallDirAction* pAction : kInstallDirActions) {
        SCOPED_TRACE(pAction->szName);
        ActionSession session(WithProperties({{L"INSTALLDIR", strDir}}));
        SetPropertyShim shim;
        EXPECT_EQ(pAction->uSuccess, session.Call(pAction->szName));
        EXPECT_EQ(SuccessLines(*pAction, strDir), session.Lines()) << JoinLines(session.Lines());
        EXPECT_EQ(SetsOf(*pAction, strDir), SetPropertyShim::CallsMade());
        for (const Target& target : pAction->targets) {
            EXPECT_EQ(strDir, session.Property(target.szProperty));
        }
    }
}

TEST(InstallDirHandOff, TwoHundredFiftyNineCharactersFit) {
    const std::wstring strDir = L"C:\\" + std::wstring(256, L'd'); // 259 characters
    for (const InstallDirAction* pAction : kInstallDirActions) {
        SCOPED_TRACE(pAction->szName);
        ActionSession session(WithProperties({{L"INSTALLDIR", strDir}}));
        EXPECT_EQ(pAction->uSuccess, session.Call(pAction->szName));
        EXPECT_EQ(SuccessLines(*pAction, strDir), session.Lines()) << JoinLines(session.Lines());
        for (const Target& target : pAction->targets) {
            EXPECT_EQ(strDir, session.Property(target.szProperty));
        }
    }
}

TEST(InstallDirHandOff, TwoHundredSixtyCharactersFailTheReadAndSetNothing) {
    const std::wstring strDir = L"C:\\" + std::wstring(257, L'd'); // 260: ERROR_MORE_DATA
    for (const InstallDirAction* pAction : kInstallDirActions) {
        SCOPED_TRACE(pAction->szName);
        ActionSession session(WithProperties({{L"INSTALLDIR", strDir}}));
        SetPropertyShim shim;
        EXPECT_EQ(pAction->uFailure, session.Call(pAction->szName));
        EXPECT_EQ((Lines{pAction->szStartLine, pAction->szReadFailLine}), session.Lines())
            << JoinLines(session.Lines());
        EXPECT_TRUE(SetPropertyShim::CallsMade().empty());
        for (const Target& target : pAction->targets) {
            EXPECT_EQ(L"", session.Property(target.szProperty));
        }
    }
}

TEST(InstallDirHandOff, UndefinedInstallDirHandsOnTheEmptyValue) {
    for (const InstallDirAction* pAction : kInstallDirActions) {
        SCOPED_TRACE(pAction->szName);
        ActionSession session;
        SetPropertyShim shim;
        EXPECT_EQ(pAction->uSuccess, session.Call(pAction->szName));
        EXPECT_EQ(SuccessLines(*pAction, L""), session.Lines()) << JoinLines(session.Lines());
        EXPECT_EQ(SetsOf(*pAction, L""), SetPropertyShim::CallsMade());
    }
}

TEST(InstallDirHandOff, EveryFailedSetIsLoggedAndFailsTheAction) {
    const std::wstring strDir = L"D:\\ORX";
    for (const InstallDirAction* pAction : kInstallDirActions) {
        SCOPED_TRACE(pAction->szName);
        ActionSession session(WithProperties({{L"INSTALLDIR", strDir}}));
        std::set<std::wstring> failing;
        Lines expected{pAction->szStartLine};
        for (const Target& target : pAction->targets) {
            failing.insert(target.szProperty);
            expected.push_back(target.szFailLine);
        }
        SetPropertyShim shim(failing);
        EXPECT_EQ(pAction->uFailure, session.Call(pAction->szName));
        EXPECT_EQ(expected, session.Lines()) << JoinLines(session.Lines());
        // The second set of a two-target action is attempted after the first failed.
        EXPECT_EQ(SetsOf(*pAction, strDir), SetPropertyShim::CallsMade());
        for (const Target& target : pAction->targets) {
            EXPECT_EQ(L"", session.Property(target.szProperty));
        }
    }
}

TEST(GetInstallProxyDir, TheSecondSetAloneDecides) {
    const std::wstring strDir = L"D:\\Proxy";
    {
        ActionSession session(WithProperties({{L"INSTALLDIR", strDir}}));
        SetPropertyShim shim({L"LaunchInstallProxyExe"});
        EXPECT_EQ(1u, session.Call("GetInstallProxyDir"));
        EXPECT_EQ(
            (Lines{L"Varen_CA GetInstallProxyDir() start",
                   L"Varen_CA LaunchInstallProxyExe failed to set Pid in CustomActionData",
                   L"Varen_CA SetInstallProxyReg, D:\\Proxy should be set in CustomActionData \n"}),
            session.Lines());
        EXPECT_EQ(L"", session.Property(L"LaunchInstallProxyExe"));
        EXPECT_EQ(strDir, session.Property(L"SetInstallProxyReg"));
    }
    {
        ActionSession session(WithProperties({{L"INSTALLDIR", strDir}}));
        SetPropertyShim shim({L"SetInstallProxyReg"});
        EXPECT_EQ(0u, session.Call("GetInstallProxyDir"));
        EXPECT_EQ(
            (Lines{
                L"Varen_CA GetInstallProxyDir() start",
                L"Varen_CA LaunchInstallProxyExe, D:\\Proxy should be set in CustomActionData \n",
                L"Varen_CA SetInstallProxyReg failed to set Pid in CustomActionData"}),
            session.Lines());
        EXPECT_EQ(strDir, session.Property(L"LaunchInstallProxyExe"));
        EXPECT_EQ(L"", session.Property(L"SetInstallProxyReg"));
    }
}

TEST(SetInstallDir, EitherFailedSetFailsTheActionAndTheOtherIsStillMade) {
    const std::wstring strDir = L"D:\\VLM";
    {
        ActionSession session(WithProperties({{L"INSTALLDIR", strDir}}));
        SetPropertyShim shim({L"DeleteVLMDir"});
        EXPECT_EQ(1603u, session.Call("SetInstallDir"));
        EXPECT_EQ(
            (Lines{L"Varen_CA SetInstallDir() start",
                   L"Varen_CA DeleteVLMDir SetInstallDir() failed to set Pid in CustomActionData",
                   L"Varen_CA UpdateCfg SetInstallDir(), D:\\VLM should be set in CustomActionData "
                   L"\n"}),
            session.Lines());
        EXPECT_EQ(strDir, session.Property(L"UpdateCfg"));
    }
    {
        ActionSession session(WithProperties({{L"INSTALLDIR", strDir}}));
        SetPropertyShim shim({L"UpdateCfg"});
        EXPECT_EQ(1603u, session.Call("SetInstallDir"));
        EXPECT_EQ(
            (Lines{L"Varen_CA SetInstallDir() start",
                   L"Varen_CA DeleteVLMDir SetInstallDir(), D:\\VLM should be set in "
                   L"CustomActionData \n",
                   L"Varen_CA UpdateCfg SetInstallDir() failed to set Pid in CustomActionData"}),
            session.Lines());
        EXPECT_EQ(strDir, session.Property(L"DeleteVLMDir"));
    }
}

TEST(InstallDirHandOff, AHandleThatIsNoSessionFailsTheReadWithNothingLogged) {
    for (const InstallDirAction* pAction : kInstallDirActions) {
        SCOPED_TRACE(pAction->szName);
        ActionSession session(WithProperties({{L"INSTALLDIR", L"C:\\ORX"}}));
        SetPropertyShim shim;
        const MSIHANDLE hRecord = MsiCreateRecord(1);
        EXPECT_EQ(pAction->uFailure, session.CallWith(pAction->szName, 0));
        EXPECT_EQ(pAction->uFailure, session.CallWith(pAction->szName, hRecord));
        MsiCloseHandle(hRecord);
        EXPECT_EQ(Lines{}, session.Lines()) << JoinLines(session.Lines());
        EXPECT_TRUE(SetPropertyShim::CallsMade().empty());
    }
}

namespace {

const wchar_t kPid[] = L"W-05-000U-000-003-002-001-00-00";

Lines VlmOrxPidLines(const std::wstring& strPid, const std::wstring& strLast) {
    return {
        L"Varen_CA SetVlmOrxPid() start", L"Varen_CA GetFromMSITable(), Reading Property table\n",
        L"Varen_CA GetFromMSITable() PackageRead Property Value is " + strPid + L" \n", strLast};
}

const Lines kVlmOrxPidQueryFailed{
    L"Varen_CA SetVlmOrxPid() start", L"Varen_CA GetFromMSITable(), Reading Property table\n",
    L"Varen_CA SetVlmOrxPid() failed to get Pid from ORX Property table."};

// The Value of the first row the view returns for ORX_PID, read by the test itself.
std::wstring FirstOrxPidRow(MSIHANDLE hSession) {
    const MSIHANDLE hDatabase = MsiGetActiveDatabase(hSession);
    MSIHANDLE hView = 0;
    MSIHANDLE hRow = 0;
    wchar_t szValue[100] = {};
    DWORD cchValue = 100;
    EXPECT_EQ(ERROR_SUCCESS,
              MsiDatabaseOpenViewW(
                  hDatabase,
                  L"SELECT `Value` FROM `ORX_InstallProperties` WHERE `Property` = 'ORX_PID'",
                  &hView));
    EXPECT_EQ(ERROR_SUCCESS, MsiViewExecute(hView, 0));
    EXPECT_EQ(ERROR_SUCCESS, MsiViewFetch(hView, &hRow));
    EXPECT_EQ(ERROR_SUCCESS, MsiRecordGetStringW(hRow, 1, szValue, &cchValue));
    MsiCloseHandle(hRow);
    MsiCloseHandle(hView);
    MsiCloseHandle(hDatabase);
    return szValue;
}

} // namespace

TEST(SetVlmOrxPid, HandsThePackageIdToCleanRegistry) {
    ActionSession session({{}, PropertyRows{{L"PNVersion", L"1.0"}, {L"ORX_PID", kPid}}});
    SetPropertyShim shim;
    EXPECT_EQ(0u, session.Call("SetVlmOrxPid"));
    EXPECT_EQ(VlmOrxPidLines(kPid, std::wstring(L"Varen_CA SetVlmOrxPid(), ") + kPid + kSetSuffix),
              session.Lines())
        << JoinLines(session.Lines());
    EXPECT_EQ((Attempts{{L"CleanRegistry", kPid}}), SetPropertyShim::CallsMade());
    EXPECT_EQ(kPid, session.Property(L"CleanRegistry"));
}

TEST(SetVlmOrxPid, FailsWithoutTheTableOrTheRow) {
    const PackageSpec specs[] = {
        {{{L"ORX_PID", kPid}}, std::nullopt},       // an installer property is not the row
        {{}, PropertyRows{{L"PNVersion", L"1.0"}}}, // no row
        {{}, PropertyRows{{L"orx_pid", kPid}, {L"ORX_PID ", kPid}}}, // names compare exactly
    };
    for (const PackageSpec& spec : specs) {
        ActionSession session(spec);
        SetPropertyShim shim;
        EXPECT_EQ(1603u, session.Call("SetVlmOrxPid"));
        EXPECT_EQ(kVlmOrxPidQueryFailed, session.Lines()) << JoinLines(session.Lines());
        EXPECT_TRUE(SetPropertyShim::CallsMade().empty());
        EXPECT_EQ(L"", session.Property(L"CleanRegistry"));
    }
}

TEST(SetVlmOrxPid, TwoRowsOfTheNameGiveTheFirstTheViewReturns) {
    ActionSession session({{}, PropertyRows{{L"ORX_PID", L"B-second"}, {L"ORX_PID", L"A-first"}}});
    const std::wstring strFirst = FirstOrxPidRow(session.Handle());
    ASSERT_TRUE(strFirst == L"B-second" || strFirst == L"A-first") << strFirst.c_str();
    EXPECT_EQ(0u, session.Call("SetVlmOrxPid"));
    EXPECT_EQ(VlmOrxPidLines(strFirst, L"Varen_CA SetVlmOrxPid(), " + strFirst + kSetSuffix),
              session.Lines())
        << JoinLines(session.Lines());
    EXPECT_EQ(strFirst, session.Property(L"CleanRegistry"));
}

TEST(SetVlmOrxPid, AFailedSetIsLoggedAndFails) {
    ActionSession session({{}, PropertyRows{{L"ORX_PID", kPid}}});
    SetPropertyShim shim({L"CleanRegistry"});
    EXPECT_EQ(1603u, session.Call("SetVlmOrxPid"));
    EXPECT_EQ(
        VlmOrxPidLines(kPid, L"Varen_CA SetVlmOrxPid() failed to set Pid in CustomActionData"),
        session.Lines())
        << JoinLines(session.Lines());
    EXPECT_EQ(L"", session.Property(L"CleanRegistry"));
}

namespace {

Lines DisplayModeLines(const Lines& reads, const std::wstring& strMode) {
    Lines lines{L"Varen_CA SetDisplayMode() start"};
    lines.insert(lines.end(), reads.begin(), reads.end());
    lines.push_back(L"Varen_CA SetDisplayMode(), " + strMode + kSetSuffix);
    return lines;
}

PackageSpec DisplayProperties(const wchar_t* szWidth, const wchar_t* szHeight, const wchar_t* szBpp,
                              const wchar_t* szFreq) {
    return WithProperties({{L"DisplayWidth", szWidth},
                           {L"DisplayHeight", szHeight},
                           {L"DisplayBpp", szBpp},
                           {L"DisplayFreq", szFreq}});
}

} // namespace

TEST(SetDisplayMode, ShrinkingValuesAllFitTheCarriedOverCount) {
    // Each value is shorter than the one before, so each fits the count the
    // previous read left.
    ActionSession session(DisplayProperties(L"12345", L"1234", L"12", L"1"));
    SetPropertyShim shim;
    EXPECT_EQ(0u, session.Call("SetDisplayMode"));
    EXPECT_EQ(
        DisplayModeLines({L"VAREN_CA DisplayWidth: 12345 \n", L"VAREN_CA DisplayHeight: 1234 \n",
                          L"VAREN_CA DisplayBpp: 12 \n", L"VAREN_CA DisplayFreq: 1 \n"},
                         L"12345;1234;12;1;"),
        session.Lines())
        << JoinLines(session.Lines());
    EXPECT_EQ((Attempts{{L"DisplayModeChange", L"12345;1234;12;1;"}}),
              SetPropertyShim::CallsMade());
    EXPECT_EQ(L"12345;1234;12;1;", session.Property(L"DisplayModeChange"));
}

TEST(SetDisplayMode, AValueAsLongAsThePreviousKeepsWhatTheFailedReadLeft) {
    // "1080" gets a capacity of 4 (the length of "1920"): ERROR_MORE_DATA, and
    // Wine leaves the first three characters, "108", terminated in the buffer.
    // "32" fits in 4; "60" then gets 2 and leaves "6".
    ActionSession session(DisplayProperties(L"1920", L"1080", L"32", L"60"));
    EXPECT_EQ(0u, session.Call("SetDisplayMode"));
    EXPECT_EQ(DisplayModeLines({L"VAREN_CA DisplayWidth: 1920 \n",
                                L"VAREN_CA Could not get DisplayHeight. Default to 768  \n",
                                L"VAREN_CA DisplayBpp: 32 \n",
                                L"VAREN_CA Could not get DisplayFreq. Default to 60  \n"},
                               L"1920;108;32;6;"),
              session.Lines())
        << JoinLines(session.Lines());
    EXPECT_EQ(L"1920;108;32;6;", session.Property(L"DisplayModeChange"));
}

TEST(SetDisplayMode, ALongerValueAfterAShortOneLeavesOnlyWhatFits) {
    // "600" gets a capacity of 1: nothing but the terminator fits, so "" is
    // appended; the count becomes 3, so "16" fits; "75" gets 2 and leaves "7".
    ActionSession session(DisplayProperties(L"8", L"600", L"16", L"75"));
    EXPECT_EQ(0u, session.Call("SetDisplayMode"));
    EXPECT_EQ(DisplayModeLines({L"VAREN_CA DisplayWidth: 8 \n",
                                L"VAREN_CA Could not get DisplayHeight. Default to 768  \n",
                                L"VAREN_CA DisplayBpp: 16 \n",
                                L"VAREN_CA Could not get DisplayFreq. Default to 60  \n"},
                               L"8;;16;7;"),
              session.Lines())
        << JoinLines(session.Lines());
    EXPECT_EQ(L"8;;16;7;", session.Property(L"DisplayModeChange"));
}

TEST(SetDisplayMode, AllMissingNamesTheDefaultsButStoresEmptyFields) {
    // The first read gives "" and a count of 0; with a capacity of 0 even the
    // empty value does not fit, so the other three fail and leave the buffer
    // empty. The defaults only appear in the log.
    ActionSession session;
    SetPropertyShim shim;
    EXPECT_EQ(0u, session.Call("SetDisplayMode"));
    EXPECT_EQ(DisplayModeLines({L"VAREN_CA DisplayWidth:  \n",
                                L"VAREN_CA Could not get DisplayHeight. Default to 768  \n",
                                L"VAREN_CA Could not get DisplayBpp. Default to 32  \n",
                                L"VAREN_CA Could not get DisplayFreq. Default to 60  \n"},
                               L";;;;"),
              session.Lines())
        << JoinLines(session.Lines());
    EXPECT_EQ((Attempts{{L"DisplayModeChange", L";;;;"}}), SetPropertyShim::CallsMade());
}

TEST(SetDisplayMode, AFailedSetIsLoggedAndFails) {
    ActionSession session(DisplayProperties(L"12345", L"1234", L"12", L"1"));
    SetPropertyShim shim({L"DisplayModeChange"});
    EXPECT_EQ(1603u, session.Call("SetDisplayMode"));
    EXPECT_EQ(
        (Lines{L"Varen_CA SetDisplayMode() start", L"VAREN_CA DisplayWidth: 12345 \n",
               L"VAREN_CA DisplayHeight: 1234 \n", L"VAREN_CA DisplayBpp: 12 \n",
               L"VAREN_CA DisplayFreq: 1 \n",
               L"Varen_CA SetDisplayMode() failed to set DisplayModeChange in CustomActionData"}),
        session.Lines())
        << JoinLines(session.Lines());
    EXPECT_EQ((Attempts{{L"DisplayModeChange", L"12345;1234;12;1;"}}),
              SetPropertyShim::CallsMade());
    EXPECT_EQ(L"", session.Property(L"DisplayModeChange"));
}

TEST(SetDisplayMode, AHandleThatIsNoSessionFailsEveryReadAndTheSet) {
    ActionSession session(DisplayProperties(L"1024", L"768", L"32", L"60"));
    const MSIHANDLE hRecord = MsiCreateRecord(1);
    for (MSIHANDLE hInstall : {MSIHANDLE{0}, hRecord}) {
        SetPropertyShim shim; // records the real call, which fails with ERROR_INVALID_HANDLE
        EXPECT_EQ(1603u, session.CallWith("SetDisplayMode", hInstall));
        EXPECT_EQ((Attempts{{L"DisplayModeChange", L";;;;"}}), SetPropertyShim::CallsMade());
    }
    MsiCloseHandle(hRecord);
    EXPECT_EQ(Lines{}, session.Lines()) << JoinLines(session.Lines());
    EXPECT_EQ(L"", session.Property(L"DisplayModeChange"));
}

TEST(SessionSlot, HelpersReportToTheSessionTheLastStoringActionHad) {
    ActionSession other({{}, PropertyRows{{L"ORX_PID", L"PID-OTHER"}, {L"PNVersion", L"9.9"}}});
    ActionSession session(
        {{{L"INSTALLDIR", L"C:\\ORX"}}, PropertyRows{{L"ORX_PID", L"PID-SESSION"}}});
    RegistryScope scope(HKEY_LOCAL_MACHINE, {L"SOFTWARE\\QVX"});

    g_hInstall = 0;
    EXPECT_EQ(0u, GetInstallA4Dir(session.Handle()));
    EXPECT_EQ(session.Handle(), g_hInstall);
    // The version actions report through their own handle and leave the slot.
    EXPECT_EQ(1u, UpdatePNVersionInReg(other.Handle()));
    EXPECT_EQ(1u, UpdateDriverVersionInReg(other.Handle()));
    EXPECT_EQ(session.Handle(), g_hInstall);

    session.ClearLines();
    std::wstring strPid;
    EXPECT_TRUE(GetFromMSITable(kOrxPropertyQuery, L"ORX_PID", strPid));
    EXPECT_EQ(L"PID-SESSION", strPid);
}

TEST(SessionSlot, VersionActionsLogThroughTheirOwnHandleNotTheSlot) {
    RegistryScope scope(HKEY_LOCAL_MACHINE, {L"SOFTWARE\\QVX"});
    ActionSession other({{}, PropertyRows{{L"PNVersion", L"7.7"}}});
    ActionSession session(WithProperties({{L"INSTALLDIR", L"C:\\ORX"}})); // captures both
    EXPECT_EQ(0u, session.Call("GetInstallA4Dir")); // the DLL's slot now holds session
    session.ClearLines();

    // With handle 0 the view cannot be opened and the failure line is lost: it
    // does not go to the session in the slot.
    EXPECT_EQ(0u, session.CallWith("UpdatePNVersionInReg", 0));
    EXPECT_EQ(Lines{}, session.Lines()) << JoinLines(session.Lines());

    // Another session's handle: its table is read and its line logged.
    EXPECT_EQ(1u, session.CallWith("UpdatePNVersionInReg", other.Handle()));
    EXPECT_EQ(Lines{L"VAREN_CA: PN version Registry values updated."}, session.Lines());
    EXPECT_EQ(L"7.7",
              ReadString(HKEY_LOCAL_MACHINE, View::Native, L"SOFTWARE\\QVX\\PN", L"PNVersion"));
}
