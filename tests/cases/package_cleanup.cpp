// The package registry clean-up actions.
#include "tests/support/cases.h"

using namespace cases;

namespace {

const std::wstring kOrx = L"SOFTWARE\\ORX Technologies";
const std::wstring kInstall = kOrx + L"\\Install";
const std::wstring kPackages = kInstall + L"\\Packages";
const std::wstring kQvx = L"SOFTWARE\\QVX";
const std::wstring kPid = L"W-05-000U-000-003-002-001-00-07";
const std::wstring kOtherPid = L"W-05-000U-000-003-002-001-00-08";
const HKEY kHkcu = HKEY_CURRENT_USER;

std::wstring PackageKey(const std::wstring& strPid) {
    return kPackages + L"\\" + strPid;
}

const wchar_t kHasSubKeys[] =
    L"Varen key has sub keys and is not empty thus it will not be deleted ";
const wchar_t kNotEmpty[] = L"Varen key is not empty thus it will not be deleted ";
const wchar_t kDeleted[] = L"key deleted successfully ";

// CleanRegistry's lines for strPid: its own, DeletePackageKey's two (and the brand
// key's when the user's "SOFTWARE\QVX" exists), its step, and DeleteVarenRegKey's
// verdicts on Packages and Install.
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

const std::wstring k260 = kPid + std::wstring(260 - kPid.size(), L'x'); // no room for the NUL

const int kCleanRegistry = Register({
    {.szName = "another package in the 32-bit view keeps Packages",
     .szAction = "CleanRegistry",
     .data = kPid,
     .before = {Str(NW, PackageKey(kPid) + L"\\Sub", L"x", L"1"), Key(NW, kPackages),
                Dword(W, PackageKey(kOtherPid), L"iPackageLevel", 3),
                Str(N, kQvx, L"UninstallMode", L"1", kHkcu), Str(N, kQvx, L" ", L"", kHkcu)},
     .lines = CleanLines(kPid, true, kHasSubKeys, kHasSubKeys),
     .gone = {Key(NW, PackageKey(kPid)), Str(N, kQvx, L"UninstallMode", L"", kHkcu)}},
    {.szName = "the last package takes Packages and Install",
     .szAction = "CleanRegistry",
     .data = kPid,
     .before = {Dword(NW, PackageKey(kPid), L"iPackageLevel", 1),
                Key(NW, kOrx + L"\\InstallSibling")},
     .lines = CleanLines(kPid, false, kDeleted, kDeleted),
     .gone = {Key(NW, kInstall)}},
    {.szName = "a 32-bit value keeps Install",
     .szAction = "CleanRegistry",
     .data = kPid,
     .before = {Key(N, PackageKey(kPid)), Str(W, kInstall, L"InstallDir", L"C:\\")},
     .lines = CleanLines(kPid, false, kDeleted, kNotEmpty),
     .gone = {Key(N, kPackages)}},
    {.szName = "260 characters cannot be read: 1627, nothing done",
     .szAction = "CleanRegistry",
     .data = k260,
     .before = {Key(N, PackageKey(kPid)), Key(N, PackageKey(k260.substr(0, 255))),
                Str(N, kQvx, L"UninstallMode", L"1", kHkcu)},
     .uReturn = 1627},
    {.szName = "undefined data names Packages itself: nothing goes",
     .szAction = "CleanRegistry",
     .before = {Key(NW, PackageKey(kOtherPid))},
     .lines = CleanLines(L"", false, kHasSubKeys, kHasSubKeys)},
});

} // namespace
