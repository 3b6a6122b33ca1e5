// The package registry clean-up actions. Registry links planted in removed keys go as
// themselves, never their targets.
#include "tests/support/cases.h"

#include <tuple>

using namespace cases;

namespace {

const std::wstring kOrx = L"SOFTWARE\\ORX";
const std::wstring kInstall = L"SOFTWARE\\ORX Technologies\\Install";
const std::wstring kPackages = kInstall + L"\\Packages";
const std::wstring kPid = L"W-05-000U-000-003-002-001-00-07";
const std::wstring kPn = L"SOFTWARE\\QVX\\PN";
const std::wstring kPyra = L"SOFTWARE\\QVX\\Pyra";
const std::wstring kUninstall = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\";
const std::wstring kLegacy = L"%PROGRAMFILES32%\\ORX Technologies\\UninstallAll";
const std::wstring kBrand = L"%CASE%\\brand";
const std::wstring kBranding = L"SOFTWARE\\QVXBranding";
const std::wstring kTarget = L"SOFTWARE\\VarenLinkTarget";
const HKEY kHkcu = HKEY_CURRENT_USER;
// The user's brand key: CleanRegistry clears its named values, a blank name stays.
const Item kUserQvx = Str(N, L"SOFTWARE\\QVX", L" ", L"", kHkcu);
const Item kUninstallMode = Str(N, L"SOFTWARE\\QVX", L"UninstallMode", L"1", kHkcu);
const wchar_t kNotEmpty[] = L"Varen key is not empty thus it will not be deleted ";
const wchar_t kHasSubKeys[] =
    L"Varen key has sub keys and is not empty thus it will not be deleted ";

// CleanRegistry's lines for strPid with the user's brand key there: DeletePackageKey's
// three, its step, and DeleteVarenRegKey's verdicts on Packages and on Install.
Lines CleanLines(const std::wstring& strPid, const wchar_t* szPackages, const wchar_t* szInstall) {
    const std::wstring strPath = kPackages + L"\\" + strPid + L"\\";
    return {L"Varen_CA DeleteVLMRegKey: PID=" + strPid + L"\n",
            L"Varen_CA DeletePackageKey(), Key to delete is " + strPath + L" \n",
            L"Varen_CA DeletePackageKey(), " + strPath + L" key should be deleted \n",
            L"Varen_CA DeletePackageKey(), SOFTWARE\\QVX\\ Attempted to delete key \n",
            L"Varen_CA CleanVarenRegKeys(), VLM Package key deleted, will now attempt the "
            L"Varen (Package) key\n",
            L"Varen_CA DeleteVarenRegKey(), " + (szPackages + kPackages) + L"\\ \n",
            L"Varen_CA DeleteVarenRegKey(), " + (szInstall + kInstall) + L"\\ \n"};
}

// The key a link leads to: a value, a sub-key, and a key named like the package.
std::vector<Item> WithTarget(std::vector<Item> items) {
    items.insert(items.end(), {Str(N, kTarget, L"Keep", L"1"), Key(N, kTarget + L"\\Sub"),
                               Key(N, kTarget + L"\\" + kPid)});
    return items;
}

// RemoveARPEntries hides (SystemComponent = 1) the entry of each package in the native
// "Packages" key but level 2, an unreadable level and the excepted packages.
Case ArpCase() {
    Case c{.szName = "hides installed packages' entries but level 2 and the excepted ones",
           .szAction = "RemoveARPEntries",
           .uReturn = 1};
    // The package, its level (-1: none), the views listing it, its entry and where it is hidden.
    const std::tuple<const wchar_t*, int, unsigned, unsigned, unsigned> packages[] = {
        {L"W-01-0000-000-000-000-001-00-01", 1, N, N, N},
        {L"W-01-0000-000-000-000-001-00-02", 2, N, N, 0},
        {L"W-05-000U-000-003-002-001-00-00", 1, N, N, 0}, // excepted
        {L"W-01-0000-000-000-000-001-00-05", 0, N, W, W},
        {L"W-01-0000-000-000-000-001-00-06", 3, N, NW, N}, // the native entry first
        {L"W-01-0000-000-000-000-001-00-07", -1, N, N, 0},
        {L"W-01-0000-000-000-000-001-00-09", 1, W, N, 0},
    };
    for (const auto& [szPid, iLevel, packageViews, entryViews, hiddenViews] : packages) {
        const std::wstring strCode = L"{" + std::wstring(szPid) + L"}";
        const std::wstring strPackage = kPackages + L"\\" + szPid;
        c.before.push_back(Str(packageViews, strPackage, L"ProductGUID", strCode));
        if (iLevel >= 0) {
            c.before.push_back(Dword(packageViews, strPackage, L"iPackageLevel", iLevel));
        }
        c.before.push_back(Str(entryViews, kUninstall + strCode, L"DisplayName", L"x"));
        if (hiddenViews) {
            c.after.push_back(Dword(hiddenViews, kUninstall + strCode, L"SystemComponent", 1));
        }
        if (entryViews & ~hiddenViews) {
            c.gone.push_back(
                Dword(entryViews & ~hiddenViews, kUninstall + strCode, L"SystemComponent", 1));
        }
    }
    return c;
}

const int kPackageCleanup = Register({
    {.szName = "the last package takes Packages and Install in both views, not their sibling",
     .szAction = "CleanRegistry",
     .data = kPid,
     .before = {Dword(NW, kPackages + L"\\" + kPid, L"iPackageLevel", 1),
                Key(NW, kInstall + L"Sibling"), kUninstallMode, kUserQvx},
     .lines = CleanLines(kPid, L"key deleted successfully ", L"key deleted successfully "),
     .gone = {Key(NW, kInstall), kUninstallMode}},
    // "Packages\" names Packages itself, which a value in the 32-bit view keeps.
    {.szName = "undefined data removes no key, a 32-bit value keeps Packages",
     .szAction = "CleanRegistry",
     .before = {Str(W, kPackages, L"v", L""), kUserQvx},
     .lines = CleanLines(L"", kNotEmpty, kHasSubKeys)},
    // The package key's path passes through the link.
    {.szName = "Packages as a link: nothing is removed through it",
     .szAction = "CleanRegistry",
     .data = kPid,
     .before = WithTarget({Link(N, kPackages, kTarget), kUserQvx}),
     .lines = CleanLines(kPid, kNotEmpty, kHasSubKeys)},
    Removal("ClearInstallRegValues", "values go, not sub-keys, blank or default ones", {},
            {Str(NW, kInstall, L"InstallDir", L"C:\\"), Dword(NW, kInstall, L"Level", 1),
             Str(NW, kInstall, L" ", L""), Str(NW, kInstall, L"", L"d"),
             Dword(NW, kPackages + L"\\" + kPid, L"iPackageLevel", 1),
             Str(NW, L"SOFTWARE\\ORX Technologies", L"Sibling", L"")},
            1, {}, {Str(NW, kInstall, L"InstallDir", L""), Str(NW, kInstall, L"Level", L"")}),
    // Its path names "SOFTWARE\ORX\A4", but all of "SOFTWARE\ORX" goes.
    Removal("DeleteA4Registry", "all of ORX in both views, links as themselves", {},
            WithTarget({Key(NW, kOrx + L"\\A4\\Sub"), Str(NW, kOrx, L"Value", L""),
                        Key(W, kOrx + L"\\Only32\\Deep"), Link(NW, kOrx + L"\\A4\\Link", kTarget),
                        Key(NW, kOrx + L"Sibling"), Key(NW, kInstall)}),
            1, {L"VAREN_CA: SearchA4RegKey  \n"}, {Key(NW, kOrx)}),
    Removal("DeleteORXKey", "the ORX tree in the 32-bit view only, a link as itself", {},
            WithTarget({Key(NW, kOrx + L"\\A4\\Sub"), Link(W, kOrx + L"\\Link", kTarget),
                        Key(NW, kOrx + L"Sibling")}),
            0, {}, {Key(W, kOrx)}),
    // In the native view "SOFTWARE\QVX" is a link, followed as the system's CurrentControlSet
    // is; the PN key below it, itself a link, goes alone.
    Removal(
        "DeletePNKEY", "PN in both views, a PN link below a followed link as itself", {},
        WithTarget({Str(W, kPn, L"PNBrandingInstallDir", L"C:\\"), Key(W, kPn + L"\\Sub\\Deeper"),
                    Key(W, kPn + L"X"), Str(W, L"SOFTWARE\\QVX", L"PN", L""),
                    Link(N, L"SOFTWARE\\QVX", kTarget), Key(N, kTarget + L"\\Other"),
                    Link(N, kTarget + L"\\PN", kTarget + L"\\Sub")}),
        0, {}, {Key(W, kPn), Key(N, kTarget + L"\\PN")}),
    Removal("DeletePyraRegistry", "for the machine and the user", {},
            {Str(NW, kPyra + L"\\Sub", L"v", L""), Key(NW, kPyra + L"Sibling"),
             Str(NW, kPyra + L"\\Sub", L"v", L"", kHkcu), Key(NW, kPyra + L"Sibling", kHkcu)},
            1, {L"VAREN_CA: SearchHalvoRegKey  \n"}, {Key(NW, kPyra), Key(NW, kPyra, kHkcu)}),
    Removal("RmLegacyUninstall", "the folder goes to the Recycle Bin, the entry from both views",
            {},
            {Str(NW, kUninstall + L"All ORX Software\\Sub", L"v", L""),
             Key(NW, kUninstall + L"All ORX Software 2"), File(kLegacy + L"\\sub\\f.txt"),
             File(L"%PROGRAMFILES32%\\ORX Technologies\\Keep\\f.txt")},
            0,
            {L"Varen_CA CleanUninstallerFiles folder deleted\n",
             L"VAREN_CA RemoveLegacyUninstall cleaned files \n",
             L"VAREN_CA RemoveLegacyUninstall cleaned registry keys \n"},
            {Key(NW, kUninstall + L"All ORX Software"), Folder(kLegacy)}),
    // Called first in a freshly loaded module, it logs through no session.
    Removal("RemoveVLMEntry", "the entry goes, its lines are lost", {},
            {Str(NW, kUninstall + L"QVX Velium Install Manager\\Sub", L"v", L""),
             Key(NW, kUninstall + L"QVX Velium Install Manager 2")},
            1, {}, {Key(NW, kUninstall + L"QVX Velium Install Manager")}),
    ArpCase(),
    Removal("DeleteandRetainValues", "keeps what the branding key names", {},
            {File(kBrand + L"\\Skins\\in\\f.txt"), File(kBrand + L"\\OldSkins\\in\\f.txt"),
             File(kBrand + L"\\Fonts\\in\\f.txt"), File(kBrand + L"\\Kept\\in\\f.txt"),
             File(kBrand + L"\\logo.png"), File(kBrand + L"\\keep.png"), File(kBrand + L"\\noext"),
             File(kBrand + L"_beside.txt"), Str(N, kPn, L"PNBrandingInstallDir", kBrand),
             Str(W, kPn, L"PNBrandingInstallDir", L"%CASE%\\brand32"),
             File(L"%CASE%\\brand32\\f.txt"), Key(N, kBranding + L"\\Skins"),
             Str(N, kBranding, L"Logo", kBrand + L"\\keep.png"),
             Str(N, kBranding, L"Folder", kBrand + L"\\Kept"),
             Str(N, kBranding, L"Relative", L"logo.png"),
             Str(W, kBranding, L"Noext", kBrand + L"\\noext")},
            0, {},
            {Folder(kBrand + L"\\Fonts"), File(kBrand + L"\\logo.png"), File(kBrand + L"\\noext")}),
});

} // namespace
