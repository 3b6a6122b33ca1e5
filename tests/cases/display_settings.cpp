// The display and driver settings actions. Shims stand in for the 20-second wait and the
// display; one that notes its call writes it among the action's lines.
#include "tests/support/cases.h"

using namespace cases;

namespace {

const std::wstring kQvxKmd = L"SYSTEM\\CurrentControlSet\\Services\\qvxkmdag";
const std::wstring kRunOnce = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\RunOnce";
const std::wstring kPxFolder = L"%COMMONFILES%\\ORX Technologies";
const std::wstring kPxFile = kPxFolder + L"\\orxpblup.dat";
const std::wstring kPrepif = L"%PROGRAMFILES%\\Prepif";
const std::wstring kModeChange = L"VAREN_CA: DisplayModeChange  \n";
// Wine's display adapter and the driver key its driver property names.
const std::wstring kAdapterKey =
    L"SYSTEM\\CurrentControlSet\\Control\\Class\\{4D36E968-E325-11CE-BFC1-08002BE10318}\\0000";
const std::wstring kDceFile = L"%PROGRAMDATA%\\QVX\\PN\\Analytics\\orxkmdag_dce.log";

// The action's 20-second wait noted instead of waited for.
void WINAPI NoteSleep(DWORD dwMilliseconds) {
    CountFault();
    Note(L"Sleep(" + std::to_wstring(dwMilliseconds) + L")");
}

// A current mode unlike the one asked for.
BOOL WINAPI ReportOtherMode(LPCWSTR, DWORD, DEVMODEW* pMode) {
    CountFault();
    pMode->dmPelsWidth = 1920;
    pMode->dmBitsPerPel = 16;
    pMode->dmFields = DM_PELSWIDTH | DM_BITSPERPEL | DM_POSITION | DM_DISPLAYFLAGS;
    return TRUE;
}

LONG WINAPI NoteMode(DEVMODEW* pMode, DWORD dwFlags) {
    CountFault();
    wchar_t szText[200];
    wsprintfW(szText, L"ChangeDisplaySettingsW(%ux%u %u bpp %u Hz, fields %lX, size %u, flags %u)",
              pMode->dmPelsWidth, pMode->dmPelsHeight, pMode->dmBitsPerPel,
              pMode->dmDisplayFrequency, pMode->dmFields, pMode->dmSize, dwFlags);
    Note(szText);
    return DISP_CHANGE_SUCCESSFUL;
}

// The new list beside the case, the old copy and its neighbour.
const std::vector<Item> kCopies = {File(L"%CASE%\\orxpblup.dat", "new list"), File(kPxFile, "old"),
                                   File(kPxFolder + L"\\other.dat")};

const int kDriverSettings = Register({
    {.szName = "waits 20 seconds between its two lines, then asks for 1024x768x32 at 60 Hz",
     .szAction = "DisplayModeChange",
     .lines = {kModeChange, L"Sleep(20000)", kModeChange,
               L"ChangeDisplaySettingsW(1024x768 32 bpp 60 Hz, fields 5C0000, size 220, flags 1)",
               L"VAREN_CA: DisplayModeChange completed.\n"},
     .arrange = Faulty({{"kernel32.dll", "Sleep", &NoteSleep},
                        {"user32.dll", "EnumDisplaySettingsW", &ReportOtherMode},
                        {"user32.dll", "ChangeDisplaySettingsW", &NoteMode}})},
    {.szName = "64-bit Windows: the 64-bit view only, over a value of another type",
     .szAction = "EnableAero",
     .before = {Dword(N, kRunOnce, L"EnableAero", 7), Str(NW, kRunOnce, L"Other", L"x.exe")},
     .uReturn = 1,
     .lines = {L"VAREN_CA: EnableAero  \n", L"VAREN_CA: OS is Vista x64.  Setting 64-bit regkey.\n",
               L"VAREN_CA: EnableAero HKLM 64 run once key set.\n"},
     .gone = {Str(W, kRunOnce, L"EnableAero", L"")}, // never written there
     .after = {Str(N, kRunOnce, L"EnableAero", L"winsat formal -xml log.xml")}},
    {.szName = "the file's bytes over a value of another type, no key for a missing driver",
     .szAction = "SetPXBLRegKey",
     .before = {File(kPxFile, std::string("\x01\x02\x00\xff", 4)),
                Str(N, kQvxKmd, L"Blacklist", L"old"), Dword(N, kQvxKmd, L"Start", 3)},
     .lines = {L"VAREN_CA: Search Service RegKey  \n", L"VAREN_CA: Set key successfully  \n"},
     .gone = {Key(N, L"SYSTEM\\CurrentControlSet\\Services\\intelkmd")},
     .after = {Raw(N, kQvxKmd, L"Blacklist", REG_BINARY, {1, 2, 0, 0xff})}},
    {.szName = "removes Blacklist of any type, keeps the rest, makes up a missing driver's key",
     .szAction = "DelPXBLRegKey",
     .before = {Str(N, kQvxKmd, L"Blacklist", L"x"), Dword(N, kQvxKmd, L"Start", 3)},
     .uReturn = 1,
     .lines = {L"VAREN_CA: SearchDriverRegKey  \n"},
     .gone = {Str(N, kQvxKmd, L"Blacklist", L"")},
     .after = {Key(N, L"SYSTEM\\CurrentControlSet\\Services\\intelkmd")}},
    {.szName = "a Qorvexa driver's key gets the log path and its size",
     .szAction = "SetDCLogFileRegistry",
     .before = {Str(N, kAdapterKey, L"ProviderName", L"Qorvexa"),
                Str(N, kAdapterKey, L"DriverVersion", L"31.0.21001.1")},
     .lines = {L"VAREN_CA: SetDCLogFileRegistry " + kAdapterKey +
               L" DriverVersion 31.0.21001.1: DalDCELogFilePath " + kDceFile + L"  \n"},
     .after = {Str(N, kAdapterKey, L"DalDCELogFilePath", kDceFile),
               Dword(N, kAdapterKey, L"DalDCEFilePathSize",
                     static_cast<DWORD>((Expand(kDceFile).size() + 1) * sizeof(wchar_t))),
               Folder(L"%PROGRAMDATA%\\QVX\\PN\\Analytics")},
     .szWine = "the driver key of Wine's display adapter"},
    {.szName = "replaces the old copy whole, keeps its neighbours",
     .szAction = "CopyPXFile",
     .data = L"%CASE%",
     .before = kCopies,
     .lines = {L"CustomActionData: %CASE%",
               L"VAREN_CA: CopyPXFile copied %CASE%\\orxpblup.dat to " + kPxFile + L"  \n"},
     .after = {File(kPxFile, "new list")}},
    {.szName = "no folder would name the current one: refused",
     .szAction = "CopyPXFile",
     .before = kCopies,
     .uReturn = 1603,
     .lines = {L"CustomActionData: ", L"VAREN_CA: CopyPXFile failed to copy \\orxpblup.dat to " +
                                          kPxFile + L", error 161  \n"}},
    Removal("DelPXBLFile", "deletes the file alone", {},
            {File(kPxFile), File(kPxFolder + L"\\other.dat")}, 0, Removed(kPxFile),
            {File(kPxFile)}),
    Removal("ClearPixelRegValues", "removes the machine's PixelSharp in both views, keeps QVX", {},
            {Str(NW, L"SOFTWARE\\QVX\\PixelSharp\\Settings", L"Scale", L"2"),
             Str(NW, L"SOFTWARE\\QVX\\PN", L"PNVersion", L"1"),
             Key(NW, L"SOFTWARE\\QVX\\PixelSharpOld")},
            0, {}, {Key(NW, L"SOFTWARE\\QVX\\PixelSharp")}),
    Removal("ClearHKCUPixelRegValues", "removes the user's PixelSharp, keeps QVX", {},
            {Str(N, L"Software\\QVX\\PixelSharp\\Sub", L"x", L"1", HKEY_CURRENT_USER),
             Key(N, L"Software\\QVX\\PixelSharpOld", HKEY_CURRENT_USER),
             Key(NW, L"SOFTWARE\\QVX\\PixelSharp")},
            0, {}, {Key(N, L"Software\\QVX\\PixelSharp", HKEY_CURRENT_USER)}),
    Removal("DeletePixelDirectory", "another Prepif product keeps Prepif", {},
            {File(kPrepif + L"\\HP Pixel Sharp\\PixelSharp.exe"), File(kPrepif + L"\\Other\\o.exe"),
             File(kPrepif + L" Tools\\x.exe")},
            0,
            Removed(kPrepif + L"\\HP Pixel Sharp", nullptr,
                    {L"VAREN_CA: DeletePixelDirectory " + kPrepif +
                     L" is not empty and will not be deleted  \n"}),
            {Folder(kPrepif + L"\\HP Pixel Sharp")}),
});

} // namespace
