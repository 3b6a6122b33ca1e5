// The registry helpers, called directly with g_hInstall set to a real session,
// against keys arranged in both registry views.
#include "runtime/session.h"
#include "system/registry.h"
#include "tests/support/registry_support.h"
#include "tests/support/session_support.h"

#include <aclapi.h>
#include <sddl.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <fstream>
#include <io.h>
#include <iterator>
#include <sstream>

using Lines = std::vector<std::wstring>;

namespace {

const std::wstring kTestKey = L"SOFTWARE\\VarenRegTest";
const std::wstring kTestSibling = L"SOFTWARE\\VarenRegTestSibling";
const std::wstring kPackages = L"SOFTWARE\\ORX Technologies\\Install\\Packages";
constexpr wchar_t kPackageA[] = L"W-05-000U-000-003-002-001-00-01";
constexpr wchar_t kPackageB[] = L"W-05-000U-000-003-002-001-00-02";

// A real session whose handle the helpers log through.
class LoggingSession {
  public:
    LoggingSession() { g_hInstall = m_session.Handle(); }
    ~LoggingSession() { g_hInstall = 0; }
    Lines Logged() const { return m_session.Lines(); }

  private:
    ActionSession m_session;
};

// Replaces the access list of a key, named in SDDL ("D:(A;;KA;;;WD)" and so on).
void SetKeyAcl(HKEY hRoot, View view, const std::wstring& strPath, const wchar_t* szSddl) {
    PSECURITY_DESCRIPTOR pDescriptor = nullptr;
    ASSERT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorW(szSddl, SDDL_REVISION_1,
                                                                     &pDescriptor, nullptr));
    HKEY hKey = nullptr;
    ASSERT_EQ(ERROR_SUCCESS,
              RegOpenKeyExW(hRoot, strPath.c_str(), 0, WRITE_DAC | ViewFlag(view), &hKey));
    EXPECT_EQ(ERROR_SUCCESS, RegSetKeySecurity(hKey, DACL_SECURITY_INFORMATION, pDescriptor));
    RegCloseKey(hKey);
    LocalFree(pDescriptor);
}

// A key with a sub-key whose access list denies szDenied (SDDL rights) to
// everyone until the guard ends; then it is opened up again so that the scope
// can remove it. Denying "DC" (set value) makes every KEY_ALL_ACCESS open fail,
// and the sub-key keeps the key itself from being deleted: together they make
// a key that no removal can take, under Wine (which does not check DELETE
// rights on registry keys) as on Windows.
class LockedKey {
  public:
    LockedKey(HKEY hRoot, View view, std::wstring strPath, const wchar_t* szDenied)
        : m_hRoot(hRoot), m_view(view), m_strPath(std::move(strPath)) {
        CreateKey(m_hRoot, m_view, m_strPath + L"\\Inner");
        const std::wstring strSddl = std::wstring(L"D:(D;;") + szDenied + L";;;WD)(A;;KA;;;WD)";
        SetKeyAcl(m_hRoot, m_view, m_strPath, strSddl.c_str());
    }
    ~LockedKey() { SetKeyAcl(m_hRoot, m_view, m_strPath, L"D:(A;;KA;;;WD)"); }

  private:
    HKEY m_hRoot;
    View m_view;
    std::wstring m_strPath;
};

bool RunningUnderWine() {
    return GetProcAddress(GetModuleHandleW(L"ntdll"), "wine_get_version") != nullptr;
}

