#include "runtime/handles.h"
#include "runtime/session.h"
#include "tests/support/registry_support.h"
#include "tests/support/session_support.h"

#include <msiquery.h>

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>
#include <utility>
#include <vector>

// The library's own copies of the exports, for white-box checks of the slot.
extern "C" UINT __stdcall UpdatePNVersionInReg(MSIHANDLE hInstall);
extern "C" UINT __stdcall UpdateDriverVersionInReg(MSIHANDLE hInstall);

using Lines = std::vector<std::wstring>;
using Attempts = std::vector<std::pair<std::wstring, std::wstring>>;
using Names = std::set<std::wstring>;

namespace {

// Wine's MsiSetPropertyW fails only for a handle that is no session, which
// fails the actions' reads first. So while this lives, the DLL's import of it
// records each call and passes the named properties to the real function with
// handle 0, which fails them with ERROR_INVALID_HANDLE.
class SetPropertyShim {
  public:
    explicit SetPropertyShim(Names failing = {})
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
    static inline Names s_failing;
    static inline Attempts s_attempts;
    static inline SetProperty s_pfnReal = nullptr;
};

const std::wstring kSetSuffix = L" should be set in CustomActionData \n";

// One deferred action an INSTALLDIR hand-off action sets, with its two lines.
struct Target {
    const wchar_t* szProperty;
    const wchar_t* szSetPrefix; // the success line up to the value
    const wchar_t* szFailLine;
};

// An INSTALLDIR hand-off export with its two results and its read failure line.
struct ActionHead {
    const char* szName;
    UINT uSuccess;
    UINT uFailure;
    const wchar_t* szReadFailLine;
};

struct InstallDirAction {
    ActionHead head;
    std::vector<Target> targets;
    bool fLastSetDecides = false; // else the action fails if any set fails
};

const InstallDirAction kInstallDirActions[] = {
    {{"GetInstallA4Dir", 0, 1603, L"Varen_CA SetInstallA4Dir() failed."},
     {{L"DeleteInstallA4", L"Varen_CA DeleteInstallA4, ",
       L"Varen_CA DeleteInstallA4 failed to set Pid in CustomActionData"}}},
    {{"GetInstallCADir", 1, 0, L"Varen_CA SetInstallCADir() failed."},
     {{L"DeleteInstallCA", L"Varen_CA DeleteInstallCA, ",
       L"Varen_CA DeleteInstallCA failed to be set in CustomActionData"}}},
    {{"GetInstallPyraDir", 1, 0, L"Varen_CA SetInstallPyraDir() failed."},
     {{L"DeleteInstallPyra", L"Varen_CA DeleteInstallPyra, ",
       L"Varen_CA DeleteInstallPyra failed to set Pid in CustomActionData"}}},
    {{"GetInstallProxyDir", 1, 0, L"Varen_CA SetInstallProxyDir() failed."},
     {{L"LaunchInstallProxyExe", L"Varen_CA LaunchInstallProxyExe, ",
       L"Varen_CA LaunchInstallProxyExe failed to set Pid in CustomActionData"},
      {L"SetInstallProxyReg", L"Varen_CA SetInstallProxyReg, ",
       L"Varen_CA SetInstallProxyReg failed to set Pid in CustomActionData"}},
     true},
    {{"GetInstallUSBMonDir", 1, 0, L"Varen_CA SetInstallUSBMONDir() failed."},
     {{L"DeleteUSBMONDir", L"Varen_CA DeleteUSBMONDir, ",
       L"Varen_CA DeleteUSBMONDir failed to set Installdir in CustomActionData"}}},
    {{"SetInstallDir", 0, 1603,
      L"Varen_CA SetInstallDir() failed to get Pid from ORX Property table."},
     {{L"DeleteVLMDir", L"Varen_CA DeleteVLMDir SetInstallDir(), ",
       L"Varen_CA DeleteVLMDir SetInstallDir() failed to set Pid in CustomActionData"},
      {L"UpdateCfg", L"Varen_CA UpdateCfg SetInstallDir(), ",
       L"Varen_CA UpdateCfg SetInstallDir() failed to set Pid in CustomActionData"}}}};

// The longest INSTALLDIR the 260-character buffer takes (259 characters).
const std::wstring kDir = L"C:\\Program Files\\ORX\\" + std::wstring(238, L'd');

std::wstring StartLine(const char* szAction) {
    return L"Varen_CA " + std::wstring(szAction, szAction + strlen(szAction)) + L"() start";
}

// Runs the action on a package with INSTALLDIR strDir (undefined if empty) while
// the sets of the names in failing fail, and checks the whole outcome.
void ExpectHandOff(const InstallDirAction& action, const std::wstring& strDir,
                   const Names& failing = {}) {
    ActionSession session(strDir.empty() ? PackageContents{}
                                         : WithProperties({{L"INSTALLDIR", strDir}}));
    SetPropertyShim shim(failing);
    Lines expected{StartLine(action.head.szName)};
    Attempts attempts;
    bool fSucceeded = true;
    for (const Target& target : action.targets) {
        const bool fFails = failing.count(target.szProperty) != 0;
        expected.push_back(fFails ? target.szFailLine : target.szSetPrefix + strDir + kSetSuffix);
        attempts.emplace_back(target.szProperty, strDir);
        fSucceeded = !fFails && (fSucceeded || action.fLastSetDecides);
    }
    EXPECT_EQ(fSucceeded ? action.head.uSuccess : action.head.uFailure,
              session.Call(action.head.szName));
    EXPECT_EQ(expected, session.Lines()) << JoinLines(session.Lines());
    // A failed set does not stop the next one.
    EXPECT_EQ(attempts, SetPropertyShim::CallsMade());
    for (const Target& target : action.targets) {
        EXPECT_EQ(failing.count(target.szProperty) ? L"" : strDir,
                  session.Property(target.szProperty));
    }
}

} // namespace

