// The package registry cleanup actions, called through the built DLL in a real
// session, against keys arranged in both registry views and folders on disk.
#include "tests/support/registry_support.h"
#include "tests/support/session_support.h"
#include "tests/support/standin_support.h"
#include "tests/support/folder_support.h"

#include <shellapi.h>
#include <shlobj.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>

using Lines = std::vector<std::wstring>;
namespace fs = std::filesystem;

namespace {

const HKEY kHklm = HKEY_LOCAL_MACHINE;
const HKEY kHkcu = HKEY_CURRENT_USER;
const std::wstring kOrx = L"SOFTWARE\\ORX Technologies";
const std::wstring kInstall = kOrx + L"\\Install";
const std::wstring kPackages = kInstall + L"\\Packages";
const std::wstring kOrxKey = L"SOFTWARE\\ORX";
const std::wstring kQvx = L"SOFTWARE\\QVX";
const std::wstring kPn = kQvx + L"\\PN";
const std::wstring kPyra = kQvx + L"\\Pyra";
const std::wstring kUninstall = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall";
const std::wstring kLegacyEntry = kUninstall + L"\\All ORX Software";
const std::wstring kVlmEntry = kUninstall + L"\\QVX Velium Install Manager";
const std::wstring kPid = L"W-05-000U-000-003-002-001-00-07";
const std::wstring kOtherPid = L"W-05-000U-000-003-002-001-00-08";

std::wstring PackageKey(const std::wstring& strPid) {
    return kPackages + L"\\" + strPid;
}

constexpr int kN = 1;  // the native view
constexpr int kW = 2;  // the 32-bit view
constexpr int kNW = 3; // both

bool InViews(int iViews, View view) {
    return (iViews & (view == View::Native ? kN : kW)) != 0;
}

// A key, or with szValue a string value of that name in it, in some views.
struct Item {
    int iViews;
    std::wstring strPath;
    const wchar_t* szValue = nullptr;
    HKEY hRoot = HKEY_LOCAL_MACHINE;
};

Item Key(int iViews, const std::wstring& strPath, HKEY hRoot = kHklm) {
    return {iViews, strPath, nullptr, hRoot};
}

Item Value(int iViews, const std::wstring& strPath, const wchar_t* szName, HKEY hRoot = kHklm) {
    return {iViews, strPath, szName, hRoot};
}

void Arrange(const std::vector<Item>& items) {
    for (const Item& item : items) {
        for (View view : kBothViews) {
            if (InViews(item.iViews, view) && item.szValue != nullptr) {
                SetString(item.hRoot, view, item.strPath, item.szValue, L"x");
            } else if (InViews(item.iViews, view)) {
                CreateKey(item.hRoot, view, item.strPath);
            }
        }
    }
}

// Every item of gone is missing in its views; all else arranged is still there.
void ExpectOutcome(const std::vector<Item>& arranged, const std::vector<Item>& gone) {
    auto exists = [](const Item& item, View view) {
        return item.szValue != nullptr ? ValueExists(item.hRoot, view, item.strPath, item.szValue)
                                       : KeyExists(item.hRoot, view, item.strPath);
    };
    for (View view : kBothViews) {
        for (const Item& item : gone) {
            EXPECT_FALSE(InViews(item.iViews, view) && exists(item, view))
                << ViewName(view) << " " << item.strPath;
        }
        for (const Item& item : arranged) {
            // Taken: the same value, or the key itself or a key or value below it.
            const bool fTaken = std::any_of(gone.begin(), gone.end(), [&](const Item& removed) {
                return InViews(removed.iViews, view) && removed.hRoot == item.hRoot &&
                       (removed.szValue != nullptr
                            ? item.szValue != nullptr && item.strPath == removed.strPath &&
                                  std::wstring_view(item.szValue) == removed.szValue
                            : (item.strPath + L"\\").starts_with(removed.strPath + L"\\"));
            });
            EXPECT_TRUE(!InViews(item.iViews, view) || fTaken || exists(item, view))
                << ViewName(view) << " " << item.strPath;
        }
    }
}

struct ActionCase {
    const char* szAction;
    const char* szCase;
    std::optional<std::wstring> strData; // "CustomActionData", when defined
    std::vector<Item> arranged;
    UINT uReturn;
    Lines lines;
    std::vector<Item> gone; // all else arranged must stay
};

// Each case afresh: arranges its keys, calls its action in a new session and
// checks the return, the lines logged and what is left.
void RunCases(const std::vector<ActionCase>& cases) {
    for (const ActionCase& c : cases) {
        SCOPED_TRACE(std::string(c.szAction) + ": " + c.szCase);
        RegistryScope hklm(kHklm, {kOrx, kOrxKey, kOrxKey + L"Sibling", kQvx, kLegacyEntry,
                                   kLegacyEntry + L" 2", kVlmEntry, kVlmEntry + L" 2"});
        RegistryScope hkcu(kHkcu, {kQvx});
        Arrange(c.arranged);
        ActionSession session(c.strData ? WithProperties({{L"CustomActionData", *c.strData}})
                                        : PackageContents{});
        EXPECT_EQ(c.uReturn, session.Call(c.szAction));
        EXPECT_EQ(c.lines, session.Lines());
        ExpectOutcome(c.arranged, c.gone);
    }
}

const wchar_t kHasSubKeys[] =
    L"Varen key has sub keys and is not empty thus it will not be deleted ";
const wchar_t kNotEmpty[] = L"Varen key is not empty thus it will not be deleted ";
const wchar_t kDeleted[] = L"key deleted successfully ";

// What CleanRegistry logs for strPid: its own line, DeletePackageKey's two (and
// the brand-key line when the user's "SOFTWARE\QVX" exists), its step line, and
// DeleteVarenRegKey's lines on Packages and Install.
Lines CleanLines(const std::wstring& strPid, bool fBrandKey, const wchar_t* szPackages,
                 const wchar_t* szInstall) {
    const std::wstring strPath = PackageKey(strPid) + L"\\";
    Lines lines = {L"Varen_CA DeleteVLMRegKey: PID=" + strPid + L"\n",
                   L"Varen_CA DeletePackageKey(), Key to delete is " + strPath + L" \n",
                   L"Varen_CA DeletePackageKey(), " + strPath + L" key should be deleted \n"};
    if (fBrandKey) {
        lines.push_back(L"Varen_CA DeletePackageKey(), SOFTWARE\\QVX\\ Attempted to delete key \n");
    }
    lines.push_back(L"Varen_CA CleanVarenRegKeys(), VLM Package key deleted, will now attempt the "
                    L"Varen (Package) key\n");
    lines.push_back(L"Varen_CA DeleteVarenRegKey(), " + (szPackages + kPackages) + L"\\ \n");
    lines.push_back(L"Varen_CA DeleteVarenRegKey(), " + (szInstall + kInstall) + L"\\ \n");
    return lines;
}

} // namespace

