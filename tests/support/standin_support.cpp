#include "tests/support/standin_support.h"

#include "packaging/msi_session.h"
#include "runtime/handles.h"
#include "tests/support/registry_support.h"

#include <shlobj.h>
#include <tlhelp32.h>

#include <gtest/gtest.h>

#include <algorithm>

namespace {

constexpr wchar_t kOverrides[] = L"Software\\Wine\\DllOverrides";

} // namespace

std::wstring KnownFolder(int iCsidl) {
    wchar_t szPath[MAX_PATH] = {};
    SHGetFolderPathW(nullptr, iCsidl, nullptr, SHGFP_TYPE_CURRENT, szPath);
    return szPath;
}

std::wstring BuiltProgram(const wchar_t* szName) {
    wchar_t szSelf[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, szSelf, MAX_PATH);
    const std::wstring strSelf = szSelf;
    return strSelf.substr(0, strSelf.find_last_of(L'\\') + 1) + szName;
}

std::wstring TestTempFolder() {
    wchar_t szTemp[MAX_PATH] = {};
    GetTempPathW(MAX_PATH, szTemp);
    return szTemp;
}

StandIns::StandIns() : m_strLog(TestTempFolder() + L"standin_" + NewGuid() + L".log") {
    SetEnvironmentVariableW(L"VARENCA_STANDIN_LOG", m_strLog.c_str());
}

StandIns::~StandIns() {
    SetEnvironmentVariableW(L"VARENCA_STANDIN_LOG", nullptr);
    SetEnvironmentVariableW(L"VARENCA_STANDIN_DELAY_MS", nullptr);
    for (const std::wstring& strImage : m_images) {
        DeleteValue(HKEY_CURRENT_USER, View::Native, kOverrides, strImage);
    }
    DeleteFileW(m_strLog.c_str());
}

void StandIns::Place(const std::wstring& strPath, unsigned uDelayMs) {
    EXPECT_TRUE(CopyFileW(BuiltProgram(L"standin.exe").c_str(), strPath.c_str(), FALSE))
        << "cannot place the stand-in";
    m_images.push_back(strPath.substr(strPath.find_last_of(L'\\') + 1));
    const wchar_t szNative[] = L"native";
    SetRaw(HKEY_CURRENT_USER, View::Native, kOverrides, m_images.back(), REG_SZ, szNative,
           sizeof(szNative));
    if (uDelayMs) {
        SetEnvironmentVariableW(L"VARENCA_STANDIN_DELAY_MS", std::to_wstring(uDelayMs).c_str());
    }
}

std::vector<std::wstring> StandIns::Log() const {
    std::wstring strText;
    const UniqueFileHandle hFile(CreateFileW(m_strLog.c_str(), GENERIC_READ,
                                             FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                             OPEN_EXISTING, 0, nullptr));
    if (hFile) {
        strText.resize(GetFileSize(hFile.get(), nullptr) / sizeof(wchar_t));
        DWORD cbRead = 0;
        ReadFile(hFile.get(), strText.data(), static_cast<DWORD>(strText.size() * sizeof(wchar_t)),
                 &cbRead, nullptr);
    }
    std::vector<std::wstring> lines;
    for (size_t iStart = 0, iEnd = strText.find(L'\n'); iEnd != std::wstring::npos;
         iStart = iEnd + 1, iEnd = strText.find(L'\n', iStart)) {
        lines.push_back(strText.substr(iStart, iEnd - iStart));
    }
    return lines;
}

// The thread's last error is left as it was: some actions log whatever error they find.
std::vector<DWORD> StandIns::Running() const {
    std::vector<DWORD> running;
    const DWORD dwLastError = GetLastError();
    const UniqueHandle hSnapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    PROCESSENTRY32W entry = {};
    entry.dwSize = sizeof(entry);
    for (BOOL fEntry = Process32FirstW(hSnapshot.get(), &entry); fEntry;
         fEntry = Process32NextW(hSnapshot.get(), &entry)) {
        if (entry.th32ParentProcessID == GetCurrentProcessId() &&
            std::any_of(m_images.begin(), m_images.end(), [&](const std::wstring& strImage) {
                return CompareStringOrdinal(strImage.c_str(), -1, entry.szExeFile, -1, TRUE) ==
                       CSTR_EQUAL;
            })) {
            running.push_back(entry.th32ProcessID);
        }
    }
    SetLastError(dwLastError);
    return running;
}

void StandIns::AwaitNew(const std::vector<DWORD>& before) const {
    for (DWORD dwId : Running()) {
        const UniqueHandle hProcess(std::find(before.begin(), before.end(), dwId) == before.end()
                                        ? OpenProcess(SYNCHRONIZE, FALSE, dwId)
                                        : nullptr);
        if (hProcess) {
            EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(hProcess.get(), 60000))
                << "a program the action started has not ended";
        }
    }
}
