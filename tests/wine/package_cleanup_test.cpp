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
#include <filesystem>
#include <fstream>
#include <sstream>

using Lines = std::vector<std::wstring>;
namespace fs = std::filesystem;

namespace {

const std::wstring kOrx = L"SOFTWARE\\ORX Technologies";
const std::wstring kInstall = L"SOFTWARE\\ORX Technologies\\Install";
const std::wstring kPackages = L"SOFTWARE\\ORX Technologies\\Install\\Packages";
const std::wstring kUninstall = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall";
const std::wstring kPid = L"W-05-000U-000-003-002-001-00-07";
const std::wstring kOtherPid = L"W-05-000U-000-003-002-001-00-08";

std::wstring PackageKey(const std::wstring& strPid) {
    return kPackages + L"\\" + strPid;
}

// The lines DeletePackageKey logs for kPid, with the brand-key line when the
// user's "SOFTWARE\QVX" exists.
Lines PackageKeyLines(bool fBrandKey) {
    Lines lines = {
        L"Varen_CA DeletePackageKey(), Key to delete is SOFTWARE\\ORX Technologies\\Install\\"
        L"Packages\\W-05-000U-000-003-002-001-00-07\\ \n",
        L"Varen_CA DeletePackageKey(), SOFTWARE\\ORX Technologies\\Install\\Packages\\"
        L"W-05-000U-000-003-002-001-00-07\\ key should be deleted \n"};
    if (fBrandKey) {
        lines.push_back(L"Varen_CA DeletePackageKey(), SOFTWARE\\QVX\\ Attempted to delete key \n");
    }
    return lines;
}

Lines Concat(Lines first, const Lines& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

const std::wstring kPackagesHasSubKeys = L"Varen_CA DeleteVarenRegKey(), Varen key has sub keys "
                                         L"and is not empty thus it will not be deleted "
                                         L"SOFTWARE\\ORX Technologies\\Install\\Packages\\ \n";
const std::wstring kInstallHasSubKeys = L"Varen_CA DeleteVarenRegKey(), Varen key has sub keys and "
                                        L"is not empty thus it will not be deleted "
                                        L"SOFTWARE\\ORX Technologies\\Install\\ \n";
const std::wstring kCleanRegistryStep = L"Varen_CA CleanVarenRegKeys(), VLM Package key deleted, "
                                        L"will now attempt the Varen (Package) key\n";

PackageSpec WithCustomActionData(const std::wstring& strValue) {
    return WithProperties({{L"CustomActionData", strValue}});
}

} // namespace

TEST(CleanRegistry, RemovesThePackageAndKeepsPackagesWhileAnotherRemainsIn32BitView) {
    RegistryScope hklm(HKEY_LOCAL_MACHINE, {kOrx});
    RegistryScope hkcu(HKEY_CURRENT_USER, {L"SOFTWARE\\QVX"});
    for (View view : kBothViews) {
        SetDword(HKEY_LOCAL_MACHINE, view, PackageKey(kPid), L"iPackageLevel", 1);
        SetString(HKEY_LOCAL_MACHINE, view, PackageKey(kPid) + L"\\Sub", L"x", L"y");
    }
    SetDword(HKEY_LOCAL_MACHINE, View::Wow32, PackageKey(kOtherPid), L"iPackageLevel", 1);
    SetDword(HKEY_CURRENT_USER, View::Native, L"SOFTWARE\\QVX", L"UninstallMode", 3);
    SetString(HKEY_CURRENT_USER, View::Native, L"SOFTWARE\\QVX", L" ", L"kept");

    ActionSession session(WithCustomActionData(kPid));
    EXPECT_EQ(0u, session.Call("CleanRegistry"));
    EXPECT_EQ(Concat(Concat({L"Varen_CA DeleteVLMRegKey: PID=W-05-000U-000-003-002-001-00-07\n"},
                            PackageKeyLines(true)),
                     {kCleanRegistryStep, kPackagesHasSubKeys, kInstallHasSubKeys}),
              session.Lines());
    for (View view : kBothViews) {
        EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, view, PackageKey(kPid))) << ViewName(view);
        EXPECT_TRUE(KeyExists(HKEY_LOCAL_MACHINE, view, kPackages)) << ViewName(view);
    }
    EXPECT_TRUE(KeyExists(HKEY_LOCAL_MACHINE, View::Wow32, PackageKey(kOtherPid)));
    EXPECT_FALSE(ValueExists(HKEY_CURRENT_USER, View::Native, L"SOFTWARE\\QVX", L"UninstallMode"));
    EXPECT_EQ(L"kept", ReadString(HKEY_CURRENT_USER, View::Native, L"SOFTWARE\\QVX", L" "));
}

TEST(CleanRegistry, LastPackageTakesPackagesAndInstallFromBothViews) {
    RegistryScope hklm(HKEY_LOCAL_MACHINE, {kOrx});
    RegistryScope hkcu(HKEY_CURRENT_USER, {L"SOFTWARE\\QVX"});
    for (View view : kBothViews) {
        SetDword(HKEY_LOCAL_MACHINE, view, PackageKey(kPid), L"iPackageLevel", 1);
        CreateKey(HKEY_LOCAL_MACHINE, view, kOrx + L"\\InstallSibling");
    }
    ActionSession session(WithCustomActionData(kPid));
    EXPECT_EQ(0u, session.Call("CleanRegistry"));
    EXPECT_EQ(Concat(Concat({L"Varen_CA DeleteVLMRegKey: PID=W-05-000U-000-003-002-001-00-07\n"},
                            PackageKeyLines(false)),
                     {kCleanRegistryStep,
                      L"Varen_CA DeleteVarenRegKey(), key deleted successfully SOFTWARE\\ORX "
                      L"Technologies\\Install\\Packages\\ \n",
                      L"Varen_CA DeleteVarenRegKey(), key deleted successfully SOFTWARE\\ORX "
                      L"Technologies\\Install\\ \n"}),
              session.Lines());
    for (View view : kBothViews) {
        EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, view, kInstall)) << ViewName(view);
        EXPECT_TRUE(KeyExists(HKEY_LOCAL_MACHINE, view, kOrx + L"\\InstallSibling"))
            << ViewName(view);
    }
}