TEST(CleanRegistry, RemovesThePackageThenPackagesAndInstallOnceNothingIsLeftUnderThem) {
    const std::wstring str260 = kPid + std::wstring(260 - kPid.size(), L'x'); // no room for NUL
    const std::wstring str259(259, L'p');
    RunCases({
        ActionCase("CleanRegistry", "another package in the 32-bit view keeps Packages", kPid,
                   {Value(kNW, PackageKey(kPid) + L"\\Sub", L"x"), Key(kNW, kPackages),
                    Value(kW, PackageKey(kOtherPid), L"iPackageLevel"),
                    Value(kN, kQvx, L"UninstallMode", kHkcu), Value(kN, kQvx, L" ", kHkcu)},
                   0, CleanLines(kPid, true, kHasSubKeys, kHasSubKeys),
                   {Key(kNW, PackageKey(kPid)), Value(kN, kQvx, L"UninstallMode", kHkcu)}),
        ActionCase(
            "CleanRegistry", "the last package takes Packages and Install", kPid,
            {Value(kNW, PackageKey(kPid), L"iPackageLevel"), Key(kNW, kOrx + L"\\InstallSibling")},
            0, CleanLines(kPid, false, kDeleted, kDeleted), {Key(kNW, kInstall)}),
        ActionCase("CleanRegistry", "a 32-bit value keeps Install", kPid,
                   {Key(kN, PackageKey(kPid)), Value(kW, kInstall, L"InstallDir")}, 0,
                   CleanLines(kPid, false, kDeleted, kNotEmpty), {Key(kN, kPackages)}),
        ActionCase("CleanRegistry", "260 characters cannot be read: 1627, nothing done", str260,
                   {Key(kN, PackageKey(kPid)), Key(kN, PackageKey(str260.substr(0, 255))),
                    Value(kN, kQvx, L"UninstallMode", kHkcu)},
                   1627, {}, {}),
        ActionCase("CleanRegistry", "undefined: the path would name Packages, nothing goes",
                   std::nullopt, {Key(kNW, PackageKey(kOtherPid))}, 0,
                   CleanLines(L"", false, kHasSubKeys, kHasSubKeys), {}),
        ActionCase("CleanRegistry", "259 characters name no key", str259,
                   {Key(kNW, PackageKey(kOtherPid))}, 0,
                   CleanLines(str259, false, kHasSubKeys, kHasSubKeys), {}),
    });
}