TEST(InstallDirHandOff, HandsA259CharacterOrUndefinedInstallDirToEachDeferredAction) {
    for (const InstallDirAction& action : kInstallDirActions) {
        SCOPED_TRACE(action.head.szName);
        ExpectHandOff(action, kDir);
        ExpectHandOff(action, L""); // an undefined property reads as "" with success
    }
}

TEST(InstallDirHandOff, EveryFailedSetIsLoggedAndTheOtherSetStillMade) {
    for (const InstallDirAction& action : kInstallDirActions) {
        SCOPED_TRACE(action.head.szName);
        Names every;
        for (const Target& target : action.targets) {
            ExpectHandOff(action, kDir, {target.szProperty});
            every.insert(target.szProperty);
        }
        ExpectHandOff(action, kDir, every);
    }
}

TEST(InstallDirHandOff, AFailedReadEndsTheActionBeforeAnySet) {
    UniqueMsiHandle hRecord(MsiCreateRecord(1));
    for (const InstallDirAction& action : kInstallDirActions) {
        SCOPED_TRACE(action.head.szName);
        ActionSession session(WithProperties({{L"INSTALLDIR", kDir + L'd'}})); // ERROR_MORE_DATA
        SetPropertyShim shim;
        EXPECT_EQ(action.head.uFailure, session.Call(action.head.szName));
        // A handle that is no session fails the read too, and its lines are lost.
        EXPECT_EQ(action.head.uFailure, session.CallWith(action.head.szName, 0));
        EXPECT_EQ(action.head.uFailure, session.CallWith(action.head.szName, hRecord.get()));
        EXPECT_EQ((Lines{StartLine(action.head.szName), action.head.szReadFailLine}),
                  session.Lines())
            << JoinLines(session.Lines());
        EXPECT_TRUE(SetPropertyShim::CallsMade().empty());
    }
}

