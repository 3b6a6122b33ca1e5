// The suite's folder and file removal actions: each takes its own folder or file
// and nothing beside it, and what is not there removes nothing.
#include "tests/support/cases.h"

using namespace cases;

namespace {

const std::wstring kQvxData = L"%PROGRAMDATA%\\QVX";
const std::wstring kInst = L"%CASE%\\Inst\\";
const std::wstring kUve = kInst + L"ORX.UVE";
const std::wstring kTaskKill = L"%SYSTEM%\\TaskKill.exe";
const std::wstring kPNext = L"SOFTWARE\\ORX Technologies\\Install\\PNext";

Lines Removed(const std::wstring& strPath) {
    return {L"VAREN_CA DeleteDirectory attempting to delete " + strPath + L" \n",
            L"VAREN_CA DeleteDirectory " + strPath + L": no errors using SHFileOperation.  \n"};
}

Lines Refused(const std::wstring& strPath, const std::wstring& strMessage) {
    return {L"VAREN_CA DeleteDirectory attempting to delete " + strPath + L" \n",
            L"VAREN_CA DeleteDirectory " + strPath + L" Error: " + strMessage + L". \n"};
}

Lines Join(Lines lines, const Lines& more) {
    lines.insert(lines.end(), more.begin(), more.end());
    return lines;
}

const int kTemp = Register({
    {.szName = "removes ProgramData's QVX A4, keeps Pyra",
     .szAction = "DelA4TempDir",
     .before = {File(kQvxData + L"\\A4\\Sub\\t.tmp"), File(kQvxData + L"\\Pyra\\t.tmp"),
                File(kQvxData + L"\\A4.txt")},
     .lines = {L"VAREN_CA deletes A4 Temp DIR\n"},
     .gone = {Folder(kQvxData + L"\\A4")}},
    {.szName = "nothing there: nothing logged",
     .szAction = "DelA4TempDir",
     .before = {File(kQvxData + L"\\Pyra\\t.tmp")}},
    {.szName = "removes ProgramData's QVX Pyra, keeps A4",
     .szAction = "DelPyraTempDir",
     .before = {File(kQvxData + L"\\Pyra\\t.tmp"), File(kQvxData + L"\\A4\\t.tmp")},
     .lines = {L"VAREN_CA deletes Pyra Temp DIR\n"},
     .gone = {Folder(kQvxData + L"\\Pyra")}},
});

const int kInstalled = Register({
    {.szName = "Pyra still there: only A4 goes",
     .szAction = "DelInstallA4Dir",
     .data = kInst,
     .before = {File(kUve + L"\\A4\\a.dll"), File(kUve + L"\\Pyra\\p.dll"),
                File(kUve + L"\\Reservation Manager\\r.exe")},
     .gone = {Folder(kUve + L"\\A4")}},
    {.szName = "the last component takes the shared folders",
     .szAction = "DelInstallA4Dir",
     .data = kInst,
     .before = {File(kUve + L"\\A4\\a.dll"), File(kUve + L"\\Reservation Manager\\r.exe"),
                File(kInst + L"Other\\o.dll")},
     .gone = {Folder(kUve)}},
    {.szName = "a file left in ORX.UVE keeps it",
     .szAction = "DelInstallPyraDir",
     .data = kInst,
     .before = {File(kUve + L"\\Pyra\\p.dll"), File(kUve + L"\\Reservation Manager\\r.exe"),
                File(kUve + L"\\left.txt")},
     .gone = {Folder(kUve + L"\\Pyra"), Folder(kUve + L"\\Reservation Manager")}},
    {.szName = "no folder handed over: nothing removed",
     .szAction = "DelInstallPyraDir",
     .before = {File(L"%CURRENT%\\ORX.UVE\\Pyra\\p.dll")},
     .lines = {L"VAREN_CA DelInstallPyraDir could not delete \\ORX.UVE\\Pyra\\ \n"}},
    {.szName = "a folder of 260 characters cannot be read",
     .szAction = "DelInstallA4Dir",
     .data = kInst + std::wstring(300, L'x'),
     .lines = {L"VAREN_CA DelInstallA4Dir could not get CustomActionData \n"}},
});

const int kRegistered = Register({
    {.szName = "ends the settings application, removes the PN folder",
     .szAction = "DeletePNFolder",
     .before = {Str(N, kPNext, L"Location", L"%CASE%\\PN"), File(L"%CASE%\\PN\\Sub\\pn.exe"),
                File(L"%CASE%\\PN2\\pn.exe"), Program(kTaskKill)},
     .lines = Removed(L"%CASE%\\PN"),
     .gone = {Folder(L"%CASE%\\PN")}},
    {.szName = "a drive root is refused",
     .szAction = "DeletePNFolder",
     .before = {Str(N, kPNext, L"Location", L"C:\\"), File(L"C:\\varen_canary.txt"),
                Program(kTaskKill)},
     .lines = Refused(L"C:\\", L"Access denied.\r\n")},
    {.szName = "the value only in the 32-bit view: nothing",
     .szAction = "DeletePNFolder",
     .before = {Str(W, kPNext, L"Location", L"%CASE%\\PN"), File(L"%CASE%\\PN\\pn.exe")}},
    {.szName = "removes the WVR folder named with a trailing separator",
     .szAction = "DeleteWVRFolder",
     .before = {Str(N, L"SOFTWARE\\ORX Technologies\\Install\\WVR64", L"InstallDir",
                    L"%CASE%\\WVR\\"),
                File(L"%CASE%\\WVR\\w.exe"), File(L"%CASE%\\WVR64\\w.exe"), Program(kTaskKill)},
     .lines = Removed(L"%CASE%\\WVR\\"),
     .gone = {Folder(L"%CASE%\\WVR")}},
});

const int kFiles = Register({
    {.szName = "removes the IOV DLL only",
     .szAction = "DeleteIOVDll",
     .data = L"%CASE%\\Bin\\",
     .before = {File(L"%CASE%\\Bin\\QVXIOVVer.dll"), File(L"%CASE%\\Bin\\QVXSMBusVer.dll")},
     .lines = Removed(L"%CASE%\\Bin\\QVXIOVVer.dll"),
     .gone = {File(L"%CASE%\\Bin\\QVXIOVVer.dll")}},
    {.szName = "removes the SMBus DLL only",
     .szAction = "DeleteSMBusDll",
     .data = L"%CASE%\\Bin",
     .before = {File(L"%CASE%\\Bin\\QVXIOVVer.dll"), File(L"%CASE%\\Bin\\QVXSMBusVer.dll")},
     .lines = Removed(L"%CASE%\\Bin\\QVXSMBusVer.dll"),
     .gone = {File(L"%CASE%\\Bin\\QVXSMBusVer.dll")}},
    {.szName = "no DLL there: nothing logged",
     .szAction = "DeleteSMBusDll",
     .data = L"%CASE%\\Bin",
     .before = {File(L"%CASE%\\Bin\\QVXIOVVer.dll")}},
});

const int kHandedOver = Register({
    {.szName = "removes the CA folder, keeps its sibling",
     .szAction = "RemoveCADDir",
     .data = L"%CASE%\\CA\\",
     .before = {File(L"%CASE%\\CA\\Sub\\ca.exe"), File(L"%CASE%\\CA2\\ca.exe")},
     .gone = {Folder(L"%CASE%\\CA")}},
    {.szName = "removes the USB monitor's folder",
     .szAction = "RemoveUSBMON",
     .data = L"%CASE%\\QVXUSB3DeviceDetector",
     .before = {File(L"%CASE%\\QVXUSB3DeviceDetector\\m.exe"), File(L"%CASE%\\Other\\m.exe")},
     .lines = Join(Removed(L"%CASE%\\QVXUSB3DeviceDetector"),
                   {L"Varen_CA QVXUSB3DeviceDetector folder deleted\n"}),
     .gone = {Folder(L"%CASE%\\QVXUSB3DeviceDetector")}},
    {.szName = "the Windows folder is refused",
     .szAction = "RemoveUSBMON",
     .data = L"%WINDIR%",
     .before = {File(L"%WINDIR%\\varen_canary.txt")},
     .lines = Refused(L"%WINDIR%", L"Access denied.\r\n")},
});

Lines FolderLines(const std::wstring& strFolder, bool fRemoved) {
    if (!fRemoved) {
        return {L"VAREN_CA Delete directory, " + strFolder + L" \n",
                L"VAREN_CA Directory, " + strFolder +
                    L", DNE or is not empty and will not be deleted.\n"};
    }
    return Join(Join({L"VAREN_CA Delete directory, " + strFolder + L" \n"}, Removed(strFolder)),
                {L"VAREN_CA successfully deleted directory, " + strFolder + L" \n"});
}

const int kDeleteFolder = Register({
    {.szName = "the emptied folders go, one with files stays",
     .szAction = "DeleteFolder",
     .data = L"%CASE%\\PF\\",
     .before = {Folder(L"%CASE%\\PF\\ORX Technologies"), File(L"%CASE%\\PF\\QVX\\left.dll"),
                Folder(L"%CASE%\\PF\\Common Files\\QVX"), File(L"%CASE%\\PF\\Common Files\\c.dll")},
     .lines = Join(Join(FolderLines(L"%CASE%\\PF\\ORX Technologies\\", true),
                        FolderLines(L"%CASE%\\PF\\QVX", false)),
                   FolderLines(L"%CASE%\\PF\\Common Files\\QVX", true)),
     .gone = {Folder(L"%CASE%\\PF\\ORX Technologies"), Folder(L"%CASE%\\PF\\Common Files\\QVX")}},
});

} // namespace
