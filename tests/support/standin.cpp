// A stand-in for the tools that actions start (cmd.exe, TaskKill.exe, RegAsm.exe...).
// It appends its command line as a line to the UTF-16 file named by
// VARENCA_STANDIN_LOG. With VARENCA_STANDIN_DELAY_MS it then takes that long
// and appends "done", so a test can tell whether its starter waited.
// With VARENCA_STANDIN_WINDOW it plays a running application instead and logs nothing:
// "close" shows a top-level window and ends when it is asked to close, "ignore" shows one
// that refuses; it sets the event named by VARENCA_STANDIN_READY once it is ready to be
// asked and runs until it closes or is ended.
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

LRESULT CALLBACK WindowProc(HWND hWnd, UINT uMessage, WPARAM wParam, LPARAM lParam) {
    if (uMessage == WM_CLOSE && GetWindowLongPtrW(hWnd, GWLP_USERDATA) == 0) {
        return 0; // refused; otherwise the default procedure destroys the window
    }
    if (uMessage == WM_DESTROY) {
        PostQuitMessage(0);
    }
    return DefWindowProcW(hWnd, uMessage, wParam, lParam);
}

int PlayApplication(const std::wstring& strMode) {
    WNDCLASSW windowClass = {};
    windowClass.lpfnWndProc = WindowProc;
    windowClass.hInstance = GetModuleHandleW(nullptr);
    windowClass.lpszClassName = L"VarenStandInApplication";
    RegisterClassW(&windowClass);
    HWND hWnd = CreateWindowW(windowClass.lpszClassName, L"stand-in", WS_OVERLAPPEDWINDOW, 0, 0,
                              100, 100, nullptr, nullptr, windowClass.hInstance, nullptr);
    if (hWnd == nullptr) {
        return 3; // never ready: the runner reports the application did not start
    }
    SetWindowLongPtrW(hWnd, GWLP_USERDATA, strMode == L"close" ? 1 : 0);
    HANDLE hReady =
        OpenEventW(EVENT_MODIFY_STATE, FALSE, Environment(L"VARENCA_STANDIN_READY").c_str());
    if (hReady) {
        SetEvent(hReady);
        CloseHandle(hReady);
    }
    MSG message;
    while (GetMessageW(&message, nullptr, 0, 0) > 0) {
        DispatchMessageW(&message);
    }
    return 0;
}

} // namespace

int wmain() {
    const std::wstring strMode = Environment(L"VARENCA_STANDIN_WINDOW");
    if (!strMode.empty()) {
        return PlayApplication(strMode);
    }
    const std::wstring strLog = Environment(L"VARENCA_STANDIN_LOG");
    AppendLine(strLog, GetCommandLineW());
    const std::wstring strDelay = Environment(L"VARENCA_STANDIN_DELAY_MS");
    if (!strDelay.empty()) {
        Sleep(static_cast<DWORD>(wcstoul(strDelay.c_str(), nullptr, 10)));
        AppendLine(strLog, L"done");
    }
    return 0;
}
