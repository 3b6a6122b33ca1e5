// The display and driver settings actions. Shims stand in where no real input
// steers a call (the 20-second wait, the display mode, the adapters, a refused
// write); one that notes its call writes it into the session's log, so its place
// among the action's lines shows when and with what it was called.
#include "tests/support/cases.h"

#include <msiquery.h>
#include <setupapi.h>

#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

using namespace cases;

namespace {

const HKEY kHkcu = HKEY_CURRENT_USER;
const std::wstring kServices = L"SYSTEM\\CurrentControlSet\\Services\\";
const std::wstring kQvxKmd = kServices + L"qvxkmdag";
const std::wstring kIntelKmd = kServices + L"intelkmd";
const std::wstring kRunOnce = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\RunOnce";
const std::wstring kWinsat = L"winsat formal -xml log.xml";
const std::wstring kPxFolder = L"%COMMONFILES%\\ORX Technologies";
const std::wstring kPxFile = kPxFolder + L"\\orxpblup.dat";
const std::wstring kDisplayClass =
    L"SYSTEM\\CurrentControlSet\\Control\\Class\\{4d36e968-e325-11ce-bfc1-08002be10318}";
const std::wstring kDceFolder = L"%PROGRAMDATA%\\QVX\\PN\\Analytics";
const std::wstring kDceFile = kDceFolder + L"\\orxkmdag_dce.log";
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

// DisplayModeChange's shims.
void WINAPI NoteSleep(DWORD dwMilliseconds) {
    CountFault();
    Note(L"Sleep(" + std::to_wstring(dwMilliseconds) + L")");
}

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

void WINAPI ReportX86(SYSTEM_INFO* pInfo) {
    CountFault();
    *pInfo = {};
    pInfo->wProcessorArchitecture = PROCESSOR_ARCHITECTURE_INTEL;
}

const int kEnableAero = Register({
    {.szName = "64-bit Windows: the 64-bit view only, over a value of another type",
     .szAction = "EnableAero",
     .before = {Dword(N, kRunOnce, L"EnableAero", 7), Str(NW, kRunOnce, L"Other", L"x.exe")},
     .uReturn = 1,
     .lines = {L"VAREN_CA: EnableAero  \n", L"VAREN_CA: OS is Vista x64.  Setting 64-bit regkey.\n",
               L"VAREN_CA: EnableAero HKLM 64 run once key set.\n"},
     // Not there before, and never written to the 32-bit view.
     .gone = {Str(W, kRunOnce, L"EnableAero", kWinsat)},
     .after = {Str(N, kRunOnce, L"EnableAero", kWinsat)}},
    {.szName = "32-bit Windows: both views",
     .szAction = "EnableAero",
     .before = {Str(NW, kRunOnce, L"Other", L"x.exe")},
     .uReturn = 1,
     .lines = {L"VAREN_CA: EnableAero  \n", L"VAREN_CA: EnableAero HKLM run once key set.\n"},
     .after = {Str(NW, kRunOnce, L"EnableAero", kWinsat)},
     .arrange = Faults({Shim("kernel32.dll", "GetNativeSystemInfo", &ReportX86)})},
});

const std::wstring kSearchService = L"VAREN_CA: Search Service RegKey  \n";
const std::wstring kSetKey = L"VAREN_CA: Set key successfully  \n";
const std::wstring kFailedKey = L"VAREN_CA: failed to set key  \n";

LONG WINAPI DenySetValue(HKEY, LPCWSTR, DWORD, DWORD, const BYTE*, DWORD) {
    CountFault();
    return ERROR_ACCESS_DENIED;
}

const int kSetPXBLRegKey = Register({
    {.szName = "the file's bytes over a value of another type, no key for a missing driver",
     .szAction = "SetPXBLRegKey",
     .before = {File(kPxFile, std::string("\x01\x02\x00\xff", 4)),
                Str(N, kQvxKmd, L"Blacklist", L"old"), Dword(N, kQvxKmd, L"Start", 3)},
     .lines = {kSearchService, kSetKey},
     .gone = {Key(N, kIntelKmd)},
     .after = {Raw(N, kQvxKmd, L"Blacklist", REG_BINARY, {1, 2, 0, 0xff})}},
    {.szName = "no file: nothing written",
     .szAction = "SetPXBLRegKey",
     .before = {Str(N, kQvxKmd, L"Blacklist", L"old")},
     .uReturn = 1603,
     .lines = {kSearchService, kFailedKey}},
    {.szName = "a file over 64 KB is no blacklist",
     .szAction = "SetPXBLRegKey",
     .before = {File(kPxFile, std::string(64 * 1024 + 1, 'x')), Key(N, kQvxKmd)},
     .uReturn = 1603,
     .lines = {kSearchService, kFailedKey}},
    {.szName = "refused writes fail",
     .szAction = "SetPXBLRegKey",
     .before = {File(kPxFile), Key(N, kQvxKmd), Key(N, kIntelKmd)},
     .uReturn = 1603,
     .lines = {kSearchService, kFailedKey, kFailedKey},
     .arrange = Faults({Shim("advapi32.dll", "RegSetValueExW", &DenySetValue)})},
});

const int kDelPXBLRegKey = Register({
    {.szName = "removes Blacklist of any type, keeps the rest, makes up a missing driver's key",
     .szAction = "DelPXBLRegKey",
     .before = {Str(N, kQvxKmd, L"Blacklist", L"x"), Dword(N, kQvxKmd, L"Start", 3),
                Key(N, kQvxKmd + L"\\Parameters")},
     .uReturn = 1,
     .lines = {L"VAREN_CA: SearchDriverRegKey  \n"},
     .gone = {Str(N, kQvxKmd, L"Blacklist", L"")},
     .after = {Key(N, kIntelKmd)}},
});

Lines CopyLines(const std::wstring& strData, const std::wstring& strSource,
                const wchar_t* szError = nullptr) {
    return {L"CustomActionData: " + strData,
            szError ? L"VAREN_CA: CopyPXFile failed to copy " + strSource + L" to " + kPxFile +
                          L", error " + szError + L"  \n"
                    : L"VAREN_CA: CopyPXFile copied " + strSource + L" to " + kPxFile + L"  \n"};
}

const std::wstring kPackage = L"%CASE%\\pkg";
const std::wstring kLongFolder = L"%CASE%\\" + std::wstring(280, L'p');

const int kCopyPXFile = Register({
    {.szName = "replaces the old copy whole, keeps its neighbours",
     .szAction = "CopyPXFile",
     .data = kPackage + L"\\",
     .before = {File(kPackage + L"\\orxpblup.dat", "new list"), File(kPxFile, "old"),
                File(kPxFolder + L"\\other.dat")},
     .lines = CopyLines(kPackage + L"\\", kPackage + L"\\orxpblup.dat"),
     .after = {File(kPxFile, "new list")}},
    {.szName = "a missing source keeps the old copy",
     .szAction = "CopyPXFile",
     .data = kPackage,
     .before = {Folder(kPackage), File(kPxFile, "old")},
     .uReturn = 1603,
     .lines = CopyLines(kPackage, kPackage + L"\\orxpblup.dat", L"2")},
    {.szName = "no folder would name the current one: refused",
     .szAction = "CopyPXFile",
     .before = {File(kPxFile, "old")},
     .uReturn = 1603,
     .lines = CopyLines(L"", L"\\orxpblup.dat", L"161")},
    {.szName = "a source path over 260 characters is refused",
     .szAction = "CopyPXFile",
     .data = kLongFolder,
     .before = {File(kPxFile, "old")},
     .uReturn = 1603,
     .lines = CopyLines(kLongFolder, kLongFolder + L"\\orxpblup.dat", L"206")},
});

const std::wstring kNothingToDelete =
    L"VAREN_CA: DelPXBLFile nothing to delete at " + kPxFile + L"  \n";

// DeleteDirectory's lines for each path it removes, and any lines after them.
Lines DeleteDirectoryLines(std::initializer_list<std::wstring> paths, Lines more = {}) {
    Lines lines;
    for (const std::wstring& strPath : paths) {
        lines.push_back(L"VAREN_CA DeleteDirectory attempting to delete " + strPath + L" \n");
        lines.push_back(L"VAREN_CA DeleteDirectory " + strPath +
                        L": no errors using SHFileOperation.  \n");
    }
    lines.insert(lines.end(), more.begin(), more.end());
    return lines;
}

const int kDelPXBLFile = Register({
    {.szName = "deletes the file alone",
     .szAction = "DelPXBLFile",
     .before = {File(kPxFile), File(kPxFolder + L"\\other.dat")},
     .lines = DeleteDirectoryLines({kPxFile}),
     .gone = {File(kPxFile)}},
    {.szName = "a folder of that name is no blacklist",
     .szAction = "DelPXBLFile",
     .before = {File(kPxFile + L"\\inside.dat")},
     .lines = {kNothingToDelete}},
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

std::wstring DriverKey(const wchar_t* szInstance) {
    return kDisplayClass + L"\\" + szInstance;
}

std::wstring DriverName(const wchar_t* szInstance) {
    return kDisplayClass.substr(kDisplayClass.find(L'{')) + L"\\" + szInstance;
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
               Folder(kDceFolder)},
     .arrange = FeedAdapters({{REG_SZ, DriverName(L"0007")},
                              {REG_SZ, DriverName(L"0008")},
                              {REG_SZ, DriverName(L"0009")},
                              {REG_SZ, DriverName(L"0010")},
                              {REG_SZ, DriverName(L"0011")},
                              // Properties that name no driver key: passed over.
                              {REG_SZ, DriverName(L"").substr(0, DriverName(L"").size() - 1)},
                              {REG_BINARY, DriverName(L"0007")},
                              {REG_SZ, DriverName(L"0007") + std::wstring(300, L'7')}})},
});