std::vector<std::wstring> Sorted(std::vector<std::wstring> names) {
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace

// What the tests below rely on: HKLM\SOFTWARE has a separate 32-bit view
// (Wow6432Node) and HKCU\SOFTWARE is one key seen from both, under Wine as on
// Windows 7 and later.
TEST(RegistryViews, HklmSoftwareIsSplitAndHkcuSoftwareIsShared) {
    RegistryScope hklm(HKEY_LOCAL_MACHINE, {kTestKey});
    RegistryScope hkcu(HKEY_CURRENT_USER, {kTestKey});
    CreateKey(HKEY_LOCAL_MACHINE, View::Native, kTestKey + L"\\Native");
    CreateKey(HKEY_LOCAL_MACHINE, View::Wow32, kTestKey + L"\\Wow32");
    EXPECT_EQ(Lines{L"Native"}, SubKeyNames(HKEY_LOCAL_MACHINE, View::Native, kTestKey));
    EXPECT_EQ(Lines{L"Wow32"}, SubKeyNames(HKEY_LOCAL_MACHINE, View::Wow32, kTestKey));

    CreateKey(HKEY_CURRENT_USER, View::Native, kTestKey + L"\\Native");
    CreateKey(HKEY_CURRENT_USER, View::Wow32, kTestKey + L"\\Wow32");
    for (View view : kBothViews) {
        EXPECT_EQ((Lines{L"Native", L"Wow32"}), SubKeyNames(HKEY_CURRENT_USER, view, kTestKey))
            << ViewName(view);
    }
}

TEST(Platform, SixtyFourBitProcessOnSixtyFourBitWindows) {
    const auto pfnExpected = reinterpret_cast<IsWow64ProcessFn>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32"), "IsWow64Process")));
    ASSERT_NE(nullptr, pfnExpected);
    EXPECT_EQ(pfnExpected, g_pfnIsWow64Process); // resolved when the module loaded
    EXPECT_FALSE(IsRunningUnderWow64());
    EXPECT_TRUE(Is64BitWindows());
    EXPECT_EQ(L"BIN64", GetPlatformBinFolder());
}

TEST(GetOrxInstallDir, ReadsNativeStringOrGivesEmpty) {
    const std::wstring strInstall = L"SOFTWARE\\ORX Technologies\\Install";
    RegistryScope scope(HKEY_LOCAL_MACHINE, {L"SOFTWARE\\ORX Technologies"});
    EXPECT_EQ(L"", GetOrxInstallDir()); // no key

    SetString(HKEY_LOCAL_MACHINE, View::Wow32, strInstall, L"InstallDir", L"C:\\Wow32\\");
    EXPECT_EQ(L"", GetOrxInstallDir()); // the 32-bit view is not read
    CreateKey(HKEY_LOCAL_MACHINE, View::Native, strInstall);
    EXPECT_EQ(L"", GetOrxInstallDir()); // no value

    SetString(HKEY_LOCAL_MACHINE, View::Native, strInstall, L"InstallDir",
              L"C:\\Program Files\\ORX\\");
    EXPECT_EQ(L"C:\\Program Files\\ORX\\", GetOrxInstallDir());
    SetRaw(HKEY_LOCAL_MACHINE, View::Native, strInstall, L"InstallDir", REG_EXPAND_SZ,
           L"%ProgramFiles%", 15 * sizeof(wchar_t));
    EXPECT_EQ(L"%ProgramFiles%", GetOrxInstallDir()); // not expanded
}

TEST(GetOrxInstallDir, BadValuesGiveEmptyOrTheirTextSafely) {
    const std::wstring strInstall = L"SOFTWARE\\ORX Technologies\\Install";
    RegistryScope scope(HKEY_LOCAL_MACHINE, {L"SOFTWARE\\ORX Technologies"});
    auto setRaw = [&](DWORD dwType, const void* pData, DWORD cbData) {
        SetRaw(HKEY_LOCAL_MACHINE, View::Native, strInstall, L"InstallDir", dwType, pData, cbData);
    };
    setRaw(REG_SZ, L"C:\\ORXzzz", 6 * sizeof(wchar_t)); // no terminator stored
    EXPECT_EQ(L"C:\\ORX", GetOrxInstallDir());
    setRaw(REG_SZ, L"C:\\ORX", 7); // odd byte count: the half character is dropped
    EXPECT_EQ(L"C:\\", GetOrxInstallDir());
    setRaw(REG_SZ, L"", 0);
    EXPECT_EQ(L"", GetOrxInstallDir());

    // 260 characters fill the buffer with no terminator. (The source runs on past
    // the stored bytes: Wine stores a terminator that directly follows them.)
    const std::wstring str261(261, L'd');
    setRaw(REG_SZ, str261.c_str(), 260 * sizeof(wchar_t));
    ASSERT_EQ(520u,
              ReadRaw(HKEY_LOCAL_MACHINE, View::Native, strInstall, L"InstallDir")->second.size());
    EXPECT_EQ(str261.substr(0, 260), GetOrxInstallDir());
    setRaw(REG_SZ, str261.c_str(), 261 * sizeof(wchar_t)); // one character too many
    EXPECT_EQ(L"", GetOrxInstallDir());
    const std::wstring str10000(10000, L'x');
    SetString(HKEY_LOCAL_MACHINE, View::Native, strInstall, L"InstallDir", str10000);
    EXPECT_EQ(L"", GetOrxInstallDir());

    const DWORD dwData = 0x00410041; // "AA" if it were read as text
    setRaw(REG_DWORD, &dwData, sizeof(dwData));
    EXPECT_EQ(L"", GetOrxInstallDir());
    setRaw(REG_BINARY, L"C:\\", 8);
    EXPECT_EQ(L"", GetOrxInstallDir());
}

TEST(CreateRegDWValue, CreatesTheUserKeyWhenMissing) {
    RegistryScope scope(HKEY_CURRENT_USER, {L"SOFTWARE\\QVX"});
    LoggingSession session;
    CreateRegDWValue(L"UninstallMode", 3);
    EXPECT_EQ(std::optional<DWORD>(3),
              ReadDword(HKEY_CURRENT_USER, View::Native, L"SOFTWARE\\QVX", L"UninstallMode"));
    EXPECT_EQ(Lines{}, session.Logged()); // reports nothing
}

TEST(CreateRegDWValue, OverwritesInAnExistingKeyAndKeepsTheRest) {
    RegistryScope scope(HKEY_CURRENT_USER, {L"SOFTWARE\\QVX"});
    SetString(HKEY_CURRENT_USER, View::Native, L"SOFTWARE\\QVX", L"UninstallMode", L"text");
    SetString(HKEY_CURRENT_USER, View::Native, L"SOFTWARE\\QVX", L"Other", L"kept");
    CreateKey(HKEY_CURRENT_USER, View::Native, L"SOFTWARE\\QVX\\Sub");
    LoggingSession session;
    CreateRegDWValue(L"UninstallMode", 1);
    const auto raw = ReadRaw(HKEY_CURRENT_USER, View::Native, L"SOFTWARE\\QVX", L"UninstallMode");
    ASSERT_TRUE(raw.has_value());
    EXPECT_EQ(static_cast<DWORD>(REG_DWORD), raw->first);
    EXPECT_EQ((std::vector<BYTE>{1, 0, 0, 0}), raw->second);
    EXPECT_EQ(L"kept", ReadString(HKEY_CURRENT_USER, View::Native, L"SOFTWARE\\QVX", L"Other"));
    EXPECT_TRUE(KeyExists(HKEY_CURRENT_USER, View::Native, L"SOFTWARE\\QVX\\Sub"));
    EXPECT_EQ(Lines{}, session.Logged());
}

TEST(RegistryKeyEraser, SplitsAtTheLastBackslash) {
    const RegistryKeyEraser trailing(HKEY_LOCAL_MACHINE, L"SOFTWARE\\QVX\\PN\\");
    EXPECT_EQ(L"SOFTWARE\\QVX\\PN", trailing.KeyPart());
    EXPECT_EQ(L"", trailing.LeafPart());
    const RegistryKeyEraser leaf(HKEY_CURRENT_USER, L"SOFTWARE\\ORX\\A4");
    EXPECT_EQ(L"SOFTWARE\\ORX", leaf.KeyPart());
    EXPECT_EQ(L"A4", leaf.LeafPart());
    EXPECT_EQ(HKEY_CURRENT_USER, leaf.Root());
}

TEST(RegistryKeyEraser, EnumSubKeysMergesBothViewsCaseSensitively) {
    RegistryScope scope(HKEY_LOCAL_MACHINE, {kTestKey});
    for (const wchar_t* szName : {L"A", L"B"}) {
        CreateKey(HKEY_LOCAL_MACHINE, View::Native, kTestKey + L"\\" + szName);
    }
    for (const wchar_t* szName : {L"b", L"B", L"C"}) { // "b" and "B" are one key within a view
        CreateKey(HKEY_LOCAL_MACHINE, View::Wow32, kTestKey + L"\\" + szName);
    }
    RegistryKeyEraser eraser(HKEY_LOCAL_MACHINE, (kTestKey + L"\\").c_str());
    eraser.EnumSubKeys();
    // Native names first; the 32-bit "b" differs from "B" only in case and is listed.
    EXPECT_EQ((Lines{L"A", L"B", L"b", L"C"}), eraser.Names());

    RegistryKeyEraser only32(HKEY_LOCAL_MACHINE, (kTestKey + L"\\B\\").c_str());
    CreateKey(HKEY_LOCAL_MACHINE, View::Wow32, kTestKey + L"\\b\\Deep");
    only32.EnumSubKeys();
    EXPECT_EQ(Lines{L"Deep"}, only32.Names());
}

TEST(RegistryKeyEraser, EnumValuesFallsBackToThe32BitViewOnlyWhenNativeHasNone) {
    RegistryScope scope(HKEY_LOCAL_MACHINE, {kTestKey});
    const std::wstring strLongName(2000, L'v'); // longer than the 520-character name buffer
    SetString(HKEY_LOCAL_MACHINE, View::Native, kTestKey, strLongName, L"x");
    SetDword(HKEY_LOCAL_MACHINE, View::Native, kTestKey, L"N2", 1);
    SetString(HKEY_LOCAL_MACHINE, View::Wow32, kTestKey, L"W1", L"x");
    RegistryKeyEraser eraser(HKEY_LOCAL_MACHINE, (kTestKey + L"\\").c_str());
    eraser.EnumValues();
    EXPECT_EQ(Sorted({strLongName, L"N2"}), Sorted(eraser.Names()));

    DeleteTree(HKEY_LOCAL_MACHINE, View::Native, kTestKey);
    eraser.EnumValues();
    EXPECT_EQ(Lines{L"W1"}, eraser.Names());

    // The unnamed default value counts as a value.
    DeleteTree(HKEY_LOCAL_MACHINE, View::Wow32, kTestKey);
    SetString(HKEY_LOCAL_MACHINE, View::Native, kTestKey, L"", L"default");
    eraser.EnumValues();
    EXPECT_EQ(Lines{L""}, eraser.Names());
}

TEST(RegistryKeyEraser, EachTreeRemovalTouchesOneView) {
    RegistryScope scope(HKEY_LOCAL_MACHINE, {kTestKey, kTestSibling});
    const std::wstring strTree = kTestKey + L"\\Tree";
    for (View view : kBothViews) {
        CreateKey(HKEY_LOCAL_MACHINE, view, strTree + L"\\A\\A1\\A11");
        CreateKey(HKEY_LOCAL_MACHINE, view, strTree + L"\\B");
        SetString(HKEY_LOCAL_MACHINE, view, strTree + L"\\A\\A1", L"v", L"x");
        CreateKey(HKEY_LOCAL_MACHINE, view, kTestKey + L"\\TreeSibling");
    }
    RegistryKeyEraser eraser(HKEY_LOCAL_MACHINE, (strTree + L"\\").c_str());
    EXPECT_TRUE(eraser.DeleteTree32(HKEY_LOCAL_MACHINE, strTree.c_str()));
    EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, View::Wow32, strTree));
    EXPECT_TRUE(KeyExists(HKEY_LOCAL_MACHINE, View::Native, strTree + L"\\A\\A1\\A11"));

    EXPECT_TRUE(eraser.DeleteTreeNative(HKEY_LOCAL_MACHINE, strTree.c_str()));
    for (View view : kBothViews) {
        EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, view, strTree)) << ViewName(view);
        EXPECT_TRUE(KeyExists(HKEY_LOCAL_MACHINE, view, kTestKey + L"\\TreeSibling"))
            << ViewName(view);
    }
    // Already gone counts as removed.
    EXPECT_TRUE(eraser.DeleteTree32(HKEY_LOCAL_MACHINE, strTree.c_str()));
    EXPECT_TRUE(eraser.DeleteTreeNative(HKEY_LOCAL_MACHINE, strTree.c_str()));
}

