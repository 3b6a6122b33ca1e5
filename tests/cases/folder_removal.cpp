// The suite's folder and file removal actions: each takes its own folder or file and
// nothing beside it. The removal guard: fed values that name nothing, something relative,
// a root, a system folder or a failed read's leftovers, they remove none of the canaries
// around them, and a realistic value ending in "\" is really removed.
#include "tests/support/cases.h"

#include <tuple>

using namespace cases;

namespace {

const std::wstring kQvxData = L"%PROGRAMDATA%\\QVX\\";
const std::wstring kUve = L"%CASE%\\ORX.UVE";
const std::wstring kPNext = L"SOFTWARE\\ORX Technologies\\Install\\PNext";
const Item kTaskKill = Program(L"%SYSTEM%\\TaskKill.exe");

const int kFolders = Register({
    Removal("DelA4TempDir", "removes ProgramData's QVX A4 only", {},
            {File(kQvxData + L"A4\\Sub\\t.tmp"), File(kQvxData + L"Pyra\\t.tmp"),
             File(kQvxData + L"A4.txt")},
            0, {L"VAREN_CA deletes A4 Temp DIR\n"}, {Folder(kQvxData + L"A4")}),
    Removal("DelPyraTempDir", "removes ProgramData's QVX Pyra only", {},
            {File(kQvxData + L"Pyra\\t.tmp"), File(kQvxData + L"A4\\t.tmp")}, 0,
            {L"VAREN_CA deletes Pyra Temp DIR\n"}, {Folder(kQvxData + L"Pyra")}),
    Removal("DelInstallPyraDir", "A4 still there: only Pyra goes", L"%CASE%\\",
            {File(kUve + L"\\A4\\a.dll"), File(kUve + L"\\Pyra\\p.dll"),
             File(kUve + L"\\Reservation Manager\\r.exe")},
            0, {}, {Folder(kUve + L"\\Pyra")}),
    Removal("DelInstallA4Dir",
            "the last component takes the shared folder; a file left keeps ORX.UVE", L"%CASE%\\",
            {File(kUve + L"\\A4\\a.dll"), File(kUve + L"\\Reservation Manager\\r.exe"),
             File(kUve + L"\\left.txt"), File(L"%CASE%\\Other\\o.dll")},
            0, {}, {Folder(kUve + L"\\A4"), Folder(kUve + L"\\Reservation Manager")}),
    // The 32-bit view's value names another folder, which stays.
    Removal("DeletePNFolder", "ends the settings application; removes the native view's folder", {},
            {Str(N, kPNext, L"Location", L"%CASE%\\PN"), File(L"%CASE%\\PN\\Sub\\pn.exe"),
             Str(W, kPNext, L"Location", L"%CASE%\\PN2"), File(L"%CASE%\\PN2\\pn.exe"), kTaskKill},
            0, Removed(L"%CASE%\\PN"), {Folder(L"%CASE%\\PN")}),
    Removal("DeletePNFolder", "a drive root is refused", {},
            {Str(N, kPNext, L"Location", L"C:\\"), File(L"C:\\varen_canary.txt"), kTaskKill}, 0,
            Removed(L"C:\\", L"Access denied.\r\n")),
    Removal("DeleteWVRFolder", "removes the WVR folder named with a trailing separator", {},
            {Str(N, L"SOFTWARE\\ORX Technologies\\Install\\WVR64", L"InstallDir", L"%CASE%\\WVR\\"),
             File(L"%CASE%\\WVR\\w.exe"), File(L"%CASE%\\WVR64\\w.exe"), kTaskKill},
            0, Removed(L"%CASE%\\WVR\\"), {Folder(L"%CASE%\\WVR")}),
    Removal("DeleteIOVDll", "removes the IOV DLL only", L"%CASE%\\",
            {File(L"%CASE%\\QVXIOVVer.dll"), File(L"%CASE%\\QVXSMBusVer.dll")}, 0,
            Removed(L"%CASE%\\QVXIOVVer.dll"), {File(L"%CASE%\\QVXIOVVer.dll")}),
    Removal("DeleteSMBusDll", "removes the SMBus DLL only", L"%CASE%",
            {File(L"%CASE%\\QVXIOVVer.dll"), File(L"%CASE%\\QVXSMBusVer.dll")}, 0,
            Removed(L"%CASE%\\QVXSMBusVer.dll"), {File(L"%CASE%\\QVXSMBusVer.dll")}),
    Removal("RemoveUSBMON", "removes the USB monitor's folder", L"%CASE%\\USB",
            {File(L"%CASE%\\USB\\m.exe"), File(L"%CASE%\\USB2\\m.exe")}, 0,
            Removed(L"%CASE%\\USB", nullptr, {L"Varen_CA QVXUSB3DeviceDetector folder deleted\n"}),
            {Folder(L"%CASE%\\USB")}),
    Removal("DeleteFolder", "the emptied folders go, one with files stays", L"%CASE%\\",
            {Folder(L"%CASE%\\ORX Technologies"), File(L"%CASE%\\QVX\\left.dll"),
             Folder(L"%CASE%\\Common Files\\QVX"), File(L"%CASE%\\Common Files\\c.dll")},
            0,
            {L"VAREN_CA Delete directory, %CASE%\\ORX Technologies\\ \n",
             Removed(L"%CASE%\\ORX Technologies\\")[0], Removed(L"%CASE%\\ORX Technologies\\")[1],
             L"VAREN_CA successfully deleted directory, %CASE%\\ORX Technologies\\ \n",
             L"VAREN_CA Delete directory, %CASE%\\QVX \n",
             L"VAREN_CA Directory, %CASE%\\QVX, DNE or is not empty and will not be deleted.\n",
             L"VAREN_CA Delete directory, %CASE%\\Common Files\\QVX \n",
             Removed(L"%CASE%\\Common Files\\QVX")[0], Removed(L"%CASE%\\Common Files\\QVX")[1],
             L"VAREN_CA successfully deleted directory, %CASE%\\Common Files\\QVX \n"},
            {Folder(L"%CASE%\\ORX Technologies"), Folder(L"%CASE%\\Common Files\\QVX")}),
});

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
    // A value fed to each action, and whether it may remove the product folder named. One
    // system folder stands for the guard's list of them.
    const std::tuple<const char*, std::wstring, bool> rows[] = {
        {"empty", L"", false},
        {"relative", L"varen_rel", false},
        {"drive root", L"C:\\", false},
        {"ProgramData with a trailing separator", L"%PROGRAMDATA%\\", false},
        {"dot-dot part naming the products' parent", kProduct + L"\\..\\", false},
        {"260 characters cut to their parent", kCut + L"\\", false},
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
