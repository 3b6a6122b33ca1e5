// The performance-profile client: its queued pending renames after a reinstall,
// its analytics consent, who owns its installation, and its DVR tracking.
#include "runtime/handles.h"
#include "runtime/log.h"
#include "runtime/session.h"
#include "suite/profile_client_text.h"
#include "system/registry.h"

#include <msiquery.h>

#include <optional>
#include <string>
#include <vector>

namespace {

constexpr wchar_t kAnalyticsKey[] = L"SOFTWARE\\QVX\\QVXAnalytics";
constexpr wchar_t kAnalyticsAccepted[] = L"AnalyticsAccepted";

// Writes "AnalyticsAccepted" = szValue into the analytics key when the key
// exists; it is never created here (the client creates it).
void SetAnalyticsAccepted(const wchar_t* szValue) {
    UniqueRegKey hKey;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kAnalyticsKey, 0, KEY_ALL_ACCESS, hKey.put()) !=
        ERROR_SUCCESS) {
        return;
    }
    RegSetValueExW(hKey.get(), kAnalyticsAccepted, 0, REG_SZ,
                   reinterpret_cast<const BYTE*>(szValue),
                   static_cast<DWORD>((wcslen(szValue) + 1) * sizeof(wchar_t)));
}

// True when the user opted out of analytics with DISABLEANALYTICS=YES (in any
// case: the property is typed on command lines). Unreadable counts as no.
bool IsAnalyticsDisabled(MSIHANDLE hInstall) {
    PropertyBuffer szValue = {};
    return ReadProperty(hInstall, L"DISABLEANALYTICS", szValue) == ERROR_SUCCESS &&
           CompareStringOrdinal(szValue, -1, L"YES", -1, TRUE) == CSTR_EQUAL;
}

// True when the property has a value (one too long to read has one too).
bool IsPropertySet(const wchar_t* szName) {
    PropertyBuffer szValue = {};
    return ReadProperty(g_hInstall, szName, szValue) != ERROR_SUCCESS || szValue[0] != L'\0';
}

std::optional<std::wstring> ReadString(HKEY hRoot, const wchar_t* szKey, const wchar_t* szName) {
    UniqueRegKey hKey;
    if (RegOpenKeyExW(hRoot, szKey, 0, KEY_READ, hKey.put()) != ERROR_SUCCESS) {
        return std::nullopt;
    }
    return QueryStringValue(hKey.get(), szName, MAX_PATH * sizeof(wchar_t));
}

std::optional<DWORD> ReadDword(HKEY hRoot, const wchar_t* szKey, const wchar_t* szName) {
    UniqueRegKey hKey;
    if (RegOpenKeyExW(hRoot, szKey, 0, KEY_READ, hKey.put()) != ERROR_SUCCESS) {
        return std::nullopt;
    }
    return QueryDwordValue(hKey.get(), szName);
}

} // namespace

// Deliberately does not store its handle: it logs through whatever session
// stored one last.
extern "C" UINT __stdcall DeleteAnalyticsKey(MSIHANDLE /*hInstall*/) {
    UniqueRegKey hKey;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kAnalyticsKey, 0, KEY_ALL_ACCESS, hKey.put()) !=
        ERROR_SUCCESS) {
        LogMessage(g_hInstall, L"Could not access PPC Key");
        return 0;
    }
    // The access mask stands where the view goes: it has no view bit, so the
    // native view is meant; packages have always passed it so.
    const LONG lResult = RegDeleteKeyExW(HKEY_LOCAL_MACHINE, kAnalyticsKey, KEY_ALL_ACCESS, 0);
    LogMessage(g_hInstall, lResult == ERROR_SUCCESS ? L"PPC Key deleted" : L"PPC Key not deleted");
    return 0;
}

extern "C" UINT __stdcall DisabelAnalyticsKey(MSIHANDLE hInstall) {
    if (IsAnalyticsDisabled(hInstall)) {
        SetAnalyticsAccepted(L"false");
    }
    return 0;
}

// Never turns analytics on against an opt-out on the same command line.
extern "C" UINT __stdcall EnableAnalyticsKey(MSIHANDLE hInstall) {
    if (!IsAnalyticsDisabled(hInstall)) {
        SetAnalyticsAccepted(L"true");
    }
    return 0;
}

extern "C" UINT __stdcall CheckForClients(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    ClientFacts facts;
    facts.fLaunchedFromClient = IsPropertySet(L"LAUNCHED_FROM_CLIENT");
    facts.fRemoving = IsPropertySet(L"REMOVE");
    facts.strClient = ReadString(HKEY_CURRENT_USER, L"SOFTWARE\\QUEP", L"QUEPClient").value_or(L"");
    facts.dwStatus = ReadDword(HKEY_CURRENT_USER, L"SOFTWARE\\QUEP", L"QUEPStatus");
    facts.fSuiteInstalled =
        ReadString(HKEY_LOCAL_MACHINE, L"SOFTWARE\\ORX Technologies\\Install\\PPC",
                   L"ProductVersion")
            .has_value();
    const wchar_t* szOwner = DecideClientOwner(facts);
    if (MsiSetPropertyW(g_hInstall, L"_QUEPStatus", szOwner) != ERROR_SUCCESS) {
        LogMessage(g_hInstall, L"Varen_CA CheckForClients(), could not set _QUEPStatus \n");
        return 0;
    }
    LogMessage(g_hInstall, L"Varen_CA CheckForClients(), _QUEPStatus = %s \n", szOwner);
    return 0;
}

extern "C" UINT __stdcall TrackDVRAnalytics(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    UniqueRegKey hDvr;
    if (RegOpenKeyExW(HKEY_CURRENT_USER, L"SOFTWARE\\QVXDVR", 0, KEY_ALL_ACCESS, hDvr.put()) !=
        ERROR_SUCCESS) {
        LogMessage(g_hInstall, L"Varen_CA TrackDVRAnalytics(), no DVR settings \n");
        return 0;
    }
    const bool fEnabled = QueryDwordValue(hDvr.get(), L"QVXDVR_Enabled") == 1ul;
    const bool fAccepted =
        ReadString(HKEY_LOCAL_MACHINE, kAnalyticsKey, kAnalyticsAccepted) == L"true";
    const DWORD dwTracked = fEnabled && fAccepted ? 1 : 0;
    if (RegSetValueExW(hDvr.get(), L"QVXDVR_Tracked", 0, REG_DWORD,
                       reinterpret_cast<const BYTE*>(&dwTracked),
                       sizeof(dwTracked)) != ERROR_SUCCESS) {
        LogMessage(g_hInstall, L"Varen_CA TrackDVRAnalytics(), could not set QVXDVR_Tracked \n");
        return 0;
    }
    LogMessage(g_hInstall, L"Varen_CA TrackDVRAnalytics(), QVXDVR_Tracked = %d \n", dwTracked);
    return 0;
}