TEST(RegistryKeyEraser, UndeletableChildFailsAndEmptyPathIsRefused) {
    RegistryScope scope(HKEY_LOCAL_MACHINE, {kTestKey});
    const std::wstring strTree = kTestKey + L"\\Tree";
    CreateKey(HKEY_LOCAL_MACHINE, View::Native, strTree + L"\\Free");
    {
        LockedKey locked(HKEY_LOCAL_MACHINE, View::Native, strTree + L"\\Locked", L"DC");
        RegistryKeyEraser eraser(HKEY_LOCAL_MACHINE, L"");
        EXPECT_FALSE(eraser.DeleteTreeNative(HKEY_LOCAL_MACHINE, strTree.c_str()));
        EXPECT_TRUE(KeyExists(HKEY_LOCAL_MACHINE, View::Native, strTree + L"\\Locked"));
        EXPECT_EQ(L"", eraser.KeyPart());
        // The empty key part would name the hive itself.
        EXPECT_FALSE(eraser.DeleteTreeNative(HKEY_LOCAL_MACHINE, eraser.KeyPart().c_str()));
        EXPECT_FALSE(eraser.DeleteTree32(HKEY_LOCAL_MACHINE, eraser.KeyPart().c_str()));
    }
    EXPECT_TRUE(KeyExists(HKEY_LOCAL_MACHINE, View::Native, L"SOFTWARE\\Microsoft"));
}

TEST(DeleteVarenRegKey, EmptySubKeyInEitherViewKeepsTheKey) {
    RegistryScope scope(HKEY_LOCAL_MACHINE, {kTestKey});
    const std::wstring strPath = kTestKey + L"\\";
    for (View view : kBothViews) {
        DeleteTree(HKEY_LOCAL_MACHINE, View::Native, kTestKey);
        DeleteTree(HKEY_LOCAL_MACHINE, View::Wow32, kTestKey);
        CreateKey(HKEY_LOCAL_MACHINE, View::Native, kTestKey);
        CreateKey(HKEY_LOCAL_MACHINE, view, kTestKey + L"\\Empty");
        LoggingSession session;
        DeleteVarenRegKey(HKEY_LOCAL_MACHINE, strPath.c_str());
        EXPECT_EQ(Lines{L"Varen_CA DeleteVarenRegKey(), Varen key has sub keys and is not empty "
                        L"thus it will "
                        L"not be deleted SOFTWARE\\VarenRegTest\\ \n"},
                  session.Logged())
            << ViewName(view);
        EXPECT_TRUE(KeyExists(HKEY_LOCAL_MACHINE, view, kTestKey + L"\\Empty")) << ViewName(view);
        EXPECT_TRUE(KeyExists(HKEY_LOCAL_MACHINE, View::Native, kTestKey)) << ViewName(view);
    }
}