TEST(CleanRegistry, ValuesInEitherViewKeepPackagesOrInstall) {
    RegistryScope hklm(HKEY_LOCAL_MACHINE, {kOrx});
    RegistryScope hkcu(HKEY_CURRENT_USER, {L"SOFTWARE\\QVX"});
    CreateKey(HKEY_LOCAL_MACHINE, View::Native, PackageKey(kPid));
    SetString(HKEY_LOCAL_MACHINE, View::Wow32, kPackages, L"Stray", L"x");
    {
        ActionSession session(WithCustomActionData(kPid));
        EXPECT_EQ(0u, session.Call("CleanRegistry"));
        const Lines lines = session.Lines();
        ASSERT_EQ(6u, lines.size()) << JoinLines(lines);
        EXPECT_EQ(
            L"Varen_CA DeleteVarenRegKey(), Varen key is not empty thus it will not be deleted "
            L"SOFTWARE\\ORX Technologies\\Install\\Packages\\ \n",
            lines[4]);
        EXPECT_EQ(kInstallHasSubKeys, lines[5]);
        EXPECT_TRUE(ValueExists(HKEY_LOCAL_MACHINE, View::Wow32, kPackages, L"Stray"));
    }
    DeleteTree(HKEY_LOCAL_MACHINE, View::Wow32, kOrx);
    DeleteTree(HKEY_LOCAL_MACHINE, View::Native, kOrx);
    CreateKey(HKEY_LOCAL_MACHINE, View::Native, PackageKey(kPid));
    SetString(HKEY_LOCAL_MACHINE, View::Wow32, kInstall, L"InstallDir", L"C:\\ORX\\");
    {
        ActionSession session(WithCustomActionData(kPid));
        EXPECT_EQ(0u, session.Call("CleanRegistry"));
        const Lines lines = session.Lines();
        ASSERT_EQ(6u, lines.size()) << JoinLines(lines);
        EXPECT_EQ(L"Varen_CA DeleteVarenRegKey(), key deleted successfully SOFTWARE\\ORX "
                  L"Technologies\\Install\\Packages\\ \n",
                  lines[4]);
        EXPECT_EQ(
            L"Varen_CA DeleteVarenRegKey(), Varen key is not empty thus it will not be deleted "
            L"SOFTWARE\\ORX Technologies\\Install\\ \n",
            lines[5]);
        EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, View::Native, kPackages));
        EXPECT_EQ(L"C:\\ORX\\",
                  ReadString(HKEY_LOCAL_MACHINE, View::Wow32, kInstall, L"InstallDir"));
    }
}

TEST(CleanRegistry, OverlongCustomActionDataFailsWithNothingLoggedOrRemoved) {
    RegistryScope hklm(HKEY_LOCAL_MACHINE, {kOrx});
    RegistryScope hkcu(HKEY_CURRENT_USER, {L"SOFTWARE\\QVX"});
    const std::wstring strLong = kPid + std::wstring(260 - kPid.size(), L'x');
    CreateKey(HKEY_LOCAL_MACHINE, View::Native, PackageKey(kPid));
    CreateKey(HKEY_LOCAL_MACHINE, View::Native, PackageKey(strLong.substr(0, 255)));
    SetDword(HKEY_CURRENT_USER, View::Native, L"SOFTWARE\\QVX", L"UninstallMode", 3);
    ActionSession session(WithCustomActionData(strLong));
    EXPECT_EQ(1627u, session.Call("CleanRegistry"));
    EXPECT_EQ(Lines{}, session.Lines());
    EXPECT_TRUE(KeyExists(HKEY_LOCAL_MACHINE, View::Native, PackageKey(kPid)));
    EXPECT_TRUE(KeyExists(HKEY_LOCAL_MACHINE, View::Native, PackageKey(strLong.substr(0, 255))));
    EXPECT_TRUE(ValueExists(HKEY_CURRENT_USER, View::Native, L"SOFTWARE\\QVX", L"UninstallMode"));
}

TEST(CleanRegistry, EmptyOrLongIdentifierRemovesNoPackage) {
    RegistryScope hklm(HKEY_LOCAL_MACHINE, {kOrx});
    RegistryScope hkcu(HKEY_CURRENT_USER, {L"SOFTWARE\\QVX"});
    for (View view : kBothViews) {
        CreateKey(HKEY_LOCAL_MACHINE, view, PackageKey(kOtherPid));
    }
    {
        // Not defined: read as "" with success. The package path would name
        // "Packages" itself; nothing is removed.
        ActionSession session;
        EXPECT_EQ(0u, session.Call("CleanRegistry"));
        EXPECT_EQ((Lines{L"Varen_CA DeleteVLMRegKey: PID=\n",
                         L"Varen_CA DeletePackageKey(), Key to delete is SOFTWARE\\ORX "
                         L"Technologies\\Install\\Packages\\\\ \n",
                         L"Varen_CA DeletePackageKey(), SOFTWARE\\ORX "
                         L"Technologies\\Install\\Packages\\\\ key "
                         L"should be deleted \n",
                         kCleanRegistryStep, kPackagesHasSubKeys, kInstallHasSubKeys}),
                  session.Lines());
    }
    {
        // 259 characters: read, but no key name is that long.
        const std::wstring strLong(259, L'p');
        ActionSession session(WithCustomActionData(strLong));
        EXPECT_EQ(0u, session.Call("CleanRegistry"));
        EXPECT_EQ(6u, session.Lines().size()) << JoinLines(session.Lines());
        EXPECT_EQ(L"Varen_CA DeleteVLMRegKey: PID=" + strLong + L"\n", session.Lines().at(0));
    }
    for (View view : kBothViews) {
        EXPECT_TRUE(KeyExists(HKEY_LOCAL_MACHINE, view, PackageKey(kOtherPid))) << ViewName(view);
    }
}

TEST(ClearInstallRegValues, ClearsValuesInBothViewsAndKeepsSubKeys) {
    RegistryScope hklm(HKEY_LOCAL_MACHINE, {kOrx});
    for (View view : kBothViews) {
        SetString(HKEY_LOCAL_MACHINE, view, kInstall, L"InstallDir", L"C:\\ORX\\");
        SetDword(HKEY_LOCAL_MACHINE, view, kInstall, L"Level", 2);
        SetString(HKEY_LOCAL_MACHINE, view, kInstall, L" ", L"blank");
        SetString(HKEY_LOCAL_MACHINE, view, kInstall, L"", L"default");
        SetDword(HKEY_LOCAL_MACHINE, view, PackageKey(kPid), L"iPackageLevel", 1);
        SetString(HKEY_LOCAL_MACHINE, view, kOrx, L"Sibling", L"x");
    }
    ActionSession session;
    EXPECT_EQ(1u, session.Call("ClearInstallRegValues"));
    EXPECT_EQ(Lines{}, session.Lines());
    for (View view : kBothViews) {
        EXPECT_FALSE(ValueExists(HKEY_LOCAL_MACHINE, view, kInstall, L"InstallDir"))
            << ViewName(view);
        EXPECT_FALSE(ValueExists(HKEY_LOCAL_MACHINE, view, kInstall, L"Level")) << ViewName(view);
        EXPECT_EQ(L"blank", ReadString(HKEY_LOCAL_MACHINE, view, kInstall, L" ")) << ViewName(view);
        EXPECT_EQ(L"default", ReadString(HKEY_LOCAL_MACHINE, view, kInstall, L""))
            << ViewName(view);
        EXPECT_EQ(std::optional<DWORD>(1),
                  ReadDword(HKEY_LOCAL_MACHINE, view, PackageKey(kPid), L"iPackageLevel"))
            << ViewName(view);
        EXPECT_TRUE(ValueExists(HKEY_LOCAL_MACHINE, view, kOrx, L"Sibling")) << ViewName(view);
    }
    // Without the key in either view there is nothing to do, and nothing is made.
    DeleteTree(HKEY_LOCAL_MACHINE, View::Native, kOrx);
    DeleteTree(HKEY_LOCAL_MACHINE, View::Wow32, kOrx);
    EXPECT_EQ(1u, session.Call("ClearInstallRegValues"));
    for (View view : kBothViews) {
        EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, view, kOrx)) << ViewName(view);
    }
}

