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
const std::wstring kOrxKey = L"SOFTWARE\\ORX";
const std::wstring kPn = kQvx + L"\\PN";
const std::wstring kPyra = kQvx + L"\\Pyra";
const std::wstring kUninstall = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall";
const std::wstring kLegacyEntry = kUninstall + L"\\All ORX Software";
const std::wstring kVlmEntry = kUninstall + L"\\QVX Velium Install Manager";

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
    {.szName = "undefined data names Packages itself: nothing goes",
     .szAction = "CleanRegistry",
     .before = {Key(NW, PackageKey(kOtherPid))},
     .lines = CleanLines(L"", false, kHasSubKeys, kHasSubKeys)},
});

const wchar_t kA4[] = L"VAREN_CA: SearchA4RegKey  \n";
const wchar_t kCleanedFiles[] = L"VAREN_CA RemoveLegacyUninstall cleaned files \n";
const wchar_t kCleanedKeys[] = L"VAREN_CA RemoveLegacyUninstall cleaned registry keys \n";
const std::vector<Item> kLegacy = {Str(NW, kLegacyEntry + L"\\Sub", L"v", L"1"),
                                   Key(NW, kLegacyEntry + L" 2")};

const int kKeyActions = Register({
    {.szName = "values go, not sub-keys, blank or default ones",
     .szAction = "ClearInstallRegValues",
     .before = {Str(NW, kInstall, L"InstallDir", L"C:\\"), Dword(NW, kInstall, L"Level", 1),
                Str(NW, kInstall, L" ", L""), Str(NW, kInstall, L"", L"d"),
                Dword(NW, PackageKey(kPid), L"iPackageLevel", 1), Str(NW, kOrx, L"Sibling", L"")},
     .uReturn = 1,
     .gone = {Str(NW, kInstall, L"InstallDir", L""), Str(NW, kInstall, L"Level", L"")}},
    {.szName = "no install key: none is made",
     .szAction = "ClearInstallRegValues",
     .uReturn = 1,
     .gone = {Key(NW, kOrx)}},
    // Its path names "SOFTWARE\ORX\A4", but all of "SOFTWARE\ORX" goes.
    {.szName = "all of ORX in both views",
     .szAction = "DeleteA4Registry",
     .before = {Key(NW, kOrxKey + L"\\A4\\Sub"), Str(NW, kOrxKey, L"Value", L""),
                Key(W, kOrxKey + L"\\Only32\\Deep\\Deeper"), Key(NW, kOrxKey + L"Sibling"),
                Key(NW, kInstall)},
     .uReturn = 1,
     .lines = {kA4},
     .gone = {Key(NW, kOrxKey)}},
    {.szName = "ORX only in the 32-bit view",
     .szAction = "DeleteA4Registry",
     .before = {Key(W, kOrxKey + L"\\Other"), Key(N, kOrxKey + L"Sibling")},
     .uReturn = 1,
     .lines = {kA4},
     .gone = {Key(W, kOrxKey)}},
    {.szName = "the ORX tree in the 32-bit view only",
     .szAction = "DeleteORXKey",
     .before = {Key(NW, kOrxKey + L"\\A4\\Sub"), Str(NW, kOrxKey + L"\\B", L"v", L""),
                Key(NW, kOrxKey + L"Sibling")},
     .gone = {Key(W, kOrxKey)}},
    {.szName = "PN in both views",
     .szAction = "DeletePNKEY",
     .before = {Str(NW, kPn, L"PNBrandingInstallDir", L"C:\\"), Key(NW, kPn + L"\\Sub\\Deeper"),
                Key(NW, kPn + L"X"), Str(NW, kQvx, L"PN", L"")},
     .gone = {Key(NW, kPn)}},
    {.szName = "for the machine and the user",
     .szAction = "DeletePyraRegistry",
     .before = {Str(NW, kPyra + L"\\Sub", L"v", L""), Key(NW, kPyra + L"Sibling"),
                Str(NW, kPyra + L"\\Sub", L"v", L"", kHkcu), Key(NW, kPyra + L"Sibling", kHkcu)},
     .uReturn = 1,
     .lines = {L"VAREN_CA: SearchHalvoRegKey  \n"},
     .gone = {Key(NW, kPyra), Key(NW, kPyra, kHkcu)}},
    {.szName = "no legacy folder: the entry goes from both views",
     .szAction = "RmLegacyUninstall",
     .before = kLegacy,
     .lines = {kCleanedFiles, kCleanedKeys},
     .gone = {Key(NW, kLegacyEntry)}},
    {.szName = "the legacy folder goes to the Recycle Bin",
     .szAction = "RmLegacyUninstall",
     .before = {Str(NW, kLegacyEntry, L"v", L""),
                File(L"%PROGRAMFILES32%\\ORX Technologies\\UninstallAll\\sub\\f.txt"),
                File(L"%PROGRAMFILES32%\\ORX Technologies\\Keep\\f.txt")},
     .lines = {L"Varen_CA CleanUninstallerFiles folder deleted\n", kCleanedFiles, kCleanedKeys},
     .gone = {Key(NW, kLegacyEntry),
              cases::Folder(L"%PROGRAMFILES32%\\ORX Technologies\\UninstallAll")}},
    // Called first in a freshly loaded module, it logs through no session.
    {.szName = "the entry goes, its lines are lost",
     .szAction = "RemoveVLMEntry",
     .before = {Str(NW, kVlmEntry + L"\\Sub", L"v", L""), Str(NW, kVlmEntry, L"DisplayName", L"x"),
                Key(NW, kVlmEntry + L" 2")},
     .uReturn = 1,
     .gone = {Key(NW, kVlmEntry)}},
});

