// A deferred action for end-to-end packages: logs the CustomActionData it was
// given, so a test can see what an immediate action of Varen_CA handed on. The
// installer formats the line, so it avoids brackets and braces; "|" ends the data.
#include <windows.h>
#include <msi.h>
#include <msiquery.h>

#include <string>

extern "C" UINT __stdcall LogCustomActionData(MSIHANDLE hInstall) {
    wchar_t szData[1024] = L"";
    DWORD cchData = 1024;
    MsiGetPropertyW(hInstall, L"CustomActionData", szData, &cchData);
    const std::wstring strLine = L"probe CustomActionData=" + std::wstring(szData) + L"|";
    MSIHANDLE hRecord = MsiCreateRecord(0);
    MsiRecordSetStringW(hRecord, 0, strLine.c_str());
    MsiProcessMessage(hInstall, INSTALLMESSAGE_INFO, hRecord);
    MsiCloseHandle(hRecord);
    return ERROR_SUCCESS;
}
