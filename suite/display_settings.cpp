// Display and driver settings around a driver install: a forced display mode, a
// run-once re-rating of the desktop, the panel blacklist of the suite's kernel-mode
// driver and of the Intel driver (its file and its "Blacklist" values), the display
// driver's diagnostic log path, and the HP Pixel Sharp companion's keys and folders.
#include "runtime/handles.h"
#include "runtime/log.h"
#include "runtime/records.h"
#include "runtime/session.h"
#include "suite/display_settings_text.h"
#include "system/file_copy.h"
#include "system/path_text.h"
#include "system/process.h"
#include "system/registry.h"
#include "system/registry_text.h"
#include "system/removal.h"

#include <setupapi.h>
#include <shlobj.h>
#include <shlwapi.h>

#include <cwchar>
#include <optional>
#include <string>
#include <vector>

namespace {

// The driver just installed needs this long before its modes can be set.
constexpr DWORD kDisplaySettleMs = 20000;

constexpr wchar_t kRunOnceValue[] =
    L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\RunOnce\\EnableAero";
constexpr wchar_t kWinsatCommand[] = L"winsat formal -xml log.xml";

// The drivers' panel blacklists, qvxkmdag's first: each a key path and a value name.
constexpr const wchar_t* kBlacklistValues[] = {
    L"SYSTEM\\CurrentControlSet\\Services\\qvxkmdag\\Blacklist",
    L"SYSTEM\\CurrentControlSet\\Services\\intelkmd\\Blacklist",
};
constexpr wchar_t kBlacklistFolder[] = L"ORX Technologies";
constexpr wchar_t kBlacklistFileName[] = L"orxpblup.dat";
// A list of panels is a few hundred bytes; a file beyond this is no blacklist and
// does not go into the system hive.
constexpr DWORD kcbMaxBlacklist = 64 * 1024;

constexpr wchar_t kPixelSharpKey[] = L"SOFTWARE\\QVX\\PixelSharp";

// The display adapters' setup class.
constexpr GUID kDisplayClass = {
    0x4d36e968, 0xe325, 0x11ce, {0xbf, 0xc1, 0x08, 0x00, 0x2b, 0xe1, 0x03, 0x18}};
constexpr wchar_t kDriverProvider[] = L"Qorvexa";
// Provider names and versions are short; longer data is not read.
constexpr DWORD kcbMaxName = MAX_PATH * sizeof(wchar_t);

// Opens szKey under HKLM with samAccess, creating it when it does not exist; an
// empty owner when neither works.
UniqueRegKey CreateHklmKey(const std::wstring& strKey, REGSAM samAccess) {
    UniqueRegKey hKey;
    if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, strKey.c_str(), 0, nullptr, 0, samAccess, nullptr,
                        hKey.put(), nullptr) != ERROR_SUCCESS) {
        hKey.release(); // a failed call does not promise a null key, so nothing is closed
    }
    return hKey;
}

// szValue as REG_SZ with its terminator.
LONG SetStringValue(HKEY hKey, const wchar_t* szName, const wchar_t* szValue) {
    return RegSetValueExW(hKey, szName, 0, REG_SZ, reinterpret_cast<const BYTE*>(szValue),
                          static_cast<DWORD>((wcslen(szValue) * 2) + 2));
}

bool HklmKeyExists(const wchar_t* szKey, REGSAM samView) {
    UniqueRegKey hKey;
    return RegOpenKeyExW(HKEY_LOCAL_MACHINE, szKey, 0, KEY_READ | samView, hKey.put()) ==
           ERROR_SUCCESS;
}

// "<Common Files>\ORX Technologies", or "" when the shell cannot name Common Files
// (a path built without it would be relative to the current drive).
std::wstring GetBlacklistFolder() {
    const std::wstring strCommonFiles = GetShellFolderPath(CSIDL_PROGRAM_FILES_COMMON);
    return IsAbsolutePath(strCommonFiles) ? JoinFolderAndName(strCommonFiles, kBlacklistFolder)
                                          : std::wstring();
}

