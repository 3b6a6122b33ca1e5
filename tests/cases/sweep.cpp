// Hostile input for every export: each is called with over-long, malformed and
// wrongly typed input, with canaries around every place an action could reach.
// Passing means the action returned (no crash, no hang) and every canary is as it
// was; what each action logs or returns for such input is its own cases' business.
#include "tests/support/cases.h"

#include "tests/support/registry_support.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

using namespace cases;

namespace {

// The names Varen_CA.dll exports, read from its own export table.
const std::vector<std::string>& Exports() {
    static std::vector<std::string> names; // the cases keep pointers to the names
    if (!names.empty()) {
        return names;
    }
    const HMODULE hDll = LoadLibraryExW(L"Varen_CA.dll", nullptr, DONT_RESOLVE_DLL_REFERENCES);
    if (!hDll) {
        return names;
    }
    const auto* pBase = reinterpret_cast<const BYTE*>(hDll);
    const auto* pNt = reinterpret_cast<const IMAGE_NT_HEADERS*>(
        pBase + reinterpret_cast<const IMAGE_DOS_HEADER*>(pBase)->e_lfanew);
    const auto* pExports = reinterpret_cast<const IMAGE_EXPORT_DIRECTORY*>(
        pBase + pNt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT].VirtualAddress);
    const auto* pNames = reinterpret_cast<const DWORD*>(pBase + pExports->AddressOfNames);
    for (DWORD i = 0; i < pExports->NumberOfNames; ++i) {
        names.emplace_back(reinterpret_cast<const char*>(pBase + pNames[i]));
    }
    FreeLibrary(hDll);
    return names;
}

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

// Sleep(20000) before a display mode change, say, is cut short: the sweep calls
// every export five times.
void WINAPI ShortSleep(DWORD dwMilliseconds) {
    Sleep(std::min<DWORD>(dwMilliseconds, 10));
}

// The suite's own values, seeded with the wrong types: not checked (actions may
// remove them), removed after the call.
std::shared_ptr<void> SeedWrongTypes(ActionSession&) {
    struct Seeds {
        Seeds() {
            try {
                m_shortSleep.emplace(GetModuleHandleW(L"Varen_CA.dll"), "kernel32.dll", "Sleep",
                                     reinterpret_cast<void*>(&ShortSleep));
            } catch (const std::runtime_error&) {
                // The DLL never sleeps.
            }
            const DWORD dwOne = 1;
            const BYTE odd[3] = {'C', 0, ':'};
            for (View view : kBothViews) {
                SetRaw(HKEY_LOCAL_MACHINE, view, kInstall, L"InstallDir", REG_DWORD, &dwOne, 4);
                SetRaw(HKEY_LOCAL_MACHINE, view, kInstall + L"\\ORX Velium Install Manager",
                       L"InstallDir", REG_BINARY, odd, sizeof(odd));
                SetRaw(HKEY_LOCAL_MACHINE, view, kInstall + L"\\Packages\\W-05", L"ProductGUID",
                       REG_DWORD, &dwOne, 4);
                SetRaw(HKEY_LOCAL_MACHINE, view, L"SOFTWARE\\QVX\\PN", L"PNBrandingInstallDir",
                       REG_SZ, odd, sizeof(odd));
            }
        }
        ~Seeds() {
            for (View view : kBothViews) {
                for (const wchar_t* szRoot : {L"SOFTWARE\\ORX Technologies", L"SOFTWARE\\QVX"}) {
                    DeleteTree(HKEY_LOCAL_MACHINE, view, szRoot);
                }
            }
        }
        const std::wstring kInstall = L"SOFTWARE\\ORX Technologies\\Install";
        std::optional<ImportPatch> m_shortSleep;
    };
    return std::make_shared<Seeds>();
}

std::shared_ptr<void> SeedFolderAsFile(ActionSession& session) {
    std::filesystem::create_directories(std::filesystem::path(Expand(L"%CASE%")));
    std::ofstream(std::filesystem::path(Expand(L"%CASE%\\CA"))) << "x";
    return SeedWrongTypes(session);
}

// A value of cch characters: a path in the case folder, then the text repeated.
std::wstring Filled(size_t cch, const std::wstring& strText) {
    std::wstring strValue = Expand(L"%CASE%\\");
    while (strValue.size() < cch) {
        strValue += strText;
    }
    strValue.resize(cch);
    return strValue;
}

PropertyRows AllProperties(const std::wstring& strValue) {
    PropertyRows rows;
    for (const wchar_t* szName :
         {L"INSTALLDIR", L"DisplayWidth", L"DisplayHeight", L"DisplayBpp", L"DisplayFreq",
          L"LAUNCHED_FROM_VLM", L"LAUNCHED_FROM_CLIENT", L"DISABLEANALYTICS", L"REMOVE"}) {
        rows.emplace_back(szName, strValue);
    }
    return rows;
}

// These parse "CustomActionData" records, and a record too short to hold a key
// raises the string class's out-of-range error through the export, ending the
// process: packages rely on the installer failing such a step, so the sweep does
// not hand them a short record (their own cases show it).
bool RaisesOnShortRecord(const std::string& strExport) {
    return strExport == "DeleteServiceIfBinaryIsInDirectory" ||
           strExport == "CreateTriggerlessElevatedScheduleTask";
}

std::vector<Case> SweepCases() {
    struct Input {
        const char* szName;
        std::wstring strValue; // every property, row and the "CustomActionData"
        bool fFolderIsFile = false;
    };
    const std::wstring strRecords = L"ServiceName=;ServiceName=x;TaskName=;Username=;"
                                    L"CommandToLaunch=;DirectoryOfBinary=;=;;TaskName";
    const Input inputs[] = {
        {"nothing defined", L""},
        {"261 characters", Filled(261, L"x")},
        {"4000 characters with separators, quotes and non-BMP text",
         Filled(4000, L"a=b;c\"d\U0001F600 ")},
        {"records with duplicated, missing and empty keys", strRecords},
        // The file is the place named, not a canary: whether it goes is the action's affair.
        {"a folder that is a file", Expand(L"%CASE%\\CA\\"), true},
    };
    std::vector<Case> cases;
    for (const std::string& strExport : Exports()) {
        for (const Input& input : inputs) {
            if (input.strValue.size() < 64 && RaisesOnShortRecord(strExport)) {
                continue;
            }
            Case c{.szName = input.szName};
            c.before = kCanaries;
            if (!input.strValue.empty()) {
                c.properties = AllProperties(input.strValue);
                c.orx = PropertyRows{{L"ORX_PID", input.strValue},
                                     {L"PNVersion", input.strValue},
                                     {L"DriverVersion", input.strValue}};
                c.data = input.strValue;
            }
            c.arrange = input.fFolderIsFile ? SeedFolderAsFile : SeedWrongTypes;
            c.fSurvivalOnly = true;
            c.szAction = strExport.c_str();
            cases.push_back(std::move(c));
        }
    }
    return cases;
}

const int kSweep = Register(SweepCases());

} // namespace