TEST(DeleteVarenRegKey, SubKeysAreLookedForBeforeValues) {
    RegistryScope scope(HKEY_LOCAL_MACHINE, {kTestKey});
    SetDword(HKEY_LOCAL_MACHINE, View::Native, kTestKey, L"Value", 0);
    CreateKey(HKEY_LOCAL_MACHINE, View::Wow32, kTestKey + L"\\Sub");
    LoggingSession session;
    DeleteVarenRegKey(HKEY_LOCAL_MACHINE, (kTestKey + L"\\").c_str());
    EXPECT_EQ(Lines{L"Varen_CA DeleteVarenRegKey(), Varen key has sub keys and is not empty thus "
                    L"it will not be deleted SOFTWARE\\VarenRegTest\\ \n"},
              session.Logged());
    EXPECT_TRUE(ValueExists(HKEY_LOCAL_MACHINE, View::Native, kTestKey, L"Value"));
    EXPECT_TRUE(KeyExists(HKEY_LOCAL_MACHINE, View::Wow32, kTestKey + L"\\Sub"));
}

TEST(DeleteVarenRegKey, ValueInEitherViewKeepsTheKey) {
    RegistryScope scope(HKEY_LOCAL_MACHINE, {kTestKey});
    const std::wstring strPath = kTestKey + L"\\";
    for (View view : kBothViews) {
        DeleteTree(HKEY_LOCAL_MACHINE, View::Native, kTestKey);
        DeleteTree(HKEY_LOCAL_MACHINE, View::Wow32, kTestKey);
        CreateKey(HKEY_LOCAL_MACHINE, View::Native, kTestKey);
        CreateKey(HKEY_LOCAL_MACHINE, View::Wow32, kTestKey);
        SetDword(HKEY_LOCAL_MACHINE, view, kTestKey, L"Value", 0);
        LoggingSession session;
        DeleteVarenRegKey(HKEY_LOCAL_MACHINE, strPath.c_str());
        EXPECT_EQ(
            Lines{
                L"Varen_CA DeleteVarenRegKey(), Varen key is not empty thus it will not be deleted "
                L"SOFTWARE\\VarenRegTest\\ \n"},
            session.Logged())
            << ViewName(view);
        for (View other : kBothViews) {
            EXPECT_TRUE(KeyExists(HKEY_LOCAL_MACHINE, other, kTestKey))
                << ViewName(view) << ViewName(other);
        }
    }
}

TEST(DeleteVarenRegKey, EmptyKeyGoesFromBothViews) {
    RegistryScope scope(HKEY_LOCAL_MACHINE, {kTestKey, kTestSibling});
    for (View view : kBothViews) {
        CreateKey(HKEY_LOCAL_MACHINE, view, kTestKey + L"\\Empty");
        CreateKey(HKEY_LOCAL_MACHINE, view, kTestKey + L"\\EmptySibling");
    }
    LoggingSession session;
    DeleteVarenRegKey(HKEY_LOCAL_MACHINE, (kTestKey + L"\\Empty\\").c_str());
    EXPECT_EQ(Lines{L"Varen_CA DeleteVarenRegKey(), key deleted successfully "
                    L"SOFTWARE\\VarenRegTest\\Empty\\ \n"},
              session.Logged());
    for (View view : kBothViews) {
        EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, view, kTestKey + L"\\Empty")) << ViewName(view);
        EXPECT_TRUE(KeyExists(HKEY_LOCAL_MACHINE, view, kTestKey + L"\\EmptySibling"))
            << ViewName(view);
    }
}

TEST(DeleteVarenRegKey, KeyOnlyIn32BitViewAndMissingKey) {
    RegistryScope scope(HKEY_LOCAL_MACHINE, {kTestKey});
    CreateKey(HKEY_LOCAL_MACHINE, View::Wow32, kTestKey + L"\\Only32");
    CreateKey(HKEY_LOCAL_MACHINE, View::Native, kTestKey + L"\\Only32Sibling");
    LoggingSession session;
    DeleteVarenRegKey(HKEY_LOCAL_MACHINE, (kTestKey + L"\\Only32\\").c_str());
    DeleteVarenRegKey(HKEY_LOCAL_MACHINE, (kTestKey + L"\\Missing\\").c_str());
    EXPECT_EQ((Lines{L"Varen_CA DeleteVarenRegKey(), key deleted successfully "
                     L"SOFTWARE\\VarenRegTest\\Only32\\ \n",
                     L"Varen_CA DeleteVarenRegKey(), key deleted successfully "
                     L"SOFTWARE\\VarenRegTest\\Missing\\ \n"}),
              session.Logged());
    EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, View::Wow32, kTestKey + L"\\Only32"));
    EXPECT_TRUE(KeyExists(HKEY_LOCAL_MACHINE, View::Native, kTestKey + L"\\Only32Sibling"));
}

TEST(DeleteVarenRegKey, PathWithoutTrailingBackslashActsOnTheParent) {
    RegistryScope scope(HKEY_LOCAL_MACHINE, {kTestKey});
    CreateKey(HKEY_LOCAL_MACHINE, View::Native, kTestKey + L"\\Parent");
    CreateKey(HKEY_LOCAL_MACHINE, View::Native, kTestKey + L"\\ParentSibling");
    LoggingSession session;
    DeleteVarenRegKey(HKEY_LOCAL_MACHINE, (kTestKey + L"\\Parent\\NoSuchLeaf").c_str());
    EXPECT_EQ(Lines{L"Varen_CA DeleteVarenRegKey(), key deleted successfully "
                    L"SOFTWARE\\VarenRegTest\\Parent\\NoSuchLeaf \n"},
              session.Logged());
    EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, View::Native, kTestKey + L"\\Parent"));
    EXPECT_TRUE(KeyExists(HKEY_LOCAL_MACHINE, View::Native, kTestKey + L"\\ParentSibling"));
}