namespace {

const std::vector<Item> kLegacyItems = {Value(kNW, kLegacyEntry + L"\\Sub", L"v"),
                                        Key(kNW, kLegacyEntry + L" 2")};
const std::vector<Item> kVlmItems = {Value(kNW, kVlmEntry + L"\\Sub", L"v"),
                                     Value(kNW, kVlmEntry, L"DisplayName"),
                                     Key(kNW, kVlmEntry + L" 2")};
const wchar_t kCleanedFiles[] = L"VAREN_CA RemoveLegacyUninstall cleaned files \n";
const wchar_t kCleanedKeys[] = L"VAREN_CA RemoveLegacyUninstall cleaned registry keys \n";

} // namespace

TEST(PackageCleanup, EachActionRemovesItsKeysOnly) {
    const wchar_t* const szA4 = L"VAREN_CA: SearchA4RegKey  \n";
    const auto none = std::nullopt;
    RunCases({
        ActionCase("ClearInstallRegValues", "values go, not sub-keys, blank or default", none,
                   {Value(kNW, kInstall, L"InstallDir"), Value(kNW, kInstall, L"Level"),
                    Value(kNW, kInstall, L" "), Value(kNW, kInstall, L""),
                    Value(kNW, PackageKey(kPid), L"iPackageLevel"), Value(kNW, kOrx, L"Sibling")},
                   1, {}, {Value(kNW, kInstall, L"InstallDir"), Value(kNW, kInstall, L"Level")}),
        ActionCase("ClearInstallRegValues", "no install key: none is made", none, {}, 1, {},
                   {Key(kNW, kOrx)}),
        // Its path names "SOFTWARE\ORX\A4", but all of "SOFTWARE\ORX" goes.
        ActionCase("DeleteA4Registry", "all of ORX in both views", none,
                   {Key(kNW, kOrxKey + L"\\A4\\Sub"), Key(kNW, kOrxKey + L"\\NotA4"),
                    Value(kNW, kOrxKey, L"Value"), Key(kW, kOrxKey + L"\\Only32\\Deep\\Deeper"),
                    Key(kNW, kOrxKey + L"Sibling"), Key(kNW, kInstall)},
                   1, {szA4}, {Key(kNW, kOrxKey)}),
        ActionCase("DeleteA4Registry", "ORX only in the 32-bit view", none,
                   {Key(kW, kOrxKey + L"\\Other"), Key(kN, kOrxKey + L"Sibling")}, 1, {szA4},
                   {Key(kW, kOrxKey)}),
        ActionCase("DeleteA4Registry", "no ORX at all", none, {}, 1, {szA4}, {}),
        ActionCase("DeleteORXKey", "the ORX tree in the 32-bit view only", none,
                   {Key(kNW, kOrxKey + L"\\A4\\Sub"), Value(kNW, kOrxKey + L"\\B", L"v"),
                    Key(kNW, kOrxKey + L"Sibling")},
                   0, {}, {Key(kW, kOrxKey)}),
        ActionCase("DeleteORXKey", "already gone", none, {}, 0, {}, {}),
        ActionCase("DeletePNKEY", "PN in both views", none,
                   {Value(kNW, kPn, L"PNBrandingInstallDir"), Key(kNW, kPn + L"\\Sub\\Deeper"),
                    Key(kNW, kPn + L"X"), Value(kNW, kQvx, L"PN")},
                   0, {}, {Key(kNW, kPn)}),
        ActionCase("DeletePyraRegistry", "for the machine and the user", none,
                   {Value(kNW, kPyra + L"\\Sub", L"v"), Key(kNW, kPyra + L"Sibling"),
                    Value(kNW, kPyra + L"\\Sub", L"v", kHkcu), Key(kNW, kPyra + L"Sibling", kHkcu)},
                   1, {L"VAREN_CA: SearchHalvoRegKey  \n"},
                   {Key(kNW, kPyra), Key(kNW, kPyra, kHkcu)}),
        ActionCase("RmLegacyUninstall", "no legacy folder", none, kLegacyItems, 0,
                   {kCleanedFiles, kCleanedKeys}, {Key(kNW, kLegacyEntry)}),
        // Called first in a freshly loaded module, it logs through no session.
        ActionCase("RemoveVLMEntry", "the entry goes, its lines are lost", none, kVlmItems, 1, {},
                   {Key(kNW, kVlmEntry)}),
    });
}

