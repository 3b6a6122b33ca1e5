// The hand-off actions (a property or package row stored under a deferred action's
// name) and the version actions that copy package rows into the registry.
#include "tests/support/cases.h"

#include <msiquery.h>

#include <cstring>
#include <set>

using namespace cases;

namespace {

// While a case's arrange result lives, the DLL's MsiSetPropertyW fails for the
// named properties (Wine's fails only for a handle that is no session).
std::set<std::wstring> g_failingSets;

UINT WINAPI FailNamedSets(MSIHANDLE hInstall, LPCWSTR szName, LPCWSTR szValue) {
    if (g_failingSets.count(szName)) {
        CountFault();
        return ERROR_FUNCTION_FAILED;
    }
    return MsiSetPropertyW(hInstall, szName, szValue);
}

std::function<std::shared_ptr<void>(ActionSession&)> FailSets(std::set<std::wstring> names) {
    return [names](ActionSession&) {
        g_failingSets = names;
        return Fault("msi.dll", "MsiSetPropertyW", reinterpret_cast<void*>(&FailNamedSets));
    };
}

std::wstring Wide(const char* sz) {
    return std::wstring(sz, sz + strlen(sz));
}

const std::wstring kSet = L" should be set in CustomActionData \n";

struct Target {
    const wchar_t* szProperty;
    const wchar_t* szSetPrefix; // the success line up to the value
    const wchar_t* szFailLine;
};

struct InstallDirAction {
    const char* szName;
    UINT uSuccess;
    UINT uFailure;
    const wchar_t* szReadFailLine;
    std::vector<Target> targets;
    bool fLastSetDecides = false; // else any failed set fails the action
};

const InstallDirAction kInstallDirActions[] = {
    {"GetInstallA4Dir",
     0,
     1603,
     L"Varen_CA SetInstallA4Dir() failed.",
     {{L"DeleteInstallA4", L"Varen_CA DeleteInstallA4, ",
       L"Varen_CA DeleteInstallA4 failed to set Pid in CustomActionData"}}},
    {"GetInstallCADir",
     1,
     0,
     L"Varen_CA SetInstallCADir() failed.",
     {{L"DeleteInstallCA", L"Varen_CA DeleteInstallCA, ",
       L"Varen_CA DeleteInstallCA failed to be set in CustomActionData"}}},
    {"GetInstallPyraDir",
     1,
     0,
     L"Varen_CA SetInstallPyraDir() failed.",
     {{L"DeleteInstallPyra", L"Varen_CA DeleteInstallPyra, ",
       L"Varen_CA DeleteInstallPyra failed to set Pid in CustomActionData"}}},
    {"GetInstallProxyDir",
     1,
     0,
     L"Varen_CA SetInstallProxyDir() failed.",
     {{L"LaunchInstallProxyExe", L"Varen_CA LaunchInstallProxyExe, ",
       L"Varen_CA LaunchInstallProxyExe failed to set Pid in CustomActionData"},
      {L"SetInstallProxyReg", L"Varen_CA SetInstallProxyReg, ",
       L"Varen_CA SetInstallProxyReg failed to set Pid in CustomActionData"}},
     true},
    {"GetInstallUSBMonDir",
     1,
     0,
     L"Varen_CA SetInstallUSBMONDir() failed.",
     {{L"DeleteUSBMONDir", L"Varen_CA DeleteUSBMONDir, ",
       L"Varen_CA DeleteUSBMONDir failed to set Installdir in CustomActionData"}}},
    {"SetInstallDir",
     0,
     1603,
     L"Varen_CA SetInstallDir() failed to get Pid from ORX Property table.",
     {{L"DeleteVLMDir", L"Varen_CA DeleteVLMDir SetInstallDir(), ",
       L"Varen_CA DeleteVLMDir SetInstallDir() failed to set Pid in CustomActionData"},
      {L"UpdateCfg", L"Varen_CA UpdateCfg SetInstallDir(), ",
       L"Varen_CA UpdateCfg SetInstallDir() failed to set Pid in CustomActionData"}}},
};

// The folder as the installer sets it (a trailing "\"), and the longest the
// 260-character buffer takes.
const std::wstring kDir = L"C:\\Program Files\\ORX\\CA\\";
const std::wstring k259 = L"C:\\Program Files\\ORX\\" + std::wstring(238, L'd');

// Per action: the folder handed to every target (realistic, 259 characters,
// undefined), each target's set failing alone (the next set is still made), and
// a value too long to read (no set at all).
std::vector<Case> InstallDirCases() {
    std::vector<Case> cases;
    for (const InstallDirAction& action : kInstallDirActions) {
        const std::wstring strStart = L"Varen_CA " + Wide(action.szName) + L"() start";
        auto handOff = [&](const char* szName, std::optional<std::wstring> dir,
                           std::set<std::wstring> failing) {
            Case c{.szName = szName, .szAction = action.szName};
            if (dir) {
                c.properties = {{L"INSTALLDIR", *dir}};
            }
            c.lines = {strStart};
            bool fSucceeded = true;
            for (const Target& target : action.targets) {
                const bool fFails = failing.count(target.szProperty) != 0;
                c.lines.push_back(fFails ? std::wstring(target.szFailLine)
                                         : target.szSetPrefix + dir.value_or(L"") + kSet);
                c.set.emplace_back(target.szProperty, fFails ? L"" : dir.value_or(L""));
                fSucceeded = !fFails && (fSucceeded || action.fLastSetDecides);
            }
            c.uReturn = fSucceeded ? action.uSuccess : action.uFailure;
            if (!failing.empty()) {
                c.arrange = FailSets(failing);
            }
            cases.push_back(c);
        };
        handOff("the installer's folder goes to every target", kDir, {});
        handOff("259 characters are handed on", k259, {});
        handOff("undefined reads as empty and is handed on", std::nullopt, {});
        handOff("the first set fails", kDir, {action.targets.front().szProperty});
        if (action.targets.size() > 1) {
            handOff("the last set fails", kDir, {action.targets.back().szProperty});
        }
        for (const auto& [szName, cch] :
             {std::pair{"260 characters fail the read before any set", 260},
              std::pair{"261 characters fail the read", 261},
              std::pair{"4000 characters fail the read", 4000}}) {
            cases.push_back({.szName = szName,
                             .szAction = action.szName,
                             .properties = {{L"INSTALLDIR", k259 + std::wstring(cch - 259, L'd')}},
                             .uReturn = action.uFailure,
                             .lines = {strStart, action.szReadFailLine},
                             .set = {{action.targets.front().szProperty, L""}}});
        }
    }
    return cases;
}

const int kInstallDir = Register(InstallDirCases());

const std::wstring kPid = L"W-05-000U-000-003-002-001-00-00";
const wchar_t kReading[] = L"Varen_CA GetFromMSITable(), Reading Property table\n";
const wchar_t kVlmStart[] = L"Varen_CA SetVlmOrxPid() start";
const wchar_t kNoPid[] = L"Varen_CA SetVlmOrxPid() failed to get Pid from ORX Property table.";

const int kSetVlmOrxPid = Register({
    {.szName = "hands the ORX_PID row to CleanRegistry",
     .szAction = "SetVlmOrxPid",
     .orx = PropertyRows{{L"PNVersion", L"1.0"}, {L"ORX_PID", kPid}},
     .lines = {kVlmStart, kReading,
               L"Varen_CA GetFromMSITable() PackageRead Property Value is " + kPid + L" \n",
               L"Varen_CA SetVlmOrxPid(), " + kPid + kSet},
     .set = {{L"CleanRegistry", kPid}}},
    {.szName = "a failed set fails the action",
     .szAction = "SetVlmOrxPid",
     .orx = PropertyRows{{L"ORX_PID", kPid}},
     .uReturn = 1603,
     .lines = {kVlmStart, kReading,
               L"Varen_CA GetFromMSITable() PackageRead Property Value is " + kPid + L" \n",
               L"Varen_CA SetVlmOrxPid() failed to set Pid in CustomActionData"},
     .set = {{L"CleanRegistry", L""}},
     .arrange = FailSets({L"CleanRegistry"})},
    {.szName = "an installer property is not the row",
     .szAction = "SetVlmOrxPid",
     .properties = {{L"ORX_PID", kPid}},
     .uReturn = 1603,
     .lines = {kVlmStart, kReading, kNoPid},
     .set = {{L"CleanRegistry", L""}}},
    {.szName = "no row",
     .szAction = "SetVlmOrxPid",
     .orx = PropertyRows{{L"PNVersion", L"1.0"}},
     .uReturn = 1603,
     .lines = {kVlmStart, kReading, kNoPid}},
    {.szName = "a row of 1042 characters does not fit",
     .szAction = "SetVlmOrxPid",
     .orx = PropertyRows{{L"ORX_PID", std::wstring(1042, L'p')}},
     .uReturn = 1603,
     .lines = {kVlmStart, kReading, kNoPid}},
});

// SetDisplayMode hands each read the count the previous read left.
Case DisplayCase(const char* szName, PropertyRows properties, Lines reads, std::wstring strMode,
                 const char* szWine = nullptr) {
    Lines lines = {L"Varen_CA SetDisplayMode() start"};
    lines.insert(lines.end(), reads.begin(), reads.end());
    lines.push_back(L"Varen_CA SetDisplayMode(), " + strMode + kSet);
    return {.szName = szName,
            .szAction = "SetDisplayMode",
            .properties = std::move(properties),
            .lines = lines,
            .set = {{L"DisplayModeChange", strMode}},
            .szWine = szWine};
}

PropertyRows Display(const wchar_t* szWidth, const wchar_t* szHeight, const wchar_t* szBpp,
                     const wchar_t* szFreq) {
    return {{L"DisplayWidth", szWidth},
            {L"DisplayHeight", szHeight},
            {L"DisplayBpp", szBpp},
            {L"DisplayFreq", szFreq}};
}

const wchar_t kNoHeight[] = L"VAREN_CA Could not get DisplayHeight. Default to 768  \n";
const wchar_t kNoFreq[] = L"VAREN_CA Could not get DisplayFreq. Default to 60  \n";

const int kSetDisplayMode = Register({
    DisplayCase("each shorter value fits", Display(L"12345", L"1234", L"12", L"1"),
                {L"VAREN_CA DisplayWidth: 12345 \n", L"VAREN_CA DisplayHeight: 1234 \n",
                 L"VAREN_CA DisplayBpp: 12 \n", L"VAREN_CA DisplayFreq: 1 \n"},
                L"12345;1234;12;1;"),
    DisplayCase(
        "a longer value fails and leaves what fitted", Display(L"1920", L"1080", L"32", L"60"),
        {L"VAREN_CA DisplayWidth: 1920 \n", kNoHeight, L"VAREN_CA DisplayBpp: 32 \n", kNoFreq},
        L"1920;108;32;6;", "a failed read leaves the characters that fitted, terminated"),
    DisplayCase("a capacity of 1 leaves an empty value", Display(L"8", L"600", L"16", L"75"),
                {L"VAREN_CA DisplayWidth: 8 \n", kNoHeight, L"VAREN_CA DisplayBpp: 16 \n", kNoFreq},
                L"8;;16;7;", "a failed read leaves the characters that fitted, terminated"),
    DisplayCase("none defined: the defaults are only logged", {},
                {L"VAREN_CA DisplayWidth:  \n", kNoHeight,
                 L"VAREN_CA Could not get DisplayBpp. Default to 32  \n", kNoFreq},
                L";;;;"),
    {.szName = "a failed set fails the action",
     .szAction = "SetDisplayMode",
     .properties = Display(L"1024", L"768", L"32", L"60"),
     .uReturn = 1603,
     .lines = {L"Varen_CA SetDisplayMode() start", L"VAREN_CA DisplayWidth: 1024 \n",
               L"VAREN_CA DisplayHeight: 768 \n", L"VAREN_CA DisplayBpp: 32 \n", kNoFreq,
               L"Varen_CA SetDisplayMode() failed to set DisplayModeChange in CustomActionData"},
     .set = {{L"DisplayModeChange", L""}},
     .arrange = FailSets({L"DisplayModeChange"})},
});

// The version actions hand the row over without its terminator; Wine's registry
// stores one all the same.
const char kTerminated[] = "Wine terminates a REG_SZ written without its terminator";

std::vector<Case> VersionCases() {
    struct Action {
        const char* szName;
        const wchar_t* szRow;
        const wchar_t* szLine;
        const wchar_t* szOtherRow;
    };
    const Action actions[] = {{"UpdatePNVersionInReg", L"PNVersion",
                               L"VAREN_CA: PN version Registry values updated.", L"DriverVersion"},
                              {"UpdateDriverVersionInReg", L"DriverVersion",
                               L"VAREN_CA: Driver version Registry values updated.", L"PNVersion"}};
    std::vector<Case> cases;
    for (const Action& a : actions) {
        const std::wstring strKey = L"SOFTWARE\\QVX\\PN";
        // The 32-bit view's value and a native sibling are never touched.
        const std::vector<Item> before = {Str(W, strKey, a.szRow, L"wow-old"),
                                          Str(N, strKey, L"Sibling", L"keep")};
        const std::wstring strLong(8191, L'f');
        cases.push_back(
            {.szName = "the row replaces the native value, unterminated",
             .szAction = a.szName,
             .orx = PropertyRows{{a.szOtherRow, L"other"}, {a.szRow, L"10.2.3"}},
             .before = {Str(W, strKey, a.szRow, L"wow-old"), Str(N, strKey, a.szRow, L"old"),
                        Str(N, strKey, L"Sibling", L"keep")},
             .uReturn = 1,
             .lines = {a.szLine},
             .after = {Str(N, strKey, a.szRow, L"10.2.3")},
             .szWine = kTerminated});
        cases.push_back({.szName = "8191 characters fit",
                         .szAction = a.szName,
                         .orx = PropertyRows{{a.szRow, strLong}},
                         .before = before,
                         .uReturn = 1,
                         .lines = {a.szLine},
                         .after = {Str(N, strKey, a.szRow, strLong)},
                         .szWine = kTerminated});
        for (auto [szName, orx] :
             {std::pair{"8192 characters: silent, nothing written",
                        PropertyRows{{a.szRow, strLong + L"f"}}},
              std::pair{"no row: silent", PropertyRows{{a.szOtherRow, L"1"}}}}) {
            cases.push_back({.szName = szName,
                             .szAction = a.szName,
                             .orx = orx,
                             .before = before,
                             .uReturn = 1});
        }
        cases.push_back({.szName = "no table: the thread's last error is logged",
                         .szAction = a.szName,
                         .before = before,
                         .lines = {L"Failed in call to MsiDatabaseOpenView. Error: 0"},
                         .szWine = "the last error a failed view leaves"});
    }
    return cases;
}

const int kVersions = Register(VersionCases());

} // namespace
