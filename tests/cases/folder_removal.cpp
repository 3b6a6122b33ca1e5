// The suite's folder and file removal actions: each takes its own folder or file
// and nothing beside it.
#include "tests/support/cases.h"

using namespace cases;

namespace {

const std::wstring kQvxData = L"%PROGRAMDATA%\\QVX\\";
const std::wstring kUve = L"%CASE%\\ORX.UVE";
const std::wstring kPNext = L"SOFTWARE\\ORX Technologies\\Install\\PNext";
const Item kTaskKill = Program(L"%SYSTEM%\\TaskKill.exe");

// DeleteDirectory's lines: the attempt, then its success or szError.
Lines Removed(const std::wstring& strPath, const wchar_t* szError = nullptr) {
    return {L"VAREN_CA DeleteDirectory attempting to delete " + strPath + L" \n",
            L"VAREN_CA DeleteDirectory " + strPath +
                (szError ? L" Error: " + std::wstring(szError) + L". \n"
                         : L": no errors using SHFileOperation.  \n")};
}

const int kFolders = Register({
    {.szName = "removes ProgramData's QVX A4 only",
     .szAction = "DelA4TempDir",
     .before = {File(kQvxData + L"A4\\Sub\\t.tmp"), File(kQvxData + L"Pyra\\t.tmp"),
                File(kQvxData + L"A4.txt")},
     .lines = {L"VAREN_CA deletes A4 Temp DIR\n"},
     .gone = {Folder(kQvxData + L"A4")}},
    {.szName = "removes ProgramData's QVX Pyra only",
     .szAction = "DelPyraTempDir",
     .before = {File(kQvxData + L"Pyra\\t.tmp"), File(kQvxData + L"A4\\t.tmp")},
     .lines = {L"VAREN_CA deletes Pyra Temp DIR\n"},
     .gone = {Folder(kQvxData + L"Pyra")}},
    {.szName = "A4 still there: only Pyra goes",
     .szAction = "DelInstallPyraDir",
     .data = L"%CASE%\\",
     .before = {File(kUve + L"\\A4\\a.dll"), File(kUve + L"\\Pyra\\p.dll"),
                File(kUve + L"\\Reservation Manager\\r.exe")},
     .gone = {Folder(kUve + L"\\Pyra")}},
    {.szName = "the last component takes the shared folder; a file left keeps ORX.UVE",
     .szAction = "DelInstallA4Dir",
     .data = L"%CASE%\\",
     .before = {File(kUve + L"\\A4\\a.dll"), File(kUve + L"\\Reservation Manager\\r.exe"),
                File(kUve + L"\\left.txt"), File(L"%CASE%\\Other\\o.dll")},
     .gone = {Folder(kUve + L"\\A4"), Folder(kUve + L"\\Reservation Manager")}},
    // The 32-bit view's value names another folder, which stays.
    {.szName = "ends the settings application, removes the native view's PN folder",
     .szAction = "DeletePNFolder",
     .before = {Str(N, kPNext, L"Location", L"%CASE%\\PN"), File(L"%CASE%\\PN\\Sub\\pn.exe"),
                Str(W, kPNext, L"Location", L"%CASE%\\PN2"), File(L"%CASE%\\PN2\\pn.exe"),
                kTaskKill},
     .lines = Removed(L"%CASE%\\PN"),
     .gone = {Folder(L"%CASE%\\PN")}},
    {.szName = "a drive root is refused",
     .szAction = "DeletePNFolder",
     .before = {Str(N, kPNext, L"Location", L"C:\\"), File(L"C:\\varen_canary.txt"), kTaskKill},
     .lines = Removed(L"C:\\", L"Access denied.\r\n")},
    {.szName = "removes the WVR folder named with a trailing separator",
     .szAction = "DeleteWVRFolder",
     .before = {Str(N, L"SOFTWARE\\ORX Technologies\\Install\\WVR64", L"InstallDir",
                    L"%CASE%\\WVR\\"),
                File(L"%CASE%\\WVR\\w.exe"), File(L"%CASE%\\WVR64\\w.exe"), kTaskKill},
     .lines = Removed(L"%CASE%\\WVR\\"),
     .gone = {Folder(L"%CASE%\\WVR")}},
    {.szName = "removes the IOV DLL only",
     .szAction = "DeleteIOVDll",
     .data = L"%CASE%\\",
     .before = {File(L"%CASE%\\QVXIOVVer.dll"), File(L"%CASE%\\QVXSMBusVer.dll")},
     .lines = Removed(L"%CASE%\\QVXIOVVer.dll"),
     .gone = {File(L"%CASE%\\QVXIOVVer.dll")}},
    {.szName = "removes the SMBus DLL only",
     .szAction = "DeleteSMBusDll",
     .data = L"%CASE%",
     .before = {File(L"%CASE%\\QVXIOVVer.dll"), File(L"%CASE%\\QVXSMBusVer.dll")},
     .lines = Removed(L"%CASE%\\QVXSMBusVer.dll"),
     .gone = {File(L"%CASE%\\QVXSMBusVer.dll")}},
    {.szName = "removes the USB monitor's folder",
     .szAction = "RemoveUSBMON",
     .data = L"%CASE%\\USB",
     .before = {File(L"%CASE%\\USB\\m.exe"), File(L"%CASE%\\USB2\\m.exe")},
     .lines = {Removed(L"%CASE%\\USB")[0], Removed(L"%CASE%\\USB")[1],
               L"Varen_CA QVXUSB3DeviceDetector folder deleted\n"},
     .gone = {Folder(L"%CASE%\\USB")}},
    {.szName = "the emptied folders go, one with files stays",
     .szAction = "DeleteFolder",
     .data = L"%CASE%\\",
     .before = {Folder(L"%CASE%\\ORX Technologies"), File(L"%CASE%\\QVX\\left.dll"),
                Folder(L"%CASE%\\Common Files\\QVX"), File(L"%CASE%\\Common Files\\c.dll")},
     .lines = {L"VAREN_CA Delete directory, %CASE%\\ORX Technologies\\ \n",
               Removed(L"%CASE%\\ORX Technologies\\")[0], Removed(L"%CASE%\\ORX Technologies\\")[1],
               L"VAREN_CA successfully deleted directory, %CASE%\\ORX Technologies\\ \n",
               L"VAREN_CA Delete directory, %CASE%\\QVX \n",
               L"VAREN_CA Directory, %CASE%\\QVX, DNE or is not empty and will not be deleted.\n",
               L"VAREN_CA Delete directory, %CASE%\\Common Files\\QVX \n",
               Removed(L"%CASE%\\Common Files\\QVX")[0], Removed(L"%CASE%\\Common Files\\QVX")[1],
               L"VAREN_CA successfully deleted directory, %CASE%\\Common Files\\QVX \n"},
     .gone = {Folder(L"%CASE%\\ORX Technologies"), Folder(L"%CASE%\\Common Files\\QVX")}},
});

} // namespace