namespace {

// While it lives, Varen_CA.dll's key deletions are recorded, in order, as
// "<root> <view> <path>" ("HKLM 32 SOFTWARE\X" for RegDeleteKeyExW with
// KEY_WOW64_32KEY, "HKLM native SOFTWARE\X" for RegDeleteKeyW), then done
// through this program's own imports.
class DeleteRecorder {
  public:
    DeleteRecorder() { s_calls.clear(); }
    static const Lines& Calls() { return s_calls; }

  private:
    static std::wstring Root(HKEY hRoot) {
        return hRoot == kHklm ? L"HKLM" : hRoot == kHkcu ? L"HKCU" : L"other";
    }
    static LSTATUS WINAPI DeleteEx(HKEY hRoot, LPCWSTR szPath, REGSAM samView, DWORD dwReserved) {
        s_calls.push_back(Root(hRoot) + (samView == KEY_WOW64_32KEY ? L" 32 " : L" other ") +
                          szPath);
        return RegDeleteKeyExW(hRoot, szPath, samView, dwReserved);
    }
    static LSTATUS WINAPI Delete(HKEY hRoot, LPCWSTR szPath) {
        s_calls.push_back(Root(hRoot) + L" native " + szPath);
        return RegDeleteKeyW(hRoot, szPath);
    }
    ImportPatch m_deleteEx{GetModuleHandleW(L"Varen_CA.dll"), "advapi32.dll", "RegDeleteKeyExW",
                           reinterpret_cast<void*>(&DeleteEx)};
    ImportPatch m_delete{GetModuleHandleW(L"Varen_CA.dll"), "advapi32.dll", "RegDeleteKeyW",
                         reinterpret_cast<void*>(&Delete)};
    static inline Lines s_calls;
};

} // namespace

// With nothing there, one deletion per view shows the order: 32-bit view first.
TEST(PackageCleanup, BothViewRemovalsDoThe32BitViewFirst) {
    RegistryScope hklm(kHklm, {kPyra, kPn});
    RegistryScope hkcu(kHkcu, {kPyra});
    ActionSession session;
    {
        DeleteRecorder recorder;
        EXPECT_EQ(1u, session.Call("DeletePyraRegistry"));
        EXPECT_EQ((Lines{L"HKLM 32 SOFTWARE\\QVX\\Pyra", L"HKLM native SOFTWARE\\QVX\\Pyra",
                         L"HKCU 32 SOFTWARE\\QVX\\Pyra", L"HKCU native SOFTWARE\\QVX\\Pyra"}),
                  DeleteRecorder::Calls());
    }
    DeleteRecorder recorder;
    EXPECT_EQ(0u, session.Call("DeletePNKEY"));
    EXPECT_EQ((Lines{L"HKLM 32 SOFTWARE\\QVX\\PN", L"HKLM native SOFTWARE\\QVX\\PN"}),
              DeleteRecorder::Calls());
}

// The actions that do not store their handle log through the one an earlier
// action stored, and the silent ones leave it as it was, whatever handle they get.
TEST(PackageCleanup, ActionsThatDoNotStoreTheirHandleUseTheStoredOne) {
    RegistryScope hklm(
        kHklm, {kVlmEntry, kVlmEntry + L" 2", kOrxKey, kOrx, kQvx, L"SOFTWARE\\QVXBranding"});
    Arrange(kVlmItems);
    ActionSession session;
    EXPECT_EQ(1u, session.Call("DeleteA4Registry"));
    session.ClearLines();
    for (const char* szAction : {"ClearInstallRegValues", "DeleteORXKey", "DeletePNKEY",
                                 "DeleteandRetainValues", "RemoveARPEntries"}) {
        session.CallWith(szAction, 0);
    }
    EXPECT_EQ(Lines{}, session.Lines());
    EXPECT_EQ(1u, session.CallWith("RemoveVLMEntry", 0));
    EXPECT_EQ((Lines{L"Varen_CA DeletePackageKey(), Key to delete is "
                     L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\QVX Velium Install "
                     L"Manager\\\\ \n",
                     L"Varen_CA DeletePackageKey(), SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\"
                     L"Uninstall\\QVX Velium Install Manager\\\\ key should be deleted \n"}),
              session.Lines());
    // An action that stores its handle, called with another, leaves that one.
    session.ClearLines();
    EXPECT_EQ(1u, session.CallWith("DeletePyraRegistry", 0));
    EXPECT_EQ(1u, session.Call("RemoveVLMEntry"));
    EXPECT_EQ(Lines{}, session.Lines());
}

