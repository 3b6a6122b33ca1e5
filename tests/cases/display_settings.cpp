// The display and driver settings actions. Shims stand in where no real input
// steers a call (the 20-second wait, the display mode, the adapters, a refused
// write); one that notes its call writes it into the session's log, so its place
// among the action's lines shows when and with what it was called.
#include "tests/support/cases.h"

#include <msiquery.h>
#include <setupapi.h>

#include <cstring>
#include <tuple>

using namespace cases;

namespace {

const std::wstring kServices = L"SYSTEM\\CurrentControlSet\\Services\\";
const std::wstring kQvxKmd = kServices + L"qvxkmdag";
const std::wstring kIntelKmd = kServices + L"intelkmd";
const std::wstring kRunOnce = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\RunOnce";
const std::wstring kWinsat = L"winsat formal -xml log.xml";
const std::wstring kPxFolder = L"%COMMONFILES%\\ORX Technologies";
const std::wstring kPxFile = kPxFolder + L"\\orxpblup.dat";
const std::wstring kDisplayClass =
    L"SYSTEM\\CurrentControlSet\\Control\\Class\\{4d36e968-e325-11ce-bfc1-08002be10318}";
const std::wstring kDceFile = L"%PROGRAMDATA%\\QVX\\PN\\Analytics\\orxkmdag_dce.log";
const std::wstring kPrepif = L"%PROGRAMFILES%\\Prepif";
const std::wstring kPixelSharp = kPrepif + L"\\HP Pixel Sharp";

MSIHANDLE g_hSession = 0;

void Note(const std::wstring& strText) {
    const MSIHANDLE hRecord = MsiCreateRecord(0);
    MsiRecordSetStringW(hRecord, 0, strText.c_str());
    MsiProcessMessage(g_hSession, INSTALLMESSAGE_INFO, hRecord);
    MsiCloseHandle(hRecord);
}

using Shims = std::vector<std::tuple<const char*, const char*, void*>>;

// Places every fault of the list for the action's call; its shims note to the session.
std::function<std::shared_ptr<void>(ActionSession&)> Faults(Shims faults) {
    return [faults](ActionSession& session) -> std::shared_ptr<void> {
        g_hSession = session.Handle();
        auto pPatches = std::make_shared<std::vector<std::shared_ptr<void>>>();
        for (const auto& [szDll, szFunction, pfnShim] : faults) {
            pPatches->push_back(Fault(szDll, szFunction, pfnShim));
        }
        return pPatches;
    };
}

template <typename TFunction>
std::tuple<const char*, const char*, void*> Shim(const char* szDll, const char* szFunction,
                                                 TFunction* pfnShim) {
    return {szDll, szFunction, reinterpret_cast<void*>(pfnShim)};
}

void WINAPI NoteSleep(DWORD dwMilliseconds) {
    CountFault();
    Note(L"Sleep(" + std::to_wstring(dwMilliseconds) + L")");
}

// A current mode unlike the one asked for, or none.
BOOL WINAPI ReportOtherMode(LPCWSTR, DWORD, DEVMODEW* pMode) {
    CountFault();
    pMode->dmPelsWidth = 1920;
    pMode->dmPelsHeight = 1080;
    pMode->dmBitsPerPel = 16;
    pMode->dmDisplayFrequency = 144;
    pMode->dmFields = DM_PELSWIDTH | DM_PELSHEIGHT | DM_BITSPERPEL | DM_DISPLAYFREQUENCY |
                      DM_POSITION | DM_DISPLAYFLAGS;
    return TRUE;
}
BOOL WINAPI FailEnumeration(LPCWSTR, DWORD, DEVMODEW*) {
    CountFault();
    return FALSE;
}

LONG WINAPI RefuseMode(DEVMODEW* pMode, DWORD dwFlags) {
    CountFault();
    wchar_t szText[200];
    wsprintfW(szText, L"ChangeDisplaySettingsW(%ux%u %u bpp %u Hz, fields %lX, size %u, flags %u)",
              pMode->dmPelsWidth, pMode->dmPelsHeight, pMode->dmBitsPerPel,
              pMode->dmDisplayFrequency, pMode->dmFields, pMode->dmSize, dwFlags);
    Note(szText);
    return DISP_CHANGE_BADMODE;
}

const std::wstring kModeChange = L"VAREN_CA: DisplayModeChange  \n";
const auto kSleep = Shim("kernel32.dll", "Sleep", &NoteSleep);

const int kDisplayModeChange = Register({
    {.szName = "waits 20 seconds between its two lines, then sets the mode",
     .szAction = "DisplayModeChange",
     .lines = {kModeChange, L"Sleep(20000)", kModeChange,
               L"VAREN_CA: DisplayModeChange completed.\n"},
     .szWine = "the null display driver accepts 1024x768",
     .arrange = Faults({kSleep})},
    {.szName = "asks for 1024x768x32 at 60 Hz whatever the current mode",
     .szAction = "DisplayModeChange",
     .uReturn = 1603,
     .lines = {kModeChange, L"Sleep(20000)", kModeChange,
               L"ChangeDisplaySettingsW(1024x768 32 bpp 60 Hz, fields 5C0000, size 220, flags 1)",
               L"VAREN_CA: DisplayModeChange failed to change display settings.\n"},
     .arrange = Faults({kSleep, Shim("user32.dll", "EnumDisplaySettingsW", &ReportOtherMode),
                        Shim("user32.dll", "ChangeDisplaySettingsW", &RefuseMode)})},
    {.szName = "an unreadable mode fails",
     .szAction = "DisplayModeChange",
     .uReturn = 1603,
     .lines = {kModeChange, L"Sleep(20000)", kModeChange,
               L"VAREN_CA: DisplayModeChange failed enumeration of display settings.\n"},
     .arrange = Faults({kSleep, Shim("user32.dll", "EnumDisplaySettingsW", &FailEnumeration)})},
});

const std::wstring kSearchService = L"VAREN_CA: Search Service RegKey  \n";
const std::wstring kFailedKey = L"VAREN_CA: failed to set key  \n";

LONG WINAPI DenySetValue(HKEY, LPCWSTR, DWORD, DWORD, const BYTE*, DWORD) {
    CountFault();
    return ERROR_ACCESS_DENIED;
}

const int kRegistryCases = Register({
    {.szName = "64-bit Windows: the 64-bit view only, over a value of another type",
     .szAction = "EnableAero",
     .before = {Dword(N, kRunOnce, L"EnableAero", 7), Str(NW, kRunOnce, L"Other", L"x.exe")},
     .uReturn = 1,
     .lines = {L"VAREN_CA: EnableAero  \n", L"VAREN_CA: OS is Vista x64.  Setting 64-bit regkey.\n",
               L"VAREN_CA: EnableAero HKLM 64 run once key set.\n"},
     .gone = {Str(W, kRunOnce, L"EnableAero", kWinsat)}, // never written there
     .after = {Str(N, kRunOnce, L"EnableAero", kWinsat)}},
    {.szName = "the file's bytes over a value of another type, no key for a missing driver",
     .szAction = "SetPXBLRegKey",
     .before = {File(kPxFile, std::string("\x01\x02\x00\xff", 4)),
                Str(N, kQvxKmd, L"Blacklist", L"old"), Dword(N, kQvxKmd, L"Start", 3)},
     .lines = {kSearchService, L"VAREN_CA: Set key successfully  \n"},
     .gone = {Key(N, kIntelKmd)},
     .after = {Raw(N, kQvxKmd, L"Blacklist", REG_BINARY, {1, 2, 0, 0xff})}},
    {.szName = "a file over 64 KB is no blacklist",
     .szAction = "SetPXBLRegKey",
     .before = {File(kPxFile, std::string(64 * 1024 + 1, 'x')), Str(N, kQvxKmd, L"Blacklist", L"")},
     .uReturn = 1603,
     .lines = {kSearchService, kFailedKey}},
    {.szName = "refused writes fail",
     .szAction = "SetPXBLRegKey",
     .before = {File(kPxFile), Key(N, kQvxKmd), Key(N, kIntelKmd)},
     .uReturn = 1603,
     .lines = {kSearchService, kFailedKey, kFailedKey},
     .arrange = Faults({Shim("advapi32.dll", "RegSetValueExW", &DenySetValue)})},
    {.szName = "removes Blacklist of any type, keeps the rest, makes up a missing driver's key",
     .szAction = "DelPXBLRegKey",
     .before = {Str(N, kQvxKmd, L"Blacklist", L"x"), Dword(N, kQvxKmd, L"Start", 3),
                Key(N, kQvxKmd + L"\\Parameters")},
     .uReturn = 1,
     .lines = {L"VAREN_CA: SearchDriverRegKey  \n"},
     .gone = {Str(N, kQvxKmd, L"Blacklist", L"")},
     .after = {Key(N, kIntelKmd)}},
});

const std::wstring kPackage = L"%CASE%\\pkg";

// CopyPXFile given strData: the copy's lines, and when szError is given, its failure.
Case CopyCase(const char* szName, const std::wstring& strData, const wchar_t* szError) {
    const std::wstring strSource =
        strData + (strData.ends_with(L"\\") ? L"" : L"\\") + L"orxpblup.dat";
    const std::wstring strCopy = strSource + L" to " + kPxFile;
    return {.szName = szName,
            .szAction = "CopyPXFile",
            .data = strData.empty() ? std::nullopt : std::optional(strData), // "" is unset
            .before = {File(kPackage + L"\\orxpblup.dat", "new list"), File(kPxFile, "old"),
                       File(kPxFolder + L"\\other.dat")},
            .uReturn = szError ? 1603u : 0u,
            .lines = {L"CustomActionData: " + strData,
                      szError ? L"VAREN_CA: CopyPXFile failed to copy " + strCopy + L", error " +
                                    szError + L"  \n"
                              : L"VAREN_CA: CopyPXFile copied " + strCopy + L"  \n"},
            .after = {File(kPxFile, szError ? "old" : "new list")}};
}

// DeleteDirectory's lines for each path it removes, then the lines in more.
Lines DeleteLines(std::initializer_list<std::wstring> paths, Lines more = {}) {
    Lines lines;
    for (const std::wstring& strPath : paths) {
        lines.push_back(L"VAREN_CA DeleteDirectory attempting to delete " + strPath + L" \n");
        lines.push_back(L"VAREN_CA DeleteDirectory " + strPath +
                        L": no errors using SHFileOperation.  \n");
    }
    lines.insert(lines.end(), more.begin(), more.end());
    return lines;
}

const int kCopyPXFile = Register({
    CopyCase("replaces the old copy whole, keeps its neighbours", kPackage + L"\\", nullptr),
    CopyCase("a missing source keeps the old copy", L"%CASE%", L"2"),
    CopyCase("no folder would name the current one: refused", L"", L"161"),
    CopyCase("a source path over 260 characters is refused", L"%CASE%\\" + std::wstring(280, L'p'),
             L"206"),
    {.szName = "deletes the file alone",
     .szAction = "DelPXBLFile",
     .before = {File(kPxFile), File(kPxFolder + L"\\other.dat")},
     .lines = DeleteLines({kPxFile}),
     .gone = {File(kPxFile)}},
    {.szName = "a folder of that name is no blacklist",
     .szAction = "DelPXBLFile",
     .before = {File(kPxFile + L"\\inside.dat")},
     .lines = {L"VAREN_CA: DelPXBLFile nothing to delete at " + kPxFile + L"  \n"}},
});

// SetupAPI fed with adapters: the driver property of each (its registry type and text).
using Adapters = std::vector<std::pair<DWORD, std::wstring>>;
Adapters g_adapters;
const HDEVINFO kFedDevices = reinterpret_cast<HDEVINFO>(0x5EED);

HDEVINFO WINAPI FeedDevices(const GUID* pClass, PCWSTR, HWND, DWORD dwFlags) {
    CountFault();
    const GUID display = {
        0x4d36e968, 0xe325, 0x11ce, {0xbf, 0xc1, 0x08, 0x00, 0x2b, 0xe1, 0x03, 0x18}};
    const bool fPresentDisplays =
        pClass && IsEqualGUID(*pClass, display) && (dwFlags & DIGCF_PRESENT);
    return fPresentDisplays ? kFedDevices : INVALID_HANDLE_VALUE;
}

BOOL WINAPI EnumFedDevice(HDEVINFO hDevices, DWORD dwIndex, SP_DEVINFO_DATA* pDevice) {
    pDevice->DevInst = dwIndex;
    SetLastError(ERROR_NO_MORE_ITEMS);
    return hDevices == kFedDevices && dwIndex < g_adapters.size();
}

// As SetupAPI does: only the driver property, and only into a buffer it fits.
BOOL WINAPI FedDriverProperty(HDEVINFO, SP_DEVINFO_DATA* pDevice, DWORD dwProperty, DWORD* pdwType,
                              BYTE* pBuffer, DWORD cbBuffer, DWORD*) {
    const auto& [dwType, strDriver] = g_adapters.at(pDevice->DevInst);
    const DWORD cbData = static_cast<DWORD>((strDriver.size() + 1) * sizeof(wchar_t));
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    if (dwProperty != SPDRP_DRIVER || cbData > cbBuffer) {
        return FALSE;
    }
    *pdwType = dwType;
    memcpy(pBuffer, strDriver.c_str(), cbData);
    return TRUE;
}

BOOL WINAPI DestroyFedDevices(HDEVINFO hDevices) {
    return hDevices == kFedDevices;
}

std::function<std::shared_ptr<void>(ActionSession&)> FeedAdapters(Adapters adapters) {
    const auto place =
        Faults({Shim("setupapi.dll", "SetupDiGetClassDevsW", &FeedDevices),
                Shim("setupapi.dll", "SetupDiEnumDeviceInfo", &EnumFedDevice),
                Shim("setupapi.dll", "SetupDiGetDeviceRegistryPropertyW", &FedDriverProperty),
                Shim("setupapi.dll", "SetupDiDestroyDeviceInfoList", &DestroyFedDevices)});
    return [adapters, place](ActionSession& session) {
        g_adapters = adapters;
        return place(session);
    };
}

std::wstring DriverKey(const std::wstring& strInstance) {
    return kDisplayClass + L"\\" + strInstance;
}
// The property as SetupAPI gives it: the class GUID and the instance.
std::wstring DriverName(const std::wstring& strInstance) {
    return kDisplayClass.substr(kDisplayClass.find(L'{')) + L"\\" + strInstance;
}
std::wstring DceLine(const wchar_t* szInstance, const wchar_t* szVersion) {
    return L"VAREN_CA: SetDCLogFileRegistry " + DriverKey(szInstance) + L" DriverVersion " +
           szVersion + L": DalDCELogFilePath " + kDceFile + L"  \n";
}
// The log path as the driver gets it, and its size in bytes with the NUL.
Item DcePath(const wchar_t* szInstance) {
    return Str(N, DriverKey(szInstance), L"DalDCELogFilePath", kDceFile);
}
Item DceSize(const wchar_t* szInstance) {
    return Dword(N, DriverKey(szInstance), L"DalDCEFilePathSize",
                 static_cast<DWORD>((Expand(kDceFile).size() + 1) * sizeof(wchar_t)));
}

const int kSetDCLogFileRegistry = Register({
    {.szName = "no Qorvexa adapter under Wine: nothing made",
     .szAction = "SetDCLogFileRegistry",
     .lines = {L"VAREN_CA: SetDCLogFileRegistry found no Qorvexa display driver  \n"},
     .gone = {Folder(L"%PROGRAMDATA%\\QVX\\PN")},
     .szWine = "the prefix's display adapter is not Qorvexa's"},
    {.szName = "only the keys of Qorvexa drivers get the log path",
     .szAction = "SetDCLogFileRegistry",
     .before = {Str(N, kDisplayClass, L"ProviderName", L"Qorvexa"),
                Str(N, DriverKey(L"0007"), L"ProviderName", L"Qorvexa"),
                Str(N, DriverKey(L"0007"), L"DriverVersion", L"31.0.21001.1"),
                Str(N, DriverKey(L"0008"), L"ProviderName", L"Other"),
                Str(N, DriverKey(L"0009"), L"ProviderName", L"Qorvexa"),
                Dword(N, DriverKey(L"0009"), L"DriverVersion", 31),
                Dword(N, DriverKey(L"0010"), L"ProviderName", 1),
                Str(N, DriverKey(L"0011"), L"ProviderName", L"qorvexa")},
     .lines = {DceLine(L"0007", L"31.0.21001.1"), DceLine(L"0009", L"")},
     // Never written: another maker's driver, a provider name of another type or case,
     // the class key itself.
     .gone = {DcePath(L"0008"), DcePath(L"0010"), DcePath(L"0011"),
              Str(N, kDisplayClass, L"DalDCELogFilePath", L"")},
     .after = {DcePath(L"0007"), DceSize(L"0007"), DcePath(L"0009"), DceSize(L"0009"),
               Folder(L"%PROGRAMDATA%\\QVX\\PN\\Analytics")},
     // Properties that name no driver key (the class alone, the wrong type, one too
     // long for the buffer) are passed over.
     .arrange = FeedAdapters({{REG_SZ, DriverName(L"0007")},
                              {REG_SZ, DriverName(L"0008")},
                              {REG_SZ, DriverName(L"0009")},
                              {REG_SZ, DriverName(L"0010")},
                              {REG_SZ, DriverName(L"0011")},
                              {REG_SZ, kDisplayClass.substr(kDisplayClass.find(L'{'))},
                              {REG_BINARY, DriverName(L"0007")},
                              {REG_SZ, DriverName(L"0007" + std::wstring(300, L'7'))}})},
});

const std::wstring kQvx = L"SOFTWARE\\QVX";

const int kPixelSharpCases = Register({
    {.szName = "removes the machine's PixelSharp in both views, keeps QVX",
     .szAction = "ClearPixelRegValues",
     .before = {Str(NW, kQvx + L"\\PixelSharp\\Settings", L"Scale", L"2"),
                Str(NW, kQvx + L"\\PN", L"PNVersion", L"1"), Key(NW, kQvx + L"\\PixelSharpOld")},
     .gone = {Key(NW, kQvx + L"\\PixelSharp")}},
    {.szName = "removes the user's PixelSharp, keeps QVX",
     .szAction = "ClearHKCUPixelRegValues",
     .before = {Str(N, L"Software\\QVX\\PixelSharp\\Sub", L"x", L"1", HKEY_CURRENT_USER),
                Str(N, L"Software\\QVX", L"UninstallMode", L"1", HKEY_CURRENT_USER),
                Key(N, L"Software\\QVX\\PixelSharpOld", HKEY_CURRENT_USER),
                Key(NW, kQvx + L"\\PixelSharp")},
     .gone = {Key(N, L"Software\\QVX\\PixelSharp", HKEY_CURRENT_USER)}},
    {.szName = "removes HP Pixel Sharp and the emptied Prepif",
     .szAction = "DeletePixelDirectory",
     .before = {File(kPixelSharp + L"\\PixelSharp.exe"), File(kPrepif + L" Tools\\x.exe")},
     .lines = DeleteLines({kPixelSharp, kPrepif}),
     .gone = {Folder(kPrepif)}},
    {.szName = "another Prepif product keeps Prepif",
     .szAction = "DeletePixelDirectory",
     .before = {File(kPixelSharp + L"\\PixelSharp.exe"), File(kPrepif + L"\\Other\\o.exe")},
     .lines = DeleteLines({kPixelSharp}, {L"VAREN_CA: DeletePixelDirectory " + kPrepif +
                                          L" is not empty and will not be deleted  \n"}),
     .gone = {Folder(kPixelSharp)}},
});

} // namespace
