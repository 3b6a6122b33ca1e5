// action_runner PACKAGE ACTION...: opens PACKAGE as an installer session, calls each
// named export of Varen_CA.dll (beside this program) with the session handle and
// prints "ACTION returned N" and the raw log lines it wrote. The demo uses it to
// show the return values that an installer log maps to its own verdicts.
#include <windows.h>
#include <msi.h>
#include <msiquery.h>

#include <cstdio>
#include <string>

namespace {

int __stdcall PrintRecord(void*, UINT uType, MSIHANDLE hRecord) {
    if ((uType & 0xFF000000) != INSTALLMESSAGE_INFO) {
        return 0;
    }
    wchar_t szEmpty[1] = L"";
    DWORD cchText = 0;
    MsiRecordGetStringW(hRecord, 0, szEmpty, &cchText);
    std::wstring strText(++cchText, L'\0');
    MsiRecordGetStringW(hRecord, 0, strText.data(), &cchText);
    strText.resize(cchText);
    while (!strText.empty() && (strText.back() == L'\n' || strText.back() == L' ')) {
        strText.pop_back();
    }
    wprintf(L"    %ls\n", strText.c_str());
    return 0;
}

} // namespace

int wmain(int argc, wchar_t** argv) {
    if (argc < 3) {
        fwprintf(stderr, L"usage: action_runner PACKAGE ACTION...\n");
        return 2;
    }
    HMODULE hDll = LoadLibraryW(L"Varen_CA.dll");
    MsiSetInternalUI(INSTALLUILEVEL_NONE, nullptr);
    MsiSetExternalUIRecord(&PrintRecord, INSTALLLOGMODE_INFO, nullptr, nullptr);
    MSIHANDLE hSession = 0;
    if (!hDll || MsiOpenPackageExW(argv[1], MSIOPENPACKAGEFLAGS_IGNOREMACHINESTATE, &hSession) !=
                     ERROR_SUCCESS) {
        fwprintf(stderr, L"action_runner: cannot load Varen_CA.dll or open %ls\n", argv[1]);
        return 1;
    }
    for (int iArg = 2; iArg < argc; ++iArg) {
        std::string strName;
        for (const wchar_t* pch = argv[iArg]; *pch; ++pch) {
            strName += static_cast<char>(*pch);
        }
        using Action = UINT(__stdcall*)(MSIHANDLE);
        auto pfnAction = reinterpret_cast<Action>(
            reinterpret_cast<void*>(GetProcAddress(hDll, strName.c_str())));
        if (!pfnAction) {
            wprintf(L"%ls: not exported\n", argv[iArg]);
            continue;
        }
        wprintf(L"%ls:\n", argv[iArg]);
        const UINT uResult = pfnAction(hSession);
        wprintf(L"    returned %u\n", uResult);
    }
    MsiCloseHandle(hSession);
    MsiCloseAllHandles();
    FreeLibrary(hDll);
    return 0;
}