namespace {

// cbData bytes of strData, as a value of type dwType.
struct Raw {
    DWORD dwType;
    std::wstring strData;
    DWORD cbData;
};

Raw Dword(DWORD dwData) {
    return {REG_DWORD, {wchar_t(dwData & 0xFFFF), wchar_t(dwData >> 16)}, sizeof(DWORD)};
}

Raw Sz(const std::wstring& strText) {
    return {REG_SZ, strText, DWORD((strText.size() + 1) * sizeof(wchar_t))};
}

std::wstring Pid(int iPackage) {
    return L"W-01-0000-000-000-000-001-00-" + std::to_wstring(100 + iPackage).substr(1);
}

std::wstring Code(int iPackage) {
    return L"{00000000-0000-0000-0000-0000000000" + std::to_wstring(100 + iPackage).substr(1) +
           L"}";
}

struct ArpPackage {
    std::wstring strPid;
    std::optional<Raw> level;       // "iPackageLevel"
    std::optional<Raw> productCode; // "ProductGUID"
    std::wstring strEntry;          // its uninstall entry, with a "DisplayName"
    int iEntryViews;
    int iHiddenViews; // where RemoveARPEntries must hide that entry
    int iPackageViews = kN;
};

std::wstring EntryKey(const ArpPackage& package) {
    return kUninstall + L"\\" + package.strEntry;
}

void SetIfGiven(View view, const std::wstring& strKey, const wchar_t* szName,
                const std::optional<Raw>& value) {
    if (value) {
        SetRaw(kHklm, view, strKey, szName, value->dwType, value->strData.c_str(), value->cbData);
    }
}

// Removes the entries (and a SystemComponent value on the Uninstall key itself).
void ClearEntries(const std::vector<ArpPackage>& packages) {
    for (View view : kBothViews) {
        for (const ArpPackage& package : packages) {
            if (!package.strEntry.empty()) {
                DeleteTree(kHklm, view, EntryKey(package));
            }
        }
        HKEY hKey = nullptr;
        if (RegOpenKeyExW(kHklm, kUninstall.c_str(), 0, KEY_SET_VALUE | ViewFlag(view), &hKey) ==
            ERROR_SUCCESS) {
            RegDeleteValueW(hKey, L"SystemComponent");
            RegCloseKey(hKey);
        }
    }
}

// Arranges the packages under one "Packages" key, calls RemoveARPEntries and
// checks which entries it hides (SystemComponent = 1) and which it leaves alone.
void ExpectHiddenEntries(const std::vector<ArpPackage>& packages) {
    RegistryScope hklm(kHklm, {kOrx});
    ClearEntries(packages);
    for (const ArpPackage& package : packages) {
        const std::wstring strKey = PackageKey(package.strPid);
        for (View view : kBothViews) {
            if (InViews(package.iPackageViews, view)) {
                CreateKey(kHklm, view, strKey);
                SetIfGiven(view, strKey, L"iPackageLevel", package.level);
                SetIfGiven(view, strKey, L"ProductGUID", package.productCode);
            }
            if (InViews(package.iEntryViews, view)) {
                SetString(kHklm, view, EntryKey(package), L"DisplayName", L"x");
            }
        }
    }
    ActionSession session;
    EXPECT_EQ(1u, session.Call("RemoveARPEntries"));
    EXPECT_EQ(Lines{}, session.Lines());
    for (const ArpPackage& package : packages) {
        for (View view : kBothViews) {
            if (InViews(package.iEntryViews, view)) {
                EXPECT_EQ(InViews(package.iHiddenViews, view) ? std::optional<DWORD>(1)
                                                              : std::nullopt,
                          ReadDword(kHklm, view, EntryKey(package), L"SystemComponent"))
                    << package.strPid << " " << ViewName(view);
                EXPECT_EQ(L"x", ReadString(kHklm, view, EntryKey(package), L"DisplayName"));
            }
        }
    }
    EXPECT_FALSE(ValueExists(kHklm, View::Native, kUninstall, L"SystemComponent"));
    ClearEntries(packages);
}

} // namespace

