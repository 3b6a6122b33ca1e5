// Queries on the running package's database, and the two actions that copy a
// version row of ORX_InstallProperties into the registry.
#include "runtime/package_table.h"

#include "runtime/handles.h"
#include "runtime/log.h"
#include "runtime/session.h"

#include <msiquery.h>

namespace {

// wsprintfW writes at most 1024 characters and the terminator.
constexpr int kcchQuery = 1025;
// The capacity the query passes for a value, and the room really behind it.
constexpr DWORD kcchTableValue = 1042;

} // namespace

bool GetFromMSITable(const wchar_t* szQueryTemplate, const wchar_t* szRowName,
                     std::wstring& strValue) {
    wchar_t szQuery[kcchQuery];
    wsprintfW(szQuery, szQueryTemplate, szRowName);
    LogMessage(g_hInstall, L"Varen_CA GetFromMSITable(), Reading Property table\n");

    // Cleared first: the failure line below shows it, still empty.
    wchar_t szValue[kcchTableValue] = {};
    // Declared in this order so that they close as row, view, database.
    UniqueMsiHandle hDatabase(MsiGetActiveDatabase(g_hInstall));
    if (!hDatabase) {
        LogMessage(g_hInstall, L"Varen_CA GetFromMSITable() failed at MsiGetActiveDatabase %s \n",
                   szValue);
        return false;
    }
    UniqueMsiHandle hView;
    if (MsiDatabaseOpenViewW(hDatabase.get(), szQuery, hView.put()) != ERROR_SUCCESS) {
        return false;
    }
    if (MsiViewExecute(hView.get(), 0) != ERROR_SUCCESS) {
        return false;
    }
    UniqueMsiHandle hRow;
    if (MsiViewFetch(hView.get(), hRow.put()) != ERROR_SUCCESS) {
        return false;
    }
    DWORD cchValue = kcchTableValue;
    if (MsiRecordGetStringW(hRow.get(), 1, szValue, &cchValue) != ERROR_SUCCESS) {
        return false;
    }
    LogMessage(g_hInstall, L"Varen_CA GetFromMSITable() PackageRead Property Value is %s \n",
               szValue);
    strValue = szValue;
    return true;
}

namespace {

// Logs an installer function's failure with the thread's last error in decimal.
// (It is GetLastError, not the installer's result, that packages see here.)
void LogLastError(MSIHANDLE hInstall, const wchar_t* szFormat) {
    const std::wstring strError = std::to_wstring(GetLastError());
    LogMessage(hInstall, szFormat, strError.c_str());
}

// Copies the row szName of ORX_InstallProperties into the REG_SZ value szName of
// HKLM\SOFTWARE\QVX\PN. Uses its own handle, not g_hInstall. Returns 1 once the
// query ran, whatever followed; 0 when the view could not be opened or executed.
// The row record and the database handle are left open, as the packages'
// installer logs have always shown for these two actions.
UINT UpdateVersionInReg(MSIHANDLE hInstall, const wchar_t* szName, const wchar_t* szSuccessLine) {
    std::wstring strValue(8192, L'\0');
    DWORD cchValue = 8192;
    const MSIHANDLE hDatabase = MsiGetActiveDatabase(hInstall);
    const std::wstring strQuery = std::wstring(L"SELECT `Value` FROM `") +
                                  L"ORX_InstallProperties" + L"` WHERE `Property`='" + szName +
                                  L"'";

    UniqueMsiHandle hView;
    if (MsiDatabaseOpenViewW(hDatabase, strQuery.c_str(), hView.put()) != ERROR_SUCCESS) {
        LogLastError(hInstall, L"Failed in call to MsiDatabaseOpenView. Error: %s");
        return 0;
    }
    if (MsiViewExecute(hView.get(), 0) != ERROR_SUCCESS) {
        LogLastError(hInstall, L"Failed in call to MsiViewExecute. Error: %s");
        return 0;
    }
    MSIHANDLE hRow = 0;
    if (MsiViewFetch(hView.get(), &hRow) != ERROR_SUCCESS ||
        MsiRecordGetStringW(hRow, 1, strValue.data(), &cchValue) != ERROR_SUCCESS) {
        return 1;
    }
    UniqueRegKey hKey;
    if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\QVX\\PN", 0, nullptr,
                        REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, nullptr, hKey.put(),
                        nullptr) != ERROR_SUCCESS) {
        return 1;
    }
    // Stored without its terminator: the byte count covers the characters only.
    RegSetValueExW(hKey.get(), szName, 0, REG_SZ, reinterpret_cast<const BYTE*>(strValue.c_str()),
                   static_cast<DWORD>(wcslen(strValue.c_str()) * sizeof(wchar_t)));
    hKey.reset();
    LogMessage(hInstall, szSuccessLine);
    return 1;
}

} // namespace

extern "C" UINT __stdcall UpdatePNVersionInReg(MSIHANDLE hInstall) {
    return UpdateVersionInReg(hInstall, L"PNVersion",
                              L"VAREN_CA: PN version Registry values updated.");
}

extern "C" UINT __stdcall UpdateDriverVersionInReg(MSIHANDLE hInstall) {
    return UpdateVersionInReg(hInstall, L"DriverVersion",
                              L"VAREN_CA: Driver version Registry values updated.");
}