TEST(DeleteA4Registry, RemovesAllOfOrxInBothViews) {
    RegistryScope hklm(HKEY_LOCAL_MACHINE, {L"SOFTWARE\\ORX", L"SOFTWARE\\ORXSibling", kOrx});
    for (View view : kBothViews) {
        CreateKey(HKEY_LOCAL_MACHINE, view, L"SOFTWARE\\ORX\\A4\\Sub");
        CreateKey(HKEY_LOCAL_MACHINE, view, L"SOFTWARE\\ORX\\NotA4");
        SetString(HKEY_LOCAL_MACHINE, view, L"SOFTWARE\\ORX", L"Value", L"x");
        CreateKey(HKEY_LOCAL_MACHINE, view, L"SOFTWARE\\ORXSibling");
        CreateKey(HKEY_LOCAL_MACHINE, view, kInstall);
    }
    CreateKey(HKEY_LOCAL_MACHINE, View::Wow32, L"SOFTWARE\\ORX\\Only32\\Deep\\Deeper");
    ActionSession session;
    EXPECT_EQ(1u, session.Call("DeleteA4Registry"));
    EXPECT_EQ(Lines{L"VAREN_CA: SearchA4RegKey  \n"}, session.Lines());
    for (View view : kBothViews) {
        EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, view, L"SOFTWARE\\ORX")) << ViewName(view);
        EXPECT_TRUE(KeyExists(HKEY_LOCAL_MACHINE, view, L"SOFTWARE\\ORXSibling")) << ViewName(view);
        EXPECT_TRUE(KeyExists(HKEY_LOCAL_MACHINE, view, kInstall)) << ViewName(view);
    }
}

TEST(DeleteA4Registry, OrxOnlyIn32BitViewAndNoOrxAtAll) {
    RegistryScope hklm(HKEY_LOCAL_MACHINE, {L"SOFTWARE\\ORX", L"SOFTWARE\\ORXSibling"});
    CreateKey(HKEY_LOCAL_MACHINE, View::Wow32, L"SOFTWARE\\ORX\\Other");
    CreateKey(HKEY_LOCAL_MACHINE, View::Native, L"SOFTWARE\\ORXSibling");
    ActionSession session;
    EXPECT_EQ(1u, session.Call("DeleteA4Registry"));
    EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, View::Wow32, L"SOFTWARE\\ORX"));
    EXPECT_EQ(1u, session.Call("DeleteA4Registry"));
    EXPECT_EQ((Lines{L"VAREN_CA: SearchA4RegKey  \n", L"VAREN_CA: SearchA4RegKey  \n"}),
              session.Lines());
    EXPECT_TRUE(KeyExists(HKEY_LOCAL_MACHINE, View::Native, L"SOFTWARE\\ORXSibling"));
}

TEST(DeleteORXKey, RemovesTheOrxTreeFromThe32BitViewOnly) {
    RegistryScope hklm(HKEY_LOCAL_MACHINE, {L"SOFTWARE\\ORX", L"SOFTWARE\\ORXSibling"});
    for (View view : kBothViews) {
        CreateKey(HKEY_LOCAL_MACHINE, view, L"SOFTWARE\\ORX\\A4\\Sub");
        SetString(HKEY_LOCAL_MACHINE, view, L"SOFTWARE\\ORX\\B", L"v", L"x");
        CreateKey(HKEY_LOCAL_MACHINE, view, L"SOFTWARE\\ORXSibling");
    }
    ActionSession session;
    EXPECT_EQ(0u, session.Call("DeleteORXKey"));
    EXPECT_EQ(Lines{}, session.Lines());
    EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, View::Wow32, L"SOFTWARE\\ORX"));
    EXPECT_TRUE(KeyExists(HKEY_LOCAL_MACHINE, View::Native, L"SOFTWARE\\ORX\\A4\\Sub"));
    EXPECT_TRUE(ValueExists(HKEY_LOCAL_MACHINE, View::Native, L"SOFTWARE\\ORX\\B", L"v"));
    for (View view : kBothViews) {
        EXPECT_TRUE(KeyExists(HKEY_LOCAL_MACHINE, view, L"SOFTWARE\\ORXSibling")) << ViewName(view);
    }
    EXPECT_EQ(0u, session.Call("DeleteORXKey")); // already gone
}

TEST(DeletePNKEY, RemovesPnInBothViews) {
    RegistryScope hklm(HKEY_LOCAL_MACHINE, {L"SOFTWARE\\QVX"});
    for (View view : kBothViews) {
        SetString(HKEY_LOCAL_MACHINE, view, L"SOFTWARE\\QVX\\PN", L"PNBrandingInstallDir",
                  L"C:\\B");
        CreateKey(HKEY_LOCAL_MACHINE, view, L"SOFTWARE\\QVX\\PN\\Sub\\Deeper");
        CreateKey(HKEY_LOCAL_MACHINE, view, L"SOFTWARE\\QVX\\PNX");
        SetString(HKEY_LOCAL_MACHINE, view, L"SOFTWARE\\QVX", L"PN", L"a value, not the key");
    }
    ActionSession session;
    EXPECT_EQ(0u, session.Call("DeletePNKEY"));
    EXPECT_EQ(Lines{}, session.Lines());
    for (View view : kBothViews) {
        EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, view, L"SOFTWARE\\QVX\\PN")) << ViewName(view);
        EXPECT_TRUE(KeyExists(HKEY_LOCAL_MACHINE, view, L"SOFTWARE\\QVX\\PNX")) << ViewName(view);
        EXPECT_TRUE(ValueExists(HKEY_LOCAL_MACHINE, view, L"SOFTWARE\\QVX", L"PN"))
            << ViewName(view);
    }
}

namespace {

// While it lives, Varen_CA.dll's key deletions are recorded, in order, as
// "<root> <view> <path>" ("HKLM 32 SOFTWARE\X" for RegDeleteKeyExW with
// KEY_WOW64_32KEY, "HKLM native SOFTWARE\X" for RegDeleteKeyW), then done.
class DeleteRecorder {
  public:
    DeleteRecorder()
        : m_deleteEx(GetModuleHandleW(L"Varen_CA.dll"), "advapi32.dll", "RegDeleteKeyExW",
                     reinterpret_cast<void*>(&DeleteEx)),
          m_delete(GetModuleHandleW(L"Varen_CA.dll"), "advapi32.dll", "RegDeleteKeyW",
                   reinterpret_cast<void*>(&Delete)) {
        s_pfnDeleteEx = reinterpret_cast<DeleteKeyEx>(m_deleteEx.Original());
        s_pfnDelete = reinterpret_cast<DeleteKey>(m_delete.Original());
        s_calls.clear();
    }
    static const Lines& Calls() { return s_calls; }

