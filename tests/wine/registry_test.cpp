// The registry helpers, called directly with g_hInstall set to a real session,
// against keys arranged in both registry views.
#include "runtime/session.h"
#include "system/registry.h"
#include "tests/support/registry_support.h"
#include "tests/support/session_support.h"
#include "tests/support/standin_support.h"

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

const HKEY kHklm = HKEY_LOCAL_MACHINE;
const HKEY kHkcu = HKEY_CURRENT_USER;
const std::wstring kTestKey = L"SOFTWARE\\VarenRegTest";
const std::wstring kTree = kTestKey + L"\\Tree";
const std::wstring kPackages = L"SOFTWARE\\ORX Technologies\\Install\\Packages";
const std::wstring kQvx = L"SOFTWARE\\QVX";
const std::wstring kPackageA = L"W-05-000U-000-003-002-001-00-01";
const std::wstring kPackageB = L"W-05-000U-000-003-002-001-00-02";

// A real session whose handle the helpers log through.
class LoggingSession {
  public:
    LoggingSession() { g_hInstall = m_session.Handle(); }
    ~LoggingSession() { g_hInstall = 0; }
    Lines Logged() const { return m_session.Lines(); }

  private:
    ActionSession m_session;
};

// A key with a sub-key whose access list denies szDenied (SDDL rights) to everyone
// while it lives. Denying "DC" fails every KEY_ALL_ACCESS open and the sub-key
// keeps the key from being deleted: no removal can take it, under Wine (which
// does not check DELETE rights on keys) as on Windows.
class LockedKey {
  public:
    LockedKey(HKEY hRoot, View view, std::wstring strPath, const wchar_t* szDenied)
        : m_hRoot(hRoot), m_view(view), m_strPath(std::move(strPath)) {
        CreateKey(m_hRoot, m_view, m_strPath + L"\\Inner");
        SetAcl((std::wstring(L"D:(D;;") + szDenied + L";;;WD)(A;;KA;;;WD)").c_str());
    }
    ~LockedKey() { SetAcl(L"D:(A;;KA;;;WD)"); } // open again, for the scope to remove

  private:
    void SetAcl(const wchar_t* szSddl) const {
        PSECURITY_DESCRIPTOR pDescriptor = nullptr;
        ASSERT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorW(szSddl, SDDL_REVISION_1,
                                                                         &pDescriptor, nullptr));
        HKEY hKey = nullptr;
        ASSERT_EQ(ERROR_SUCCESS, RegOpenKeyExW(m_hRoot, m_strPath.c_str(), 0,
                                               WRITE_DAC | ViewFlag(m_view), &hKey));
        EXPECT_EQ(ERROR_SUCCESS, RegSetKeySecurity(hKey, DACL_SECURITY_INFORMATION, pDescriptor));
        RegCloseKey(hKey);
        LocalFree(pDescriptor);
    }
    HKEY m_hRoot;
    View m_view;
    std::wstring m_strPath;
};

