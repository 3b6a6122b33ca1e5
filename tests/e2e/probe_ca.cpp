// A deferred action for end-to-end packages: logs the CustomActionData it was
// given, so a test can see what an immediate action of Varen_CA handed on. The data
// goes in as a field of the message, which the installer does not format; "|" ends it.
#include <windows.h>
#include <msi.h>
#include <msiquery.h>

extern "C" __declspec(dllexport) UINT __stdcall LogCustomActionData(MSIHANDLE hInstall) {
    wchar_t szData[1024] = L"";
    DWORD cchData = 1024;
    MsiGetPropertyW(hInstall, L"CustomActionData", szData, &cchData);
    PMSIHANDLE hRecord = MsiCreateRecord(1);
    MsiRecordSetStringW(hRecord, 0, L"probe CustomActionData=[1]|");
    MsiRecordSetStringW(hRecord, 1, szData);
    MsiProcessMessage(hInstall, INSTALLMESSAGE_INFO, hRecord);
    return ERROR_SUCCESS;
}