  private:
    using DeleteKeyEx = LSTATUS(WINAPI*)(HKEY, LPCWSTR, REGSAM, DWORD);
    using DeleteKey = LSTATUS(WINAPI*)(HKEY, LPCWSTR);
    static std::wstring RootName(HKEY hRoot) {
        return hRoot == HKEY_LOCAL_MACHINE  ? L"HKLM"
               : hRoot == HKEY_CURRENT_USER ? L"HKCU"
                                            : L"other";
    }
    static LSTATUS WINAPI DeleteEx(HKEY hRoot, LPCWSTR szPath, REGSAM samView, DWORD dwReserved) {
        s_calls.push_back(RootName(hRoot) + (samView == KEY_WOW64_32KEY ? L" 32 " : L" other ") +
                          szPath);
        return s_pfnDeleteEx(hRoot, szPath, samView, dwReserved);
    }
    static LSTATUS WINAPI Delete(HKEY hRoot, LPCWSTR szPath) {
        s_calls.push_back(RootName(hRoot) + L" native " + szPath);
        return s_pfnDelete(hRoot, szPath);
    }
    ImportPatch m_deleteEx;
    ImportPatch m_delete;
    static inline DeleteKeyEx s_pfnDeleteEx = nullptr;
    static inline DeleteKey s_pfnDelete = nullptr;
    static inline Lines s_calls;
};

} // namespace

// Each removal does the 32-bit view first, then the native one; with nothing
// there, one deletion each shows the order.
TEST(PackageCleanup, BothViewRemovalsDoThe32BitViewFirst) {
    RegistryScope hklm(HKEY_LOCAL_MACHINE, {L"SOFTWARE\\QVX\\Pyra", L"SOFTWARE\\QVX\\PN"});
    RegistryScope hkcu(HKEY_CURRENT_USER, {L"SOFTWARE\\QVX\\Pyra"});
    ActionSession session;
    {
        DeleteRecorder recorder;
        EXPECT_EQ(1u, session.Call("DeletePyraRegistry"));
        EXPECT_EQ((Lines{L"HKLM 32 SOFTWARE\\QVX\\Pyra", L"HKLM native SOFTWARE\\QVX\\Pyra",
                         L"HKCU 32 SOFTWARE\\QVX\\Pyra", L"HKCU native SOFTWARE\\QVX\\Pyra"}),
                  DeleteRecorder::Calls());
    }
    {
        DeleteRecorder recorder;
        EXPECT_EQ(0u, session.Call("DeletePNKEY"));
        EXPECT_EQ((Lines{L"HKLM 32 SOFTWARE\\QVX\\PN", L"HKLM native SOFTWARE\\QVX\\PN"}),
                  DeleteRecorder::Calls());
    }
}

TEST(DeletePyraRegistry, RemovesPyraForMachineAndUser) {
    RegistryScope hklm(HKEY_LOCAL_MACHINE, {L"SOFTWARE\\QVX"});
    RegistryScope hkcu(HKEY_CURRENT_USER, {L"SOFTWARE\\QVX"});
    for (HKEY hRoot : {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER}) {
        for (View view : kBothViews) {
            SetString(hRoot, view, L"SOFTWARE\\QVX\\Pyra\\Sub", L"v", L"x");
            CreateKey(hRoot, view, L"SOFTWARE\\QVX\\PyraSibling");
        }
    }
    ActionSession session;
    EXPECT_EQ(1u, session.Call("DeletePyraRegistry"));
    EXPECT_EQ(Lines{L"VAREN_CA: SearchHalvoRegKey  \n"}, session.Lines());
    for (HKEY hRoot : {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER}) {
        for (View view : kBothViews) {
            EXPECT_FALSE(KeyExists(hRoot, view, L"SOFTWARE\\QVX\\Pyra")) << ViewName(view);
            EXPECT_TRUE(KeyExists(hRoot, view, L"SOFTWARE\\QVX\\PyraSibling")) << ViewName(view);
        }
    }
}

namespace {

// A package key with the given level and product code (either may be left out).
void AddPackage(View view, const std::wstring& strPid, std::optional<DWORD> dwLevel,
                std::optional<std::wstring> strProductCode) {
    CreateKey(HKEY_LOCAL_MACHINE, view, PackageKey(strPid));
    if (dwLevel) {
        SetDword(HKEY_LOCAL_MACHINE, view, PackageKey(strPid), L"iPackageLevel", *dwLevel);
    }
    if (strProductCode) {
        SetString(HKEY_LOCAL_MACHINE, view, PackageKey(strPid), L"ProductGUID", *strProductCode);
    }
}

std::wstring EntryKey(const std::wstring& strProductCode) {
    return kUninstall + L"\\" + strProductCode;
}

bool Hidden(View view, const std::wstring& strProductCode) {
    return ReadDword(HKEY_LOCAL_MACHINE, view, EntryKey(strProductCode), L"SystemComponent") ==
           std::optional<DWORD>(1);
}

// Uninstall entries made by one test, removed from both views before and after.
class UninstallEntries {
  public:
    explicit UninstallEntries(std::vector<std::wstring> productCodes)
        : m_productCodes(std::move(productCodes)) {
        Clear();
    }
    ~UninstallEntries() { Clear(); }

  private:
    void Clear() const {
        for (const std::wstring& strCode : m_productCodes) {
            for (View view : kBothViews) {
                DeleteTree(HKEY_LOCAL_MACHINE, view, EntryKey(strCode));
            }
        }
        for (View view : kBothViews) {
            HKEY hKey = nullptr;
            if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kUninstall.c_str(), 0,
                              KEY_SET_VALUE | ViewFlag(view), &hKey) == ERROR_SUCCESS) {
                RegDeleteValueW(hKey, L"SystemComponent");
                RegCloseKey(hKey);
            }
        }
    }
    std::vector<std::wstring> m_productCodes;
};

} // namespace