TEST(DeletePackageKey, RemovesThePackageInBothViewsAndClearsTheBrandValues) {
    RegistryScope hklm(HKEY_LOCAL_MACHINE, {L"SOFTWARE\\ORX Technologies"});
    RegistryScope hkcu(HKEY_CURRENT_USER, {L"SOFTWARE\\QVX"});
    for (View view : kBothViews) {
        SetDword(HKEY_LOCAL_MACHINE, view, kPackages + L"\\" + kPackageA, L"iPackageLevel", 1);
        CreateKey(HKEY_LOCAL_MACHINE, view, kPackages + L"\\" + kPackageA + L"\\Sub\\Deeper");
        SetDword(HKEY_LOCAL_MACHINE, view, kPackages + L"\\" + kPackageB, L"iPackageLevel", 1);
    }
    SetDword(HKEY_CURRENT_USER, View::Native, L"SOFTWARE\\QVX", L"UninstallMode", 3);
    SetString(HKEY_CURRENT_USER, View::Native, L"SOFTWARE\\QVX", L"Whatever", L"x");
    SetString(HKEY_CURRENT_USER, View::Native, L"SOFTWARE\\QVX", L" ", L"blank name");
    SetString(HKEY_CURRENT_USER, View::Native, L"SOFTWARE\\QVX", L"", L"default");
    SetString(HKEY_CURRENT_USER, View::Native, L"SOFTWARE\\QVX\\Sub", L"Inner", L"x");

    LoggingSession session;
    EXPECT_EQ(1, DeletePackageKey(kPackageA));
    EXPECT_EQ(
        (Lines{
            L"Varen_CA DeletePackageKey(), Key to delete is SOFTWARE\\ORX Technologies\\Install\\"
            L"Packages\\W-05-000U-000-003-002-001-00-01\\ \n",
            L"Varen_CA DeletePackageKey(), SOFTWARE\\ORX Technologies\\Install\\Packages\\"
            L"W-05-000U-000-003-002-001-00-01\\ key should be deleted \n",
            L"Varen_CA DeletePackageKey(), SOFTWARE\\QVX\\ Attempted to delete key \n"}),
        session.Logged());
    for (View view : kBothViews) {
        EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, view, kPackages + L"\\" + kPackageA))
            << ViewName(view);
        EXPECT_TRUE(KeyExists(HKEY_LOCAL_MACHINE, view, kPackages + L"\\" + kPackageB))
            << ViewName(view);
    }
    EXPECT_FALSE(ValueExists(HKEY_CURRENT_USER, View::Native, L"SOFTWARE\\QVX", L"UninstallMode"));
    EXPECT_FALSE(ValueExists(HKEY_CURRENT_USER, View::Native, L"SOFTWARE\\QVX", L"Whatever"));
    EXPECT_EQ(L"blank name", ReadString(HKEY_CURRENT_USER, View::Native, L"SOFTWARE\\QVX", L" "));
    EXPECT_EQ(L"default", ReadString(HKEY_CURRENT_USER, View::Native, L"SOFTWARE\\QVX", L""));
    EXPECT_EQ(L"x", ReadString(HKEY_CURRENT_USER, View::Native, L"SOFTWARE\\QVX\\Sub", L"Inner"));
}

TEST(DeletePackageKey, WithoutBrandKeyAndWithNamesThatAreNoPackage) {
    RegistryScope hklm(HKEY_LOCAL_MACHINE, {L"SOFTWARE\\ORX Technologies"});
    RegistryScope hkcu(HKEY_CURRENT_USER, {L"SOFTWARE\\QVX"});
    for (View view : kBothViews) {
        CreateKey(HKEY_LOCAL_MACHINE, view, kPackages + L"\\" + kPackageB + L"\\Sub");
    }
    LoggingSession session;
    EXPECT_EQ(1, DeletePackageKey(L"")); // would name "Packages" itself
    EXPECT_EQ(1, DeletePackageKey(L"\\"));
    EXPECT_EQ(1, DeletePackageKey(kPackageA)); // not there
    EXPECT_EQ(
        (Lines{
            L"Varen_CA DeletePackageKey(), Key to delete is SOFTWARE\\ORX Technologies\\Install\\"
            L"Packages\\\\ \n",
            L"Varen_CA DeletePackageKey(), SOFTWARE\\ORX Technologies\\Install\\Packages\\\\ key "
            L"should be deleted \n",
            L"Varen_CA DeletePackageKey(), Key to delete is SOFTWARE\\ORX Technologies\\Install\\"
            L"Packages\\\\\\ \n",
            L"Varen_CA DeletePackageKey(), SOFTWARE\\ORX Technologies\\Install\\Packages\\\\\\ key "
            L"should be deleted \n",
            L"Varen_CA DeletePackageKey(), Key to delete is SOFTWARE\\ORX Technologies\\Install\\"
            L"Packages\\W-05-000U-000-003-002-001-00-01\\ \n",
            L"Varen_CA DeletePackageKey(), SOFTWARE\\ORX Technologies\\Install\\Packages\\"
            L"W-05-000U-000-003-002-001-00-01\\ key should be deleted \n"}),
        session.Logged());
    for (View view : kBothViews) {
        EXPECT_TRUE(KeyExists(HKEY_LOCAL_MACHINE, view, kPackages + L"\\" + kPackageB + L"\\Sub"))
            << ViewName(view);
    }
    EXPECT_FALSE(KeyExists(HKEY_CURRENT_USER, View::Native, L"SOFTWARE\\QVX"));
}

TEST(DeleteNamedValues, IgnoresTheNameAndSparesDefaultAndBlank) {
    RegistryScope scope(HKEY_CURRENT_USER, {kTestKey});
    const std::wstring strLongName(3000, L'n');
    for (const std::wstring& strName :
         {std::wstring(L"Keep"), std::wstring(L"Other"), strLongName, std::wstring(L" "),
          std::wstring(L""), std::wstring(L"  ")}) {
        SetString(HKEY_CURRENT_USER, View::Native, kTestKey, strName, L"x");
    }
    SetString(HKEY_CURRENT_USER, View::Native, kTestKey + L"\\Child", L"Keep", L"x");
    HKEY hKey = nullptr;
    ASSERT_EQ(ERROR_SUCCESS,
              RegOpenKeyExW(HKEY_CURRENT_USER, kTestKey.c_str(), 0, KEY_ALL_ACCESS, &hKey));
    DeleteNamedValues(hKey, L"Keep");
    RegCloseKey(hKey);
    for (const std::wstring& strName :
         {std::wstring(L"Keep"), std::wstring(L"Other"), strLongName, std::wstring(L"  ")}) {
        EXPECT_FALSE(ValueExists(HKEY_CURRENT_USER, View::Native, kTestKey, strName))
            << strName.size();
    }
    EXPECT_TRUE(ValueExists(HKEY_CURRENT_USER, View::Native, kTestKey, L" "));
    EXPECT_TRUE(ValueExists(HKEY_CURRENT_USER, View::Native, kTestKey, L""));
    EXPECT_TRUE(ValueExists(HKEY_CURRENT_USER, View::Native, kTestKey + L"\\Child", L"Keep"));
}

