// The performance-profile client's actions.
#include "tests/support/cases.h"

using namespace cases;

namespace {

const std::wstring kAnalytics = L"SOFTWARE\\QVX\\QVXAnalytics";
const std::wstring kQuep = L"SOFTWARE\\QUEP";
const std::wstring kPpc = L"SOFTWARE\\ORX Technologies\\Install\\PPC";
const std::wstring kDvr = L"SOFTWARE\\QVXDVR";
const HKEY kHkcu = HKEY_CURRENT_USER;

Item Accepted(unsigned views, const wchar_t* szValue) {
    return Str(views, kAnalytics, L"AnalyticsAccepted", szValue);
}

// DeleteAnalyticsKey does not store its handle; an action that does goes first,
// so that its lines reach this session.
std::shared_ptr<void> StoreHandle(ActionSession& session) {
    session.Call("RemoveCADriverSettings");
    return nullptr;
}
const wchar_t kStoredLine[] = L"VAREN_CA: SearchCADriverRegKey  \n";

const int kAnalyticsCases = Register({
    {.szName = "the native key goes, the 32-bit one stays",
     .szAction = "DeleteAnalyticsKey",
     .before = {Accepted(NW, L"true"), Key(N, L"SOFTWARE\\QVX\\QVXAnalyticsOld")},
     .lines = {kStoredLine, L"PPC Key deleted"},
     .gone = {Key(N, kAnalytics)},
     .arrange = StoreHandle},
    {.szName = "a key with a sub-key stays",
     .szAction = "DeleteAnalyticsKey",
     .before = {Key(N, kAnalytics + L"\\Sub")},
     .lines = {kStoredLine, L"PPC Key not deleted"},
     .arrange = StoreHandle},
    {.szName = "no key",
     .szAction = "DeleteAnalyticsKey",
     .before = {Key(W, kAnalytics)},
     .lines = {kStoredLine, L"Could not access PPC Key"},
     .arrange = StoreHandle},
    {.szName = "its own handle is not stored: the line is lost",
     .szAction = "DeleteAnalyticsKey",
     .before = {Key(N, kAnalytics)},
     .gone = {Key(N, kAnalytics)}},
    {.szName = "YES in any case turns the native value false",
     .szAction = "DisabelAnalyticsKey",
     .properties = {{L"DISABLEANALYTICS", L"yes"}},
     .before = {Accepted(NW, L"true")},
     .after = {Accepted(N, L"false")}},
    {.szName = "absent property changes nothing",
     .szAction = "DisabelAnalyticsKey",
     .before = {Accepted(N, L"true")}},
    {.szName = "the key is not created",
     .szAction = "DisabelAnalyticsKey",
     .properties = {{L"DISABLEANALYTICS", L"YES"}},
     .before = {Key(N, L"SOFTWARE\\QVX")},
     .gone = {Key(NW, kAnalytics)}},
    {.szName = "turns the native value true",
     .szAction = "EnableAnalyticsKey",
     .before = {Accepted(NW, L"false")},
     .after = {Accepted(N, L"true")}},
    {.szName = "an opt-out wins",
     .szAction = "EnableAnalyticsKey",
     .properties = {{L"DISABLEANALYTICS", L"YES"}},
     .before = {Accepted(N, L"false")}},
});

Case OwnerCase(const char* szName, PropertyRows properties, std::vector<Item> before,
               const wchar_t* szOwner) {
    return {
        .szName = szName,
        .szAction = "CheckForClients",
        .properties = std::move(properties),
        .before = std::move(before),
        .lines = {L"Varen_CA CheckForClients(), _QUEPStatus = " + std::wstring(szOwner) + L" \n"},
        .set = {{L"_QUEPStatus", szOwner}}};
}

const Item kClient = Str(N, kQuep, L"QUEPClient", L"QUEP Client", kHkcu);

const int kOwnerCases = Register({
    OwnerCase("an active client the suite did not install", {},
              {kClient, Dword(N, kQuep, L"QUEPStatus", 1, kHkcu)}, L"Client"),
    OwnerCase("an active client still needs it on removal", {{L"REMOVE", L"ALL"}},
              {kClient, Dword(N, kQuep, L"QUEPStatus", 1, kHkcu),
               Str(N, kPpc, L"ProductVersion", L"1.0")},
              L"Client"),
    OwnerCase("a status that is no DWORD is no status", {},
              {kClient, Str(N, kQuep, L"QUEPStatus", L"1", kHkcu)}, L"Suite"),
    OwnerCase("launched from the client", {{L"LAUNCHED_FROM_CLIENT", L"1"}},
              {Str(N, kPpc, L"ProductVersion", L"1.0")}, L"Client"),
});

Item Tracked(DWORD dwValue) {
    return Dword(N, kDvr, L"QVXDVR_Tracked", dwValue, kHkcu);
}

const int kDvrCases = Register({
    {.szName = "enabled with consent is tracked",
     .szAction = "TrackDVRAnalytics",
     .before = {Dword(N, kDvr, L"QVXDVR_Enabled", 1, kHkcu), Accepted(N, L"true")},
     .lines = {L"Varen_CA TrackDVRAnalytics(), QVXDVR_Tracked = 1 \n"},
     .after = {Tracked(1)}},
    {.szName = "without consent tracking stops",
     .szAction = "TrackDVRAnalytics",
     .before = {Dword(N, kDvr, L"QVXDVR_Enabled", 1, kHkcu), Tracked(1), Accepted(N, L"false"),
                Accepted(W, L"true")},
     .lines = {L"Varen_CA TrackDVRAnalytics(), QVXDVR_Tracked = 0 \n"},
     .after = {Tracked(0)}},
    {.szName = "no DVR: nothing created",
     .szAction = "TrackDVRAnalytics",
     .before = {Accepted(N, L"true")},
     .lines = {L"Varen_CA TrackDVRAnalytics(), no DVR settings \n"},
     .gone = {Key(N, kDvr, kHkcu)}},
});

} // namespace
