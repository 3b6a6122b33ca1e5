// The removal guard: every removal action fed values that name nothing, something
// relative, a root, a system folder or a failed read's leftovers removes none of the
// canaries around them, and a realistic value ending in "\" is really removed.
// Registry links planted in removed keys go as themselves, never their targets.
#include "tests/support/cases.h"

using namespace cases;

namespace {

const std::wstring kProduct = L"%CASE%\\Product%RUN%";

// A folder whose path is exactly 259 characters: what a failed read of a value one
// longer leaves in the buffer. Its own name is short, to fit the Recycle Bin's folder.
const std::wstring kCut = [] {
    const std::wstring strParent = Expand(L"%CASE%\\");
    const std::wstring strName = Expand(L"Cut%RUN%");
    return strParent + std::wstring(MAX_PATH - 2 - strParent.size() - strName.size(), L'p') +
           L"\\" + strName;
}();

// One value fed to each removal action, and the folder it names when the action
// may remove it (nullptr: nothing may go).
struct Row {
    const char* szName;
    std::wstring strValue;
    const std::wstring* pRemoved = nullptr;
};

const Row kRows[] = {
    {"empty", L""},
    {"relative", L"varen_rel"},
    {"drive root", L"C:\\"},
    {"Windows folder", L"%WINDIR%"},
    {"System32", L"%SYSTEM%"},
    {"Program Files", L"%PROGRAMFILES%"},
    {"ProgramData with a trailing separator", L"%PROGRAMDATA%\\"},
    {"dot-dot part naming the products' parent", kProduct + L"\\..\\"},
    {"260 characters cut to their parent", kCut + L"\\"},
    {"forward slashes", L"%CASE%/Product%RUN%/", &kProduct},
    {"realistic with a trailing separator", kProduct + L"\\", &kProduct},
};

std::vector<Case> FedToEachAction() {
    std::vector<Item> canaries = {File(L"%CASE%\\Sibling\\canary.txt"),
                                  File(kProduct + L"\\canary.txt"), Folder(kProduct + L"\\Sub"),
                                  Folder(kCut)};
    for (const wchar_t* szFolder : {L"C:", L"%WINDIR%", L"%SYSTEM%", L"%PROGRAMFILES%",
                                    L"%PROGRAMDATA%", L"%CURRENT%", L"%CURRENT%\\varen_rel"}) {
        canaries.push_back(File(szFolder + std::wstring(L"\\varen_canary.txt")));
    }
    std::vector<Case> cases;
    for (const auto& [szName, strValue, pRemoved] : kRows) {
        const std::wstring strExpanded = Expand(strValue);
        const bool fRead = strExpanded.size() < MAX_PATH;
        Case clear = {.szName = szName,
                      .szAction = "ClearCADir",
                      .properties = strValue.empty() ? PropertyRows{}
                                                     : PropertyRows{{L"INSTALLDIR", strValue}},
                      .before = canaries,
                      .lines = {L"Varen_CA GetInstallCADir() start",
                                fRead ? L"VAREN_CA ClearCADir: " + strExpanded + L" \n"
                                      : L"VAREN_CA Could not get INSTALLDIR  \n"}};
        // The branding folder keeps itself; the CA folder goes permanently.
        Case retain = {.szName = szName, .szAction = "DeleteandRetainValues", .before = canaries};
        retain.before.push_back(Str(N, L"SOFTWARE\\QVX\\PN", L"PNBrandingInstallDir", strValue));
        Case remove = {.szName = szName, .szAction = "RemoveCADDir", .before = canaries};
        if (!strValue.empty()) {
            remove.data = strValue;
        }
        if (pRemoved) {
            clear.uReturn = 1;
            clear.lines.push_back(clear.lines.back());
            clear.gone = remove.gone = {Folder(*pRemoved)};
            clear.after = {Folder(L"%TRASH%\\Product%RUN%")};
            retain.gone = {File(*pRemoved + L"\\canary.txt"), Folder(*pRemoved + L"\\Sub")};
        } else {
            clear.lines.push_back(L"VAREN_CA can not ClearCADir: " +
                                  strExpanded.substr(0, MAX_PATH - 1) + L" \n");
            remove.lines = {fRead
                                ? L"VAREN_CA RemoveCADDir could not delete " + strExpanded + L" \n"
                                : L"VAREN_CA RemoveCADDir could not get CustomActionData \n"};
        }
        cases.insert(cases.end(), {clear, retain, remove});
    }
    return cases;
}

const int kFed = Register(FedToEachAction());

const std::wstring kTarget = L"SOFTWARE\\VarenLinkTarget";
const std::wstring kInstall = L"SOFTWARE\\ORX Technologies\\Install";
const std::wstring kPackages = kInstall + L"\\Packages";
const std::wstring kPid = L"W-05-000U-000-003-002-001-00-07";
const std::wstring kPackage = kPackages + L"\\" + kPid;
const wchar_t kNotEmpty[] = L"Varen key is not empty thus it will not be deleted ";
const wchar_t kHasSubKeys[] =
    L"Varen key has sub keys and is not empty thus it will not be deleted ";

// CleanRegistry's lines for kPid, with its verdicts on Packages and on Install.
Lines CleanLines(const wchar_t* szPackages, const wchar_t* szInstall) {
    return {L"Varen_CA DeleteVLMRegKey: PID=" + kPid + L"\n",
            L"Varen_CA DeletePackageKey(), Key to delete is " + kPackage + L"\\ \n",
            L"Varen_CA DeletePackageKey(), " + kPackage + L"\\ key should be deleted \n",
            L"Varen_CA CleanVarenRegKeys(), VLM Package key deleted, will now attempt the Varen "
            L"(Package) key\n",
            L"Varen_CA DeleteVarenRegKey(), " + (szPackages + kPackages) + L"\\ \n",
            L"Varen_CA DeleteVarenRegKey(), " + (szInstall + kInstall) + L"\\ \n"};
}

LONG WINAPI RefuseQueryInfoKey(HKEY, LPWSTR, LPDWORD, LPDWORD, LPDWORD, LPDWORD, LPDWORD, LPDWORD,
                               LPDWORD, LPDWORD, LPDWORD, PFILETIME) {
    CountFault();
    return ERROR_ACCESS_DENIED;
}

// The key a link leads to: a value, a sub-key, and a key named like the package.
std::vector<Item> WithTarget(std::vector<Item> items) {
    items.insert(items.end(), {Str(N, kTarget, L"Keep", L"1"), Key(N, kTarget + L"\\Sub"),
                               Key(N, kTarget + L"\\" + kPid)});
    return items;
}

const int kLinks = Register({
    {.szName = "links below A4 in both views go, their target stays",
     .szAction = "DeleteA4Registry",
     .before = WithTarget(
         {Link(NW, L"SOFTWARE\\ORX\\A4\\Link", kTarget), Key(NW, L"SOFTWARE\\ORXSibling")}),
     .uReturn = 1,
     .lines = {L"VAREN_CA: SearchA4RegKey  \n"},
     .gone = {Key(NW, L"SOFTWARE\\ORX")}},
    // The package key's path passes through the link.
    {.szName = "Packages as a link: nothing is removed through it",
     .szAction = "CleanRegistry",
     .data = kPid,
     .before = WithTarget({Link(N, kPackages, kTarget)}),
     .lines = CleanLines(kNotEmpty, kHasSubKeys)},
    {.szName = "the last package takes Packages and Install in both views, not their sibling",
     .szAction = "CleanRegistry",
     .data = kPid,
     .before = {Dword(NW, kPackage, L"iPackageLevel", 1),
                Key(NW, L"SOFTWARE\\ORX Technologies\\InstallSibling")},
     .lines = CleanLines(L"key deleted successfully ", L"key deleted successfully "),
     .gone = {Key(NW, kInstall)}},
    // A key whose size cannot be read counts as not empty: it is kept.
    {.szName = "a key that cannot be read is kept",
     .szAction = "CleanRegistry",
     .data = kPid,
     .before = {Key(NW, kPackage), Key(NW, L"SOFTWARE\\ORX Technologies\\Sibling")},
     .lines = CleanLines(kNotEmpty, kNotEmpty),
     .gone = {Key(NW, kPackage)},
     .arrange = Faulty("advapi32.dll", "RegQueryInfoKeyW", &RefuseQueryInfoKey)},
    {.szName = "a 32-bit link goes, its target stays",
     .szAction = "DeleteORXKey",
     .before = WithTarget({Link(W, L"SOFTWARE\\ORX\\Link", kTarget), Key(W, L"SOFTWARE\\ORX\\Sub"),
                           Key(N, L"SOFTWARE\\ORX\\Native")}),
     .gone = {Key(W, L"SOFTWARE\\ORX")}},
    // A link at the system's level is followed, as CurrentControlSet is; the PN key
    // below it, itself a link, goes alone.
    {.szName = "the PN key as a link below a followed link: the link alone goes",
     .szAction = "DeletePNKEY",
     .before = WithTarget({Link(N, L"SOFTWARE\\QVX", kTarget), Key(N, kTarget + L"\\Other"),
                           Link(N, kTarget + L"\\PN", kTarget + L"\\Sub")}),
     .gone = {Key(N, kTarget + L"\\PN")}},
});

} // namespace
