// The package registry clean-up actions.
#include "tests/support/cases.h"

#include <tuple>

using namespace cases;

namespace {

const std::wstring kOrx = L"SOFTWARE\\ORX Technologies";
const std::wstring kInstall = kOrx + L"\\Install";
const std::wstring kPackages = kInstall + L"\\Packages";
const std::wstring kPid = L"W-05-000U-000-003-002-001-00-07";
const HKEY kHkcu = HKEY_CURRENT_USER;

std::wstring PackageKey(const std::wstring& strPid) {
    return kPackages + L"\\" + strPid;
}

const std::wstring kOrxKey = L"SOFTWARE\\ORX";
const std::wstring kPn = L"SOFTWARE\\QVX\\PN";
const std::wstring kPyra = L"SOFTWARE\\QVX\\Pyra";
const std::wstring kUninstall = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall";
const std::wstring kLegacy = kUninstall + L"\\All ORX Software";
const std::wstring kVlmEntry = kUninstall + L"\\QVX Velium Install Manager";
const std::wstring kLegacyFolder = L"%PROGRAMFILES32%\\ORX Technologies\\UninstallAll";

const std::wstring kBranding = L"SOFTWARE\\QVXBranding";
const std::wstring kBrand = L"%CASE%\\brand";

// RemoveARPEntries hides (SystemComponent = 1) the uninstall entry of each package
// listed in the native "Packages" key, except level 2 and the excepted packages; a
// level it cannot read leaves the entry visible, and one bad package does not stop
// the others.
Case ArpCase() {
    Case c{.szName = "hides installed packages' entries but level 2 and the excepted ones",
           .szAction = "RemoveARPEntries",
           .uReturn = 1};
    // The package, its level (-1: none), the views listing it, its entry and where it is hidden.
    const std::vector<std::tuple<std::wstring, int, unsigned, unsigned, unsigned>> packages = {
        {L"W-01-0000-000-000-000-001-00-01", 1, N, N, N},
        {L"W-01-0000-000-000-000-001-00-02", 2, N, N, 0},
        {L"W-05-000U-000-003-002-001-00-00", 1, N, N, 0}, // excepted
        {L"W-01-0000-000-000-000-001-00-05", 0, N, W, W},
        {L"W-01-0000-000-000-000-001-00-06", 3, N, NW, N}, // the native entry first
        {L"W-01-0000-000-000-000-001-00-07", -1, N, N, 0},
        {L"W-01-0000-000-000-000-001-00-09", 1, W, N, 0},
    };
    for (const auto& [strPid, iLevel, packageViews, entryViews, hiddenViews] : packages) {
        const std::wstring strEntry = kUninstall + L"\\{" + strPid + L"}";
        c.before.push_back(
            Str(packageViews, PackageKey(strPid), L"ProductGUID", L"{" + strPid + L"}"));
        if (iLevel >= 0) {
            c.before.push_back(Dword(packageViews, PackageKey(strPid), L"iPackageLevel", iLevel));
        }
        c.before.push_back(Str(entryViews, strEntry, L"DisplayName", L"x"));
        if (hiddenViews) {
            c.after.push_back(Dword(hiddenViews, strEntry, L"SystemComponent", 1));
        }
        if (entryViews & ~hiddenViews) {
            c.gone.push_back(Dword(entryViews & ~hiddenViews, strEntry, L"SystemComponent", 1));
        }
    }
    return c;
}

// CleanRegistry's lines for strPid when the user's "SOFTWARE\QVX" exists: its own,
// DeletePackageKey's three, its step, and DeleteVarenRegKey's verdicts on Packages
// (szPackages) and on Install, which Packages keeps.
Lines CleanLines(const std::wstring& strPid, const wchar_t* szPackages) {
    const std::wstring strPath = PackageKey(strPid) + L"\\";
    return {L"Varen_CA DeleteVLMRegKey: PID=" + strPid + L"\n",
            L"Varen_CA DeletePackageKey(), Key to delete is " + strPath + L" \n",
            L"Varen_CA DeletePackageKey(), " + strPath + L" key should be deleted \n",
            L"Varen_CA DeletePackageKey(), SOFTWARE\\QVX\\ Attempted to delete key \n",
            L"Varen_CA CleanVarenRegKeys(), VLM Package key deleted, will now attempt the "
            L"Varen (Package) key\n",
            L"Varen_CA DeleteVarenRegKey(), " + std::wstring(szPackages) + kPackages + L"\\ \n",
            L"Varen_CA DeleteVarenRegKey(), Varen key has sub keys and is not empty thus it will "
            L"not be deleted " +
                kInstall + L"\\ \n"};
}

// A clean-up of fixed keys: the machine before, the return, the lines, what goes.
Case Removes(const char* szAction, const char* szName, std::vector<Item> before, UINT uReturn,
             Lines lines, std::vector<Item> gone) {
    return {.szName = szName,
            .szAction = szAction,
            .before = std::move(before),
            .uReturn = uReturn,
            .lines = std::move(lines),
            .gone = std::move(gone)};
}

const int kPackageCleanup = Register({
    {.szName = "a value in the 32-bit view keeps Packages",
     .szAction = "CleanRegistry",
     .data = kPid,
     .before = {Str(NW, PackageKey(kPid) + L"\\Sub", L"x", L"1"), Str(W, kPackages, L"v", L""),
                Str(N, L"SOFTWARE\\QVX", L"UninstallMode", L"1", kHkcu),
                Str(N, L"SOFTWARE\\QVX", L" ", L"", kHkcu)},
     .lines = CleanLines(kPid, L"Varen key is not empty thus it will not be deleted "),
     .gone = {Key(NW, PackageKey(kPid)), Str(N, L"SOFTWARE\\QVX", L"UninstallMode", L"", kHkcu)}},
    {.szName = "undefined data names Packages itself: nothing goes",
     .szAction = "CleanRegistry",
     .before = {Key(NW, PackageKey(kPid)), Str(N, L"SOFTWARE\\QVX", L" ", L"", kHkcu)},
     .lines =
         CleanLines(L"", L"Varen key has sub keys and is not empty thus it will not be deleted ")},

    Removes("ClearInstallRegValues", "values go, not sub-keys, blank or default ones",
            {Str(NW, kInstall, L"InstallDir", L"C:\\"), Dword(NW, kInstall, L"Level", 1),
             Str(NW, kInstall, L" ", L""), Str(NW, kInstall, L"", L"d"),
             Dword(NW, PackageKey(kPid), L"iPackageLevel", 1), Str(NW, kOrx, L"Sibling", L"")},
            1, {}, {Str(NW, kInstall, L"InstallDir", L""), Str(NW, kInstall, L"Level", L"")}),
    // Its path names "SOFTWARE\ORX\A4", but all of "SOFTWARE\ORX" goes.
    Removes("DeleteA4Registry", "all of ORX in both views",
            {Key(NW, kOrxKey + L"\\A4\\Sub"), Str(NW, kOrxKey, L"Value", L""),
             Key(W, kOrxKey + L"\\Only32\\Deep"), Key(NW, kOrxKey + L"Sibling"), Key(NW, kInstall)},
            1, {L"VAREN_CA: SearchA4RegKey  \n"}, {Key(NW, kOrxKey)}),
    Removes("DeleteORXKey", "the ORX tree in the 32-bit view only",
            {Key(NW, kOrxKey + L"\\A4\\Sub"), Str(NW, kOrxKey + L"\\B", L"v", L""),
             Key(NW, kOrxKey + L"Sibling")},
            0, {}, {Key(W, kOrxKey)}),
    Removes("DeletePNKEY", "PN in both views",
            {Str(NW, kPn, L"PNBrandingInstallDir", L"C:\\"), Key(NW, kPn + L"\\Sub\\Deeper"),
             Key(NW, kPn + L"X"), Str(NW, L"SOFTWARE\\QVX", L"PN", L"")},
            0, {}, {Key(NW, kPn)}),
    Removes("DeletePyraRegistry", "for the machine and the user",
            {Str(NW, kPyra + L"\\Sub", L"v", L""), Key(NW, kPyra + L"Sibling"),
             Str(NW, kPyra + L"\\Sub", L"v", L"", kHkcu), Key(NW, kPyra + L"Sibling", kHkcu)},
            1, {L"VAREN_CA: SearchHalvoRegKey  \n"}, {Key(NW, kPyra), Key(NW, kPyra, kHkcu)}),
    Removes("RmLegacyUninstall", "the folder goes to the Recycle Bin, the entry from both views",
            {Str(NW, kLegacy + L"\\Sub", L"v", L""), Key(NW, kLegacy + L" 2"),
             File(kLegacyFolder + L"\\sub\\f.txt"),
             File(L"%PROGRAMFILES32%\\ORX Technologies\\Keep\\f.txt")},
            0,
            {L"Varen_CA CleanUninstallerFiles folder deleted\n",
             L"VAREN_CA RemoveLegacyUninstall cleaned files \n",
             L"VAREN_CA RemoveLegacyUninstall cleaned registry keys \n"},
            {Key(NW, kLegacy), cases::Folder(kLegacyFolder)}),
    // Called first in a freshly loaded module, it logs through no session.
    Removes("RemoveVLMEntry", "the entry goes, its lines are lost",
            {Str(NW, kVlmEntry + L"\\Sub", L"v", L""), Key(NW, kVlmEntry + L" 2")}, 1, {},
            {Key(NW, kVlmEntry)}),
    ArpCase(),
    {.szName = "keeps what the branding key names",
     .szAction = "DeleteandRetainValues",
     .before = {File(kBrand + L"\\Skins\\in\\f.txt"), File(kBrand + L"\\OldSkins\\in\\f.txt"),
                File(kBrand + L"\\Fonts\\in\\f.txt"), File(kBrand + L"\\Kept\\in\\f.txt"),
                File(kBrand + L"\\logo.png"), File(kBrand + L"\\keep.png"),
                File(kBrand + L"\\noext"), File(kBrand + L"_beside.txt"),
                Str(N, kPn, L"PNBrandingInstallDir", kBrand),
                Str(W, kPn, L"PNBrandingInstallDir", L"%CASE%\\brand32"),
                File(L"%CASE%\\brand32\\f.txt"), Key(N, kBranding + L"\\Skins"),
                Str(N, kBranding, L"Logo", kBrand + L"\\keep.png"),
                Str(N, kBranding, L"Folder", kBrand + L"\\Kept"),
                Str(N, kBranding, L"Relative", L"logo.png"),
                Str(W, kBranding, L"Noext", kBrand + L"\\noext")},
     .gone = {cases::Folder(kBrand + L"\\Fonts"), File(kBrand + L"\\logo.png"),
              File(kBrand + L"\\noext")}},
});

} // namespace
