#include "tests/support/standin_support.h"

#include "tests/support/registry_support.h"
#include "tests/support/session_support.h"

#include <shlobj.h>

#include <gtest/gtest.h>

namespace {

const wchar_t* const kOverrides = L"Software\\Wine\\DllOverrides";

std::wstring ExeFolder() {
    wchar_t szSelf[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, szSelf, MAX_PATH);
    std::wstring strFolder = szSelf;
    return strFolder.substr(0, strFolder.find_last_of(L'\\'));
}

std::wstring ReadUtf16File(const std::wstring& strPath) {
    HANDLE hFile = CreateFileW(strPath.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                               nullptr, OPEN_EXISTING, 0, nullptr);
    if (hFile == INVALID_HANDLE_VALUE) {
        return {};
    }
    const DWORD cbFile = GetFileSize(hFile, nullptr);
    std::wstring strText(cbFile / sizeof(wchar_t), L'\0');
    DWORD cbRead = 0;
    ReadFile(hFile, strText.data(), cbFile, &cbRead, nullptr);
    CloseHandle(hFile);
    return strText;
}

} // namespace

std::wstring KnownFolder(int iCsidl) {
    wchar_t szPath[MAX_PATH] = {};
    SHGetFolderPathW(nullptr, iCsidl, nullptr, SHGFP_TYPE_CURRENT, szPath);
    return szPath;
}

std::wstring TestTempFolder() {
    wchar_t szTemp[MAX_PATH] = {};
    GetTempPathW(MAX_PATH, szTemp);
    return szTemp;
}

StandIn::StandIn(const std::wstring& strPath) : m_strPath(strPath) {
    m_strImage = strPath.substr(strPath.find_last_of(L'\\') + 1);
    const std::wstring strFolder = strPath.substr(0, strPath.find_last_of(L'\\'));
    if (GetFileAttributesW(strFolder.c_str()) == INVALID_FILE_ATTRIBUTES) {
        m_fCreatedFolder =
            SHCreateDirectoryExW(nullptr, strFolder.c_str(), nullptr) == ERROR_SUCCESS;
    }
    if (GetFileAttributesW(strPath.c_str()) != INVALID_FILE_ATTRIBUTES) {
        m_strSetAside = strPath + L".varen-original";
        EXPECT_TRUE(MoveFileExW(strPath.c_str(), m_strSetAside.c_str(), MOVEFILE_REPLACE_EXISTING));
    }
    EXPECT_TRUE(CopyFileW((ExeFolder() + L"\\standin.exe").c_str(), strPath.c_str(), FALSE))
        << "cannot place the stand-in";
    const wchar_t szNative[] = L"native";
    SetRaw(HKEY_CURRENT_USER, View::Native, kOverrides, m_strImage, REG_SZ, szNative,
           sizeof(szNative));
    m_strLog = TestTempFolder() + L"standin_" + NewGuid() + L".log";
    SetEnvironmentVariableW(L"VARENCA_STANDIN_LOG", m_strLog.c_str());
}

StandIn::~StandIn() {
    SetEnvironmentVariableW(L"VARENCA_STANDIN_LOG", nullptr);
    SetEnvironmentVariableW(L"VARENCA_STANDIN_DELAY_MS", nullptr);
    HKEY hKey = nullptr;
    if (RegOpenKeyExW(HKEY_CURRENT_USER, kOverrides, 0, KEY_SET_VALUE, &hKey) == ERROR_SUCCESS) {
        RegDeleteValueW(hKey, m_strImage.c_str());
        RegCloseKey(hKey);
    }
    DeleteFileW(m_strPath.c_str());
    if (!m_strSetAside.empty()) {
        MoveFileExW(m_strSetAside.c_str(), m_strPath.c_str(), MOVEFILE_REPLACE_EXISTING);
    }
    if (m_fCreatedFolder) {
        RemoveDirectoryW(m_strPath.substr(0, m_strPath.find_last_of(L'\\')).c_str());
    }
    DeleteFileW(m_strLog.c_str());
}

void StandIn::SetDelay(unsigned int uMilliseconds) {
    SetEnvironmentVariableW(L"VARENCA_STANDIN_DELAY_MS", std::to_wstring(uMilliseconds).c_str());
}

std::vector<std::wstring> StandIn::LogLines() const {
    std::vector<std::wstring> lines;
    const std::wstring strText = ReadUtf16File(m_strLog);
    size_t iStart = 0;
    for (size_t iEnd = strText.find(L'\n'); iEnd != std::wstring::npos;
         iEnd = strText.find(L'\n', iStart)) {
        lines.push_back(strText.substr(iStart, iEnd - iStart));
        iStart = iEnd + 1;
    }
    return lines;
}