std::vector<std::wstring> Sorted(std::vector<std::wstring> names) {
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace

TEST(Platform, SixtyFourBitProcessOnSixtyFourBitWindows) {
    const FARPROC pfnExpected = GetProcAddress(GetModuleHandleW(L"kernel32"), "IsWow64Process");
    ASSERT_NE(nullptr, pfnExpected);
    EXPECT_EQ(reinterpret_cast<void*>(pfnExpected), reinterpret_cast<void*>(g_pfnIsWow64Process));
    EXPECT_FALSE(IsRunningUnderWow64());
    EXPECT_TRUE(Is64BitWindows());
    EXPECT_EQ(L"BIN64", GetPlatformBinFolder());
}

TEST(GetOrxInstallDir, ReadsTheNativeStringSafelyOrGivesEmpty) {
    const std::wstring strInstall = L"SOFTWARE\\ORX Technologies\\Install";
    RegistryScope scope(kHklm, {L"SOFTWARE\\ORX Technologies"});
    EXPECT_EQ(L"", GetOrxInstallDir()); // no key
    SetString(kHklm, View::Wow32, strInstall, L"InstallDir", L"C:\\Wow32\\");
    EXPECT_EQ(L"", GetOrxInstallDir()); // the 32-bit view is not read
    CreateKey(kHklm, View::Native, strInstall);
    EXPECT_EQ(L"", GetOrxInstallDir()); // no value

    // 261 characters, so that no NUL follows the 260 stored (Wine would store it too).
    const std::wstring str261(261, L'd');
    const std::wstring str10000(10000, L'x');
    const DWORD dwAsText = 0x00410041; // "AA" if it were read as text
    const struct {
        DWORD dwType;
        const void* pData;
        DWORD cbData;
        std::wstring strExpected;
    } kCases[] = {
        {REG_SZ, L"C:\\ORX\\", 16, L"C:\\ORX\\"},
        {REG_EXPAND_SZ, L"%ProgramFiles%", 30, L"%ProgramFiles%"}, // not expanded
        {REG_SZ, L"C:\\ORXzzz", 12, L"C:\\ORX"},                   // no terminator stored
        {REG_SZ, L"C:\\ORX", 7, L"C:\\"},                          // the half character is dropped
        {REG_SZ, L"", 0, L""},
        {REG_SZ, str261.c_str(), 520, str261.substr(0, 260)}, // fills the buffer, no terminator
        {REG_SZ, str261.c_str(), 522, L""},                   // one character too many
        {REG_SZ, str10000.c_str(), 20002, L""},
        {REG_DWORD, &dwAsText, 4, L""},
        {REG_BINARY, L"C:\\", 8, L""},
    };
    for (const auto& c : kCases) {
        SetRaw(kHklm, View::Native, strInstall, L"InstallDir", c.dwType, c.pData, c.cbData);
        EXPECT_EQ(c.strExpected, GetOrxInstallDir()) << c.dwType << " " << c.cbData;
    }
}

TEST(CreateRegDWValue, WritesADwordSilentlyAndCreatesTheUserKeyWhenMissing) {
    RegistryScope scope(kHkcu, {kQvx});
    LoggingSession session;
    CreateRegDWValue(L"UninstallMode", 3);
    EXPECT_EQ(std::optional<DWORD>(3), ReadDword(kHkcu, View::Native, kQvx, L"UninstallMode"));

    SetString(kHkcu, View::Native, kQvx, L"UninstallMode", L"text");
    SetString(kHkcu, View::Native, kQvx, L"Other", L"kept");
    CreateKey(kHkcu, View::Native, kQvx + L"\\Sub");
    CreateRegDWValue(L"UninstallMode", 1);
    EXPECT_EQ(std::make_pair(DWORD{REG_DWORD}, std::vector<BYTE>{1, 0, 0, 0}),
              ReadRaw(kHkcu, View::Native, kQvx, L"UninstallMode"));
    EXPECT_EQ(L"kept", ReadString(kHkcu, View::Native, kQvx, L"Other"));
    EXPECT_TRUE(KeyExists(kHkcu, View::Native, kQvx + L"\\Sub"));
    EXPECT_EQ(Lines{}, session.Logged());
}

// Sub-keys: the native names, then the 32-bit ones not listed yet (case counts).
// Values: the native ones, or those of the 32-bit view when native has none.
TEST(RegistryKeyEraser, EnumeratesNamesOfBothViews) {
    RegistryScope scope(kHklm, {kTestKey});
    for (const wchar_t* szName : {L"A", L"B"}) {
        CreateKey(kHklm, View::Native, kTestKey + L"\\" + szName);
    }
    for (const wchar_t* szName : {L"A", L"b", L"B", L"C"}) { // "b" and "B": one key in a view
        CreateKey(kHklm, View::Wow32, kTestKey + L"\\" + szName);
    }
    RegistryKeyEraser eraser(kHklm, (kTestKey + L"\\").c_str());
    eraser.EnumSubKeys();
    EXPECT_EQ((Lines{L"A", L"B", L"b", L"C"}), eraser.Names());

    const std::wstring strLongName(2000, L'v'); // longer than the 520-character name buffer
    SetString(kHklm, View::Native, kTestKey, strLongName, L"x");
    SetDword(kHklm, View::Native, kTestKey, L"N2", 1);
    SetString(kHklm, View::Wow32, kTestKey, L"W1", L"x");
    eraser.EnumValues();
    EXPECT_EQ(Sorted({strLongName, L"N2"}), Sorted(eraser.Names()));
    DeleteTree(kHklm, View::Native, kTestKey);
    eraser.EnumValues();
    EXPECT_EQ(Lines{L"W1"}, eraser.Names());
    DeleteTree(kHklm, View::Wow32, kTestKey);
    SetString(kHklm, View::Native, kTestKey, L"", L"default"); // the default value counts
    eraser.EnumValues();
    EXPECT_EQ(Lines{L""}, eraser.Names());
}

TEST(RegistryKeyEraser, RefusesTheEmptyPathThatWouldNameTheHive) {
    RegistryKeyEraser eraser(kHklm, L"");
    EXPECT_EQ(L"", eraser.KeyPart());
    EXPECT_FALSE(eraser.DeleteTreeNative(kHklm, eraser.KeyPart().c_str()));
    EXPECT_FALSE(eraser.DeleteTree32(kHklm, eraser.KeyPart().c_str()));
    EXPECT_TRUE(KeyExists(kHklm, View::Native, L"SOFTWARE\\Microsoft"));
}

namespace {

constexpr int kN = 1;  // the native view
constexpr int kW = 2;  // the 32-bit view
constexpr int kNW = 3; // both

// A key below kTestKey ("" for kTestKey itself) in some views, or its value "Value".
struct At {
    int iViews;
    std::wstring strSub;
    bool fValue = false;
};

struct VarenCase {
    const char* szCase;
    std::vector<At> arranged;
    std::wstring strPath;            // below kTestKey, as passed
    const wchar_t* szLine;           // the line logged, before the path
    const wchar_t* szGone = nullptr; // the key below kTestKey removed from both views
};

std::wstring Below(const std::wstring& strSub) {
    return strSub.empty() ? kTestKey : kTestKey + L"\\" + strSub;
}

bool InView(const At& at, View view) {
    return (at.iViews & (view == View::Native ? kN : kW)) != 0;
}

void Arrange(const At& at) {
    for (View view : kBothViews) {
        if (InView(at, view) && at.fValue) {
            SetDword(kHklm, view, Below(at.strSub), L"Value", 0);
        } else if (InView(at, view)) {
            CreateKey(kHklm, view, Below(at.strSub));
        }
    }
}

// True when at is there in each of its views.
bool Present(const At& at) {
    for (View view : kBothViews) {
        if (InView(at, view) && !(at.fValue ? ValueExists(kHklm, view, Below(at.strSub), L"Value")
                                            : KeyExists(kHklm, view, Below(at.strSub)))) {
            return false;
        }
    }
    return true;
}

} // namespace

TEST(DeleteVarenRegKey, RemovesOnlyAKeyThatNeitherViewHoldsAnythingUnder) {
    const wchar_t* const szHasSubKeys = L"Varen_CA DeleteVarenRegKey(), Varen key has sub keys and "
                                        L"is not empty thus it will not be deleted ";
    const wchar_t* const szNotEmpty =
        L"Varen_CA DeleteVarenRegKey(), Varen key is not empty thus it will not be deleted ";
    const wchar_t* const szDeleted = L"Varen_CA DeleteVarenRegKey(), key deleted successfully ";
    const VarenCase kCases[] = {
        VarenCase("empty native sub-key", {{kN, L"Empty"}}, L"", szHasSubKeys),
        VarenCase("empty 32-bit sub-key", {{kN, L""}, {kW, L"Empty"}}, L"", szHasSubKeys),
        VarenCase("sub-keys before values", {{kW, L"Sub"}, {kN, L"", true}}, L"", szHasSubKeys),
        VarenCase("native value", {{kW, L""}, {kN, L"", true}}, L"", szNotEmpty),
        VarenCase("32-bit value", {{kN, L""}, {kW, L"", true}}, L"", szNotEmpty),
        VarenCase("empty in both views", {{kNW, L"Empty"}, {kNW, L"Sibling"}}, L"Empty\\",
                  szDeleted, L"Empty"),
        VarenCase("only in the 32-bit view", {{kW, L"Only32"}, {kN, L"Sibling"}}, L"Only32\\",
                  szDeleted, L"Only32"),
        VarenCase("missing", {}, L"Missing\\", szDeleted, L"Missing"),
        VarenCase("no trailing backslash: the parent", {{kN, L"Parent"}, {kN, L"Sibling"}},
                  L"Parent\\NoSuchLeaf", szDeleted, L"Parent"),
    };
    for (const VarenCase& c : kCases) {
        SCOPED_TRACE(c.szCase);
        RegistryScope scope(kHklm, {kTestKey});
        for (const At& at : c.arranged) {
            Arrange(at);
        }
        LoggingSession session;
        const std::wstring strPath = kTestKey + L"\\" + c.strPath;
        DeleteVarenRegKey(kHklm, strPath.c_str());
        EXPECT_EQ(Lines{c.szLine + strPath + L" \n"}, session.Logged());
        for (View view : kBothViews) {
            EXPECT_FALSE(c.szGone && KeyExists(kHklm, view, Below(c.szGone))) << ViewName(view);
        }
        for (const At& at : c.arranged) { // everything else stays
            EXPECT_TRUE((c.szGone && at.strSub == c.szGone) || Present(at)) << Below(at.strSub);
        }
    }
}

namespace {

// The two lines DeletePackageKey logs for strName.
Lines PackageKeyLines(const std::wstring& strName) {
    const std::wstring strPath = kPackages + L"\\" + strName + L"\\";
    return {L"Varen_CA DeletePackageKey(), Key to delete is " + strPath + L" \n",
            L"Varen_CA DeletePackageKey(), " + strPath + L" key should be deleted \n"};
}

} // namespace

TEST(DeletePackageKey, RemovesOnlyThePackageInBothViewsAndClearsTheBrandValues) {
    RegistryScope hklm(kHklm, {L"SOFTWARE\\ORX Technologies"});
    RegistryScope hkcu(kHkcu, {kQvx});
    const std::wstring strA = kPackages + L"\\" + kPackageA;
    const std::wstring strB = kPackages + L"\\" + kPackageB;
    for (View view : kBothViews) {
        SetDword(kHklm, view, strA, L"iPackageLevel", 1);
        CreateKey(kHklm, view, strA + L"\\Sub\\Deeper");
        CreateKey(kHklm, view, strB + L"\\Sub");
    }
    LoggingSession session;
    Lines expected;
    // "" would name "Packages" itself and "\" the key above it; package A0 is not
    // there. Without the user's brand key there is no third line.
    for (const std::wstring& strName : {std::wstring(), std::wstring(L"\\"), kPackageA + L"0"}) {
        EXPECT_EQ(1, DeletePackageKey(strName.c_str()));
        const Lines lines = PackageKeyLines(strName);
        expected.insert(expected.end(), lines.begin(), lines.end());
    }
    EXPECT_FALSE(KeyExists(kHkcu, View::Native, kQvx));

    for (const wchar_t* szName : {L"UninstallMode", L"Whatever", L" ", L""}) {
        SetString(kHkcu, View::Native, kQvx, szName, L"x");
    }
    SetString(kHkcu, View::Native, kQvx + L"\\Sub", L"Inner", L"x");
    EXPECT_EQ(1, DeletePackageKey(kPackageA.c_str()));
    const Lines lines = PackageKeyLines(kPackageA);
    expected.insert(expected.end(), lines.begin(), lines.end());
    expected.push_back(L"Varen_CA DeletePackageKey(), SOFTWARE\\QVX\\ Attempted to delete key \n");
    EXPECT_EQ(expected, session.Logged());
    for (View view : kBothViews) {
        EXPECT_FALSE(KeyExists(kHklm, view, strA)) << ViewName(view);
        EXPECT_TRUE(KeyExists(kHklm, view, strB + L"\\Sub")) << ViewName(view);
    }
    EXPECT_FALSE(ValueExists(kHkcu, View::Native, kQvx, L"UninstallMode"));
    EXPECT_FALSE(ValueExists(kHkcu, View::Native, kQvx, L"Whatever"));
    EXPECT_TRUE(ValueExists(kHkcu, View::Native, kQvx, L" "));
    EXPECT_TRUE(ValueExists(kHkcu, View::Native, kQvx, L""));
    EXPECT_TRUE(ValueExists(kHkcu, View::Native, kQvx + L"\\Sub", L"Inner"));
}

TEST(DeleteNamedValues, IgnoresTheNameAndSparesDefaultAndBlank) {
    RegistryScope scope(kHkcu, {kTestKey});
    const std::wstring strLongName(3000, L'n');
    const std::wstring kGone[] = {L"Keep", L"Other", strLongName, L"  "};
    for (const std::wstring& strName : kGone) {
        SetString(kHkcu, View::Native, kTestKey, strName, L"x");
    }
    SetString(kHkcu, View::Native, kTestKey, L" ", L"x");
    SetString(kHkcu, View::Native, kTestKey, L"", L"x");
    SetString(kHkcu, View::Native, kTestKey + L"\\Child", L"Keep", L"x");
    UniqueRegKey hKey;
    ASSERT_EQ(ERROR_SUCCESS, RegOpenKeyExW(kHkcu, kTestKey.c_str(), 0, KEY_ALL_ACCESS, hKey.put()));
    DeleteNamedValues(hKey.get(), L"Keep");
    for (const std::wstring& strName : kGone) {
        EXPECT_FALSE(ValueExists(kHkcu, View::Native, kTestKey, strName)) << strName.size();
    }
    EXPECT_TRUE(ValueExists(kHkcu, View::Native, kTestKey, L" "));
    EXPECT_TRUE(ValueExists(kHkcu, View::Native, kTestKey, L""));
    EXPECT_TRUE(ValueExists(kHkcu, View::Native, kTestKey + L"\\Child", L"Keep"));
}

TEST(DeleteRunValue, DeletesTheNativeRunValueOnly) {
    const std::wstring strRun = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run";
    for (View view : kBothViews) {
        SetString(kHklm, view, strRun, L"VarenRunTest", L"x.exe");
        SetString(kHklm, view, strRun, L"VarenRunTestSibling", L"y.exe");
    }
    DeleteRunValue(L"VarenRunTest");
    DeleteRunValue(L"VarenRunTestMissing");
    EXPECT_FALSE(ValueExists(kHklm, View::Native, strRun, L"VarenRunTest"));
    EXPECT_TRUE(ValueExists(kHklm, View::Native, strRun, L"VarenRunTestSibling"));
    EXPECT_TRUE(ValueExists(kHklm, View::Wow32, strRun, L"VarenRunTest"));
    for (View view : kBothViews) {
        UniqueRegKey hKey;
        ASSERT_EQ(ERROR_SUCCESS, RegOpenKeyExW(kHklm, strRun.c_str(), 0,
                                               KEY_ALL_ACCESS | ViewFlag(view), hKey.put()));
        RegDeleteValueW(hKey.get(), L"VarenRunTest");
        RegDeleteValueW(hKey.get(), L"VarenRunTestSibling");
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
        if (hKey == kHklm && szSubKey != nullptr && s_strPath == szSubKey &&
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

// The three tree removals, each called on a path under HKEY_LOCAL_MACHINE.
int Tree32(const std::wstring& strPath) {
    return RegistryKeyEraser(kHklm, L"").DeleteTree32(kHklm, strPath.c_str());
}

int TreeNative(const std::wstring& strPath) {
    return RegistryKeyEraser(kHklm, L"").DeleteTreeNative(kHklm, strPath.c_str());
}

int HklmTree32(const std::wstring& strPath) {
    LongPathBuffer path(strPath);
    const int iResult = DeleteHklmKeyTree32(kHkcu, path.sz); // the root is not used
    EXPECT_EQ(strPath, path.sz);                             // the buffer holds the path again
    EXPECT_TRUE(path.GuardIntact());
    return iResult;
}

int HklmTree32Trailing(const std::wstring& strPath) {
    return HklmTree32(strPath + L"\\");
}

const struct {
    const char* szName;
    View view; // the one it works in
    int (*pfnRemove)(const std::wstring&);
} kTreeRemovals[] = {{"DeleteTree32", View::Wow32, Tree32},
                     {"DeleteTreeNative", View::Native, TreeNative},
                     {"DeleteHklmKeyTree32", View::Wow32, HklmTree32},
                     {"DeleteHklmKeyTree32, trailing backslash", View::Wow32, HklmTree32Trailing}};

} // namespace

TEST(TreeRemoval, RemovesTheTreeFromItsOwnViewOnly) {
    for (const auto& removal : kTreeRemovals) {
        SCOPED_TRACE(removal.szName);
        RegistryScope scope(kHklm, {kTestKey});
        for (View view : kBothViews) {
            CreateKey(kHklm, view, kTree + L"\\A\\A1\\A11");
            CreateKey(kHklm, view, kTree + L"\\A\\A2");
            SetString(kHklm, view, kTree + L"\\A\\A1", L"v", L"x");
            CreateKey(kHklm, view, kTree + L"\\B");
            CreateKey(kHklm, view, kTestKey + L"\\TreeSibling");
        }
        EXPECT_EQ(1, removal.pfnRemove(kTree));
        EXPECT_FALSE(KeyExists(kHklm, removal.view, kTree));
        for (View view : kBothViews) {
            EXPECT_TRUE(view == removal.view || KeyExists(kHklm, view, kTree + L"\\A\\A1\\A11"));
            EXPECT_TRUE(KeyExists(kHklm, view, kTestKey + L"\\TreeSibling")) << ViewName(view);
        }
        EXPECT_EQ(1, removal.pfnRemove(kTree)); // already gone counts as removed
    }
}

// A locked child, or the key itself locked, fails the removal and stays.
TEST(TreeRemoval, UndeletableKeyFailsAndStays) {
    for (const auto& removal : kTreeRemovals) {
        for (const std::wstring& strLocked : {kTree + L"\\Locked", kTree}) {
            SCOPED_TRACE(std::string(removal.szName) + (strLocked == kTree ? ", key" : ", child"));
            RegistryScope scope(kHklm, {kTestKey});
            CreateKey(kHklm, removal.view, kTree + L"\\Free");
            LockedKey locked(kHklm, removal.view, strLocked, L"DC");
            EXPECT_EQ(0, removal.pfnRemove(kTree));
            EXPECT_TRUE(KeyExists(kHklm, removal.view, strLocked + L"\\Inner"));
        }
    }
}

TEST(DeleteHklmKeyTree32, DeniedOpenIsTriedOnceMore) {
    const struct {
        const char* szCase;
        bool fKey;
        int cDenied;
        int iResult;
    } kCases[] = {{"denied once", true, 1, 1},
                  {"denied, then already gone", false, 1, 1},
                  {"denied twice", true, 100, 0}};
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.szCase);
        RegistryScope scope(kHklm, {kTestKey});
        CreateKey(kHklm, View::Wow32, kTestKey + L"\\TreeSibling");
        if (c.fKey) {
            CreateKey(kHklm, View::Wow32, kTree + L"\\Child");
        }
        {
            DeniedOpens denied(kTree, c.cDenied);
            LongPathBuffer path(kTree);
            EXPECT_EQ(c.iResult, DeleteHklmKeyTree32(kHklm, path.sz));
            EXPECT_EQ(2, DeniedOpens::Opens());
            EXPECT_EQ(kTree, path.sz);
        }
        // The child stays with a failed removal; the key goes with a successful one.
        EXPECT_EQ(c.iResult == 0,
                  KeyExists(kHklm, View::Wow32, c.iResult == 0 ? kTree + L"\\Child" : kTree));
        EXPECT_TRUE(KeyExists(kHklm, View::Wow32, kTestKey + L"\\TreeSibling"));
    }
}

TEST(DeleteHklmKeyTree32, NeverWritesPastTheBuffer) {
    RegistryScope scope(kHklm, {kTestKey});
    // 21 + 1 + 250 + 1 + 239 = 512 characters: room for "\" and 6 more, not for a
    // child of 10.
    const std::wstring strTree =
        kTestKey + L"\\" + std::wstring(250, L'a') + L"\\" + std::wstring(239, L'b');
    const std::wstring strChild = strTree + L"\\" + std::wstring(10, L'c');
    ASSERT_EQ(512u, strTree.size());
    CreateKey(kHklm, View::Wow32, strChild);
    LongPathBuffer path(strTree);
    EXPECT_EQ(0, DeleteHklmKeyTree32(kHklm, path.sz));
    EXPECT_EQ(strTree, path.sz);
    EXPECT_TRUE(path.GuardIntact());
    EXPECT_TRUE(KeyExists(kHklm, View::Wow32, strChild));

    // A path that fills all 520 characters without a terminator is not walked.
    LongPathBuffer unterminated(L"");
    std::fill(unterminated.sz, unterminated.sz + kcchLongPath, L'k');
    EXPECT_EQ(0, DeleteHklmKeyTree32(kHklm, unterminated.sz));
    EXPECT_TRUE(unterminated.GuardIntact());
    LongPathBuffer empty(L"");
    EXPECT_EQ(0, DeleteHklmKeyTree32(kHklm, empty.sz));
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

// Values first, then each sub-key and all below it. Sub-key names are read into
// 255 characters with the terminator: a 255-character name (the registry's
// longest) does not fit and that key is passed over, silently.
TEST(QueryKey, ListsValuesAndKeysDepthFirstPassingOverA255CharacterName) {
    RegistryScope scope(kHkcu, {kTestKey});
    const std::wstring str254(254, L'k');
    SetString(kHkcu, View::Native, kTestKey, L"Top", L"x");
    SetString(kHkcu, View::Native, kTestKey + L"\\A", L"InA", L"x");
    CreateKey(kHkcu, View::Native, kTestKey + L"\\A\\A1");
    CreateKey(kHkcu, View::Native, kTestKey + L"\\B");
    CreateKey(kHkcu, View::Native, kTestKey + L"\\" + str254);
    CreateKey(kHkcu, View::Native, kTestKey + L"\\" + std::wstring(255, L'm') + L"\\Below");
    LoggingSession session;
    const std::wstring strTop = L"HKEY_CURRENT_USER\\SOFTWARE\\VarenRegTest";
    EXPECT_EQ((Lines{strTop + L"\\\"Top\"", strTop + L"\\A", strTop + L"\\A\\\"InA\"",
                     strTop + L"\\A\\A1", strTop + L"\\B", strTop + L"\\" + str254}),
              QueriedKeys(kHkcu, kTestKey));
    EXPECT_EQ(Lines{}, session.Logged());
}

TEST(QueryKey, UnreadableSubKeyIsLoggedAndSkipped) {
    RegistryScope scope(kHklm, {kTestKey});
    CreateKey(kHklm, View::Native, kTestKey + L"\\A\\Hidden");
    CreateKey(kHklm, View::Native, kTestKey + L"\\C");
    LockedKey locked(kHklm, View::Native, kTestKey + L"\\A", L"KR");
    LoggingSession session;
    EXPECT_EQ((Lines{L"earlier entry", L"HKEY_LOCAL_MACHINE\\SOFTWARE\\VarenRegTest\\A",
                     L"HKEY_LOCAL_MACHINE\\SOFTWARE\\VarenRegTest\\C"}),
              QueriedKeys(kHklm, kTestKey, {L"earlier entry"}));
    EXPECT_EQ(Lines{L"QueryKey: HKEY_LOCAL_MACHINE\\SOFTWARE\\VarenRegTest---------hkey is "
                    L"NULL---------------A"},
              session.Logged());
}

namespace {

// What the code under test prints to standard output while fn runs.
template <typename Fn>
std::string CapturedStdout(Fn fn) {
    const std::wstring strFile = TestTempFolder() + L"varen_stdout_" + NewGuid() + L".txt";
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

} // namespace

// Wine ignores the security descriptor given to RegCreateKeyExW (every new key
// gets its default access list), so only the key, its view and the line are checked.
TEST(CreateKeyWithAdminAcl, CreatesA64BitKeyAndPrintsTheCreateResult) {
    RegistryScope scope(kHklm, {kTestKey});
    const std::wstring strPath = kTestKey + L"\\Acl";
    CreateKey(kHklm, View::Native, kTestKey + L"\\AclSibling");
    EXPECT_EQ("RegCreateKeyEx result 0\n",
              CapturedStdout([&] { CreateKeyWithAdminAcl(strPath.c_str()); }));
    EXPECT_TRUE(KeyExists(kHklm, View::Native, strPath));
    EXPECT_FALSE(KeyExists(kHklm, View::Wow32, strPath));
    EXPECT_TRUE(KeyExists(kHklm, View::Native, kTestKey + L"\\AclSibling"));

    // A path that starts with a backslash is no valid key name (ERROR_BAD_PATHNAME).
    DeleteTree(kHklm, View::Native, kTestKey);
    EXPECT_EQ("RegCreateKeyEx result 161\n",
              CapturedStdout([&] { CreateKeyWithAdminAcl((L"\\" + kTestKey).c_str()); }));
    EXPECT_FALSE(KeyExists(kHklm, View::Native, kTestKey));
}
