#include "runtime/records.h"
#include "runtime/session.h"
#include "tests/support/session_support.h"
#include "tests/support/standin_support.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

using Lines = std::vector<std::wstring>;

TEST(ReadCustomActionData, ReadsTheWholeValueAndLogsItWhenTheLineFits) {
    // "CustomActionData: " is 18 characters: 501 more make 519.
    const std::wstring str501(501, L'v');
    const std::wstring strLong =
        L"TaskName=T;Username=U;CommandToLaunch=" + std::wstring(3000, L'c');
    const std::wstring strOverflow = L"CA buffer overflow\n";
    const struct {
        std::wstring strValue; // "" leaves the property undefined
        std::wstring strLine;
    } cases[] = {{L"", L"CustomActionData: "},
                 {str501, L"CustomActionData: " + str501},
                 {str501 + L"w", strOverflow},
                 {strLong, strOverflow}};
    ActionSession session;
    g_hInstall = session.Handle();
    for (const auto& test : cases) {
        session.SetProperty(L"CustomActionData", test.strValue);
        session.ClearLines();
        EXPECT_EQ(test.strValue, ReadCustomActionData());
        EXPECT_EQ(Lines{test.strLine}, session.Lines());
    }
    g_hInstall = 0; // no session: nothing read, the line is lost
    session.ClearLines();
    EXPECT_EQ(L"", ReadCustomActionData());
    EXPECT_EQ(Lines{}, session.Lines());
}

namespace {

// A minimal VS_VERSIONINFO resource: the root with its fixed file information
// and no children.
struct VersionResource {
    WORD wLength = sizeof(VersionResource);
    WORD wValueLength = sizeof(VS_FIXEDFILEINFO);
    WORD wType = 0;
    wchar_t szKey[16] = L"VS_VERSION_INFO";
    WORD wPadding = 0; // the value starts on a 32-bit boundary
    VS_FIXEDFILEINFO info = {};
};
static_assert(offsetof(VersionResource, info) == 40);

// A copy of the stand-in program (which has no resources of its own) in the
// temporary folder, removed again at the end.
class ProgramCopy {
  public:
    explicit ProgramCopy(const wchar_t* szName) : m_strPath(TestTempFolder() + szName) {
        wchar_t szTests[MAX_PATH] = {};
        GetModuleFileNameW(nullptr, szTests, MAX_PATH);
        std::wstring strStandIn = szTests;
        strStandIn.replace(strStandIn.find_last_of(L"\\/") + 1, std::wstring::npos, L"standin.exe");
        EXPECT_TRUE(CopyFileW(strStandIn.c_str(), m_strPath.c_str(), FALSE));
    }
    ~ProgramCopy() { DeleteFileW(m_strPath.c_str()); }
    ProgramCopy(const ProgramCopy&) = delete;
    ProgramCopy& operator=(const ProgramCopy&) = delete;

    void AddFileVersion(DWORD dwFileMS, DWORD dwFileLS) {
        VersionResource version;
        version.info.dwSignature = VS_FFI_SIGNATURE;
        version.info.dwStrucVersion = VS_FFI_STRUCVERSION;
        version.info.dwFileVersionMS = dwFileMS;
        version.info.dwFileVersionLS = dwFileLS;
        version.info.dwProductVersionMS = MAKELONG(1, 2); // 2.1.4.3, so a mix-up shows
        version.info.dwProductVersionLS = MAKELONG(3, 4);
        HANDLE hUpdate = BeginUpdateResourceW(m_strPath.c_str(), FALSE);
        ASSERT_NE(nullptr, hUpdate);
        EXPECT_TRUE(UpdateResourceW(hUpdate, RT_VERSION, MAKEINTRESOURCEW(VS_VERSION_INFO),
                                    MAKELANGID(LANG_NEUTRAL, SUBLANG_NEUTRAL), &version,
                                    sizeof(version)));
        EXPECT_TRUE(EndUpdateResourceW(hUpdate, FALSE));
    }
    const std::wstring& Path() const { return m_strPath; }

  private:
    std::wstring m_strPath;
};

} // namespace

TEST(GetFileVersionString, FormatsTheFileVersionUnsignedOrGivesEmptyTextWithoutOne) {
    ProgramCopy file(L"varen_versioned.exe");
    EXPECT_EQ(L"", GetFileVersionString(file.Path())); // no version resource yet
    EXPECT_EQ(L"", GetFileVersionString(TestTempFolder() + L"varen_no_such_file.dll"));
    EXPECT_EQ(L"", GetFileVersionString(L""));
    file.AddFileVersion(MAKELONG(12, 7), MAKELONG(6789, 345));
    EXPECT_EQ(L"7.12.345.6789", GetFileVersionString(file.Path()));
    file.AddFileVersion(MAKELONG(0, 65535), MAKELONG(1, 40000)); // replaces the first
    EXPECT_EQ(L"65535.0.40000.1", GetFileVersionString(file.Path()));
}
