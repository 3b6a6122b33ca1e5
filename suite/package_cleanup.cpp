// Package registry cleanup: the last steps of an uninstall remove the
// per-package install keys, the suite's install values, older brand keys, the
// legacy uninstaller's folder and uninstall entry, and the settings
// application's branding files.
//
// Some of these actions store their handle in g_hInstall and some do not;
// those that do not log through whatever session called last. Packages are
// sequenced against that, so each action keeps its own choice.
#include "runtime/log.h"
#include "runtime/session.h"
#include "suite/package_cleanup_text.h"
#include "system/registry.h"
#include "system/registry_text.h"
#include "system/removal.h"

#include <shlobj.h>
#include <shlwapi.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

constexpr wchar_t kInstallKey[] = L"SOFTWARE\\ORX Technologies\\Install";
constexpr wchar_t kUninstallKey[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\";

// Names of the branding folder's entries that DeleteandRetainValues keeps. It
// lives as long as the module and is only ever appended to: a second call in
// the same loaded module adds the same names again.
std::vector<std::wstring> g_vecRetainedNames;

// Removes "ORX Technologies\UninstallAll\" under the 32-bit program files
// folder, to the Recycle Bin. True when it is gone or was never there.
bool RemoveLegacyUninstallFolder() {
    wchar_t szProgramFiles[MAX_PATH] = {};
    // The shell answers "not found" (or S_FALSE) when the program files folder
    // does not exist; then neither does the legacy folder under it. Nothing is
    // removed, least of all a path relative to the current drive.
    if (SHGetFolderPathW(nullptr, CSIDL_PROGRAM_FILESX86, nullptr, SHGFP_TYPE_CURRENT,
                         szProgramFiles) != S_OK) {
        return true;
    }
    const std::wstring strFolder =
        std::wstring(szProgramFiles) + L"\\ORX Technologies\\UninstallAll\\";
    if (!PathFileExistsW(strFolder.c_str())) {
        return true;
    }
    if (!RemovePathViaShell(strFolder.c_str(), 0)) {
        return false;
    }
    LogMessage(g_hInstall, L"Varen_CA CleanUninstallerFiles folder deleted\n");
    return true;
}

// Deletes the values (not the sub-keys) of the install key in one view; a view
// that cannot be opened is skipped.
void ClearInstallValues(REGSAM samAccess) {
    UniqueRegKey hKey;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kInstallKey, 0, samAccess, hKey.put()) == ERROR_SUCCESS) {
        DeleteNamedValues(hKey.get(), kInstallKey);
    }
}

// Appends to the retained list the sub-key names of HKLM "SOFTWARE\QVXBranding"
// and the text of each of its REG_SZ values with "\" turned into "/".
void CollectRetainedNames() {
    UniqueRegKey hBranding;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\QVXBranding", 0, KEY_READ, hBranding.put()) !=
        ERROR_SUCCESS) {
        return;
    }
    DWORD cSubKeys = 0;
    DWORD cValues = 0;
    DWORD cchMaxValueName = 0;
    DWORD cbMaxData = 0;
    if (RegQueryInfoKeyW(hBranding.get(), nullptr, nullptr, nullptr, &cSubKeys, nullptr, nullptr,
                         &cValues, &cchMaxValueName, &cbMaxData, nullptr,
                         nullptr) != ERROR_SUCCESS) {
        return;
    }
    wchar_t szSubKey[256]; // the longest key name and its terminator
    for (DWORD dwIndex = 0; dwIndex < cSubKeys; ++dwIndex) {
        DWORD cchSubKey = ARRAYSIZE(szSubKey);
        if (RegEnumKeyExW(hBranding.get(), dwIndex, szSubKey, &cchSubKey, nullptr, nullptr, nullptr,
                          nullptr) == ERROR_SUCCESS) {
            g_vecRetainedNames.emplace_back(szSubKey, cchSubKey);
        }
    }
    std::vector<wchar_t> vecValueName(cchMaxValueName + 1);
    for (DWORD dwIndex = 0; dwIndex < cValues; ++dwIndex) {
        DWORD cchValueName = static_cast<DWORD>(vecValueName.size());
        DWORD dwType = REG_NONE;
        if (RegEnumValueW(hBranding.get(), dwIndex, vecValueName.data(), &cchValueName, nullptr,
                          &dwType, nullptr, nullptr) != ERROR_SUCCESS ||
            dwType != REG_SZ) {
            continue;
        }
        const std::wstring strValueName(vecValueName.data(), cchValueName);
        if (auto strData = QueryStringValue(hBranding.get(), strValueName.c_str(), cbMaxData)) {
            g_vecRetainedNames.push_back(WithForwardSlashes(*strData));
        }
    }
}

// HKLM "SOFTWARE\QVX\PN\" "PNBrandingInstallDir", read with room for 260 bytes
// (129 characters and the terminator, deliberately); "" when unreadable.
std::wstring GetBrandingFolder() {
    UniqueRegKey hPn;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\QVX\\PN\\", 0, KEY_READ, hPn.put()) !=
        ERROR_SUCCESS) {
        return {};
    }
    return QueryStringValue(hPn.get(), L"PNBrandingInstallDir", MAX_PATH).value_or(L"");
}

