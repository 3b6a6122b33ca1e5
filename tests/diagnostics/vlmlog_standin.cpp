// A stand-in for the install manager's logging library "VLMLog.dll", built by the
// tests. It appends what it is asked to do to "VLMLog.txt" beside itself, one UTF-8
// line each: "open <source>", every line written, "close". It reports the interface
// version written in "VLMLog.version" beside it, or 1.
#include <windows.h>

#include <string>

namespace {

std::wstring Beside(const wchar_t* szName) {
    HMODULE hSelf = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                           GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<const wchar_t*>(&Beside), &hSelf);
    wchar_t szPath[MAX_PATH] = {};
    GetModuleFileNameW(hSelf, szPath, MAX_PATH);
    const std::wstring strPath = szPath;
    return strPath.substr(0, strPath.find_last_of(L'\\') + 1) + szName;
}

void Record(const std::wstring& strLine) {
    HANDLE hFile = CreateFileW(Beside(L"VLMLog.txt").c_str(), FILE_APPEND_DATA, FILE_SHARE_READ,
                               nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (hFile == INVALID_HANDLE_VALUE) {
        return;
    }
    const std::wstring strText = strLine + L"\n";
    char szBytes[4096];
    const int cbText =
        WideCharToMultiByte(CP_UTF8, 0, strText.c_str(), static_cast<int>(strText.size()), szBytes,
                            sizeof(szBytes), nullptr, nullptr);
    DWORD cbWritten = 0;
    WriteFile(hFile, szBytes, static_cast<DWORD>(cbText), &cbWritten, nullptr);
    CloseHandle(hFile);
}

} // namespace

extern "C" DWORD WINAPI VlmLogVersion() {
    char szVersion[16] = {};
    DWORD cbRead = 0;
    HANDLE hFile = CreateFileW(Beside(L"VLMLog.version").c_str(), GENERIC_READ, FILE_SHARE_READ,
                               nullptr, OPEN_EXISTING, 0, nullptr);
    if (hFile == INVALID_HANDLE_VALUE) {
        return 1;
    }
    ReadFile(hFile, szVersion, sizeof(szVersion) - 1, &cbRead, nullptr);
    CloseHandle(hFile);
    return static_cast<DWORD>(strtoul(szVersion, nullptr, 10));
}

extern "C" BOOL WINAPI VlmLogOpen(const wchar_t* szSource) {
    Record(std::wstring(L"open ") + szSource);
    return TRUE;
}

extern "C" void WINAPI VlmLogWrite(const wchar_t* szLine) {
    Record(szLine);
}

extern "C" void WINAPI VlmLogClose() {
    Record(L"close");
}