TEST(RemoveARPEntries, HidesInstalledPackagesExceptLevelTwoAndTheExceptedOnes) {
    RegistryScope hklm(HKEY_LOCAL_MACHINE, {kOrx});
    const std::wstring strNormal = L"{00000000-0000-0000-0000-0000000000A1}";
    const std::wstring strLevel2 = L"{00000000-0000-0000-0000-0000000000A2}";
    const std::wstring strExcepted = L"{00000000-0000-0000-0000-0000000000A3}";
    const std::wstring strOnly32 = L"{00000000-0000-0000-0000-0000000000A4}";
    const std::wstring strNearExcepted = L"{00000000-0000-0000-0000-0000000000A5}";
    const std::wstring strBoth = L"{00000000-0000-0000-0000-0000000000A6}";
    const std::wstring strNoLevel = L"{00000000-0000-0000-0000-0000000000A7}";
    const std::wstring strUnlisted = L"{00000000-0000-0000-0000-0000000000A8}";
    UninstallEntries entries({strNormal, strLevel2, strExcepted, strOnly32, strNearExcepted,
                              strBoth, strNoLevel, strUnlisted});
    AddPackage(View::Native, L"W-01-0000-000-000-000-001-00-01", 1, strNormal);
    AddPackage(View::Native, L"W-01-0000-000-000-000-001-00-02", 2, strLevel2);
    AddPackage(View::Native, L"W-05-000U-000-003-002-001-00-00", 1, strExcepted);
    AddPackage(View::Native, L"W-01-0000-000-000-000-001-00-04", 0, strOnly32);
    AddPackage(View::Native, L"W-05-000U-000-003-002-001-00-000", 1, strNearExcepted);
    AddPackage(View::Native, L"W-01-0000-000-000-000-001-00-06", 3, strBoth);
    AddPackage(View::Native, L"W-01-0000-000-000-000-001-00-07", std::nullopt, strNoLevel);
    AddPackage(View::Native, L"W-01-0000-000-000-000-001-00-08", 1, std::nullopt);
    // A package known only in the 32-bit view is not looked at.
    AddPackage(View::Wow32, L"W-01-0000-000-000-000-001-00-09", 1, strUnlisted);
    for (const std::wstring& strCode :
         {strNormal, strLevel2, strExcepted, strNearExcepted, strNoLevel, strUnlisted}) {
        SetString(HKEY_LOCAL_MACHINE, View::Native, EntryKey(strCode), L"DisplayName", L"x");
    }
    SetString(HKEY_LOCAL_MACHINE, View::Wow32, EntryKey(strOnly32), L"DisplayName", L"x");
    for (View view : kBothViews) {
        SetString(HKEY_LOCAL_MACHINE, view, EntryKey(strBoth), L"DisplayName", L"x");
    }

    ActionSession session;
    EXPECT_EQ(1u, session.Call("RemoveARPEntries"));
    EXPECT_EQ(Lines{}, session.Lines());
    EXPECT_TRUE(Hidden(View::Native, strNormal));
    EXPECT_TRUE(Hidden(View::Wow32, strOnly32));
    EXPECT_TRUE(Hidden(View::Native, strNearExcepted));
    EXPECT_TRUE(Hidden(View::Native, strBoth));
    EXPECT_FALSE(
        ValueExists(HKEY_LOCAL_MACHINE, View::Wow32, EntryKey(strBoth), L"SystemComponent"));
    for (const std::wstring& strCode : {strLevel2, strExcepted, strNoLevel, strUnlisted}) {
        EXPECT_FALSE(
            ValueExists(HKEY_LOCAL_MACHINE, View::Native, EntryKey(strCode), L"SystemComponent"))
            << strCode;
    }
    EXPECT_EQ(L"x",
              ReadString(HKEY_LOCAL_MACHINE, View::Native, EntryKey(strNormal), L"DisplayName"));
}

TEST(RemoveARPEntries, BadValuesSkipOnlyTheirPackage) {
    RegistryScope hklm(HKEY_LOCAL_MACHINE, {kOrx});
    const std::wstring strGood = L"{00000000-0000-0000-0000-0000000000B1}";
    const std::wstring strSzLevel = L"{00000000-0000-0000-0000-0000000000B2}";
    const std::wstring strShortLevel = L"{00000000-0000-0000-0000-0000000000B3}";
    const std::wstring strUnterminated = L"{00000000-0000-0000-0000-0000000000B4}";
    const std::wstring strLong(130, L'G'); // 262 bytes with its terminator: more than the 260 read
    const std::wstring strFits(129, L'F'); // 260 bytes exactly
    UninstallEntries entries({strGood, strSzLevel, strShortLevel, strUnterminated, strLong,
                              strLong.substr(0, 129), strFits, L"AA"});
    auto packageKey = [](int iPackage) {
        return PackageKey(L"W-02-0000-000-000-000-001-00-0" + std::to_wstring(iPackage));
    };
    // A REG_SZ level ("2" would read as 0x32 if taken as four raw bytes) counts as unreadable.
    SetString(HKEY_LOCAL_MACHINE, View::Native, packageKey(1), L"iPackageLevel", L"2");
    SetString(HKEY_LOCAL_MACHINE, View::Native, packageKey(1), L"ProductGUID", strSzLevel);
    const WORD wLevel = 1;
    SetRaw(HKEY_LOCAL_MACHINE, View::Native, packageKey(2), L"iPackageLevel", REG_DWORD, &wLevel,
           sizeof(wLevel));
    SetString(HKEY_LOCAL_MACHINE, View::Native, packageKey(2), L"ProductGUID", strShortLevel);
    SetDword(HKEY_LOCAL_MACHINE, View::Native, packageKey(3), L"iPackageLevel", 1);
    SetString(HKEY_LOCAL_MACHINE, View::Native, packageKey(3), L"ProductGUID", strLong);
    SetDword(HKEY_LOCAL_MACHINE, View::Native, packageKey(4), L"iPackageLevel", 1);
    const DWORD dwAsText = 0x00410041; // "AA"
    SetRaw(HKEY_LOCAL_MACHINE, View::Native, packageKey(4), L"ProductGUID", REG_DWORD, &dwAsText,
           sizeof(dwAsText));
    SetDword(HKEY_LOCAL_MACHINE, View::Native, packageKey(5), L"iPackageLevel", 1);
    SetString(HKEY_LOCAL_MACHINE, View::Native, packageKey(5), L"ProductGUID",
              L""); // would name Uninstall itself
    SetDword(HKEY_LOCAL_MACHINE, View::Native, packageKey(6), L"iPackageLevel", 1);
    const std::wstring strUnterminatedSource = strUnterminated + L"zz";
    SetRaw(HKEY_LOCAL_MACHINE, View::Native, packageKey(6), L"ProductGUID", REG_SZ,
           strUnterminatedSource.c_str(),
           static_cast<DWORD>(strUnterminated.size() * sizeof(wchar_t)));
    ASSERT_EQ(
        strUnterminated.size() * sizeof(wchar_t),
        ReadRaw(HKEY_LOCAL_MACHINE, View::Native, packageKey(6), L"ProductGUID")->second.size());
    SetDword(HKEY_LOCAL_MACHINE, View::Native, packageKey(7), L"iPackageLevel", 1);
    SetString(HKEY_LOCAL_MACHINE, View::Native, packageKey(7), L"ProductGUID", strFits);
    SetDword(HKEY_LOCAL_MACHINE, View::Native, packageKey(8), L"iPackageLevel", 1);
    SetString(HKEY_LOCAL_MACHINE, View::Native, packageKey(8), L"ProductGUID", strGood);
    for (const std::wstring& strCode :
         {strGood, strSzLevel, strShortLevel, strUnterminated, strLong, strLong.substr(0, 129),
          strFits, std::wstring(L"AA")}) {
        CreateKey(HKEY_LOCAL_MACHINE, View::Native, EntryKey(strCode));
    }

    ActionSession session;
    EXPECT_EQ(1u, session.Call("RemoveARPEntries"));
    EXPECT_TRUE(Hidden(View::Native, strGood));
    EXPECT_TRUE(Hidden(View::Native, strUnterminated));
    EXPECT_TRUE(Hidden(View::Native, strFits));
    for (const std::wstring& strCode :
         {strSzLevel, strShortLevel, strLong, strLong.substr(0, 129), std::wstring(L"AA")}) {
        EXPECT_FALSE(
            ValueExists(HKEY_LOCAL_MACHINE, View::Native, EntryKey(strCode), L"SystemComponent"))
            << strCode;
    }
    EXPECT_FALSE(ValueExists(HKEY_LOCAL_MACHINE, View::Native, kUninstall, L"SystemComponent"));
}