// Level 2, the three excepted packages (matched exactly), unreadable values and
// product codes that are no single key name leave their entries visible; one
// bad package does not stop the others.
TEST(RemoveARPEntries, HidesTheEntriesOfInstalledPackagesExceptLevelTwoAndTheExceptedOnes) {
    const std::wstring strLong(130, L'G'); // 262 bytes with its terminator: more than the 260 read
    const std::wstring strFits(129, L'F'); // 260 bytes exactly
    ExpectHiddenEntries({
        ArpPackage(Pid(1), Dword(1), Sz(Code(1)), Code(1), kN, kN),
        ArpPackage(Pid(2), Dword(2), Sz(Code(2)), Code(2), kN, 0),
        ArpPackage(L"W-05-000U-000-003-002-001-00-00", Dword(1), Sz(Code(3)), Code(3), kN, 0),
        ArpPackage(L"W-05-000U-000-003-002-001-00-000", Dword(1), Sz(Code(4)), Code(4), kN, kN),
        ArpPackage(Pid(5), Dword(0), Sz(Code(5)), Code(5), kW, kW),  // only a 32-bit entry
        ArpPackage(Pid(6), Dword(3), Sz(Code(6)), Code(6), kNW, kN), // the native one first
        ArpPackage(Pid(7), std::nullopt, Sz(Code(7)), Code(7), kN, 0),
        ArpPackage(Pid(8), Dword(1), std::nullopt, Code(8), kN, 0),
        ArpPackage(Pid(9), Dword(1), Sz(Code(9)), Code(9), kN, 0, kW), // listed in 32-bit view only
        ArpPackage(Pid(10), Sz(L"2"), Sz(Code(10)), Code(10), kN, 0),  // a REG_SZ level
        ArpPackage(Pid(11), Raw{REG_DWORD, L"\x0001", 2}, Sz(Code(11)), Code(11), kN, 0),
        ArpPackage(Pid(12), Dword(1), Sz(strLong), strLong, kN, 0),
        ArpPackage(Pid(13), Dword(1), Sz(strLong), strLong.substr(0, 129), kN, 0),
        ArpPackage(Pid(14), Dword(1), Dword(0x00410041), L"AA", kN, 0), // "AA" if read as text
        ArpPackage(Pid(15), Dword(1), Sz(L""), L"", 0, 0), // would name Uninstall itself
        // 38 characters stored without their terminator (no NUL follows for Wine to add).
        ArpPackage(Pid(16), Dword(1), Raw{REG_SZ, Code(16) + L"zz", 76}, Code(16), kN, kN),
        ArpPackage(Pid(17), Dword(1), Sz(strFits), strFits, kN, kN),
        ArpPackage(Pid(18), Dword(1), Sz(Code(18)), Code(18), kN, kN),
    });
}

// The packages are listed from the native view only: a "Packages" key that
// exists only in the 32-bit view is not opened, whatever it holds.
TEST(RemoveARPEntries, NoNativePackagesKeyHidesNothing) {
    ExpectHiddenEntries({ArpPackage(Pid(1), Dword(1), Sz(Code(1)), Code(1), kNW, 0, kW)});
}

namespace {

std::string PercentDecoded(std::string strText) {
    for (size_t i = strText.find('%'); i != std::string::npos && i + 2 < strText.size();
         i = strText.find('%', i + 1)) {
        strText.replace(i, 3, 1,
                        static_cast<char>(std::stoi(strText.substr(i + 1, 2), nullptr, 16)));
    }
    return strText;
}

// The items of the (shared) trash that came from strFromDriveC ("/" separators,
// no "C:/") of this prefix, as their .trashinfo "Path=" names it through
// dosdevices or drive_c; each is taken out of the trash when the guard ends.
class TrashedFrom {
  public:
    explicit TrashedFrom(const std::string& strFromDriveC) {
        const std::string strPrefix = std::getenv("WINEPREFIX") ? std::getenv("WINEPREFIX") : "?";
        m_unixPaths = {strPrefix + "/dosdevices/c:/" + strFromDriveC,
                       strPrefix + "/drive_c/" + strFromDriveC};
        Clear();
    }
    ~TrashedFrom() { Clear(); }
    // How many such items there are that hold "sub\file.txt".
    int Count() const {
        const std::vector<fs::path> items = Items();
        return static_cast<int>(std::count_if(items.begin(), items.end(), [](const fs::path& item) {
            return fs::exists(TrashFolder() / L"files" / item / L"sub" / L"file.txt");
        }));
    }

  private:
    std::vector<fs::path> Items() const {
        std::vector<fs::path> items;
        std::error_code error;
        for (fs::directory_iterator it(TrashFolder() / L"info", error), end; !error && it != end;
             it.increment(error)) {
            std::ifstream info(it->path());
            for (std::string strLine; std::getline(info, strLine);) {
                if (strLine.starts_with("Path=") &&
                    std::find(m_unixPaths.begin(), m_unixPaths.end(),
                              PercentDecoded(strLine.substr(5))) != m_unixPaths.end()) {
                    items.push_back(it->path().stem());
                }
            }
        }
        return items;
    }
    void Clear() const {
        for (const fs::path& item : Items()) {
            std::error_code error;
            fs::remove_all(TrashFolder() / L"files" / item, error);
            fs::remove(TrashFolder() / L"info" / (item.wstring() + L".trashinfo"), error);
        }
    }
    std::vector<std::string> m_unixPaths;
};

fs::path OrxFolder() {
    return fs::path(KnownFolder(CSIDL_PROGRAM_FILESX86)) / L"ORX Technologies";
}

} // namespace

