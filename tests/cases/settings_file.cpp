// The install manager's settings file and its optional logging library "VLMLog.dll": a
// usable one in the install manager's folder gets the lines (the tests' stand-in records
// its calls in "VLMLog.txt" beside it); any other is left alone, its record unchanged.
#include "tests/support/cases.h"

using namespace cases;

namespace {

const std::wstring kManager = L"SOFTWARE\\ORX Technologies\\Install\\ORX Velium Install Manager";
const std::wstring kCfg = L"%CASE%\\IM\\InstallManager.cfg";
const std::wstring kUpdated = L"VAREN_CA InstallManager.cfg updated: " + kCfg + L" \n";
const std::wstring kCreated = L"VAREN_CA InstallManager.cfg created: " + kCfg + L" \n";

// strImage as "VLMLog.dll" in strFolder, its record started, and more beside them.
std::vector<Item> Library(const std::wstring& strFolder, const std::string& strImage,
                          std::vector<Item> more = {}) {
    more.push_back(File(strFolder + L"\\VLMLog.dll", strImage));
    more.push_back(File(strFolder + L"\\VLMLog.txt", "before\n"));
    return more;
}
const std::string kStandIn = BuiltBytes(L"vlmlog_standin.dll");

BOOL WINAPI RefuseMove(LPCWSTR, LPCWSTR, DWORD) {
    CountFault();
    SetLastError(ERROR_SHARING_VIOLATION);
    return FALSE;
}

const int kSettingsFile = Register({
    {.szName = "creates the file and mirrors its lines into a usable library",
     .szAction = "UpdateCfg",
     .data = L"%CASE%\\IM\\",
     .before = Library(L"%CASE%\\IM", kStandIn),
     .lines = {L"CustomActionData: %CASE%\\IM\\", kCreated},
     .after = {File(kCfg, "InstallDir=%CASE%\\IM\\\r\n"),
               File(L"%CASE%\\IM\\VLMLog.txt", "before\nopen Varen_CA\n" +
                                                   std::string(kCreated.begin(), kCreated.end()) +
                                                   "\nclose\n")}},
    // The new file is written beside the old one and moved over it, never written in place.
    {.szName = "a failed replace leaves the old file and no sibling; a library without entries",
     .szAction = "UpdateCfg",
     .data = L"%CASE%\\IM\\",
     .before = Library(L"%CASE%\\IM", BuiltBytes(L"probe_ca.dll"),
                       {File(kCfg, "InstallDir=C:\\Old\r\n")}),
     .lines = {L"CustomActionData: %CASE%\\IM\\",
               L"VAREN_CA InstallManager.cfg could not be written, error 32: " + kCfg + L" \n"},
     .gone = {File(kCfg + L".new")},
     .arrange = Faulty({{"kernel32.dll", "MoveFileExW", &RefuseMove}})},
    {.szName = "no data: nothing to do, still 0",
     .szAction = "UpdateCfg",
     .lines = {L"CustomActionData: ",
               L"VAREN_CA UpdateCfg: no install manager folder in CustomActionData \n"}},
    // The 32-bit view names another folder, where nothing may be written; a library in the
    // current folder is never loaded.
    {.szName = "records the suite's folder",
     .szAction = "UpdateVarenCfg",
     .before =
         Library(L"%CURRENT%", kStandIn,
                 {Str(N, kManager, L"InstallDir", L"%CASE%\\IM"),
                  Str(N, L"SOFTWARE\\ORX Technologies\\Install", L"InstallDir", L"C:\\Suite\\"),
                  Str(W, L"SOFTWARE\\ORX Technologies\\Install", L"InstallDir", L"C:\\Wow\\"),
                  File(kCfg, "InstallDir=x\n")}),
     .lines = {kUpdated},
     .after = {File(kCfg, "InstallDir=x\nVarenInstallDir=C:\\Suite\\\n")}},
    // The 32-bit view names another install manager; the library is of another version.
    {.szName = "turns the repair offer off in place; unknown lines are kept and counted",
     .szAction = "DisableRepairForVLM",
     .before = Library(L"%CASE%\\IM", kStandIn,
                       {File(L"%CASE%\\IM\\VLMLog.version", "2"),
                        Str(N, kManager, L"InstallDir", L"%CASE%\\IM"),
                        Str(W, kManager, L"InstallDir", L"%CASE%\\IM32"),
                        File(kCfg, "[x\r\nEnableRepair = 1\r\n"),
                        File(L"%CASE%\\IM32\\InstallManager.cfg", "EnableRepair=1\r\n")}),
     .lines = {L"VAREN_CA InstallManager.cfg has 1 lines it does not understand, kept as they "
               L"are: " +
                   kCfg + L" \n",
               kUpdated},
     .after = {File(kCfg, "[x\r\nEnableRepair = 0\r\n")}},
});

} // namespace