// The folder's entries ("*.*", less "." and ".."), listed in full before any is
// removed, as full paths with "/" separators: the form of the retained values.
std::vector<std::wstring> ListBrandingEntries(const std::wstring& strFolder) {
    std::vector<std::wstring> vecEntries;
    WIN32_FIND_DATAW findData;
    UniqueFindHandle hFind(FindFirstFileW((strFolder + L"\\*.*").c_str(), &findData));
    if (!hFind) {
        return vecEntries;
    }
    do {
        const std::wstring_view strName = findData.cFileName;
        if (strName != L"." && strName != L"..") {
            vecEntries.push_back(BrandingEntryPath(strFolder, findData.cFileName));
        }
    } while (FindNextFileW(hFind.get(), &findData));
    return vecEntries;
}

// Entries are listed with "/"; the removal routines hand them on with "\".
void DeleteBrandingEntry(const std::wstring& strEntry) {
    if (!PathIsDirectoryW(strEntry.c_str())) {
        RemoveFile(strEntry.c_str()); // a file that cannot be removed is left as it is
        return;
    }
    RemovePathViaShell(strEntry.c_str(), 1);
}

// Marks the uninstall entry of the product szProductCode as a system
// component (hidden from the installed programs list), native view first,
// else the 32-bit view.
void HideUninstallEntry(const std::wstring& strProductCode) {
    const std::wstring strEntry = kUninstallKey + strProductCode;
    UniqueRegKey hEntry;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, strEntry.c_str(), 0, KEY_ALL_ACCESS, hEntry.put()) !=
            ERROR_SUCCESS &&
        RegOpenKeyExW(HKEY_LOCAL_MACHINE, strEntry.c_str(), 0, kKeyAllAccess32, hEntry.put()) !=
            ERROR_SUCCESS) {
        return;
    }
    const DWORD dwHidden = 1;
    RegSetValueExW(hEntry.get(), L"SystemComponent", 0, REG_DWORD,
                   reinterpret_cast<const BYTE*>(&dwHidden), sizeof(dwHidden));
}

// Hides the uninstall entry of one package sub-key unless its level is 2. A
// package whose level or product code cannot be read is left alone, and so is
// a product code that is no single key name (empty, or with a backslash): it
// would name the Uninstall key itself or a key below another entry.
void HidePackageUninstallEntry(HKEY hPackages, const wchar_t* szPackage) {
    UniqueRegKey hPackage;
    if (RegOpenKeyExW(hPackages, szPackage, 0, KEY_ALL_ACCESS, hPackage.put()) != ERROR_SUCCESS) {
        return;
    }
    const std::optional<DWORD> dwLevel = QueryDwordValue(hPackage.get(), L"iPackageLevel");
    if (!dwLevel || *dwLevel == 2) {
        return;
    }
    const std::optional<std::wstring> strProductCode = QueryStringValue(
        hPackage.get(), L"ProductGUID", MAX_PATH); // 260 bytes, as packages wrote it
    if (!strProductCode || !IsSingleKeyName(*strProductCode)) {
        return;
    }
    HideUninstallEntry(*strProductCode);
}

} // namespace

extern "C" UINT __stdcall CleanRegistry(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    PropertyBuffer szPid = {};
    if (ReadProperty(g_hInstall, L"CustomActionData", szPid) != ERROR_SUCCESS) {
        return ERROR_FUNCTION_FAILED;
    }
    LogMessage(g_hInstall, L"Varen_CA DeleteVLMRegKey: PID=%s\n", szPid);
    if (DeletePackageKey(szPid) != 0) {
        LogMessage(g_hInstall, L"Varen_CA CleanVarenRegKeys(), VLM Package key deleted, will now "
                               L"attempt the Varen (Package) "
                               L"key\n");
    }
    // Each goes only when no view holds anything under it, so another
    // package's key keeps both.
    DeleteVarenRegKey(HKEY_LOCAL_MACHINE, L"SOFTWARE\\ORX Technologies\\Install\\Packages\\");
    DeleteVarenRegKey(HKEY_LOCAL_MACHINE, L"SOFTWARE\\ORX Technologies\\Install\\");
    return ERROR_SUCCESS;
}

