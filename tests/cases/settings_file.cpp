// The install manager's settings file: UpdateCfg, UpdateVarenCfg, DisableRepairForVLM.
#include "tests/support/cases.h"

using namespace cases;

namespace {

const std::wstring kManager = L"SOFTWARE\\ORX Technologies\\Install\\ORX Velium Install Manager";
const std::wstring kCfg = L"%CASE%\\IM\\InstallManager.cfg";
const std::wstring kUpdated = L"VAREN_CA InstallManager.cfg updated: " + kCfg + L" \n";

BOOL WINAPI RefuseMove(LPCWSTR, LPCWSTR, DWORD) {
    CountFault();
    SetLastError(ERROR_SHARING_VIOLATION);
    return FALSE;
}

// UTF-16 with its byte-order mark, from ASCII text.
std::string Utf16(const std::string& strText) {
    std::string strWide = "\xFF\xFE";
    for (char ch : strText) {
        strWide += {ch, '\0'};
    }
    return strWide;
}

const int kSettingsFile = Register({
    {.szName = "creates the file with the folder",
     .szAction = "UpdateCfg",
     .data = L"%CASE%\\IM\\",
     .before = {Folder(L"%CASE%\\IM")},
     .lines = {L"CustomActionData: %CASE%\\IM\\",
               L"VAREN_CA InstallManager.cfg created: " + kCfg + L" \n"},
     .after = {File(kCfg, "InstallDir=%CASE%\\IM\\\r\n")}},
    // Comments, other keys, line ends and bytes that are no ASCII stay as they are.
    {.szName = "changes the value in place and keeps every other byte",
     .szAction = "UpdateCfg",
     .data = L"%CASE%\\IM\\",
     .before = {File(kCfg, "; manager\r\nLanguage=\xE9n\n\r\n installdir = C:\\Old \r\n# end")},
     .lines = {L"CustomActionData: %CASE%\\IM\\", kUpdated},
     .after = {File(kCfg, "; manager\r\nLanguage=\xE9n\n\r\n installdir = %CASE%\\IM\\\r\n# end")}},
    // The new file is written beside the old one and moved over it, never written in place.
    {.szName = "a failed replace leaves the old file and no sibling",
     .szAction = "UpdateCfg",
     .data = L"%CASE%\\IM\\",
     .before = {File(kCfg, "InstallDir=C:\\Old\r\n")},
     .lines = {L"CustomActionData: %CASE%\\IM\\",
               L"VAREN_CA InstallManager.cfg could not be written, error 32: " + kCfg + L" \n"},
     .gone = {File(kCfg + L".new")},
     .arrange = Faulty("kernel32.dll", "MoveFileExW", &RefuseMove)},
    {.szName = "no data: nothing to do, still 0",
     .szAction = "UpdateCfg",
     .lines = {L"CustomActionData: ",
               L"VAREN_CA UpdateCfg: no install manager folder in CustomActionData \n"}},
    // The 32-bit view names another folder, where nothing may be written.
    {.szName = "records the suite's folder",
     .szAction = "UpdateVarenCfg",
     .before = {Str(N, kManager, L"InstallDir", L"%CASE%\\IM"),
                Str(N, L"SOFTWARE\\ORX Technologies\\Install", L"InstallDir", L"C:\\Suite\\"),
                Str(W, L"SOFTWARE\\ORX Technologies\\Install", L"InstallDir", L"C:\\Wow\\"),
                File(kCfg, "InstallDir=x\n")},
     .lines = {kUpdated},
     .after = {File(kCfg, "InstallDir=x\nVarenInstallDir=C:\\Suite\\\n")}},
    // A UTF-16 file stays UTF-16; the 32-bit view names another install manager.
    {.szName = "turns the repair offer off in place; unknown lines are kept and counted",
     .szAction = "DisableRepairForVLM",
     .before = {Str(N, kManager, L"InstallDir", L"%CASE%\\IM"),
                Str(W, kManager, L"InstallDir", L"%CASE%\\IM32"),
                File(kCfg, Utf16("[x\r\nEnableRepair = 1\r\n")),
                File(L"%CASE%\\IM32\\InstallManager.cfg", "EnableRepair=1\r\n")},
     .lines = {L"VAREN_CA InstallManager.cfg has 1 lines it does not understand, kept as they "
               L"are: " +
                   kCfg + L" \n",
               kUpdated},
     .after = {File(kCfg, Utf16("[x\r\nEnableRepair = 0\r\n"))}},
});

} // namespace