TEST(DeleteRunValue, DeletesTheNativeRunValueOnly) {
    const std::wstring strRun = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run";
    for (View view : kBothViews) {
        SetString(HKEY_LOCAL_MACHINE, view, strRun, L"VarenRunTest", L"x.exe");
        SetString(HKEY_LOCAL_MACHINE, view, strRun, L"VarenRunTestSibling", L"y.exe");
    }
    DeleteRunValue(L"VarenRunTest");
    DeleteRunValue(L"VarenRunTestMissing");
    EXPECT_FALSE(ValueExists(HKEY_LOCAL_MACHINE, View::Native, strRun, L"VarenRunTest"));
    EXPECT_TRUE(ValueExists(HKEY_LOCAL_MACHINE, View::Native, strRun, L"VarenRunTestSibling"));
    EXPECT_TRUE(ValueExists(HKEY_LOCAL_MACHINE, View::Wow32, strRun, L"VarenRunTest"));
    for (View view : kBothViews) {
        HKEY hKey = nullptr;
        ASSERT_EQ(ERROR_SUCCESS, RegOpenKeyExW(HKEY_LOCAL_MACHINE, strRun.c_str(), 0,
                                               KEY_ALL_ACCESS | ViewFlag(view), &hKey));
        RegDeleteValueW(hKey, L"VarenRunTest");
        RegDeleteValueW(hKey, L"VarenRunTestSibling");
        RegCloseKey(hKey);
    }
}

namespace {

// A path buffer of kcchLongPath characters followed by guard characters that no
// write may reach.
struct LongPathBuffer {
    static constexpr size_t kcchGuard = 16;
    wchar_t sz[kcchLongPath + kcchGuard];
    explicit LongPathBuffer(const std::wstring& strPath) {
        std::fill(std::begin(sz), std::end(sz), L'#');
        std::copy(strPath.begin(), strPath.end(), sz);
        sz[strPath.size()] = L'\0';
    }
    bool GuardIntact() const {
        return std::all_of(sz + kcchLongPath, std::end(sz), [](wchar_t ch) { return ch == L'#'; });
    }
};

} // namespace

TEST(DeleteHklmKeyTree32, RemovesThe32BitTreeOnly) {
    RegistryScope scope(HKEY_LOCAL_MACHINE, {kTestKey});
    const std::wstring strTree = kTestKey + L"\\Tree";
    for (View view : kBothViews) {
        CreateKey(HKEY_LOCAL_MACHINE, view, strTree + L"\\A\\A1");
        CreateKey(HKEY_LOCAL_MACHINE, view, strTree + L"\\A\\A2\\A21");
        CreateKey(HKEY_LOCAL_MACHINE, view, strTree + L"\\B");
        CreateKey(HKEY_LOCAL_MACHINE, view, kTestKey + L"\\TreeSibling");
    }
    LongPathBuffer path(strTree);
    // The root argument is not used: the walk is always under HKEY_LOCAL_MACHINE.
    EXPECT_EQ(1, DeleteHklmKeyTree32(HKEY_CURRENT_USER, path.sz));
    EXPECT_EQ(strTree, path.sz); // the buffer holds the path again
    EXPECT_TRUE(path.GuardIntact());
    EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, View::Wow32, strTree));
    EXPECT_TRUE(KeyExists(HKEY_LOCAL_MACHINE, View::Wow32, kTestKey + L"\\TreeSibling"));
    EXPECT_TRUE(KeyExists(HKEY_LOCAL_MACHINE, View::Native, strTree + L"\\A\\A2\\A21"));

    LongPathBuffer trailing(strTree + L"\\");
    CreateKey(HKEY_LOCAL_MACHINE, View::Wow32, strTree + L"\\C\\C1");
    EXPECT_EQ(1, DeleteHklmKeyTree32(HKEY_LOCAL_MACHINE, trailing.sz));
    EXPECT_EQ(strTree + L"\\", trailing.sz);
    EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, View::Wow32, strTree));

    LongPathBuffer missing(kTestKey + L"\\Missing");
    EXPECT_EQ(1, DeleteHklmKeyTree32(HKEY_LOCAL_MACHINE, missing.sz));
}

TEST(DeleteHklmKeyTree32, UndeletableChildGivesZeroAndLeavesTheKey) {
    RegistryScope scope(HKEY_LOCAL_MACHINE, {kTestKey});
    const std::wstring strTree = kTestKey + L"\\Tree";
    CreateKey(HKEY_LOCAL_MACHINE, View::Wow32, strTree + L"\\Free");
    LockedKey locked(HKEY_LOCAL_MACHINE, View::Wow32, strTree + L"\\Locked", L"DC");
    LongPathBuffer path(strTree);
    EXPECT_EQ(0, DeleteHklmKeyTree32(HKEY_LOCAL_MACHINE, path.sz));
    EXPECT_EQ(strTree, path.sz);
    EXPECT_TRUE(KeyExists(HKEY_LOCAL_MACHINE, View::Wow32, strTree + L"\\Locked"));
}

namespace {

// While it lives, this program's RegOpenKeyExW fails with ERROR_ACCESS_DENIED
// for the first cDenied opens of strPath under HKEY_LOCAL_MACHINE, and counts
// every open of that path; all other opens go through.
class DeniedOpens {
  public:
    DeniedOpens(std::wstring strPath, int cDenied)
        : m_patch(GetModuleHandleW(nullptr), "advapi32.dll", "RegOpenKeyExW",
                  reinterpret_cast<void*>(&Open)) {
        s_strPath = std::move(strPath);
        s_cDenied = cDenied;
        s_cOpens = 0;
        s_pfnReal = reinterpret_cast<OpenKey>(m_patch.Original());
    }
    static int Opens() { return s_cOpens; }

  private:
    using OpenKey = LSTATUS(WINAPI*)(HKEY, LPCWSTR, DWORD, REGSAM, PHKEY);
    static LSTATUS WINAPI Open(HKEY hKey, LPCWSTR szSubKey, DWORD dwOptions, REGSAM samDesired,
                               PHKEY phkResult) {
        if (hKey == HKEY_LOCAL_MACHINE && szSubKey != nullptr && s_strPath == szSubKey &&
            ++s_cOpens <= s_cDenied) {
            return ERROR_ACCESS_DENIED;
        }
        return s_pfnReal(hKey, szSubKey, dwOptions, samDesired, phkResult);
    }
    ImportPatch m_patch;
    static inline std::wstring s_strPath;
    static inline int s_cDenied = 0;
    static inline int s_cOpens = 0;
    static inline OpenKey s_pfnReal = nullptr;
};

} // namespace