std::wstring GetBlacklistFile() {
    const std::wstring strFolder = GetBlacklistFolder();
    return strFolder.empty() ? strFolder : JoinFolderAndName(strFolder, kBlacklistFileName);
}

// The whole file, or nullopt when it cannot be read or is larger than kcbMaxBlacklist.
std::optional<std::vector<BYTE>> ReadBlacklistFile(const std::wstring& strPath) {
    UniqueFileHandle hFile(CreateFileW(strPath.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                       OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    LARGE_INTEGER size = {};
    if (!hFile || !GetFileSizeEx(hFile.get(), &size) || size.QuadPart > kcbMaxBlacklist) {
        return std::nullopt;
    }
    std::vector<BYTE> vecData(static_cast<size_t>(size.QuadPart));
    DWORD cbRead = 0;
    if (!ReadFile(hFile.get(), vecData.data(), static_cast<DWORD>(vecData.size()), &cbRead,
                  nullptr) ||
        cbRead != vecData.size()) {
        return std::nullopt;
    }
    return vecData;
}

// Copies strSource to strTarget in strFolder (created when missing), never leaving
// the target half written. Returns the system error, 0 on success.
DWORD CopyBlacklistFile(const std::wstring& strSource, const std::wstring& strFolder,
                        const std::wstring& strTarget) {
    if (!IsAbsolutePath(strSource) || strFolder.empty()) {
        return ERROR_BAD_PATHNAME;
    }
    if (strSource.size() >= MAX_PATH || strTarget.size() >= MAX_PATH) {
        return ERROR_FILENAME_EXCED_RANGE;
    }
    if (!CreateDirectoryW(strFolder.c_str(), nullptr) && GetLastError() != ERROR_ALREADY_EXISTS) {
        return GetLastError();
    }
    return CopyWhole(strSource, strTarget, strFolder) ? ERROR_SUCCESS : GetLastError();
}

// The driver keys (below the class key) of the present display adapters. The
// adapters come from SetupAPI alone, so a test can feed it adapters a machine
// does not have.
std::vector<std::wstring> ListDisplayDriverKeys() {
    std::vector<std::wstring> vecDrivers;
    UniqueDevInfo hDevices(SetupDiGetClassDevsW(&kDisplayClass, nullptr, nullptr, DIGCF_PRESENT));
    if (!hDevices) {
        return vecDrivers;
    }
    SP_DEVINFO_DATA device = {};
    device.cbSize = sizeof(device);
    for (DWORD dwIndex = 0; SetupDiEnumDeviceInfo(hDevices.get(), dwIndex, &device); ++dwIndex) {
        wchar_t szDriver[MAX_PATH] = {};
        DWORD dwType = REG_NONE;
        // One character short of the buffer: a property stored without its
        // terminator still ends in one.
        if (SetupDiGetDeviceRegistryPropertyW(hDevices.get(), &device, SPDRP_DRIVER, &dwType,
                                              reinterpret_cast<BYTE*>(szDriver),
                                              sizeof(szDriver) - sizeof(wchar_t), nullptr) &&
            dwType == REG_SZ && IsDriverKeyName(szDriver)) {
            vecDrivers.emplace_back(szDriver);
        }
    }
    return vecDrivers;
}

// Writes the log path values under the driver key strKey; returns the system error.
DWORD SetDceLogValues(const std::wstring& strKey, const DceLogPaths& paths) {
    if (paths.strFile.empty()) {
        return ERROR_PATH_NOT_FOUND;
    }
    const DWORD cbPath = static_cast<DWORD>((paths.strFile.size() + 1) * sizeof(wchar_t));
    LONG lResult = RegSetKeyValueW(HKEY_LOCAL_MACHINE, strKey.c_str(), L"DalDCELogFilePath", REG_SZ,
                                   paths.strFile.c_str(), cbPath);
    if (lResult == ERROR_SUCCESS) {
        lResult = RegSetKeyValueW(HKEY_LOCAL_MACHINE, strKey.c_str(), L"DalDCEFilePathSize",
                                  REG_DWORD, &cbPath, sizeof(cbPath));
    }
    return static_cast<DWORD>(lResult);
}

} // namespace

extern "C" UINT __stdcall DisplayModeChange(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    LogMessage(g_hInstall, L"VAREN_CA: DisplayModeChange  \n");
    Sleep(kDisplaySettleMs);
    // The same line again after the wait: packages' logs have always shown it twice.
    LogMessage(g_hInstall, L"VAREN_CA: DisplayModeChange  \n");
    DEVMODEW mode = {};
    static_assert(sizeof(mode) == 220);
    mode.dmSize = sizeof(mode);
    if (!EnumDisplaySettingsW(nullptr, ENUM_CURRENT_SETTINGS, &mode)) {
        LogMessage(g_hInstall,
                   L"VAREN_CA: DisplayModeChange failed enumeration of display settings.\n");
        return ERROR_INSTALL_FAILURE;
    }
    mode.dmPelsWidth = 1024;
    mode.dmPelsHeight = 768;
    mode.dmBitsPerPel = 32;
    mode.dmDisplayFrequency = 60;
    mode.dmFields = DM_BITSPERPEL | DM_PELSWIDTH | DM_PELSHEIGHT | DM_DISPLAYFREQUENCY;
    if (ChangeDisplaySettingsW(&mode, CDS_UPDATEREGISTRY) != DISP_CHANGE_SUCCESSFUL) {
        LogMessage(g_hInstall, L"VAREN_CA: DisplayModeChange failed to change display settings.\n");
        return ERROR_INSTALL_FAILURE;
    }
    LogMessage(g_hInstall, L"VAREN_CA: DisplayModeChange completed.\n");
    return ERROR_SUCCESS;
}

// Returns 1 whether or not the value was written.
extern "C" UINT __stdcall EnableAero(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    LogMessage(g_hInstall, L"VAREN_CA: EnableAero  \n");
    const KeyPathParts runOnce = SplitKeyPath(kRunOnceValue);
    if (Is64BitWindows()) {
        LogMessage(g_hInstall, L"VAREN_CA: OS is Vista x64.  Setting 64-bit regkey.\n");
        if (UniqueRegKey hKey = CreateHklmKey(runOnce.strKeyPart, kKeyAllAccess64)) {
            SetStringValue(hKey.get(), runOnce.strLeafPart.c_str(), kWinsatCommand);
        }
        LogMessage(g_hInstall, L"VAREN_CA: EnableAero HKLM 64 run once key set.\n");
        return 1;
    }
    for (REGSAM samAccess : {kKeyAllAccess32, static_cast<REGSAM>(KEY_ALL_ACCESS)}) {
        if (UniqueRegKey hKey = CreateHklmKey(runOnce.strKeyPart, samAccess)) {
            SetStringValue(hKey.get(), runOnce.strLeafPart.c_str(), kWinsatCommand);
        }
    }
    LogMessage(g_hInstall, L"VAREN_CA: EnableAero HKLM run once key set.\n");
    return 1;
}

// Writes the blacklist file's bytes as "Blacklist" under each driver's services key
// that exists. Returns 0, or 1603 when the file is unreadable or a write failed.
extern "C" UINT __stdcall SetPXBLRegKey(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    LogMessage(g_hInstall, L"VAREN_CA: Search Service RegKey  \n");
    const std::optional<std::vector<BYTE>> data = ReadBlacklistFile(GetBlacklistFile());
    if (!data) {
        LogMessage(g_hInstall, L"VAREN_CA: failed to set key  \n");
        return ERROR_INSTALL_FAILURE;
    }
    UINT uResult = ERROR_SUCCESS;
    for (const wchar_t* szValue : kBlacklistValues) {
        const KeyPathParts service = SplitKeyPath(szValue);
        UniqueRegKey hKey;
        const LONG lOpen = RegOpenKeyExW(HKEY_LOCAL_MACHINE, service.strKeyPart.c_str(), 0,
                                         KEY_SET_VALUE, hKey.put());
        if (lOpen == ERROR_FILE_NOT_FOUND) {
            continue; // the driver is not installed; its key is not made up
        }
        if (lOpen == ERROR_SUCCESS &&
            RegSetValueExW(hKey.get(), service.strLeafPart.c_str(), 0, REG_BINARY, data->data(),
                           static_cast<DWORD>(data->size())) == ERROR_SUCCESS) {
            LogMessage(g_hInstall, L"VAREN_CA: Set key successfully  \n");
        } else {
            LogMessage(g_hInstall, L"VAREN_CA: failed to set key  \n");
            uResult = ERROR_INSTALL_FAILURE;
        }
    }
    return uResult;
}

extern "C" UINT __stdcall DelPXBLRegKey(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    LogMessage(g_hInstall, L"VAREN_CA: SearchDriverRegKey  \n");
    for (const wchar_t* szValue : kBlacklistValues) {
        const KeyPathParts service = SplitKeyPath(szValue);
        // Opening creates a services key that is missing (an empty key is left for a
        // driver that was never installed; packages have always left it so).
        UniqueRegKey hKey32 = CreateHklmKey(service.strKeyPart, kKeyAllAccess32);
        UniqueRegKey hKeyNative = CreateHklmKey(service.strKeyPart, KEY_ALL_ACCESS);
        for (const UniqueRegKey* pKey : {&hKey32, &hKeyNative}) {
            if (*pKey) {
                RegDeleteValueW(pKey->get(), service.strLeafPart.c_str());
            }
        }
    }
    return 1;
}

extern "C" UINT __stdcall CopyPXFile(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    const std::wstring strSource = JoinFolderAndName(ReadCustomActionData(), kBlacklistFileName);
    const std::wstring strFolder = GetBlacklistFolder();
    const std::wstring strTarget = GetBlacklistFile();
    const DWORD dwError = CopyBlacklistFile(strSource, strFolder, strTarget);
    if (dwError != ERROR_SUCCESS) {
        LogMessage(g_hInstall, L"VAREN_CA: CopyPXFile failed to copy %s to %s, error %u  \n",
                   strSource.c_str(), strTarget.c_str(), dwError);
        return ERROR_INSTALL_FAILURE;
    }
    LogMessage(g_hInstall, L"VAREN_CA: CopyPXFile copied %s to %s  \n", strSource.c_str(),
               strTarget.c_str());
    return ERROR_SUCCESS;
}

// A clean-up action: returns 0 whatever happened.
extern "C" UINT __stdcall DelPXBLFile(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    const std::wstring strFile = GetBlacklistFile();
    const DWORD dwAttributes = GetFileAttributesW(strFile.c_str());
    // Only a file: a folder of that name is not the blacklist.
    if (strFile.empty() || dwAttributes == INVALID_FILE_ATTRIBUTES ||
        (dwAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
        LogMessage(g_hInstall, L"VAREN_CA: DelPXBLFile nothing to delete at %s  \n",
                   strFile.c_str());
        return ERROR_SUCCESS;
    }
    DeleteDirectory(strFile.c_str(), 0);
    return ERROR_SUCCESS;
}

// Returns 0 whatever happened; a driver key it cannot write is logged.
extern "C" UINT __stdcall SetDCLogFileRegistry(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    const DceLogPaths paths = BuildDceLogPaths(GetShellFolderPath(CSIDL_COMMON_APPDATA));
    bool fFound = false;
    for (const std::wstring& strDriver : ListDisplayDriverKeys()) {
        const std::wstring strKey = L"SYSTEM\\CurrentControlSet\\Control\\Class\\" + strDriver;
        UniqueRegKey hKey;
        if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, strKey.c_str(), 0, KEY_QUERY_VALUE, hKey.put()) !=
                ERROR_SUCCESS ||
            QueryStringValue(hKey.get(), L"ProviderName", kcbMaxName) != kDriverProvider) {
            continue;
        }
        if (!fFound && !paths.strFolder.empty()) {
            const int iCreate = SHCreateDirectoryExW(nullptr, paths.strFolder.c_str(), nullptr);
            if (iCreate != ERROR_SUCCESS && iCreate != ERROR_ALREADY_EXISTS) {
                LogMessage(g_hInstall,
                           L"VAREN_CA: SetDCLogFileRegistry could not create %s, error %u  \n",
                           paths.strFolder.c_str(), iCreate);
            }
        }
        fFound = true;
        const std::wstring strVersion =
            QueryStringValue(hKey.get(), L"DriverVersion", kcbMaxName).value_or(L"");
        const DWORD dwError = SetDceLogValues(strKey, paths);
        if (dwError == ERROR_SUCCESS) {
            LogMessage(
                g_hInstall,
                L"VAREN_CA: SetDCLogFileRegistry %s DriverVersion %s: DalDCELogFilePath %s  \n",
                strKey.c_str(), strVersion.c_str(), paths.strFile.c_str());
        } else {
            LogMessage(g_hInstall,
                       L"VAREN_CA: SetDCLogFileRegistry %s DriverVersion %s: failed to set the "
                       L"values, error %u  \n",
                       strKey.c_str(), strVersion.c_str(), dwError);
        }
    }
    if (!fFound) {
        LogMessage(g_hInstall,
                   L"VAREN_CA: SetDCLogFileRegistry found no Qorvexa display driver  \n");
    }
    return ERROR_SUCCESS;
}

