// The removal guard: every removal action fed values that name nothing, something
// relative, a root, a system folder or a cut-off parent removes none of the
// canaries around them, and a realistic value ending in "\" is really removed.
#include "tests/support/cases.h"

using namespace cases;

namespace {

const std::wstring kProduct = L"%CASE%\\Product%RUN%";

// A folder whose path is exactly 259 characters: the part of a longer value that
// a failed property read leaves in the buffer. Its own name is short, so that it
// fits the Recycle Bin's folder.
const std::wstring kCut = [] {
    const std::wstring strParent = Expand(L"%CASE%\\");
    const std::wstring strName = Expand(L"Cut%RUN%");
    return strParent + std::wstring(MAX_PATH - 2 - strParent.size() - strName.size(), L'p') +
           L"\\" + strName;
}();

// Files no removal may reach, and the product folder a realistic value names.
std::vector<Item> Canaries() {
    return {File(L"C:\\varen_canary.txt"),
            File(L"%WINDIR%\\varen_canary.txt"),
            File(L"%PROGRAMDATA%\\varen_canary.txt"),
            File(L"%CURRENT%\\varen_canary.txt"),
            File(L"%CURRENT%\\varen_rel\\canary.txt"),
            File(L"%CASE%\\Sibling\\canary.txt"),
            File(kProduct + L"\\canary.txt"),
            Folder(kProduct + L"\\Sub"),
            Folder(kCut)};
}

// One value fed to each removal action, and the folder it names when the action
// may remove it (nullptr: nothing may go).
struct Row {
    const char* szName;
    std::wstring strValue;
    const std::wstring* pRemoved = nullptr;
};

const Row kRows[] = {
    {"empty", L""},
    {"current folder", L"."},
    {"relative", L"varen_rel"},
    {"drive-relative", L"C:"},
    {"drive root", L"C:\\"},
    {"Windows folder", L"%WINDIR%"},
    {"ProgramData with a trailing separator", L"%PROGRAMDATA%\\"},
    {"dot-dot part naming the products' parent", kProduct + L"\\..\\"},
    {"forward slashes", L"%CASE%/Product%RUN%/", &kProduct},
    {"259 characters", kCut, &kCut},
    {"260 characters cut to their parent", kCut + L"\\"},
    {"261 characters cut to their parent", kCut + L"\\x"},
    {"realistic with a trailing separator", kProduct + L"\\", &kProduct},
};

Case ClearCADirCase(const Row& row) {
    const std::wstring strValue = Expand(row.strValue);
    const bool fRead = strValue.size() < MAX_PATH;
    Case c = {.szName = row.szName,
              .szAction = "ClearCADir",
              // An empty value is an undefined property: a Property row cannot be empty.
              .properties = row.strValue.empty() ? PropertyRows{}
                                                 : PropertyRows{{L"INSTALLDIR", row.strValue}},
              .before = Canaries(),
              .lines = {L"Varen_CA GetInstallCADir() start",
                        fRead ? L"VAREN_CA ClearCADir: " + strValue + L" \n"
                              : L"VAREN_CA Could not get INSTALLDIR  \n"}};
    if (fRead && row.pRemoved != nullptr) {
        c.uReturn = 1;
        c.lines.push_back(L"VAREN_CA ClearCADir: " + strValue + L" \n");
        c.gone = {Folder(*row.pRemoved)};
        const std::wstring strName = row.pRemoved->substr(row.pRemoved->find_last_of(L'\\'));
        c.after = {Folder(L"%TRASH%" + strName)};
    } else {
        c.lines.push_back(L"VAREN_CA can not ClearCADir: " + strValue.substr(0, MAX_PATH - 1) +
                          L" \n");
    }
    return c;
}

// The branding folder's value is read with room for 129 characters; the action
// empties the folder and keeps the folder itself.
Case DeleteandRetainValuesCase(const Row& row) {
    Case c = {.szName = row.szName, .szAction = "DeleteandRetainValues", .before = Canaries()};
    c.before.push_back(Str(N, L"SOFTWARE\\QVX\\PN", L"PNBrandingInstallDir", row.strValue));
    if (row.pRemoved != nullptr && Expand(row.strValue).size() < 130) {
        c.gone = {File(*row.pRemoved + L"\\canary.txt"), Folder(*row.pRemoved + L"\\Sub")};
    }
    return c;
}

// The folder comes whole from "CustomActionData"; it is removed permanently.
Case RemoveCADDirCase(const Row& row) {
    const std::wstring strValue = Expand(row.strValue);
    Case c = {.szName = row.szName, .szAction = "RemoveCADDir", .before = Canaries()};
    if (!row.strValue.empty()) {
        c.data = row.strValue;
    }
    if (strValue.size() >= MAX_PATH) {
        c.lines = {L"VAREN_CA RemoveCADDir could not get CustomActionData \n"};
    } else if (row.pRemoved != nullptr) {
        c.gone = {Folder(*row.pRemoved)};
    } else {
        c.lines = {L"VAREN_CA RemoveCADDir could not delete " + strValue + L" \n"};
    }
    return c;
}

std::vector<Case> FedToEachAction() {
    std::vector<Case> cases;
    for (const Row& row : kRows) {
        cases.push_back(ClearCADirCase(row));
        cases.push_back(DeleteandRetainValuesCase(row));
        cases.push_back(RemoveCADDirCase(row));
    }
    return cases;
}

const int kFed = Register(FedToEachAction());

} // namespace