TEST(DeleteHklmKeyTree32, OpenDeniedOnceIsTriedOnceMore) {
    RegistryScope scope(HKEY_LOCAL_MACHINE, {kTestKey});
    const std::wstring strTree = kTestKey + L"\\Tree";
    CreateKey(HKEY_LOCAL_MACHINE, View::Wow32, strTree + L"\\Child");
    CreateKey(HKEY_LOCAL_MACHINE, View::Wow32, kTestKey + L"\\TreeSibling");
    {
        DeniedOpens denied(strTree, 1);
        LongPathBuffer path(strTree);
        EXPECT_EQ(1, DeleteHklmKeyTree32(HKEY_LOCAL_MACHINE, path.sz));
        EXPECT_EQ(2, DeniedOpens::Opens());
    }
    EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, View::Wow32, strTree));
    EXPECT_TRUE(KeyExists(HKEY_LOCAL_MACHINE, View::Wow32, kTestKey + L"\\TreeSibling"));
    {
        // Denied, then not found on the second try: already gone.
        DeniedOpens denied(strTree, 1);
        LongPathBuffer path(strTree);
        EXPECT_EQ(1, DeleteHklmKeyTree32(HKEY_LOCAL_MACHINE, path.sz));
        EXPECT_EQ(2, DeniedOpens::Opens());
    }
}

TEST(DeleteHklmKeyTree32, OpenDeniedTwiceGivesZeroAndLeavesTheKey) {
    RegistryScope scope(HKEY_LOCAL_MACHINE, {kTestKey});
    const std::wstring strTree = kTestKey + L"\\Tree";
    CreateKey(HKEY_LOCAL_MACHINE, View::Wow32, strTree + L"\\Child");
    {
        DeniedOpens denied(strTree, 100);
        LongPathBuffer path(strTree);
        EXPECT_EQ(0, DeleteHklmKeyTree32(HKEY_LOCAL_MACHINE, path.sz));
        EXPECT_EQ(2, DeniedOpens::Opens()); // one more try, no more
        EXPECT_EQ(strTree, path.sz);
    }
    EXPECT_TRUE(KeyExists(HKEY_LOCAL_MACHINE, View::Wow32, strTree + L"\\Child"));
}

TEST(DeleteHklmKeyTree32, NeverWritesPastTheBuffer) {
    RegistryScope scope(HKEY_LOCAL_MACHINE, {kTestKey});
    // 21 + 1 + 250 + 1 + 239 = 512 characters: room for "\" and 6 more, not for a
    // child of 10.
    const std::wstring strTree =
        kTestKey + L"\\" + std::wstring(250, L'a') + L"\\" + std::wstring(239, L'b');
    ASSERT_EQ(512u, strTree.size());
    CreateKey(HKEY_LOCAL_MACHINE, View::Wow32, strTree + L"\\" + std::wstring(10, L'c'));
    LongPathBuffer path(strTree);
    EXPECT_EQ(0, DeleteHklmKeyTree32(HKEY_LOCAL_MACHINE, path.sz));
    EXPECT_EQ(strTree, path.sz);
    EXPECT_TRUE(path.GuardIntact());
    EXPECT_TRUE(
        KeyExists(HKEY_LOCAL_MACHINE, View::Wow32, strTree + L"\\" + std::wstring(10, L'c')));

    // A path that fills all 520 characters without a terminator is not walked.
    LongPathBuffer unterminated(L"");
    std::fill(unterminated.sz, unterminated.sz + kcchLongPath, L'k');
    EXPECT_EQ(0, DeleteHklmKeyTree32(HKEY_LOCAL_MACHINE, unterminated.sz));
    EXPECT_TRUE(unterminated.GuardIntact());
    LongPathBuffer empty(L"");
    EXPECT_EQ(0, DeleteHklmKeyTree32(HKEY_LOCAL_MACHINE, empty.sz));
}

namespace {

// QueryKey on hRoot\strPath (opened for reading), appending to vecResult.
Lines QueriedKeys(HKEY hRoot, const std::wstring& strPath, Lines vecResult = {}) {
    UniqueRegKey hKey;
    EXPECT_EQ(ERROR_SUCCESS, RegOpenKeyExW(hRoot, strPath.c_str(), 0, KEY_READ, hKey.put()));
    QueryKey(hKey.get(), hRoot, strPath, vecResult);
    return vecResult;
}

} // namespace

TEST(QueryKey, ListsValuesAndKeysDepthFirst) {
    RegistryScope scope(HKEY_CURRENT_USER, {kTestKey});
    SetString(HKEY_CURRENT_USER, View::Native, kTestKey, L"Top", L"x");
    SetString(HKEY_CURRENT_USER, View::Native, kTestKey + L"\\A", L"InA", L"x");
    CreateKey(HKEY_CURRENT_USER, View::Native, kTestKey + L"\\A\\A1");
    CreateKey(HKEY_CURRENT_USER, View::Native, kTestKey + L"\\B");
    LoggingSession session;
    const Lines vecResult = QueriedKeys(HKEY_CURRENT_USER, kTestKey);
    EXPECT_EQ((Lines{L"HKEY_CURRENT_USER\\SOFTWARE\\VarenRegTest\\\"Top\"",
                     L"HKEY_CURRENT_USER\\SOFTWARE\\VarenRegTest\\A",
                     L"HKEY_CURRENT_USER\\SOFTWARE\\VarenRegTest\\A\\\"InA\"",
                     L"HKEY_CURRENT_USER\\SOFTWARE\\VarenRegTest\\A\\A1",
                     L"HKEY_CURRENT_USER\\SOFTWARE\\VarenRegTest\\B"}),
              vecResult);
    EXPECT_EQ(Lines{}, session.Logged());
}