// A clean-up action: returns 0 whatever happened.
extern "C" UINT __stdcall ClearPixelRegValues(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    RemoveKeyPartInBothViews(HKEY_LOCAL_MACHINE, (std::wstring(kPixelSharpKey) + L"\\").c_str());
    if (HklmKeyExists(kPixelSharpKey, KEY_WOW64_32KEY) || HklmKeyExists(kPixelSharpKey, 0)) {
        LogMessage(g_hInstall, L"VAREN_CA: ClearPixelRegValues could not delete %s  \n",
                   kPixelSharpKey);
    }
    return ERROR_SUCCESS;
}

// Takes no session and logs nothing.
extern "C" UINT __stdcall ClearHKCUPixelRegValues(MSIHANDLE) {
    RemoveKeyPartInBothViews(HKEY_CURRENT_USER, L"Software\\QVX\\PixelSharp\\");
    return ERROR_SUCCESS;
}

// A clean-up action: returns 0 whatever happened.
extern "C" UINT __stdcall DeletePixelDirectory(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    const std::wstring strProgramFiles = GetShellFolderPath(CSIDL_PROGRAM_FILES);
    if (!IsAbsolutePath(strProgramFiles)) {
        return ERROR_SUCCESS;
    }
    // Built without a trailing "\": the shell's delete takes a folder in that form.
    const std::wstring strPrepif = JoinFolderAndName(strProgramFiles, L"Prepif");
    const std::wstring strPixelSharp = JoinFolderAndName(strPrepif, L"HP Pixel Sharp");
    if (PathIsDirectoryW(strPixelSharp.c_str())) {
        DeleteDirectory(strPixelSharp.c_str(), 0);
    }
    if (!PathIsDirectoryW(strPrepif.c_str())) {
        return ERROR_SUCCESS;
    }
    if (PathIsDirectoryEmptyW(strPrepif.c_str())) {
        DeleteDirectory(strPrepif.c_str(), 0);
    } else {
        LogMessage(g_hInstall,
                   L"VAREN_CA: DeletePixelDirectory %s is not empty and will not be deleted  \n",
                   strPrepif.c_str());
    }
    return ERROR_SUCCESS;
}