// The registry step always succeeds (a missing key counts as removed), so this
// action always returns 0; its failure branch ("VAREN_CA RemoveLegacyUninstall
// failed to clean registry keys \n", 1627) can never be taken.
extern "C" UINT __stdcall RmLegacyUninstall(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    if (RemoveLegacyUninstallFolder()) {
        LogMessage(g_hInstall, L"VAREN_CA RemoveLegacyUninstall cleaned files \n");
    } else {
        LogMessage(g_hInstall, L"VAREN_CA RemoveLegacyUninstall failed to clean files \n");
    }
    RemoveKeyPartInBothViews(
        HKEY_LOCAL_MACHINE,
        L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\All ORX Software\\");
    LogMessage(g_hInstall, L"VAREN_CA RemoveLegacyUninstall cleaned registry keys \n");
    return ERROR_SUCCESS;
}

// Does not store its handle. Returns 1 always; packages ignore it.
extern "C" UINT __stdcall ClearInstallRegValues(MSIHANDLE /*hInstall*/) {
    ClearInstallValues(kKeyAllAccess32);
    if (Is64BitWindows()) {
        ClearInstallValues(kKeyAllAccess64);
    }
    return 1;
}

extern "C" UINT __stdcall DeleteA4Registry(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    LogMessage(g_hInstall, L"VAREN_CA: SearchA4RegKey  \n");
    // No trailing "\": the key removed is "SOFTWARE\ORX" with all below it, in
    // both views. Packages rely on that wide removal.
    RemoveKeyPartInBothViews(HKEY_LOCAL_MACHINE, L"SOFTWARE\\ORX\\A4");
    return 1;
}

// Does not store its handle. The whole "SOFTWARE\ORX" tree, 32-bit view only.
extern "C" UINT __stdcall DeleteORXKey(MSIHANDLE /*hInstall*/) {
    wchar_t szPath[kcchLongPath] = L"SOFTWARE\\ORX";
    DeleteHklmKeyTree32(HKEY_LOCAL_MACHINE, szPath);
    return 0;
}

// Does not store its handle.
extern "C" UINT __stdcall DeletePNKEY(MSIHANDLE /*hInstall*/) {
    RemoveKeyPartInBothViews(HKEY_LOCAL_MACHINE, L"SOFTWARE\\QVX\\PN\\");
    return 0;
}

extern "C" UINT __stdcall DeletePyraRegistry(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    LogMessage(g_hInstall, L"VAREN_CA: SearchHalvoRegKey  \n");
    RemoveKeyPartInBothViews(HKEY_LOCAL_MACHINE, L"SOFTWARE\\QVX\\Pyra\\");
    RemoveKeyPartInBothViews(HKEY_CURRENT_USER, L"SOFTWARE\\QVX\\Pyra\\");
    return 1;
}

// Does not store its handle and logs nothing. Deletes the entries of the
// settings application's branding folder except those the retained list keeps.
// A folder the removal guard refuses (relative, a root, a system folder) is not
// emptied: its entries on their own would each pass.
extern "C" UINT __stdcall DeleteandRetainValues(MSIHANDLE /*hInstall*/) {
    CollectRetainedNames();
    const std::wstring strFolder = GetBrandingFolder();
    std::wstring strChecked;
    if (!PathFileExistsW(strFolder.c_str()) ||
        CheckRemovalTarget(strFolder.c_str(), strChecked) != 0) {
        return 0;
    }
    std::vector<std::wstring> vecRetained = g_vecRetainedNames;
    std::sort(vecRetained.begin(), vecRetained.end());
    for (const std::wstring& strEntry : ListBrandingEntries(strFolder)) {
        if (!KeepsBrandingEntry(strEntry, vecRetained)) {
            DeleteBrandingEntry(strEntry);
        }
    }
    return 0;
}

// Does not store its handle and logs nothing. Returns 1 on every path.
extern "C" UINT __stdcall RemoveARPEntries(MSIHANDLE /*hInstall*/) {
    UniqueRegKey hPackages;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\ORX Technologies\\Install\\Packages", 0,
                      KEY_ENUMERATE_SUB_KEYS, hPackages.put()) != ERROR_SUCCESS) {
        return 1;
    }
    wchar_t szPackage[MAX_PATH];
    for (DWORD dwIndex = 0;; ++dwIndex) {
        DWORD cchPackage = MAX_PATH;
        if (RegEnumKeyExW(hPackages.get(), dwIndex, szPackage, &cchPackage, nullptr, nullptr,
                          nullptr, nullptr) != ERROR_SUCCESS) {
            break;
        }
        if (!IsExceptedPackage(std::wstring_view(szPackage, cchPackage))) {
            HidePackageUninstallEntry(hPackages.get(), szPackage);
        }
    }
    return 1;
}

// Does not store its handle. The path ends in "\\" on purpose: its key part
// still ends in one "\", and that is the key removed.
extern "C" UINT __stdcall RemoveVLMEntry(MSIHANDLE /*hInstall*/) {
    const std::wstring strPath =
        std::wstring(kUninstallKey) + L"QVX Velium Install Manager\\" + L"\\";
    LogMessage(g_hInstall, L"Varen_CA DeletePackageKey(), Key to delete is %s \n", strPath.c_str());
    RemoveKeyPartInBothViews(HKEY_LOCAL_MACHINE, strPath.c_str());
    LogMessage(g_hInstall, L"Varen_CA DeletePackageKey(), %s key should be deleted \n",
               strPath.c_str());
    return 1;
}