// RemoveARPEntries hides (SystemComponent = 1) the uninstall entry of each package
// listed in the native "Packages" key, except level 2 and the excepted packages;
// values it cannot read and product codes that are no single key name leave their
// entry visible, and one bad package does not stop the others.
std::wstring Pid(int i) {
    return L"W-01-0000-000-000-000-001-00-" + std::to_wstring(100 + i).substr(1);
}
std::wstring Code(int i) {
    return L"{00000000-0000-0000-0000-0000000000" + std::to_wstring(100 + i).substr(1) + L"}";
}

Case ArpCase() {
    struct Package {
        std::wstring strPid;
        std::optional<Item> level;       // "iPackageLevel", with its key path filled in
        std::optional<Item> productCode; // "ProductGUID"
        std::wstring strEntry;
        unsigned entryViews;
        unsigned hiddenViews;
        unsigned packageViews = N;
    };
    const std::wstring strLong(130, L'G'); // 262 bytes with its terminator: more than the 260 read
    const std::wstring strFits(129, L'F'); // 260 bytes exactly
    auto dw = [](DWORD d) { return Dword(N, L"", L"iPackageLevel", d); };
    auto sz = [](const std::wstring& s) { return Str(N, L"", L"ProductGUID", s); };
    const std::wstring strUnterminated = Code(16) + L"zz";
    const auto* pUnterminated = reinterpret_cast<const BYTE*>(strUnterminated.data());
    const std::vector<Package> packages = {
        {Pid(1), dw(1), sz(Code(1)), Code(1), N, N},
        {Pid(2), dw(2), sz(Code(2)), Code(2), N, 0},
        {L"W-05-000U-000-003-002-001-00-00", dw(1), sz(Code(3)), Code(3), N, 0},
        {L"W-05-000U-000-003-002-001-00-000", dw(1), sz(Code(4)), Code(4), N, N},
        {Pid(5), dw(0), sz(Code(5)), Code(5), W, W},  // only a 32-bit entry
        {Pid(6), dw(3), sz(Code(6)), Code(6), NW, N}, // the native one first
        {Pid(7), std::nullopt, sz(Code(7)), Code(7), N, 0},
        {Pid(8), dw(1), std::nullopt, Code(8), N, 0},
        {Pid(9), dw(1), sz(Code(9)), Code(9), N, 0, W}, // listed in the 32-bit view only
        {Pid(10), Str(N, L"", L"iPackageLevel", L"2"), sz(Code(10)), Code(10), N, 0},
        {Pid(11), Raw(N, L"", L"iPackageLevel", REG_DWORD, {1, 0}), sz(Code(11)), Code(11), N, 0},
        {Pid(12), dw(1), sz(strLong), strLong, N, 0},
        {Pid(13), dw(1), sz(strLong), strLong.substr(0, 129), N, 0},
        {Pid(14), dw(1), Dword(N, L"", L"ProductGUID", 0x00410041), L"AA", N, 0}, // "AA" as text
        // 38 characters stored without their terminator (no NUL follows for Wine to add).
        {Pid(16), dw(1), Raw(N, L"", L"ProductGUID", REG_SZ, {pUnterminated, pUnterminated + 76}),
         Code(16), N, N},
        {Pid(17), dw(1), sz(strFits), strFits, N, N},
    };
    Case c{.szName = "hides installed packages' entries but level 2 and the excepted ones",
           .szAction = "RemoveARPEntries",
           .uReturn = 1};
    for (const Package& p : packages) {
        for (std::optional<Item> value : {p.level, p.productCode}) {
            if (value) {
                value->strPath = PackageKey(p.strPid);
                value->views = p.packageViews;
                c.before.push_back(*value);
            }
        }
        const std::wstring strEntry = kUninstall + L"\\" + p.strEntry;
        c.before.push_back(Str(p.entryViews, strEntry, L"DisplayName", L"x"));
        if (p.hiddenViews) {
            c.after.push_back(Dword(p.hiddenViews, strEntry, L"SystemComponent", 1));
        }
        if (p.entryViews & ~p.hiddenViews) {
            c.gone.push_back(Dword(p.entryViews & ~p.hiddenViews, strEntry, L"SystemComponent", 1));
        }
    }
    return c;
}