// The packages are listed from the native view only: a "Packages" key that
// exists only in the 32-bit view is not opened, whatever it holds.
TEST(RemoveARPEntries, NoNativePackagesKeyHidesNothing) {
    RegistryScope hklm(HKEY_LOCAL_MACHINE, {kOrx});
    const std::wstring strCode = L"{00000000-0000-0000-0000-0000000000C1}";
    UninstallEntries entries({strCode});
    AddPackage(View::Wow32, L"W-01-0000-000-000-000-001-00-01", 1, strCode);
    for (View view : kBothViews) {
        SetString(HKEY_LOCAL_MACHINE, view, EntryKey(strCode), L"DisplayName", L"x");
    }
    ActionSession session;
    EXPECT_EQ(1u, session.Call("RemoveARPEntries"));
    EXPECT_EQ(Lines{}, session.Lines());
    for (View view : kBothViews) {
        EXPECT_FALSE(ValueExists(HKEY_LOCAL_MACHINE, view, EntryKey(strCode), L"SystemComponent"))
            << ViewName(view);
    }
}

namespace {

const std::wstring kVlmEntry = kUninstall + L"\\QVX Velium Install Manager";
const Lines kVlmLines = {
    L"Varen_CA DeletePackageKey(), Key to delete is "
    L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\QVX "
    L"Velium Install Manager\\\\ \n",
    L"Varen_CA DeletePackageKey(), SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\QVX "
    L"Velium Install "
    L"Manager\\\\ key should be deleted \n"};

void ArrangeVlmEntry() {
    for (View view : kBothViews) {
        SetString(HKEY_LOCAL_MACHINE, view, kVlmEntry + L"\\Sub", L"v", L"x");
        SetString(HKEY_LOCAL_MACHINE, view, kVlmEntry, L"DisplayName",
                  L"QVX Velium Install Manager");
        CreateKey(HKEY_LOCAL_MACHINE, view, kVlmEntry + L" 2");
    }
}

void ExpectVlmEntryGoneAndSiblingKept() {
    for (View view : kBothViews) {
        EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, view, kVlmEntry)) << ViewName(view);
        EXPECT_TRUE(KeyExists(HKEY_LOCAL_MACHINE, view, kVlmEntry + L" 2")) << ViewName(view);
    }
}

} // namespace

// RemoveVLMEntry does not store its handle: it logs to the session an earlier
// action stored, even when it is called with another handle.
TEST(RemoveVLMEntry, LogsThroughTheHandleAnEarlierActionStored) {
    RegistryScope hklm(HKEY_LOCAL_MACHINE, {kVlmEntry, kVlmEntry + L" 2", L"SOFTWARE\\ORX"});
    ArrangeVlmEntry();
    ActionSession session;
    EXPECT_EQ(1u, session.Call("DeleteA4Registry"));
    session.ClearLines();
    EXPECT_EQ(1u, session.CallWith("RemoveVLMEntry", 0));
    EXPECT_EQ(kVlmLines, session.Lines());
    ExpectVlmEntryGoneAndSiblingKept();
}

TEST(RemoveVLMEntry, FirstInAModuleItsLinesAreLost) {
    RegistryScope hklm(HKEY_LOCAL_MACHINE, {kVlmEntry, kVlmEntry + L" 2"});
    ArrangeVlmEntry();
    ActionSession session;
    EXPECT_EQ(1u, session.Call("RemoveVLMEntry"));
    EXPECT_EQ(Lines{}, session.Lines());
    ExpectVlmEntryGoneAndSiblingKept();
    // And an action that stores its handle no longer reports when called with another.
    EXPECT_EQ(1u, session.CallWith("DeletePyraRegistry", 0));
    EXPECT_EQ(1u, session.Call("RemoveVLMEntry"));
    EXPECT_EQ(Lines{}, session.Lines());
}

// The silent actions that do not store their handle leave the slot as an
// earlier action set it: RemoveVLMEntry, called after them, still reports to
// that session although every one of them was called with handle 0.
TEST(PackageCleanup, SilentActionsLeaveTheStoredHandleAlone) {
    RegistryScope hklm(HKEY_LOCAL_MACHINE, {kVlmEntry, kVlmEntry + L" 2", L"SOFTWARE\\ORX", kOrx,
                                            L"SOFTWARE\\QVX", L"SOFTWARE\\QVXBranding"});
    ArrangeVlmEntry();
    ActionSession session;
    EXPECT_EQ(1u, session.Call("DeleteA4Registry"));
    session.ClearLines();
    for (const char* szAction : {"ClearInstallRegValues", "DeleteORXKey", "DeletePNKEY",
                                 "DeleteandRetainValues", "RemoveARPEntries"}) {
        session.CallWith(szAction, 0);
    }
    EXPECT_EQ(Lines{}, session.Lines());
    EXPECT_EQ(1u, session.CallWith("RemoveVLMEntry", 0));
    EXPECT_EQ(kVlmLines, session.Lines());
}

namespace {

std::string PercentDecoded(const std::string& strText) {
    std::string strResult;
    for (size_t i = 0; i < strText.size(); ++i) {
        if (strText[i] == '%' && i + 2 < strText.size()) {
            strResult += static_cast<char>(std::stoi(strText.substr(i + 1, 2), nullptr, 16));
            i += 2;
        } else {
            strResult += strText[i];
        }
    }
    return strResult;
}

// The Unix paths under which Wine's trash may record a path on drive C: of
// this prefix (through dosdevices or drive_c).
std::vector<std::string> UnixPathsOnDriveC(const std::string& strFromDriveC) {
    char szPrefix[MAX_PATH] = {};
    const DWORD cch = GetEnvironmentVariableA("WINEPREFIX", szPrefix, MAX_PATH);
    if (cch == 0 || cch >= MAX_PATH) {
        return {};
    }
    return {std::string(szPrefix) + "/dosdevices/c:/" + strFromDriveC,
            std::string(szPrefix) + "/drive_c/" + strFromDriveC};
}

// The items in the trash that came from a path on drive C: (given with "/"
// separators, without "C:/"), matched by the "Path=" of their .trashinfo;
// each is taken out of the trash when the guard ends, so the host's trash is
// left as it was.
class TrashedFrom {
  public:
    explicit TrashedFrom(const std::string& strFromDriveC)
        : m_unixPaths(UnixPathsOnDriveC(strFromDriveC)) {
        Clear();
    }
    ~TrashedFrom() { Clear(); }
    // How many trashed items name the path; each holds "sub\file.txt".
    int Count() const {
        int cItems = 0;
        for (const fs::path& item : Items()) {
            cItems += fs::exists(TrashFolder() / L"files" / item / L"sub" / L"file.txt") ? 1 : 0;
        }
        return cItems;
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

const Lines kLegacyLines = {L"Varen_CA CleanUninstallerFiles folder deleted\n",
                            L"VAREN_CA RemoveLegacyUninstall cleaned files \n",
                            L"VAREN_CA RemoveLegacyUninstall cleaned registry keys \n"};

const std::wstring kLegacyEntry = kUninstall + L"\\All ORX Software";

// The legacy uninstall entry with a sub-key and value, and a sibling, in both views.
void ArrangeLegacyEntry() {
    for (View view : kBothViews) {
        SetString(HKEY_LOCAL_MACHINE, view, kLegacyEntry + L"\\Sub", L"v", L"x");
        CreateKey(HKEY_LOCAL_MACHINE, view, kLegacyEntry + L" 2");
    }
}

void ExpectLegacyEntryGoneAndSiblingKept() {
    for (View view : kBothViews) {
        EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, view, kLegacyEntry)) << ViewName(view);
        EXPECT_TRUE(KeyExists(HKEY_LOCAL_MACHINE, view, kLegacyEntry + L" 2")) << ViewName(view);
    }
}

} // namespace