// Registry links planted in the keys the clean-up actions remove: the link goes
// with its key, never the key it leads to; a path through a link is not removed.
namespace {

const std::wstring kTarget = L"SOFTWARE\\VarenLinkTarget";
const std::wstring kOrx = L"SOFTWARE\\ORX Technologies";
const std::wstring kInstall = kOrx + L"\\Install";
const std::wstring kPackages = kInstall + L"\\Packages";
const std::wstring kPid = L"W-05-000U-000-003-002-001-00-07";
const std::wstring kPackage = kPackages + L"\\" + kPid;

// The key a link leads to: a value, a sub-key, and a key named like the package.
std::vector<Item> WithTarget(std::vector<Item> items) {
    items.insert(items.end(), {Str(N, kTarget, L"Keep", L"1"), Key(N, kTarget + L"\\Sub"),
                               Key(N, kTarget + L"\\" + kPid)});
    return items;
}

const wchar_t kHasSubKeys[] =
    L"Varen key has sub keys and is not empty thus it will not be deleted ";
const wchar_t kNotEmpty[] = L"Varen key is not empty thus it will not be deleted ";
const wchar_t kDeleted[] = L"key deleted successfully ";

// CleanRegistry's lines for kPid with DeleteVarenRegKey's verdicts on Packages
// and Install.
Lines CleanLines(const wchar_t* szPackages, const wchar_t* szInstall) {
    const std::wstring strPath = kPackage + L"\\";
    return {L"Varen_CA DeleteVLMRegKey: PID=" + kPid + L"\n",
            L"Varen_CA DeletePackageKey(), Key to delete is " + strPath + L" \n",
            L"Varen_CA DeletePackageKey(), " + strPath + L" key should be deleted \n",
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

const int kLinks = Register({
    {.szName = "a link in the package key goes, its target stays",
     .szAction = "CleanRegistry",
     .data = kPid,
     .before = WithTarget({Dword(N, kPackage, L"iPackageLevel", 1),
                           Link(N, kPackage + L"\\Link", kTarget), Key(NW, kOrx + L"\\Sibling")}),
     .lines = CleanLines(kDeleted, kDeleted),
     .gone = {Key(NW, kInstall)}},
    {.szName = "Packages as a link: nothing is removed through it",
     .szAction = "CleanRegistry",
     .data = kPid,
     .before = WithTarget({Link(N, kPackages, kTarget)}),
     .lines = CleanLines(kNotEmpty, kHasSubKeys)},
    {.szName = "a key that cannot be read is kept",
     .szAction = "CleanRegistry",
     .data = kPid,
     .before = {Key(NW, kPackage), Key(NW, kOrx + L"\\Sibling")},
     .lines = CleanLines(kNotEmpty, kNotEmpty),
     .gone = {Key(NW, kPackage)},
     .arrange = Faulty("advapi32.dll", "RegQueryInfoKeyW", &RefuseQueryInfoKey)},
    {.szName = "a link below A4 goes, its target stays",
     .szAction = "DeleteA4Registry",
     .before = WithTarget(
         {Link(N, L"SOFTWARE\\ORX\\A4\\Link", kTarget), Key(W, L"SOFTWARE\\ORX\\A4\\Sub")}),
     .uReturn = 1,
     .lines = {L"VAREN_CA: SearchA4RegKey  \n"},
     .gone = {Key(NW, L"SOFTWARE\\ORX")}},
    {.szName = "a 32-bit link goes, its target stays",
     .szAction = "DeleteORXKey",
     .before = WithTarget({Link(W, L"SOFTWARE\\ORX\\Link", kTarget), Key(W, L"SOFTWARE\\ORX\\Sub"),
                           Key(N, L"SOFTWARE\\ORX\\Native")}),
     .gone = {Key(W, L"SOFTWARE\\ORX")}},
    {.szName = "a link at the system's level is followed, as CurrentControlSet is",
     .szAction = "DeletePNKEY",
     .before = WithTarget({Link(N, L"SOFTWARE\\QVX", kTarget), Key(N, kTarget + L"\\PN\\Sub")}),
     .gone = {Key(N, kTarget + L"\\PN")}},
    {.szName = "the PN key as a link: the link goes, its target stays",
     .szAction = "DeletePNKEY",
     .before =
         WithTarget({Link(N, L"SOFTWARE\\QVX\\PN", kTarget), Key(N, L"SOFTWARE\\QVX\\Other")}),
     .gone = {Key(N, L"SOFTWARE\\QVX\\PN")}},
});

} // namespace