namespace {

const std::wstring kPid = L"W-05-000U-000-003-002-001-00-00";

Lines VlmOrxPidLines(const std::wstring& strPid, const std::wstring& strLast) {
    return {
        L"Varen_CA SetVlmOrxPid() start", L"Varen_CA GetFromMSITable(), Reading Property table\n",
        L"Varen_CA GetFromMSITable() PackageRead Property Value is " + strPid + L" \n", strLast};
}

// The Value of the first row the view returns for ORX_PID, read by the test itself.
std::wstring FirstOrxPidRow(MSIHANDLE hSession) {
    UniqueMsiHandle hDatabase(MsiGetActiveDatabase(hSession));
    UniqueMsiHandle hView;
    UniqueMsiHandle hRow;
    wchar_t szValue[100] = {};
    DWORD cchValue = 100;
    MsiDatabaseOpenViewW(
        hDatabase.get(),
        L"SELECT `Value` FROM `ORX_InstallProperties` WHERE `Property` = 'ORX_PID'", hView.put());
    MsiViewExecute(hView.get(), 0);
    MsiViewFetch(hView.get(), hRow.put());
    MsiRecordGetStringW(hRow.get(), 1, szValue, &cchValue);
    return szValue;
}

} // namespace

TEST(SetVlmOrxPid, HandsTheFirstOrxPidRowToCleanRegistryAndFailsWithTheSet) {
    for (const bool fSetFails : {false, true}) {
        ActionSession session(
            {{},
             PropertyRows{{L"PNVersion", L"1.0"}, {L"ORX_PID", kPid}, {L"ORX_PID", L"second"}}});
        const std::wstring strFirst = FirstOrxPidRow(session.Handle());
        ASSERT_TRUE(strFirst == kPid || strFirst == L"second") << strFirst.c_str();
        SetPropertyShim shim(fSetFails ? Names{L"CleanRegistry"} : Names{});
        EXPECT_EQ(fSetFails ? 1603u : 0u, session.Call("SetVlmOrxPid"));
        EXPECT_EQ(VlmOrxPidLines(strFirst,
                                 fSetFails ? L"Varen_CA SetVlmOrxPid() failed to set Pid in "
                                             L"CustomActionData"
                                           : L"Varen_CA SetVlmOrxPid(), " + strFirst + kSetSuffix),
                  session.Lines())
            << JoinLines(session.Lines());
        EXPECT_EQ((Attempts{{L"CleanRegistry", strFirst}}), SetPropertyShim::CallsMade());
        EXPECT_EQ(fSetFails ? L"" : strFirst, session.Property(L"CleanRegistry"));
    }
}

TEST(SetVlmOrxPid, FailsWithoutTheTableOrTheRow) {
    const PackageContents packages[] = {
        {{{L"ORX_PID", kPid}}, std::nullopt},       // an installer property is not the row
        {{}, PropertyRows{{L"PNVersion", L"1.0"}}}, // no row
    };
    for (const PackageContents& contents : packages) {
        ActionSession session(contents);
        SetPropertyShim shim;
        EXPECT_EQ(1603u, session.Call("SetVlmOrxPid"));
        EXPECT_EQ((Lines{L"Varen_CA SetVlmOrxPid() start",
                         L"Varen_CA GetFromMSITable(), Reading Property table\n",
                         L"Varen_CA SetVlmOrxPid() failed to get Pid from ORX Property table."}),
                  session.Lines())
            << JoinLines(session.Lines());
        EXPECT_TRUE(SetPropertyShim::CallsMade().empty());
    }
}

namespace {

PackageContents DisplayProperties(const wchar_t* szWidth, const wchar_t* szHeight, const wchar_t* szBpp,
                              const wchar_t* szFreq) {
    return WithProperties({{L"DisplayWidth", szWidth},
                           {L"DisplayHeight", szHeight},
                           {L"DisplayBpp", szBpp},
                           {L"DisplayFreq", szFreq}});
}

} // namespace