TEST(RmLegacyUninstall, SendsTheFolderToTheRecycleBinAndRemovesTheEntryInBothViews) {
    const fs::path orxFolder = fs::path(KnownFolder(CSIDL_PROGRAM_FILESX86)) / L"ORX Technologies";
    const fs::path legacy = orxFolder / L"UninstallAll";
    TrashedFrom trashed("Program Files (x86)/ORX Technologies/UninstallAll");
    ASSERT_EQ(L"C:\\Program Files (x86)", KnownFolder(CSIDL_PROGRAM_FILESX86));
    RegistryScope hklm(HKEY_LOCAL_MACHINE, {kLegacyEntry, kLegacyEntry + L" 2"});
    fs::create_directories(legacy / L"sub");
    std::ofstream(legacy / L"sub" / L"file.txt") << "x";
    fs::create_directories(orxFolder / L"Keep");
    ArrangeLegacyEntry();
    ActionSession session;
    EXPECT_EQ(0u, session.Call("RmLegacyUninstall"));
    EXPECT_EQ(kLegacyLines, session.Lines());
    EXPECT_FALSE(fs::exists(legacy));
    EXPECT_TRUE(fs::exists(orxFolder / L"Keep"));
    EXPECT_EQ(1, trashed.Count()) << TrashFolder();
    ExpectLegacyEntryGoneAndSiblingKept();
    std::error_code error;
    fs::remove_all(orxFolder, error);
}

TEST(RmLegacyUninstall, MissingFolderAndKeyStillSucceed) {
    const fs::path legacy =
        fs::path(KnownFolder(CSIDL_PROGRAM_FILESX86)) / L"ORX Technologies" / L"UninstallAll";
    ASSERT_FALSE(fs::exists(legacy));
    ActionSession session;
    EXPECT_EQ(0u, session.Call("RmLegacyUninstall"));
    EXPECT_EQ((Lines{L"VAREN_CA RemoveLegacyUninstall cleaned files \n",
                     L"VAREN_CA RemoveLegacyUninstall cleaned registry keys \n"}),
              session.Lines());
}

// A folder the shell cannot remove fails the files step; the entry still goes
// and the action still returns 0.
TEST(RmLegacyUninstall, FolderThatCannotBeRemovedIsLoggedAndTheEntryStillGoes) {
    const fs::path orxFolder = fs::path(KnownFolder(CSIDL_PROGRAM_FILESX86)) / L"ORX Technologies";
    const fs::path legacy = orxFolder / L"UninstallAll";
    RegistryScope hklm(HKEY_LOCAL_MACHINE, {kLegacyEntry, kLegacyEntry + L" 2"});
    fs::create_directories(legacy / L"sub");
    ArrangeLegacyEntry();
    ActionSession session;
    using FileOperation = int(WINAPI*)(LPSHFILEOPSTRUCTW);
    FileOperation pfnDenied = [](LPSHFILEOPSTRUCTW) -> int { return 0x78; };
    ImportPatch denied(GetModuleHandleW(L"Varen_CA.dll"), "shell32.dll", "SHFileOperationW",
                       reinterpret_cast<void*>(pfnDenied));
    EXPECT_EQ(0u, session.Call("RmLegacyUninstall"));
    EXPECT_EQ((Lines{L"VAREN_CA RemoveLegacyUninstall failed to clean files \n",
                     L"VAREN_CA RemoveLegacyUninstall cleaned registry keys \n"}),
              session.Lines());
    EXPECT_TRUE(fs::exists(legacy / L"sub"));
    ExpectLegacyEntryGoneAndSiblingKept();
    std::error_code error;
    fs::remove_all(orxFolder, error);
}

// Without a 32-bit program files folder (the shell answers "not found", as it
// does for a folder that does not exist) there is no legacy folder under it:
// the files step succeeds, nothing is removed, and the entry still goes.
TEST(RmLegacyUninstall, NoProgramFilesFolderMeansNoLegacyFolder) {
    RegistryScope hklm(HKEY_LOCAL_MACHINE, {kLegacyEntry, kLegacyEntry + L" 2"});
    ArrangeLegacyEntry();
    ActionSession session;
    using GetFolderPath = HRESULT(WINAPI*)(HWND, int, HANDLE, DWORD, LPWSTR);
    GetFolderPath pfnNotFound = [](HWND, int, HANDLE, DWORD, LPWSTR szPath) -> HRESULT {
        szPath[0] = L'\0';
        return HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND);
    };
    ImportPatch notFound(GetModuleHandleW(L"Varen_CA.dll"), "shell32.dll", "SHGetFolderPathW",
                         reinterpret_cast<void*>(pfnNotFound));
    EXPECT_EQ(0u, session.Call("RmLegacyUninstall"));
    EXPECT_EQ((Lines{L"VAREN_CA RemoveLegacyUninstall cleaned files \n",
                     L"VAREN_CA RemoveLegacyUninstall cleaned registry keys \n"}),
              session.Lines());
    ExpectLegacyEntryGoneAndSiblingKept();
}

