#include "runtime/records.h"
#include "runtime/session.h"
#include "tests/support/session_support.h"
#include "tests/support/standin_support.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

using Lines = std::vector<std::wstring>;

TEST(ReadCustomActionData, ReadsAValueOfAnyLengthInFull) {
    const std::wstring strLong =
        L"TaskName=T;Username=U;CommandToLaunch=" + std::wstring(3000, L'c');
    ActionSession session(WithProperties({{L"CustomActionData", strLong}}));
    g_hInstall = session.Handle();
    EXPECT_EQ(strLong, ReadCustomActionData());
    // The log line does not fit; the value is still read whole.
    EXPECT_EQ(Lines{L"CA buffer overflow\n"}, session.Lines());
}

TEST(ReadCustomActionData, LogsTheValueWhenTheLineFits) {
    // "CustomActionData: " is 18 characters: 501 more make 519.
    const std::wstring str501(501, L'v');
    ActionSession session(WithProperties({{L"CustomActionData", str501}}));
    g_hInstall = session.Handle();
    EXPECT_EQ(str501, ReadCustomActionData());
    session.SetProperty(L"CustomActionData", str501 + L"w");
    EXPECT_EQ(str501 + L"w", ReadCustomActionData());
    session.SetProperty(L"CustomActionData", L"ServiceName=Svc;DirectoryOfBinary=C:\\ORX\\");
    EXPECT_EQ(L"ServiceName=Svc;DirectoryOfBinary=C:\\ORX\\", ReadCustomActionData());
    EXPECT_EQ((Lines{L"CustomActionData: " + str501, L"CA buffer overflow\n",
                     L"CustomActionData: ServiceName=Svc;DirectoryOfBinary=C:\\ORX\\"}),
              session.Lines());
}

TEST(ReadCustomActionData, UndefinedReadsAsEmpty) {
    ActionSession session;
    g_hInstall = session.Handle();
    EXPECT_EQ(L"", ReadCustomActionData());
    EXPECT_EQ(Lines{L"CustomActionData: "}, session.Lines());

    g_hInstall = 0; // no session: nothing read, the line is lost
    EXPECT_EQ(L"", ReadCustomActionData());
    EXPECT_EQ(Lines{L"CustomActionData: "}, session.Lines());
}

namespace {

// A minimal VS_VERSIONINFO block: the root with its fixed file information
// and no children.
std::vector<BYTE> VersionBlock(DWORD dwFileMS, DWORD dwFileLS, DWORD dwProductMS,
                               DWORD dwProductLS) {
    const wchar_t szKey[] = L"VS_VERSION_INFO";
    const size_t cbHeader = 3 * sizeof(WORD) + sizeof(szKey); // 38, padded to 40
    const size_t cbValueAt = (cbHeader + 3) & ~size_t{3};
    std::vector<BYTE> block(cbValueAt + sizeof(VS_FIXEDFILEINFO));
    const WORD header[] = {static_cast<WORD>(block.size()), sizeof(VS_FIXEDFILEINFO), 0};
    std::memcpy(block.data(), header, sizeof(header));
    std::memcpy(block.data() + sizeof(header), szKey, sizeof(szKey));
    VS_FIXEDFILEINFO info = {};
    info.dwSignature = VS_FFI_SIGNATURE;
    info.dwStrucVersion = VS_FFI_STRUCVERSION;
    info.dwFileVersionMS = dwFileMS;
    info.dwFileVersionLS = dwFileLS;
    info.dwProductVersionMS = dwProductMS;
    info.dwProductVersionLS = dwProductLS;
    info.dwFileOS = VOS_NT_WINDOWS32;
    info.dwFileType = VFT_APP;
    std::memcpy(block.data() + cbValueAt, &info, sizeof(info));
    return block;
}

std::wstring BesideTests(const wchar_t* szName) {
    wchar_t szPath[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, szPath, MAX_PATH);
    std::wstring strPath = szPath;
    return strPath.substr(0, strPath.find_last_of(L"\\/") + 1) + szName;
}

// A copy of the stand-in program (which has no resources of its own) in the
// temporary folder, removed again at the end.
class ProgramCopy {
  public:
    explicit ProgramCopy(const wchar_t* szName) : m_strPath(TestTempFolder() + szName) {
        EXPECT_TRUE(CopyFileW(BesideTests(L"standin.exe").c_str(), m_strPath.c_str(), FALSE));
    }
    ~ProgramCopy() { DeleteFileW(m_strPath.c_str()); }
    ProgramCopy(const ProgramCopy&) = delete;
    ProgramCopy& operator=(const ProgramCopy&) = delete;

    void AddVersion(const std::vector<BYTE>& block) {
        HANDLE hUpdate = BeginUpdateResourceW(m_strPath.c_str(), FALSE);
        ASSERT_NE(nullptr, hUpdate);
        EXPECT_TRUE(UpdateResourceW(hUpdate, RT_VERSION, MAKEINTRESOURCEW(VS_VERSION_INFO),
                                    MAKELANGID(LANG_NEUTRAL, SUBLANG_NEUTRAL),
                                    const_cast<BYTE*>(block.data()),
                                    static_cast<DWORD>(block.size())));
        EXPECT_TRUE(EndUpdateResourceW(hUpdate, FALSE));
    }
    const std::wstring& Path() const { return m_strPath; }

  private:
    std::wstring m_strPath;
};

} // namespace

TEST(GetFileVersionString, FormatsTheFileVersionMajorMinorBuildRevision) {
    ProgramCopy file(L"varen_versioned.exe");
    // The product version differs, so a mix-up shows.
    file.AddVersion(
        VersionBlock(MAKELONG(12, 7), MAKELONG(6789, 345), MAKELONG(1, 2), MAKELONG(3, 4)));
    EXPECT_EQ(L"7.12.345.6789", GetFileVersionString(file.Path()));
}

TEST(GetFileVersionString, PrintsWordsAbove32767Unsigned) {
    ProgramCopy file(L"varen_versioned_high.exe");
    file.AddVersion(VersionBlock(MAKELONG(0, 65535), MAKELONG(1, 40000), 0, 0));
    EXPECT_EQ(L"65535.0.40000.1", GetFileVersionString(file.Path()));
}

TEST(GetFileVersionString, GivesEmptyTextWithoutVersionInformation) {
    ProgramCopy program(L"varen_unversioned.exe");
    EXPECT_EQ(L"", GetFileVersionString(program.Path()));

    const std::wstring strText = TestTempFolder() + L"varen_plain.txt";
    HANDLE hFile =
        CreateFileW(strText.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, hFile);
    DWORD cbWritten = 0;
    WriteFile(hFile, "not a program", 13, &cbWritten, nullptr);
    CloseHandle(hFile);
    EXPECT_EQ(L"", GetFileVersionString(strText));
    DeleteFileW(strText.c_str());

    EXPECT_EQ(L"", GetFileVersionString(TestTempFolder() + L"varen_no_such_file.dll"));
    EXPECT_EQ(L"", GetFileVersionString(L""));
}
