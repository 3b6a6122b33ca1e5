// A stand-in for the install manager's logging library "VLMLog.dll": it appends what it
// is asked to do to "VLMLog.txt" beside itself, one UTF-8 line each ("open <source>",
// every line written, "close"), and reports the version in "VLMLog.version" there, or 1.
#include <windows.h>

#include <cstdio>
#include <string>

extern "C" IMAGE_DOS_HEADER __ImageBase; // this library's own image

namespace {

std::wstring Beside(const wchar_t* szName) {
    wchar_t szPath[MAX_PATH] = {};
    GetModuleFileNameW(reinterpret_cast<HMODULE>(&__ImageBase), szPath, MAX_PATH);
    const std::wstring strPath = szPath;
    return strPath.substr(0, strPath.find_last_of(L'\\') + 1) + szName;
}

void Record(const std::wstring& strLine) {
    const std::wstring strText = strLine + L"\n";
    char szBytes[4096];
    const int cbText =
        WideCharToMultiByte(CP_UTF8, 0, strText.c_str(), static_cast<int>(strText.size()), szBytes,
                            sizeof(szBytes), nullptr, nullptr);
    if (FILE* pFile = _wfopen(Beside(L"VLMLog.txt").c_str(), L"ab")) {
        fwrite(szBytes, 1, static_cast<size_t>(cbText), pFile);
        fclose(pFile);
    }
}

} // namespace

extern "C" DWORD WINAPI VlmLogVersion() {
    FILE* pFile = _wfopen(Beside(L"VLMLog.version").c_str(), L"rb");
    if (pFile == nullptr) {
        return 1;
    }
    char szVersion[16] = {};
    fread(szVersion, 1, sizeof(szVersion) - 1, pFile);
    fclose(pFile);
    return strtoul(szVersion, nullptr, 10);
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
