#include "runtime/settings_file.h"

#include "runtime/external_log.h"
#include "runtime/handles.h"
#include "runtime/log.h"
#include "runtime/records.h"
#include "runtime/session.h"
#include "runtime/settings_file_text.h"

#include <optional>

namespace {

constexpr wchar_t kInstallManagerKey[] =
    L"SOFTWARE\\ORX Technologies\\Install\\ORX Velium Install Manager";
constexpr wchar_t kInstallKey[] = L"SOFTWARE\\ORX Technologies\\Install";

std::wstring JoinPath(const std::wstring& strFolder, const wchar_t* szName) {
    const bool fSeparator =
        !strFolder.empty() && strFolder.back() != L'\\' && strFolder.back() != L'/';
    return strFolder + (fSeparator ? L"\\" : L"") + szName;
}

// The string value szName of HKLM szKey (native view) when it is a string of fewer
// than MAX_PATH characters and not empty.
std::optional<std::wstring> ReadFolderValue(const wchar_t* szKey, const wchar_t* szName) {
    wchar_t szValue[MAX_PATH] = {};
    DWORD cbValue = sizeof(szValue);
    if (RegGetValueW(HKEY_LOCAL_MACHINE, szKey, szName, RRF_RT_REG_SZ, nullptr, szValue,
                     &cbValue) != ERROR_SUCCESS ||
        szValue[0] == L'\0') {
        return std::nullopt;
    }
    return szValue;
}

// The file's bytes; dwError is ERROR_FILE_NOT_FOUND for a missing file, and
// ERROR_FILE_TOO_LARGE for one over kcbMaxCfgFile.
std::optional<std::string> ReadFileBytes(const std::wstring& strPath, DWORD& dwError) {
    const UniqueFileHandle hFile(CreateFileW(strPath.c_str(), GENERIC_READ, FILE_SHARE_READ,
                                             nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL,
                                             nullptr));
    LARGE_INTEGER cbFile = {};
    if (!hFile || !GetFileSizeEx(hFile.get(), &cbFile)) {
        dwError = GetLastError();
        return std::nullopt;
    }
    if (cbFile.QuadPart > static_cast<LONGLONG>(kcbMaxCfgFile)) {
        dwError = ERROR_FILE_TOO_LARGE;
        return std::nullopt;
    }
    std::string strBytes(static_cast<size_t>(cbFile.QuadPart), '\0');
    DWORD cbRead = 0;
    if (!ReadFile(hFile.get(), strBytes.data(), static_cast<DWORD>(strBytes.size()), &cbRead,
                  nullptr) ||
        cbRead != strBytes.size()) {
        dwError = GetLastError();
        return std::nullopt;
    }
    return strBytes;
}

// Writes strBytes to a sibling of strPath, flushes it and moves it over strPath in
// one step; on failure the sibling is removed and strPath is untouched. Returns 0 or
// the error.
DWORD ReplaceFile(const std::wstring& strPath, const std::string& strBytes) {
    const std::wstring strSibling = strPath + L".new";
    {
        const UniqueFileHandle hFile(CreateFileW(strSibling.c_str(), GENERIC_WRITE, 0, nullptr,
                                                 CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
        DWORD cbWritten = 0;
        if (!hFile ||
            !WriteFile(hFile.get(), strBytes.data(), static_cast<DWORD>(strBytes.size()),
                       &cbWritten, nullptr) ||
            cbWritten != strBytes.size() || !FlushFileBuffers(hFile.get())) {
            const DWORD dwError = GetLastError();
            DeleteFileW(strSibling.c_str());
            return dwError;
        }
    }
    if (!MoveFileExW(strSibling.c_str(), strPath.c_str(),
                     MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
        const DWORD dwError = GetLastError();
        DeleteFileW(strSibling.c_str());
        return dwError;
    }
    return ERROR_SUCCESS;
}

// The three settings-file actions: each reads where the install manager lives and what
// to record, then edits the file. All are deferred and never fail the installation.
UINT UpdateRegisteredCfg(MSIHANDLE hInstall, const wchar_t* szAction, const CfgValues& values) {
    g_hInstall = hInstall;
    const std::optional<std::wstring> strFolder =
        ReadFolderValue(kInstallManagerKey, L"InstallDir");
    if (!strFolder) {
        LogMessage(g_hInstall, L"VAREN_CA %s: the install manager's folder is not registered \n",
                   szAction);
        return ERROR_SUCCESS;
    }
    UpdateInstallManagerCfg(*strFolder, values);
    return ERROR_SUCCESS;
}

} // namespace

void UpdateInstallManagerCfg(const std::wstring& strFolder, const CfgValues& values) {
    // The install manager's own logging library, when it has one, gets these lines too.
    const ExternalLog externalLog(strFolder.c_str());
    const std::wstring strPath = JoinPath(strFolder, L"InstallManager.cfg");
    const DWORD dwFolder = GetFileAttributesW(strFolder.c_str());
    if (dwFolder == INVALID_FILE_ATTRIBUTES || !(dwFolder & FILE_ATTRIBUTE_DIRECTORY)) {
        LogMessage(g_hInstall, L"VAREN_CA InstallManager.cfg not written, no folder %s \n",
                   strFolder.c_str());
        return;
    }
    DWORD dwError = ERROR_SUCCESS;
    std::optional<std::string> strBytes = ReadFileBytes(strPath, dwError);
    const bool fNew = !strBytes && dwError == ERROR_FILE_NOT_FOUND;
    if (dwError == ERROR_FILE_TOO_LARGE) {
        LogMessage(g_hInstall,
                   L"VAREN_CA InstallManager.cfg is larger than %d bytes, left as it is: %s \n",
                   static_cast<int>(kcbMaxCfgFile), strPath.c_str());
        return;
    }
    if (!strBytes && !fNew) {
        LogMessage(g_hInstall, L"VAREN_CA InstallManager.cfg could not be read, error %d: %s \n",
                   dwError, strPath.c_str());
        return;
    }
    std::optional<CfgDocument> document = ReadCfgDocument(fNew ? std::string() : *strBytes);
    if (!document) {
        LogMessage(g_hInstall,
                   L"VAREN_CA InstallManager.cfg is no text it can edit, left as it is: %s \n",
                   strPath.c_str());
        return;
    }
    if (const size_t cUnknown = CountUnknownCfgLines(*document)) {
        LogMessage(g_hInstall,
                   L"VAREN_CA InstallManager.cfg has %d lines it does not understand, kept as they "
                   L"are: %s \n",
                   static_cast<int>(cUnknown), strPath.c_str());
    }
    bool fChanged = fNew;
    for (const auto& [szName, strValue] : values) {
        fChanged = SetCfgValue(*document, szName, strValue) || fChanged;
    }
    if (!fChanged) {
        LogMessage(g_hInstall, L"VAREN_CA InstallManager.cfg is up to date: %s \n",
                   strPath.c_str());
        return;
    }
    if (!fNew && (GetFileAttributesW(strPath.c_str()) & FILE_ATTRIBUTE_READONLY)) {
        LogMessage(g_hInstall, L"VAREN_CA InstallManager.cfg is read-only, left as it is: %s \n",
                   strPath.c_str());
        return;
    }
    dwError = ReplaceFile(strPath, WriteCfgDocument(*document));
    if (dwError != ERROR_SUCCESS) {
        LogMessage(g_hInstall, L"VAREN_CA InstallManager.cfg could not be written, error %d: %s \n",
                   dwError, strPath.c_str());
        return;
    }
    LogMessage(g_hInstall,
               fNew ? L"VAREN_CA InstallManager.cfg created: %s \n"
                    : L"VAREN_CA InstallManager.cfg updated: %s \n",
               strPath.c_str());
}

// Deferred: "CustomActionData" is the install manager's folder, handed over by
// SetInstallDir. Always 0.
extern "C" UINT __stdcall UpdateCfg(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    const std::wstring strFolder = ReadCustomActionData();
    if (strFolder.empty()) {
        LogMessage(g_hInstall,
                   L"VAREN_CA UpdateCfg: no install manager folder in CustomActionData \n");
        return ERROR_SUCCESS;
    }
    UpdateInstallManagerCfg(strFolder, {{L"InstallDir", strFolder}});
    return ERROR_SUCCESS;
}

extern "C" UINT __stdcall UpdateVarenCfg(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    const std::optional<std::wstring> strSuite = ReadFolderValue(kInstallKey, L"InstallDir");
    if (!strSuite) {
        LogMessage(g_hInstall, L"VAREN_CA UpdateVarenCfg: the suite's folder is not registered \n");
        return ERROR_SUCCESS;
    }
    return UpdateRegisteredCfg(hInstall, L"UpdateVarenCfg", {{L"VarenInstallDir", *strSuite}});
}

extern "C" UINT __stdcall DisableRepairForVLM(MSIHANDLE hInstall) {
    return UpdateRegisteredCfg(hInstall, L"DisableRepairForVLM", {{L"EnableRepair", L"0"}});
}
