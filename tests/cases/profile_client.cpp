// The performance-profile client's actions, and a property read too long for its buffer.
#include "tests/support/cases.h"

using namespace cases;
using namespace std::string_view_literals;

namespace {

const std::wstring kAnalytics = L"SOFTWARE\\QVX\\QVXAnalytics";
const std::wstring kQuep = L"SOFTWARE\\QUEP";
const std::wstring kPpc = L"SOFTWARE\\ORX Technologies\\Install\\PPC";
const std::wstring kLauncherFolder = L"%CASE%\\PPC";

Item Accepted(unsigned views, const wchar_t* szValue) {
    return Str(views, kAnalytics, L"AnalyticsAccepted", szValue);
}
Item Launcher(DWORD dwState) {
    return Service(L"QUEPLauncher", kLauncherFolder + L"\\QUEPLauncher.exe", L"", dwState);
}
Item HkcuDword(const std::wstring& strPath, const wchar_t* szName, DWORD dwValue) {
    return Dword(N, strPath, szName, dwValue, HKEY_CURRENT_USER);
}

// CheckForClients with an active client and the suite's record of its own.
Case Owner(const char* szName, PropertyRows properties, const wchar_t* szOwner) {
    return {
        .szName = szName,
        .szAction = "CheckForClients",
        .properties = std::move(properties),
        .before = {Str(N, kQuep, L"QUEPClient", L"QUEP Client", HKEY_CURRENT_USER),
                   HkcuDword(kQuep, L"QUEPStatus", 1), Str(N, kPpc, L"ProductVersion", L"1.0")},
        .lines = {L"Varen_CA CheckForClients(), _QUEPStatus = " + std::wstring(szOwner) + L" \n"},
        .set = {{L"_QUEPStatus", szOwner}}};
}

// The pending-rename list with these UTF-16 characters (NULs included), then strTail's bytes.
Item Pending(std::wstring_view strList, std::string_view strTail = "") {
    const auto* pBytes = reinterpret_cast<const BYTE*>(strList.data());
    std::vector<BYTE> data(pBytes, pBytes + strList.size() * sizeof(wchar_t));
    data.insert(data.end(), strTail.begin(), strTail.end());
    return Raw(N, L"SYSTEM\\CurrentControlSet\\Control\\Session Manager",
               L"PendingFileRenameOperations", REG_MULTI_SZ, data);
}

const int kCases = Register({
    // Its view argument carries no view bit: the native key goes. The action does not
    // store its handle, so one that does goes first for its lines to reach this session.
    {.szName = "the native key goes, the 32-bit one stays",
     .szAction = "DeleteAnalyticsKey",
     .before = {Accepted(NW, L"true"), Key(N, L"SOFTWARE\\QVX\\QVXAnalyticsOld")},
     .lines = {L"VAREN_CA: SearchCADriverRegKey  \n", L"PPC Key deleted"},
     .gone = {Key(N, kAnalytics)},
     .arrange = [](ActionSession& session) -> std::shared_ptr<void> {
         session.Call("RemoveCADriverSettings");
         return nullptr;
     }},
    {.szName = "YES in any case turns the native value false",
     .szAction = "DisabelAnalyticsKey",
     .properties = {{L"DISABLEANALYTICS", L"yes"}},
     .before = {Accepted(NW, L"true")},
     .after = {Accepted(N, L"false")}},
    {.szName = "an opt-out wins",
     .szAction = "EnableAnalyticsKey",
     .properties = {{L"DISABLEANALYTICS", L"YES"}},
     .before = {Accepted(N, L"false")}},
    Owner("the suite's own client on install", {}, L"Suite"),
    // A property read has room for 259 characters. A longer value is still a value here
    // (a long feature list); CleanRegistry fails with its own code on such a package ID.
    Owner("an active client still needs it on removal", {{L"REMOVE", std::wstring(260, L'F')}},
          L"Client"),
    {.szName = "a package ID of 260 characters cannot be read",
     .szAction = "CleanRegistry",
     .data = std::wstring(260, L'x'),
     .before = {Key(NW, L"SOFTWARE\\ORX Technologies\\Install\\Packages\\W-05")},
     .uReturn = 1627},
    {.szName = "without consent in the native view tracking stops",
     .szAction = "TrackDVRAnalytics",
     .before = {HkcuDword(L"SOFTWARE\\QVXDVR", L"QVXDVR_Enabled", 1),
                HkcuDword(L"SOFTWARE\\QVXDVR", L"QVXDVR_Tracked", 1), Accepted(W, L"true")},
     .lines = {L"Varen_CA TrackDVRAnalytics(), QVXDVR_Tracked = 0 \n"},
     .after = {HkcuDword(L"SOFTWARE\\QVXDVR", L"QVXDVR_Tracked", 0)}},
    // Each string is judged alone: the partner of a dropped one stays.
    {.szName = "client operations and empty strings go, a torn end is read, the launcher starts",
     .szAction = "AfterInstallPPC",
     .before = {Pending(L"\\??\\C:\\QVX\\Performance Profile Client\\a.dll\0\0"
                        L"\\??\\C:\\t\\x.tmp\0\\??\\C:\\t\\x.dll\0\\??\\C:\\old.log\0\0"
                        L"\\??\\C:\\n.tmp\0\\??\\C:\\QVX\\Performance Profile Client\\n.dll\0"
                        L"Performance Profile Client\\b\0C:\\performance profile client\\c"sv,
                        "A"),
                Launcher(SERVICE_STOPPED)},
     .after = {Pending(L"\\??\\C:\\t\\x.tmp\0\\??\\C:\\t\\x.dll\0\\??\\C:\\old.log\0"
                       L"\\??\\C:\\n.tmp\0Performance Profile Client\\b\0"
                       L"C:\\performance profile client\\c\0\0"sv),
               Launcher(SERVICE_RUNNING)},
     .debug = {L"Service started successfully.\n"}},
    {.szName = "a list without empty strings or the client's operations is not rewritten",
     .szAction = "AfterInstallPPC",
     .before = {Pending(L"Performance Profile Client\\a\0\\??\\C:\\b\0"sv)}},
    {.szName = "stops the launcher",
     .szAction = "PreInstallPPC",
     .before = {Launcher(SERVICE_RUNNING)},
     .after = {Launcher(SERVICE_STOPPED)}},
    {.szName = "records the version and starts the launcher",
     .szAction = "PostInstallPPC",
     .data = L"2.1.0.5",
     .before = {Launcher(SERVICE_STOPPED), Key(NW, kPpc + L"Sibling")},
     .lines = {L"CustomActionData: 2.1.0.5"},
     .after = {Str(N, kPpc, L"ProductVersion", L"2.1.0.5"), Launcher(SERVICE_RUNNING)},
     .debug = {L"Service started successfully.\n"}},
    {.szName = "deletes the launcher in the client's folder, forgets the version",
     .szAction = "UnInstallPPC",
     .data = kLauncherFolder,
     .before = {Launcher(SERVICE_RUNNING), Str(NW, kPpc, L"ProductVersion", L"2.1.0.5"),
                Key(NW, kPpc + L"Sibling")},
     .lines = {L"CustomActionData: " + kLauncherFolder,
               L"Parent path of \"" + kLauncherFolder + L"\\QUEPLauncher.exe\" is " +
                   kLauncherFolder,
               L"Successfully deleted QUEPLauncher"},
     .gone = {Launcher(SERVICE_RUNNING), Key(NW, kPpc)}},
});

} // namespace