// Refuses the native view's opens for removal: the key cannot be deleted there.
LONG WINAPI DenyDeleteKey(HKEY hKey, LPCWSTR szSubKey, DWORD dwOptions, REGSAM samDesired,
                          PHKEY phResult) {
    if ((samDesired & DELETE) != 0 && (samDesired & KEY_WOW64_32KEY) == 0) {
        CountFault();
        return ERROR_ACCESS_DENIED;
    }
    return RegOpenKeyExW(hKey, szSubKey, dwOptions, samDesired, phResult);
}

const std::wstring kQvx = L"SOFTWARE\\QVX";

const int kClearPixelRegValues = Register({
    {.szName = "removes the machine's PixelSharp in both views, keeps QVX",
     .szAction = "ClearPixelRegValues",
     .before = {Str(NW, kQvx + L"\\PixelSharp\\Settings", L"Scale", L"2"),
                Str(NW, kQvx + L"\\PN", L"PNVersion", L"1"), Key(NW, kQvx + L"\\PixelSharpOld")},
     .gone = {Key(NW, kQvx + L"\\PixelSharp")}},
    {.szName = "a key it cannot delete is logged",
     .szAction = "ClearPixelRegValues",
     .before = {Key(NW, kQvx + L"\\PixelSharp")},
     .lines = {L"VAREN_CA: ClearPixelRegValues could not delete SOFTWARE\\QVX\\PixelSharp  \n"},
     .gone = {Key(W, kQvx + L"\\PixelSharp")},
     .arrange = Faults({Shim("advapi32.dll", "RegOpenKeyExW", &DenyDeleteKey)})},
});

