// The removal guard: every removal action fed values that name nothing, something
// relative, a root, a system folder or a failed read's leftovers removes none of the
// canaries around them, and a realistic value ending in "\" is really removed.
#include "tests/support/cases.h"

#include <tuple>

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

std::vector<Case> FedToEachAction() {
    // A value fed to each removal action, and whether the actions may remove the product
    // folder it names.
    const std::tuple<const char*, std::wstring, bool> rows[] = {
        {"empty", L"", false},
        {"relative", L"varen_rel", false},
        {"drive root", L"C:\\", false},
        {"Windows folder", L"%WINDIR%", false},
        {"System32", L"%SYSTEM%", false},
        {"Program Files", L"%PROGRAMFILES%", false},
        {"ProgramData with a trailing separator", L"%PROGRAMDATA%\\", false},
        {"dot-dot part naming the products' parent", kProduct + L"\\..\\", false},
        {"260 characters cut to their parent", kCut + L"\\", false},
        {"forward slashes", L"%CASE%/Product%RUN%/", true},
        {"realistic with a trailing separator", kProduct + L"\\", true},
    };
    std::vector<Item> canaries = {File(L"%CASE%\\Sibling\\canary.txt"),
                                  File(kProduct + L"\\canary.txt"), Folder(kProduct + L"\\Sub"),
                                  Folder(kCut)};
    for (const wchar_t* szFolder : {L"C:", L"%WINDIR%", L"%SYSTEM%", L"%PROGRAMFILES%",
                                    L"%PROGRAMDATA%", L"%CURRENT%", L"%CURRENT%\\varen_rel"}) {
        canaries.push_back(File(szFolder + std::wstring(L"\\varen_canary.txt")));
    }
    std::vector<Case> cases;
    for (const auto& [szName, strValue, fRemoved] : rows) {
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
        Case remove = {.szName = szName,
                       .szAction = "RemoveCADDir",
                       .data = strValue.empty() ? std::nullopt : std::optional(strValue),
                       .before = canaries};
        if (fRemoved) {
            clear.uReturn = 1;
            clear.lines.push_back(clear.lines.back());
            clear.gone = remove.gone = {Folder(kProduct)};
            clear.after = {Folder(L"%TRASH%\\Product%RUN%")};
            retain.gone = {File(kProduct + L"\\canary.txt"), Folder(kProduct + L"\\Sub")};
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

} // namespace
