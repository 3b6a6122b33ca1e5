// The performance-profile client: its queued pending renames after a reinstall,
// its analytics consent, who owns its installation, and its DVR tracking.
#include "runtime/handles.h"
#include "runtime/log.h"
#include "runtime/session.h"
#include "suite/profile_client_text.h"
#include "runtime/records.h"
#include "system/registry.h"
#include "system/services.h"

#include <msiquery.h>

#include <optional>
#include <string>
#include <vector>

namespace {

constexpr wchar_t kSessionManagerKey[] = L"SYSTEM\\CurrentControlSet\\Control\\Session Manager";
constexpr wchar_t kPendingRenames[] = L"PendingFileRenameOperations";
constexpr wchar_t kLauncherService[] = L"QUEPLauncher";
// The suite's record of the client it installed; CheckForClients reads it.
constexpr wchar_t kSuiteClientKey[] = L"SOFTWARE\\ORX Technologies\\Install\\PPC";
constexpr wchar_t kAnalyticsKey[] = L"SOFTWARE\\QVX\\QVXAnalytics";
constexpr wchar_t kAnalyticsAccepted[] = L"AnalyticsAccepted";

// The whole REG_MULTI_SZ data of szName, or nullopt when it is missing or of
// another type (a value the system did not write as a list is left alone).
std::optional<std::vector<unsigned char>> ReadMultiStringValue(HKEY hKey, const wchar_t* szName) {
    std::vector<unsigned char> vecData;
    DWORD dwType = REG_NONE;
    DWORD cbData = 0;
    LONG lResult = RegQueryValueExW(hKey, szName, nullptr, &dwType, nullptr, &cbData);
    // The value may grow between the two calls; ask again with the new size.
    while (lResult == ERROR_SUCCESS || lResult == ERROR_MORE_DATA) {
        vecData.resize(cbData);
        lResult = RegQueryValueExW(hKey, szName, nullptr, &dwType, vecData.data(), &cbData);
        if (lResult == ERROR_SUCCESS) {
            vecData.resize(cbData);
            break;
        }
    }
    if (lResult != ERROR_SUCCESS || dwType != REG_MULTI_SZ) {
        return std::nullopt;
    }
    return vecData;
}

// Removes from the system's pending-rename list every empty string and every
// operation on the client's folder, which an earlier uninstall queued and which
// would delete the newly installed client at the next restart. A list with
// nothing to drop is not written back. Failures are not reported.
void RemoveClientPendingRenames() {
    std::optional<std::vector<unsigned char>> data;
    {
        UniqueRegKey hKey;
        if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kSessionManagerKey, 0, KEY_READ, hKey.put()) !=
            ERROR_SUCCESS) {
            return;
        }
        data = ReadMultiStringValue(hKey.get(), kPendingRenames);
    }
    if (!data) {
        return;
    }
    const auto cleaned = CleanPendingRenames(data->data(), data->size());
    if (!cleaned) {
        return;
    }
    UniqueRegKey hKey;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kSessionManagerKey, 0, KEY_WRITE, hKey.put()) ==
        ERROR_SUCCESS) {
        RegSetValueExW(hKey.get(), kPendingRenames, 0, REG_MULTI_SZ, cleaned->data(),
                       static_cast<DWORD>(cleaned->size()));
    }
}

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

// Deliberately does not store its handle; it logs nothing itself.
extern "C" UINT __stdcall AfterInstallPPC(MSIHANDLE /*hInstall*/) {
    RemoveClientPendingRenames();
    StartNamedService(kLauncherService);
    return 0;
}

// Stops the client's launcher before its files are replaced.
extern "C" UINT __stdcall PreInstallPPC(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    if (!StopNamedServiceQuiet(kLauncherService)) {
        LogMessage(g_hInstall, L"Varen_CA PreInstallPPC(), could not stop QUEPLauncher \n");
    }
    return 0;
}

// Records the client version the suite installed (CustomActionData) and starts
// the launcher again.
extern "C" UINT __stdcall PostInstallPPC(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    const std::wstring strVersion = ReadCustomActionData();
    UniqueRegKey hKey;
    if (strVersion.empty() ||
        RegCreateKeyExW(HKEY_LOCAL_MACHINE, kSuiteClientKey, 0, nullptr, 0, KEY_SET_VALUE, nullptr,
                        hKey.put(), nullptr) != ERROR_SUCCESS ||
        RegSetValueExW(hKey.get(), L"ProductVersion", 0, REG_SZ,
                       reinterpret_cast<const BYTE*>(strVersion.c_str()),
                       static_cast<DWORD>((strVersion.size() + 1) * sizeof(wchar_t))) !=
            ERROR_SUCCESS) {
        LogMessage(g_hInstall, L"Varen_CA PostInstallPPC(), could not record ProductVersion \n");
    }
    if (!StartNamedService(kLauncherService)) {
        LogMessage(g_hInstall, L"Varen_CA PostInstallPPC(), could not start QUEPLauncher \n");
    }
    return 0;
}

// Stops the launcher, deletes it when its program lies in the client's folder
// (CustomActionData), and forgets the suite's record of the client.
extern "C" UINT __stdcall UnInstallPPC(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    const std::wstring strFolder = ReadCustomActionData();
    if (!StopNamedServiceQuiet(kLauncherService)) {
        LogMessage(g_hInstall, L"Varen_CA UnInstallPPC(), could not stop QUEPLauncher \n");
    }
    DeleteServiceIfBinaryInDirectory(kLauncherService, strFolder);
    RemoveKeyPartInBothViews(HKEY_LOCAL_MACHINE, (std::wstring(kSuiteClientKey) + L"\\").c_str());
    return 0;
}