namespace {

// The settings application's branding folder, with files and folders, and a
// file beside the folder that no removal may touch. Its path is cchPath
// characters long when that is given.
class BrandingFolder {
  public:
    explicit BrandingFolder(size_t cchPath = 0)
        : m_path(PaddedTo(TestTempFolder() + L"varen_brand_" + NewGuid().substr(1, 8), cchPath)) {
        fs::create_directories(m_path);
        for (const wchar_t* szFile : {L"logo.png", L"keep.png", L"noext"}) {
            std::ofstream(m_path / szFile) << "x";
        }
        for (const wchar_t* szFolder : {L"Skins", L"OldSkins", L"Fonts", L"Kept"}) {
            fs::create_directories(m_path / szFolder / L"inner");
            std::ofstream(m_path / szFolder / L"inner" / L"f.txt") << "x";
        }
        std::ofstream(fs::path(m_path.wstring() + L"_beside.txt")) << "x";
    }
    ~BrandingFolder() {
        std::error_code error;
        fs::remove_all(m_path, error);
        fs::remove(m_path.wstring() + L"_beside.txt", error);
    }
    std::wstring Path() const { return m_path.wstring(); }
    // The entry names left in the folder, sorted.
    std::vector<std::wstring> Left() const {
        std::vector<std::wstring> names;
        for (const auto& entry : fs::directory_iterator(m_path)) {
            names.push_back(entry.path().filename().wstring());
        }
        std::sort(names.begin(), names.end());
        return names;
    }
    bool BesideExists() const { return fs::exists(m_path.wstring() + L"_beside.txt"); }

  private:
    static std::wstring PaddedTo(std::wstring strPath, size_t cchPath) {
        if (strPath.size() < cchPath) {
            strPath.append(cchPath - strPath.size(), L'p');
        }
        return strPath;
    }
    fs::path m_path;
};

const std::wstring kPnKey = L"SOFTWARE\\QVX\\PN";
const std::wstring kBrandingKey = L"SOFTWARE\\QVXBranding";

} // namespace

TEST(DeleteandRetainValues, KeepsWhatTheBrandingKeyNames) {
    RegistryScope hklm(HKEY_LOCAL_MACHINE, {L"SOFTWARE\\QVX", kBrandingKey});
    BrandingFolder folder;
    SetString(HKEY_LOCAL_MACHINE, View::Native, kPnKey, L"PNBrandingInstallDir", folder.Path());
    CreateKey(HKEY_LOCAL_MACHINE, View::Native, kBrandingKey + L"\\Skins");
    SetString(HKEY_LOCAL_MACHINE, View::Native, kBrandingKey, L"Logo",
              folder.Path() + L"\\keep.png");
    SetString(HKEY_LOCAL_MACHINE, View::Native, kBrandingKey, L"Folder", folder.Path() + L"\\Kept");
    SetString(HKEY_LOCAL_MACHINE, View::Native, kBrandingKey, L"Relative",
              L"logo.png"); // not the entry's form
    const std::wstring strFonts = folder.Path() + L"\\Fonts";
    SetRaw(HKEY_LOCAL_MACHINE, View::Native, kBrandingKey, L"NotSz", REG_EXPAND_SZ,
           strFonts.c_str(), static_cast<DWORD>((strFonts.size() + 1) * sizeof(wchar_t)));
    // The same item in the 32-bit view is not read.
    SetString(HKEY_LOCAL_MACHINE, View::Wow32, kBrandingKey, L"Noext", folder.Path() + L"\\noext");
    ActionSession session;
    EXPECT_EQ(0u, session.Call("DeleteandRetainValues"));
    EXPECT_EQ(Lines{}, session.Lines());
    EXPECT_EQ((Lines{L"Kept", L"OldSkins", L"Skins", L"keep.png"}), folder.Left());
    EXPECT_TRUE(folder.BesideExists());
}

TEST(DeleteandRetainValues, WithoutTheBrandingKeyEverythingGoesSkinsIncluded) {
    RegistryScope hklm(HKEY_LOCAL_MACHINE, {L"SOFTWARE\\QVX", kBrandingKey});
    BrandingFolder folder;
    SetString(HKEY_LOCAL_MACHINE, View::Native, kPnKey, L"PNBrandingInstallDir",
              folder.Path() + L"\\");
    ActionSession session;
    EXPECT_EQ(0u, session.Call("DeleteandRetainValues"));
    EXPECT_EQ(Lines{}, session.Lines());
    EXPECT_EQ(Lines{}, folder.Left());
    EXPECT_TRUE(folder.BesideExists());
}

// 129 characters and the terminator are the 260 bytes read: that folder is found.
TEST(DeleteandRetainValues, FolderPathOf129CharactersIsRead) {
    RegistryScope hklm(HKEY_LOCAL_MACHINE, {L"SOFTWARE\\QVX", kBrandingKey});
    BrandingFolder folder(129);
    ASSERT_EQ(129u, folder.Path().size());
    SetString(HKEY_LOCAL_MACHINE, View::Native, kPnKey, L"PNBrandingInstallDir", folder.Path());
    ActionSession session;
    EXPECT_EQ(0u, session.Call("DeleteandRetainValues"));
    EXPECT_EQ(Lines{}, folder.Left());
    EXPECT_TRUE(folder.BesideExists());
}

TEST(DeleteandRetainValues, RetainedNamesLastAsLongAsTheModule) {
    RegistryScope hklm(HKEY_LOCAL_MACHINE, {L"SOFTWARE\\QVX", kBrandingKey});
    BrandingFolder folder;
    SetString(HKEY_LOCAL_MACHINE, View::Native, kPnKey, L"PNBrandingInstallDir", folder.Path());
    CreateKey(HKEY_LOCAL_MACHINE, View::Native, kBrandingKey + L"\\Skins");
    ActionSession session;
    EXPECT_EQ(0u, session.Call("DeleteandRetainValues"));
    EXPECT_EQ((Lines{L"OldSkins", L"Skins"}), folder.Left());
    // The key is gone, but the module still holds "Skins" from the first call.
    DeleteTree(HKEY_LOCAL_MACHINE, View::Native, kBrandingKey);
    EXPECT_EQ(0u, session.Call("DeleteandRetainValues"));
    EXPECT_EQ((Lines{L"OldSkins", L"Skins"}), folder.Left());
}

TEST(DeleteandRetainValues, UnreadableFolderValueDeletesNothing) {
    RegistryScope hklm(HKEY_LOCAL_MACHINE, {L"SOFTWARE\\QVX", kBrandingKey});
    // A path of 130 characters: 262 bytes with its terminator, more than the
    // 260 read.
    BrandingFolder folder(130);
    ASSERT_EQ(130u, folder.Path().size());
    const Lines all = folder.Left();
    ActionSession session;
    // No PN key; then a REG_DWORD; then the folder's own path, too long to read.
    EXPECT_EQ(0u, session.Call("DeleteandRetainValues"));
    SetDword(HKEY_LOCAL_MACHINE, View::Native, kPnKey, L"PNBrandingInstallDir", 1);
    EXPECT_EQ(0u, session.Call("DeleteandRetainValues"));
    SetString(HKEY_LOCAL_MACHINE, View::Native, kPnKey, L"PNBrandingInstallDir", folder.Path());
    EXPECT_EQ(0u, session.Call("DeleteandRetainValues"));
    // Only in the 32-bit view: not read either.
    DeleteTree(HKEY_LOCAL_MACHINE, View::Native, kPnKey);
    SetString(HKEY_LOCAL_MACHINE, View::Wow32, kPnKey, L"PNBrandingInstallDir", folder.Path());
    EXPECT_EQ(0u, session.Call("DeleteandRetainValues"));
    EXPECT_EQ(all, folder.Left());
    EXPECT_EQ(Lines{}, session.Lines());
}