// The folder goes to the Recycle Bin. A folder the shell cannot remove fails the
// files step; without a 32-bit program files folder (the shell answers "not
// found") there is no legacy folder and the step succeeds. Either way the
// entry goes from both views and the action returns 0.
TEST(RmLegacyUninstall, RemovesTheFolderToTheRecycleBinAndTheEntryInBothViews) {
    ASSERT_EQ(L"C:\\Program Files (x86)", KnownFolder(CSIDL_PROGRAM_FILESX86));
    using FileOperation = int(WINAPI*)(LPSHFILEOPSTRUCTW);
    using GetFolderPath = HRESULT(WINAPI*)(HWND, int, HANDLE, DWORD, LPWSTR);
    const FileOperation pfnDenied = [](LPSHFILEOPSTRUCTW) -> int { return 0x78; };
    const GetFolderPath pfnNotFound = [](HWND, int, HANDLE, DWORD, LPWSTR szPath) -> HRESULT {
        szPath[0] = L'\0';
        return HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND);
    };
    const struct {
        const char* szFunction; // patched in Varen_CA.dll, when given
        void* pReplacement;
        Lines lines;
    } kCases[] = {
        {nullptr,
         nullptr,
         {L"Varen_CA CleanUninstallerFiles folder deleted\n", kCleanedFiles, kCleanedKeys}},
        {"SHFileOperationW",
         reinterpret_cast<void*>(pfnDenied),
         {L"VAREN_CA RemoveLegacyUninstall failed to clean files \n", kCleanedKeys}},
        {"SHGetFolderPathW", reinterpret_cast<void*>(pfnNotFound), {kCleanedFiles, kCleanedKeys}}};
    const fs::path legacy = OrxFolder() / L"UninstallAll";
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.szFunction ? c.szFunction : "no patch");
        TrashedFrom trashed("Program Files (x86)/ORX Technologies/UninstallAll");
        RegistryScope hklm(kHklm, {kLegacyEntry, kLegacyEntry + L" 2"});
        fs::create_directories(legacy / L"sub");
        std::ofstream(legacy / L"sub" / L"file.txt") << "x";
        fs::create_directories(OrxFolder() / L"Keep");
        Arrange(kLegacyItems);
        ActionSession session;
        std::optional<ImportPatch> patch;
        if (c.szFunction != nullptr) {
            patch.emplace(GetModuleHandleW(L"Varen_CA.dll"), "shell32.dll", c.szFunction,
                          c.pReplacement);
        }
        EXPECT_EQ(0u, session.Call("RmLegacyUninstall"));
        EXPECT_EQ(c.lines, session.Lines());
        EXPECT_EQ(c.szFunction != nullptr, fs::exists(legacy / L"sub" / L"file.txt"));
        EXPECT_EQ(c.szFunction != nullptr ? 0 : 1, trashed.Count()) << TrashFolder();
        EXPECT_TRUE(fs::exists(OrxFolder() / L"Keep"));
        ExpectOutcome(kLegacyItems, {Key(kNW, kLegacyEntry)});
        std::error_code error;
        fs::remove_all(OrxFolder(), error);
    }
}

namespace {

// The settings application's branding folder, with files and folders, and a
// file beside it that no removal may touch; its path is cchPath characters long
// when that is given.
class BrandingFolder {
  public:
    explicit BrandingFolder(size_t cchPath = 0)
        : m_path(TestTempFolder() + L"varen_brand_" + NewGuid().substr(1, 8)) {
        m_path += std::wstring(cchPath - std::min(cchPath, m_path.wstring().size()), L'p');
        for (const wchar_t* szFolder : {L"Skins", L"OldSkins", L"Fonts", L"Kept"}) {
            fs::create_directories(m_path / szFolder / L"inner");
            std::ofstream(m_path / szFolder / L"inner" / L"f.txt") << "x";
        }
        for (const fs::path& file : {m_path / L"logo.png", m_path / L"keep.png", m_path / L"noext",
                                     fs::path(Path() + L"_beside.txt")}) {
            std::ofstream(file) << "x";
        }
    }
    ~BrandingFolder() {
        std::error_code error;
        fs::remove_all(m_path, error);
        fs::remove(Path() + L"_beside.txt", error);
    }
    std::wstring Path() const { return m_path.wstring(); }

