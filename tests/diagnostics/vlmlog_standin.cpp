// A stand-in for the install manager's logging library "VLMLog.dll": it appends what it
// is asked to do to "VLMLog.txt" beside itself, one UTF-8 line each ("open <source>",
// every line written, "close"), and reports the version in "VLMLog.version" there, or 1.
#include <windows.h>

#include <cstdio>
#include <string>

extern "C" IMAGE_DOS_HEADER __ImageBase; // this library's own image

namespace {

FILE* OpenBeside(const wchar_t* szName, const wchar_t* szMode) {
    wchar_t szPath[MAX_PATH] = {};
    GetModuleFileNameW(reinterpret_cast<HMODULE>(&__ImageBase), szPath, MAX_PATH);
    const std::wstring strPath = szPath;
    return _wfopen((strPath.substr(0, strPath.find_last_of(L'\\') + 1) + szName).c_str(), szMode);
}

void Record(const std::wstring& strLine) {
    char szBytes[4096] = {}; // the last byte stays the terminator of a line cut short
    WideCharToMultiByte(CP_UTF8, 0, strLine.c_str(), -1, szBytes, sizeof(szBytes) - 1, nullptr,
                        nullptr);
    if (FILE* pFile = OpenBeside(L"VLMLog.txt", L"ab")) {
        fprintf(pFile, "%s\n", szBytes);
        fclose(pFile);
    }
}

} // namespace

extern "C" __declspec(dllexport) DWORD WINAPI VlmLogVersion() {
    unsigned long ulVersion = 1;
    if (FILE* pFile = OpenBeside(L"VLMLog.version", L"rb")) {
        fscanf(pFile, "%lu", &ulVersion);
        fclose(pFile);
    }
    return ulVersion;
}

extern "C" __declspec(dllexport) BOOL WINAPI VlmLogOpen(const wchar_t* szSource) {
    Record(std::wstring(L"open ") + szSource);
    return TRUE;
}

extern "C" __declspec(dllexport) void WINAPI VlmLogWrite(const wchar_t* szLine) {
    Record(szLine);
}

extern "C" __declspec(dllexport) void WINAPI VlmLogClose() {
    Record(L"close");
}
