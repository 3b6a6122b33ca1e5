// Hostile input for every export the DLL's export table names: over-long, malformed and
// wrongly typed input, with canaries around every place an action could reach. Passing
// means the action returned (no crash, no hang) and every canary is as it was.
#include "tests/support/cases.h"

#include "tests/support/registry_support.h"

#include <algorithm>

using namespace cases;

namespace {

// Every place outside what any action names, in both views where that applies.
const std::vector<Item> kCanaries = {
    File(L"C:\\varen_canary.txt"),
    File(L"%WINDIR%\\varen_canary.txt"),
    File(L"%SYSTEM%\\varen_canary.txt"),
    File(L"%PROGRAMDATA%\\varen_canary.txt"),
    File(L"%PROGRAMFILES%\\Varen Canary\\f.txt"),
    File(L"%CASE%_sibling\\f.txt"),
    Str(NW, L"SOFTWARE\\ORX Technologies Sibling", L"v", L"keep"),
    Str(NW, L"SOFTWARE\\QVXSibling", L"v", L"keep"),
    Str(N, L"SOFTWARE\\QVXSibling", L"v", L"keep", HKEY_CURRENT_USER),
    Key(NW, L"SYSTEM\\CurrentControlSet\\Services\\VarenCanary"),
};

void WINAPI ShortSleep(DWORD dwMilliseconds) {
    Sleep(std::min<DWORD>(dwMilliseconds, 10));
}

// The suite's own values with the wrong types and sizes (left for the next case: the sweep
// has its prefix to itself); Sleep(20000) before a mode change, say, is cut short.
std::shared_ptr<void> Seed(ActionSession&) {
    const std::wstring strInstall = L"SOFTWARE\\ORX Technologies\\Install";
    const DWORD dwOne = 1;
    const BYTE odd[3] = {'C', 0, ':'};
    for (View view : kBothViews) {
        SetRaw(HKEY_LOCAL_MACHINE, view, strInstall, L"InstallDir", REG_DWORD, &dwOne, 4);
        SetRaw(HKEY_LOCAL_MACHINE, view, strInstall + L"\\ORX Velium Install Manager",
               L"InstallDir", REG_BINARY, odd, sizeof(odd));
        SetRaw(HKEY_LOCAL_MACHINE, view, strInstall + L"\\Packages\\W-05", L"ProductGUID",
               REG_DWORD, &dwOne, 4);
        SetRaw(HKEY_LOCAL_MACHINE, view, L"SOFTWARE\\QVX\\PN", L"PNBrandingInstallDir", REG_SZ, odd,
               sizeof(odd));
    }
    return PatchImport(GetModuleHandleW(L"Varen_CA.dll"), "kernel32.dll", "Sleep",
                       reinterpret_cast<void*>(&ShortSleep));
}

// A value of cch characters: a path in the case folder, then "=", ";", a quote and
// a non-BMP character repeated (cut anywhere, half a surrogate pair included).
std::wstring Filled(size_t cch) {
    std::wstring strValue = Expand(L"%CASE%\\");
    while (strValue.size() < cch) {
        strValue += L"a=b;c\"d\U0001F600 ";
    }
    strValue.resize(cch);
    return strValue;
}

std::vector<Case> SweepCases() {
    // Every property, row and the "CustomActionData" hold the value.
    const std::pair<const char*, std::wstring> inputs[] = {
        {"nothing defined", L""},
        {"259 characters", Filled(259)},
        {"260 characters", Filled(260)},
        {"4000 characters", Filled(4000)},
        {"records with duplicated, missing and empty keys",
         L"ServiceName=;ServiceName=x;TaskName=;Username=;CommandToLaunch=;DirectoryOfBinary=;=;;"
         L"TaskName"},
    };
    std::vector<Case> cases;
    for (const std::string& strExport : ExportNames()) {
        for (const auto& [szName, strValue] : inputs) {
            // A record too short to hold a key raises the string class's out-of-range
            // error through these exports: packages rely on the installer failing the step.
            if (strValue.size() < 64 && (strExport == "DeleteServiceIfBinaryIsInDirectory" ||
                                         strExport == "CreateTriggerlessElevatedScheduleTask")) {
                continue;
            }
            Case c{.szName = szName, .szAction = strExport.c_str(), .before = kCanaries};
            if (!strValue.empty()) {
                for (const wchar_t* szProperty :
                     {L"INSTALLDIR", L"DisplayWidth", L"DisplayHeight", L"DisplayBpp",
                      L"DisplayFreq", L"LAUNCHED_FROM_VLM", L"LAUNCHED_FROM_CLIENT",
                      L"DISABLEANALYTICS", L"REMOVE"}) {
                    c.properties.emplace_back(szProperty, strValue);
                }
                c.orx = PropertyRows{
                    {L"ORX_PID", strValue}, {L"PNVersion", strValue}, {L"DriverVersion", strValue}};
                c.data = strValue;
            }
            c.arrange = Seed;
            c.fSurvivalOnly = true;
            cases.push_back(std::move(c));
        }
    }
    return cases;
}

const int kSweep = Register(SweepCases());

} // namespace
