#include "packaging/msi_session.h"

#include "runtime/handles.h"

#include <msidefs.h>
#include <msiquery.h>
#include <rpc.h>

namespace {

std::wstring Quote(const std::wstring& strText) {
    std::wstring strQuoted = L"'";
    for (wchar_t ch : strText) {
        strQuoted += ch == L'\'' ? L"''" : std::wstring(1, ch);
    }
    return strQuoted + L"'";
}

UINT RunQuery(MSIHANDLE hDatabase, const std::wstring& strQuery) {
    UniqueMsiHandle hView;
    const UINT uResult = MsiDatabaseOpenViewW(hDatabase, strQuery.c_str(), hView.put());
    return uResult == ERROR_SUCCESS ? MsiViewExecute(hView.get(), 0) : uResult;
}

UINT InsertRows(MSIHANDLE hDatabase, const wchar_t* szTable, const PropertyRows& rows) {
    UINT uResult = ERROR_SUCCESS;
    for (auto row = rows.begin(); row != rows.end() && uResult == ERROR_SUCCESS; ++row) {
        uResult = RunQuery(hDatabase, std::wstring(L"INSERT INTO `") + szTable +
                                          L"` (`Property`, `Value`) VALUES (" + Quote(row->first) +
                                          L", " + Quote(row->second) + L")");
    }
    return uResult;
}

UINT CreateProperties(MSIHANDLE hDatabase, PropertyRows properties) {
    UniqueMsiHandle hSummary;
    MsiGetSummaryInformationW(hDatabase, nullptr, 4, hSummary.put());
    MsiSummaryInfoSetPropertyW(hSummary.get(), PID_TEMPLATE, VT_LPSTR, 0, nullptr, L"x64;1033");
    MsiSummaryInfoSetPropertyW(hSummary.get(), PID_REVNUMBER, VT_LPSTR, 0, nullptr,
                               NewGuid().c_str());
    MsiSummaryInfoSetPropertyW(hSummary.get(), PID_PAGECOUNT, VT_I4, 200, nullptr, nullptr);
    MsiSummaryInfoSetPropertyW(hSummary.get(), PID_WORDCOUNT, VT_I4, 2, nullptr, nullptr);
    MsiSummaryInfoPersist(hSummary.get());
    const UINT uResult = RunQuery(hDatabase, L"CREATE TABLE `Property` (`Property` CHAR(72) NOT "
                                             L"NULL, `Value` LONGCHAR NOT NULL PRIMARY KEY "
                                             L"`Property`)");
    properties.emplace_back(L"ProductCode", NewGuid());
    return uResult == ERROR_SUCCESS ? InsertRows(hDatabase, L"Property", properties) : uResult;
}

} // namespace

std::wstring NewGuid() {
    UUID uuid;
    UuidCreate(&uuid);
    RPC_WSTR szUuid = nullptr;
    UuidToStringW(&uuid, &szUuid);
    std::wstring strGuid = L"{" + std::wstring(reinterpret_cast<wchar_t*>(szUuid)) + L"}";
    RpcStringFreeW(&szUuid);
    CharUpperW(strGuid.data());
    return strGuid;
}

UINT WritePackage(const std::wstring& strPath, bool fCreate, const PropertyRows& properties,
                  const std::optional<PropertyRows>& orxRows) {
    UniqueMsiHandle hDatabase;
    UINT uResult = MsiOpenDatabaseW(
        strPath.c_str(), fCreate ? MSIDBOPEN_CREATE : MSIDBOPEN_TRANSACT, hDatabase.put());
    if (uResult == ERROR_SUCCESS && fCreate) {
        uResult = CreateProperties(hDatabase.get(), properties);
    }
    if (uResult == ERROR_SUCCESS && orxRows &&
        MsiDatabaseIsTablePersistentW(hDatabase.get(), L"ORX_InstallProperties") !=
            MSICONDITION_TRUE) {
        // Both columns form the key, as in the suite's packages: a name may repeat.
        uResult = RunQuery(hDatabase.get(),
                           L"CREATE TABLE `ORX_InstallProperties` (`Property` CHAR(72) NOT NULL, "
                           L"`Value` LONGCHAR NOT NULL PRIMARY KEY `Property`, `Value`)");
    }
    if (uResult == ERROR_SUCCESS && orxRows) {
        uResult = InsertRows(hDatabase.get(), L"ORX_InstallProperties", *orxRows);
    }
    return uResult == ERROR_SUCCESS ? MsiDatabaseCommit(hDatabase.get()) : uResult;
}

UINT OpenSession(const std::wstring& strPath, INSTALLUI_HANDLER_RECORD pfnHandler, void* pContext,
                 MSIHANDLE& hSession) {
    MsiSetInternalUI(INSTALLUILEVEL_NONE, nullptr);
    MsiSetExternalUIRecord(pfnHandler, INSTALLLOGMODE_INFO | INSTALLLOGMODE_USER, pContext,
                           nullptr);
    return MsiOpenPackageExW(strPath.c_str(), MSIOPENPACKAGEFLAGS_IGNOREMACHINESTATE, &hSession);
}

std::wstring RecordText(MSIHANDLE hRecord) {
    wchar_t szEmpty[1] = L"";
    DWORD cchText = 0;
    MsiRecordGetStringW(hRecord, 0, szEmpty, &cchText);
    std::wstring strText(++cchText, L'\0');
    MsiRecordGetStringW(hRecord, 0, strText.data(), &cchText);
    strText.resize(cchText);
    return strText;
}

CustomAction FindAction(HMODULE hDll, const char* szName) {
    return hDll ? reinterpret_cast<CustomAction>(
                      reinterpret_cast<void*>(GetProcAddress(hDll, szName)))
                : nullptr;
}