const int kArp = Register({ArpCase()});

// DeleteandRetainValues empties the branding folder named by the native
// "PNBrandingInstallDir", keeping what the native branding key names ("Skins"
// named keeps every entry whose name holds "Skins").
const std::wstring kBranding = L"SOFTWARE\\QVXBranding";
const std::wstring kBrand = L"%CASE%\\brand";
std::vector<Item> BrandingFolder(std::vector<Item> more) {
    std::vector<Item> items = {File(kBrand + L"\\Skins\\in\\f.txt"),
                               File(kBrand + L"\\OldSkins\\in\\f.txt"),
                               File(kBrand + L"\\Fonts\\in\\f.txt"),
                               File(kBrand + L"\\Kept\\in\\f.txt"),
                               File(kBrand + L"\\logo.png"),
                               File(kBrand + L"\\keep.png"),
                               File(kBrand + L"\\noext"),
                               File(kBrand + L"_beside.txt")};
    items.insert(items.end(), more.begin(), more.end());
    return items;
}
const std::vector<Item> kBrandContents = {
    cases::Folder(kBrand + L"\\Fonts"), cases::Folder(kBrand + L"\\OldSkins"),
    cases::Folder(kBrand + L"\\Skins"), cases::Folder(kBrand + L"\\Kept"),
    File(kBrand + L"\\logo.png"),       File(kBrand + L"\\keep.png"),
    File(kBrand + L"\\noext")};

const int kDeleteandRetainValues = Register({
    {.szName = "keeps what the branding key names",
     .szAction = "DeleteandRetainValues",
     .before = BrandingFolder({Str(N, kPn, L"PNBrandingInstallDir", kBrand),
                               Key(N, kBranding + L"\\Skins"),
                               Str(N, kBranding, L"Logo", kBrand + L"\\keep.png"),
                               Str(N, kBranding, L"Folder", kBrand + L"\\Kept"),
                               Str(N, kBranding, L"Relative", L"logo.png"),
                               Raw(N, kBranding, L"NotSz", REG_EXPAND_SZ, {'F', 0, 0, 0}),
                               // The 32-bit view is not read.
                               Str(W, kBranding, L"Noext", kBrand + L"\\noext")}),
     .gone = {cases::Folder(kBrand + L"\\Fonts"), File(kBrand + L"\\logo.png"),
              File(kBrand + L"\\noext")}},
    {.szName = "without the branding key everything goes",
     .szAction = "DeleteandRetainValues",
     .before = BrandingFolder({Str(N, kPn, L"PNBrandingInstallDir", kBrand + L"\\")}),
     .gone = kBrandContents},
    {.szName = "a value in the 32-bit view only deletes nothing",
     .szAction = "DeleteandRetainValues",
     .before = BrandingFolder({Str(W, kPn, L"PNBrandingInstallDir", kBrand)})},
    {.szName = "a REG_DWORD deletes nothing",
     .szAction = "DeleteandRetainValues",
     .before = BrandingFolder({Dword(N, kPn, L"PNBrandingInstallDir", 1)})},
});

} // namespace