// Sub-key names are read into a buffer of 255 characters, terminator included:
// a name of 255 characters (the registry's longest) does not fit and that key is
// passed over with all below it, silently.
TEST(QueryKey, SubKeyNameOf255CharactersIsPassedOver) {
    RegistryScope scope(HKEY_CURRENT_USER, {kTestKey});
    const std::wstring str254(254, L'k');
    const std::wstring str255(255, L'm');
    CreateKey(HKEY_CURRENT_USER, View::Native, kTestKey + L"\\" + str254);
    CreateKey(HKEY_CURRENT_USER, View::Native, kTestKey + L"\\" + str255 + L"\\Below");
    LoggingSession session;
    const Lines vecResult = QueriedKeys(HKEY_CURRENT_USER, kTestKey);
    EXPECT_EQ(Lines{L"HKEY_CURRENT_USER\\" + kTestKey + L"\\" + str254}, vecResult);
    EXPECT_EQ(Lines{}, session.Logged());
}

TEST(QueryKey, UnreadableSubKeyIsLoggedAndSkipped) {
    RegistryScope scope(HKEY_LOCAL_MACHINE, {kTestKey});
    CreateKey(HKEY_LOCAL_MACHINE, View::Native, kTestKey + L"\\A\\Hidden");
    CreateKey(HKEY_LOCAL_MACHINE, View::Native, kTestKey + L"\\C");
    LockedKey locked(HKEY_LOCAL_MACHINE, View::Native, kTestKey + L"\\A", L"KR");
    LoggingSession session;
    const Lines vecResult = QueriedKeys(HKEY_LOCAL_MACHINE, kTestKey, {L"earlier entry"});
    EXPECT_EQ((Lines{L"earlier entry", L"HKEY_LOCAL_MACHINE\\SOFTWARE\\VarenRegTest\\A",
                     L"HKEY_LOCAL_MACHINE\\SOFTWARE\\VarenRegTest\\C"}),
              vecResult);
    EXPECT_EQ(Lines{L"QueryKey: HKEY_LOCAL_MACHINE\\SOFTWARE\\VarenRegTest---------hkey is "
                    L"NULL---------------A"},
              session.Logged());
}

namespace {

// What the code under test prints to standard output while fn runs.
template <typename Fn>
std::string CapturedStdout(Fn fn) {
    wchar_t szTemp[MAX_PATH] = {};
    GetTempPathW(MAX_PATH, szTemp);
    const std::wstring strFile = std::wstring(szTemp) + L"varen_stdout_" + NewGuid() + L".txt";
    fflush(stdout);
    const int fdSaved = _dup(_fileno(stdout));
    const int fdFile = _wopen(strFile.c_str(), _O_CREAT | _O_TRUNC | _O_WRONLY | _O_TEXT, 0600);
    _dup2(fdFile, _fileno(stdout));
    fn();
    fflush(stdout);
    _dup2(fdSaved, _fileno(stdout));
    _close(fdFile);
    _close(fdSaved);
    std::ostringstream text;
    text << std::ifstream(strFile.c_str(), std::ios::binary).rdbuf();
    DeleteFileW(strFile.c_str());
    std::string strText = text.str();
    strText.erase(std::remove(strText.begin(), strText.end(), '\r'), strText.end());
    return strText;
}

// The allowed ACEs of a key's DACL as (SID text, access mask), in order.
std::vector<std::pair<std::wstring, ACCESS_MASK>> AllowedAces(const std::wstring& strPath) {
    std::vector<std::pair<std::wstring, ACCESS_MASK>> aces;
    HKEY hKey = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, strPath.c_str(), 0, READ_CONTROL | KEY_WOW64_64KEY,
                      &hKey) != ERROR_SUCCESS) {
        return aces;
    }
    PACL pDacl = nullptr;
    PSECURITY_DESCRIPTOR pDescriptor = nullptr;
    if (GetSecurityInfo(hKey, SE_REGISTRY_KEY, DACL_SECURITY_INFORMATION, nullptr, nullptr, &pDacl,
                        nullptr, &pDescriptor) == ERROR_SUCCESS &&
        pDacl != nullptr) {
        for (DWORD iAce = 0; iAce < pDacl->AceCount; ++iAce) {
            void* pAce = nullptr;
            if (GetAce(pDacl, iAce, &pAce) &&
                static_cast<ACE_HEADER*>(pAce)->AceType == ACCESS_ALLOWED_ACE_TYPE) {
                auto* pAllowed = static_cast<ACCESS_ALLOWED_ACE*>(pAce);
                LPWSTR szSid = nullptr;
                ConvertSidToStringSidW(&pAllowed->SidStart, &szSid);
                aces.emplace_back(szSid, pAllowed->Mask);
                LocalFree(szSid);
            }
        }
    }
    LocalFree(pDescriptor);
    RegCloseKey(hKey);
    return aces;
}

} // namespace

TEST(CreateKeyWithAdminAcl, CreatesA64BitKeyForEveryoneAndAdministrators) {
    RegistryScope scope(HKEY_LOCAL_MACHINE, {kTestKey});
    const std::wstring strPath = kTestKey + L"\\Acl";
    CreateKey(HKEY_LOCAL_MACHINE, View::Native, kTestKey + L"\\AclSibling");
    const std::string strOut = CapturedStdout([&] { CreateKeyWithAdminAcl(strPath.c_str()); });
    EXPECT_EQ("RegCreateKeyEx result 0\n", strOut);
    EXPECT_TRUE(KeyExists(HKEY_LOCAL_MACHINE, View::Native, strPath));
    EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, View::Wow32, strPath));
    EXPECT_TRUE(KeyExists(HKEY_LOCAL_MACHINE, View::Native, kTestKey + L"\\AclSibling"));
    const std::vector<std::pair<std::wstring, ACCESS_MASK>> expected = {
        {L"S-1-1-0", KEY_ALL_ACCESS}, {L"S-1-5-32-544", KEY_ALL_ACCESS}};
    // Wine ignores the security descriptor given to RegCreateKeyExW and gives
    // every new key its default access list; Windows applies it.
    if (!RunningUnderWine()) {
        EXPECT_EQ(expected, AllowedAces(strPath));
    }
}

TEST(CreateKeyWithAdminAcl, PrintsTheCreateResultWhenTheKeyCannotBeMade) {
    RegistryScope scope(HKEY_LOCAL_MACHINE, {kTestKey});
    // A path that starts with a backslash is no valid key name (ERROR_BAD_PATHNAME).
    const std::string strOut =
        CapturedStdout([&] { CreateKeyWithAdminAcl((L"\\" + kTestKey).c_str()); });
    EXPECT_EQ("RegCreateKeyEx result 161\n", strOut);
    EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, View::Native, kTestKey));
}