    // Calls DeleteandRetainValues: it returns 0, logs nothing, leaves the named
    // entries (sorted) and never touches the file beside the folder.
    void ExpectLeftAfterCall(ActionSession& session, const Lines& left) const {
        EXPECT_EQ(0u, session.Call("DeleteandRetainValues"));
        EXPECT_EQ(Lines{}, session.Lines());
        Lines names;
        for (const auto& entry : fs::directory_iterator(m_path)) {
            names.push_back(entry.path().filename().wstring());
        }
        std::sort(names.begin(), names.end());
        EXPECT_EQ(left, names);
        EXPECT_TRUE(fs::exists(Path() + L"_beside.txt"));
    }

  private:
    fs::path m_path;
};

const std::wstring kBrandingKey = L"SOFTWARE\\QVXBranding";
const Lines kAllEntries = {L"Fonts",    L"Kept",     L"OldSkins", L"Skins",
                           L"keep.png", L"logo.png", L"noext"};

} // namespace

TEST(DeleteandRetainValues, KeepsWhatTheBrandingKeyNames) {
    RegistryScope hklm(kHklm, {kQvx, kBrandingKey});
    BrandingFolder folder;
    SetString(kHklm, View::Native, kPn, L"PNBrandingInstallDir", folder.Path());
    CreateKey(kHklm, View::Native, kBrandingKey + L"\\Skins");
    SetString(kHklm, View::Native, kBrandingKey, L"Logo", folder.Path() + L"\\keep.png");
    SetString(kHklm, View::Native, kBrandingKey, L"Folder", folder.Path() + L"\\Kept");
    SetString(kHklm, View::Native, kBrandingKey, L"Relative", L"logo.png"); // not the entry's form
    const std::wstring strFonts = folder.Path() + L"\\Fonts";
    SetRaw(kHklm, View::Native, kBrandingKey, L"NotSz", REG_EXPAND_SZ, strFonts.c_str(),
           static_cast<DWORD>((strFonts.size() + 1) * sizeof(wchar_t)));
    // The same item in the 32-bit view is not read.
    SetString(kHklm, View::Wow32, kBrandingKey, L"Noext", folder.Path() + L"\\noext");
    ActionSession session;
    folder.ExpectLeftAfterCall(session, {L"Kept", L"OldSkins", L"Skins", L"keep.png"});
}

// With a trailing backslash, and with a path of 129 characters: that and its
// terminator are the 260 bytes read.
TEST(DeleteandRetainValues, WithoutTheBrandingKeyEverythingGoesSkinsIncluded) {
    for (const auto& [cchPath, szEnd] : {std::pair<size_t, const wchar_t*>(0, L"\\"), {129, L""}}) {
        RegistryScope hklm(kHklm, {kQvx, kBrandingKey});
        BrandingFolder folder(cchPath);
        ASSERT_TRUE(cchPath == 0 || folder.Path().size() == cchPath);
        SetString(kHklm, View::Native, kPn, L"PNBrandingInstallDir", folder.Path() + szEnd);
        ActionSession session;
        folder.ExpectLeftAfterCall(session, {});
    }
}

TEST(DeleteandRetainValues, RetainedNamesLastAsLongAsTheModule) {
    RegistryScope hklm(kHklm, {kQvx, kBrandingKey});
    BrandingFolder folder;
    SetString(kHklm, View::Native, kPn, L"PNBrandingInstallDir", folder.Path());
    CreateKey(kHklm, View::Native, kBrandingKey + L"\\Skins");
    ActionSession session;
    folder.ExpectLeftAfterCall(session, {L"OldSkins", L"Skins"});
    // The key is gone, but the module still holds "Skins" from the first call.
    DeleteTree(kHklm, View::Native, kBrandingKey);
    folder.ExpectLeftAfterCall(session, {L"OldSkins", L"Skins"});
}

// No PN key; a REG_DWORD; a path of 130 characters (262 bytes with its
// terminator, more than the 260 read); the value only in the 32-bit view.
TEST(DeleteandRetainValues, UnreadableFolderValueDeletesNothing) {
    RegistryScope hklm(kHklm, {kQvx, kBrandingKey});
    BrandingFolder folder(130);
    ASSERT_EQ(130u, folder.Path().size());
    ActionSession session;
    folder.ExpectLeftAfterCall(session, kAllEntries);
    SetDword(kHklm, View::Native, kPn, L"PNBrandingInstallDir", 1);
    folder.ExpectLeftAfterCall(session, kAllEntries);
    SetString(kHklm, View::Native, kPn, L"PNBrandingInstallDir", folder.Path());
    folder.ExpectLeftAfterCall(session, kAllEntries);
    DeleteTree(kHklm, View::Native, kPn);
    SetString(kHklm, View::Wow32, kPn, L"PNBrandingInstallDir", folder.Path());
    folder.ExpectLeftAfterCall(session, kAllEntries);
}