const int kClearHKCUPixelRegValues = Register({
    {.szName = "removes the user's PixelSharp, keeps QVX",
     .szAction = "ClearHKCUPixelRegValues",
     .before = {Str(N, L"Software\\QVX\\PixelSharp\\Sub", L"x", L"1", kHkcu),
                Str(N, L"Software\\QVX", L"UninstallMode", L"1", kHkcu),
                Key(N, L"Software\\QVX\\PixelSharpOld", kHkcu), Key(NW, kQvx + L"\\PixelSharp")},
     .gone = {Key(N, L"Software\\QVX\\PixelSharp", kHkcu)}},
});

const int kDeletePixelDirectory = Register({
    {.szName = "removes HP Pixel Sharp and the emptied Prepif",
     .szAction = "DeletePixelDirectory",
     .before = {File(kPixelSharp + L"\\PixelSharp.exe"), File(kPrepif + L" Tools\\x.exe")},
     .lines = DeleteDirectoryLines({kPixelSharp, kPrepif}),
     .gone = {Folder(kPrepif)}},
    {.szName = "another Prepif product keeps Prepif",
     .szAction = "DeletePixelDirectory",
     .before = {File(kPixelSharp + L"\\PixelSharp.exe"), File(kPrepif + L"\\Other\\o.exe")},
     .lines = DeleteDirectoryLines({kPixelSharp}, {L"VAREN_CA: DeletePixelDirectory " + kPrepif +
                                                   L" is not empty and will not be deleted  \n"}),
     .gone = {Folder(kPixelSharp)}},
});

} // namespace
