// The hand-off actions (a property or package row stored under a deferred action's
// name) and the version actions that copy package rows into the registry.
#include "tests/support/cases.h"

#include <cstring>

using namespace cases;

namespace {

const std::wstring kSet = L" should be set in CustomActionData \n";

// A hand-off of INSTALLDIR to its targets, each named in its line (szSuffix after it):
// the longest folder the 260-character buffer takes goes to every target; one character
// more fails the read before any set, with "Varen_CA <szReadFail>".
void AddInstallDir(std::vector<Case>& cases, const char* szAction, UINT uSuccess, UINT uFailure,
                   const wchar_t* szReadFail, std::vector<const wchar_t*> targets,
                   const wchar_t* szSuffix = L"") {
    const std::wstring str259 = L"C:\\Program Files\\ORX\\" + std::wstring(238, L'd');
    const std::wstring strStart =
        L"Varen_CA " + std::wstring(szAction, szAction + strlen(szAction)) + L"() start";
    Case handed{.szName = "259 characters go to every target",
                .szAction = szAction,
                .properties = {{L"INSTALLDIR", str259}},
                .uReturn = uSuccess,
                .lines = {strStart}};
    for (const wchar_t* szProperty : targets) {
        handed.lines.push_back(L"Varen_CA " + std::wstring(szProperty) + szSuffix + L", " + str259 +
                               kSet);
        handed.set.emplace_back(szProperty, str259);
    }
    cases.push_back(handed);
    cases.push_back({.szName = "260 characters fail the read before any set",
                     .szAction = szAction,
                     .properties = {{L"INSTALLDIR", str259 + L"d"}},
                     .uReturn = uFailure,
                     .lines = {strStart, L"Varen_CA " + std::wstring(szReadFail)},
                     .set = {{targets.front(), L""}}});
}

std::vector<Case> InstallDirCases() {
    std::vector<Case> cases;
    AddInstallDir(cases, "GetInstallA4Dir", 0, 1603, L"SetInstallA4Dir() failed.",
                  {L"DeleteInstallA4"});
    AddInstallDir(cases, "GetInstallCADir", 1, 0, L"SetInstallCADir() failed.",
                  {L"DeleteInstallCA"});
    AddInstallDir(cases, "GetInstallPyraDir", 1, 0, L"SetInstallPyraDir() failed.",
                  {L"DeleteInstallPyra"});
    AddInstallDir(cases, "GetInstallProxyDir", 1, 0, L"SetInstallProxyDir() failed.",
                  {L"LaunchInstallProxyExe", L"SetInstallProxyReg"});
    AddInstallDir(cases, "GetInstallUSBMonDir", 1, 0, L"SetInstallUSBMONDir() failed.",
                  {L"DeleteUSBMONDir"});
    AddInstallDir(cases, "SetInstallDir", 0, 1603,
                  L"SetInstallDir() failed to get Pid from ORX Property table.",
                  {L"DeleteVLMDir", L"UpdateCfg"}, L" SetInstallDir()");
    return cases;
}

const int kInstallDir = Register(InstallDirCases());

const std::wstring kPid = L"W-05-000U-000-003-002-001-00-00";

// A version action writes the row of 8191 characters, the most its buffer takes, over the
// native value without its terminator (Wine's registry stores one all the same); the
// 32-bit view's value and a native sibling stay.
Case Version(const char* szAction, const wchar_t* szRow, const wchar_t* szLine) {
    const std::wstring strKey = L"SOFTWARE\\QVX\\PN";
    const std::wstring strLong(8191, L'f');
    return {.szName = "8191 characters replace the native value, unterminated",
            .szAction = szAction,
            .orx = PropertyRows{{L"Other", L"1"}, {szRow, strLong}},
            .before = {Str(W, strKey, szRow, L"wow-old"), Str(N, strKey, szRow, L"old"),
                       Str(N, strKey, L"Sibling", L"keep")},
            .uReturn = 1,
            .lines = {szLine},
            .after = {Str(N, strKey, szRow, strLong)},
            .szWine = "Wine terminates a REG_SZ written without its terminator"};
}

const int kHandOffs = Register({
    // The installer property of that name is not what is read.
    {.szName = "hands the ORX_PID row to CleanRegistry",
     .szAction = "SetVlmOrxPid",
     .properties = {{L"ORX_PID", L"property"}},
     .orx = PropertyRows{{L"PNVersion", L"1.0"}, {L"ORX_PID", kPid}},
     .lines = {L"Varen_CA SetVlmOrxPid() start",
               L"Varen_CA GetFromMSITable(), Reading Property table\n",
               L"Varen_CA GetFromMSITable() PackageRead Property Value is " + kPid + L" \n",
               L"Varen_CA SetVlmOrxPid(), " + kPid + kSet},
     .set = {{L"CleanRegistry", kPid}}},
    // Each read is given the count the previous read left: a longer value fails, names
    // its default and leaves in the mode what fitted.
    {.szName = "a longer value than the one before fails and leaves what fitted",
     .szAction = "SetDisplayMode",
     .properties = {{L"DisplayWidth", L"8"},
                    {L"DisplayHeight", L"600"},
                    {L"DisplayBpp", L"16"},
                    {L"DisplayFreq", L"75"}},
     .lines = {L"Varen_CA SetDisplayMode() start", L"VAREN_CA DisplayWidth: 8 \n",
               L"VAREN_CA Could not get DisplayHeight. Default to 768  \n",
               L"VAREN_CA DisplayBpp: 16 \n",
               L"VAREN_CA Could not get DisplayFreq. Default to 60  \n",
               L"Varen_CA SetDisplayMode(), 8;;16;7;" + kSet},
     .set = {{L"DisplayModeChange", L"8;;16;7;"}},
     .szWine = "a failed read leaves the characters that fitted, terminated"},
    Version("UpdatePNVersionInReg", L"PNVersion", L"VAREN_CA: PN version Registry values updated."),
    Version("UpdateDriverVersionInReg", L"DriverVersion",
            L"VAREN_CA: Driver version Registry values updated."),
});

} // namespace
