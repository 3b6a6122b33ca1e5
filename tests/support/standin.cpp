// A stand-in for the tools that actions start (cmd.exe, TaskKill.exe, RegAsm.exe...).
// It appends its command line as a line to the UTF-16 file named by
// VARENCA_STANDIN_LOG. With VARENCA_STANDIN_DELAY_MS it then takes that long
// and appends "done", so a test can tell whether its starter waited.
#include <windows.h>

#include <cwchar>
#include <string>

namespace {

std::wstring Environment(const wchar_t* szName) {
    const wchar_t* szValue = _wgetenv(szName);
    return szValue ? szValue : L"";
}

void AppendLine(const std::wstring& strLog, const std::wstring& strLine) {
    HANDLE hFile = CreateFileW(strLog.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE,
                               nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (hFile == INVALID_HANDLE_VALUE) {
        return;
    }
    const std::wstring strText = strLine + L"\n";
    DWORD cbWritten = 0;
    WriteFile(hFile, strText.data(), static_cast<DWORD>(strText.size() * sizeof(wchar_t)),
              &cbWritten, nullptr);
    CloseHandle(hFile);
}

} // namespace

int wmain() {
    const std::wstring strLog = Environment(L"VARENCA_STANDIN_LOG");
    AppendLine(strLog, GetCommandLineW());
    const std::wstring strDelay = Environment(L"VARENCA_STANDIN_DELAY_MS");
    if (!strDelay.empty()) {
        Sleep(static_cast<DWORD>(wcstoul(strDelay.c_str(), nullptr, 10)));
        AppendLine(strLog, L"done");
    }
    return 0;
}