TEST(SetDisplayMode, EachReadGetsTheCountThePreviousReadLeft) {
    const struct {
        PackageContents contents;
        Lines reads;
        std::wstring strMode;
    } cases[] = {
        // Each value is shorter than the one before, so each fits.
        {DisplayProperties(L"12345", L"1234", L"12", L"1"),
         {L"VAREN_CA DisplayWidth: 12345 \n", L"VAREN_CA DisplayHeight: 1234 \n",
          L"VAREN_CA DisplayBpp: 12 \n", L"VAREN_CA DisplayFreq: 1 \n"},
         L"12345;1234;12;1;"},
        // "1080" gets a capacity of 4: ERROR_MORE_DATA, and Wine leaves the first
        // three characters, "108", terminated in the buffer. "32" fits in 4; "60"
        // then gets 2 and leaves "6".
        {DisplayProperties(L"1920", L"1080", L"32", L"60"),
         {L"VAREN_CA DisplayWidth: 1920 \n",
          L"VAREN_CA Could not get DisplayHeight. Default to 768  \n",
          L"VAREN_CA DisplayBpp: 32 \n", L"VAREN_CA Could not get DisplayFreq. Default to 60  \n"},
         L"1920;108;32;6;"},
        // "600" gets 1: only the terminator fits, so "" is appended; the failed
        // read leaves the count at 3, so "16" fits; "75" gets 2 and leaves "7".
        {DisplayProperties(L"8", L"600", L"16", L"75"),
         {L"VAREN_CA DisplayWidth: 8 \n",
          L"VAREN_CA Could not get DisplayHeight. Default to 768  \n",
          L"VAREN_CA DisplayBpp: 16 \n", L"VAREN_CA Could not get DisplayFreq. Default to 60  \n"},
         L"8;;16;7;"},
        // None defined: "" leaves a count of 0, which even "" does not fit. The
        // defaults only appear in the log.
        {{},
         {L"VAREN_CA DisplayWidth:  \n",
          L"VAREN_CA Could not get DisplayHeight. Default to 768  \n",
          L"VAREN_CA Could not get DisplayBpp. Default to 32  \n",
          L"VAREN_CA Could not get DisplayFreq. Default to 60  \n"},
         L";;;;"},
    };
    for (const auto& test : cases) {
        for (const bool fSetFails : {false, true}) {
            SCOPED_TRACE(testing::Message() << test.strMode.c_str() << ", set fails " << fSetFails);
            ActionSession session(test.contents);
            SetPropertyShim shim(fSetFails ? Names{L"DisplayModeChange"} : Names{});
            Lines expected{L"Varen_CA SetDisplayMode() start"};
            expected.insert(expected.end(), test.reads.begin(), test.reads.end());
            expected.push_back(fSetFails
                                   ? L"Varen_CA SetDisplayMode() failed to set "
                                     L"DisplayModeChange in CustomActionData"
                                   : L"Varen_CA SetDisplayMode(), " + test.strMode + kSetSuffix);
            EXPECT_EQ(fSetFails ? 1603u : 0u, session.Call("SetDisplayMode"));
            EXPECT_EQ(expected, session.Lines()) << JoinLines(session.Lines());
            EXPECT_EQ((Attempts{{L"DisplayModeChange", test.strMode}}),
                      SetPropertyShim::CallsMade());
            EXPECT_EQ(fSetFails ? L"" : test.strMode, session.Property(L"DisplayModeChange"));
        }
    }
}

TEST(SetDisplayMode, AHandleThatIsNoSessionFailsEveryReadAndTheSet) {
    ActionSession session(DisplayProperties(L"1024", L"768", L"32", L"60"));
    UniqueMsiHandle hRecord(MsiCreateRecord(1));
    for (MSIHANDLE hInstall : {MSIHANDLE{0}, hRecord.get()}) {
        SetPropertyShim shim; // records the real call, which fails with ERROR_INVALID_HANDLE
        EXPECT_EQ(1603u, session.CallWith("SetDisplayMode", hInstall));
        EXPECT_EQ((Attempts{{L"DisplayModeChange", L";;;;"}}), SetPropertyShim::CallsMade());
    }
    EXPECT_EQ(Lines{}, session.Lines()) << JoinLines(session.Lines());
    EXPECT_EQ(L"", session.Property(L"DisplayModeChange"));
}

TEST(SessionSlot, VersionActionsUseTheirOwnHandleAndLeaveTheSlot) {
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

    // The test program's own copy of the code shows that they leave the slot as it is.
    g_hInstall = session.Handle();
    EXPECT_EQ(1u, UpdatePNVersionInReg(other.Handle()));
    EXPECT_EQ(1u, UpdateDriverVersionInReg(other.Handle()));
    EXPECT_EQ(session.Handle(), g_hInstall);
}
