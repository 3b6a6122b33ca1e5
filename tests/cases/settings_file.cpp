// The install manager's settings file: UpdateCfg, UpdateVarenCfg, DisableRepairForVLM.
#include "tests/support/cases.h"

using namespace cases;

namespace {

const std::wstring kManager = L"SOFTWARE\\ORX Technologies\\Install\\ORX Velium Install Manager";
const std::wstring kInstall = L"SOFTWARE\\ORX Technologies\\Install";
const std::wstring kFolder = L"%CASE%\\IM";
const std::wstring kCfg = kFolder + L"\\InstallManager.cfg";
const std::string kCfgText = "%CASE%\\IM\\InstallManager.cfg";
const std::string kFolderText = "%CASE%\\IM\\";

std::wstring Wide(const std::string& strText) {
    return std::wstring(strText.begin(), strText.end());
}
std::wstring Outcome(const char* szOutcome) {
    return L"VAREN_CA InstallManager.cfg " + Wide(szOutcome) + L": " + kCfg + L" \n";
}
// UpdateCfg's lines for the data kFolder + "\", then szOutcome.
Lines Updated(const char* szOutcome = "updated") {
    return {L"CustomActionData: " + kFolder + L"\\", Outcome(szOutcome)};
}
Item Cfg(const std::string& strContent) {
    return File(kCfg, strContent);
}

BOOL WINAPI RefuseMove(LPCWSTR, LPCWSTR, DWORD) {
    CountFault();
    SetLastError(ERROR_SHARING_VIOLATION);
    return FALSE;
}

// Makes the settings file read-only for the action, writable again for the clean-up.
std::shared_ptr<void> ReadOnlyCfg(ActionSession&) {
    const std::wstring strPath = Expand(kCfg);
    SetFileAttributesW(strPath.c_str(), FILE_ATTRIBUTE_READONLY);
    return std::shared_ptr<void>(
        nullptr, [strPath](void*) { SetFileAttributesW(strPath.c_str(), FILE_ATTRIBUTE_NORMAL); });
}

const std::string kUtf16Before("\xFF\xFE"
                               "A\0=\0\xE9\0\r\0\n\0",
                               12);

// UpdateCfg on the folder kFolder + "\" whose settings file holds strContent: the outcome
// logged, the file unchanged.
Case Kept(const char* szName, std::string strContent, const char* szOutcome,
          std::function<std::shared_ptr<void>(ActionSession&)> arrange = {}) {
    return {.szName = szName,
            .szAction = "UpdateCfg",
            .data = kFolder + L"\\",
            .before = {Cfg(std::move(strContent))},
            .lines = Updated(szOutcome),
            .arrange = std::move(arrange)};
}

const int kUpdateCfg = Register({
    {.szName = "creates the file with the folder",
     .szAction = "UpdateCfg",
     .data = kFolder + L"\\",
     .before = {Folder(kFolder)},
     .lines = Updated("created"),
     .after = {Cfg("InstallDir=" + kFolderText + "\r\n")}},
    {.szName = "changes the value in place and keeps every other byte",
     .szAction = "UpdateCfg",
     .data = kFolder + L"\\",
     .before = {Cfg("; install manager\r\nLanguage=\xE9n\n\r\n installdir = C:\\Old \r\n# end"),
                File(kFolder + L"\\Other.cfg", "InstallDir=C:\\Old\r\n")},
     .lines = Updated(),
     .after = {Cfg("; install manager\r\nLanguage=\xE9n\n\r\n installdir = " + kFolderText +
                   "\r\n# end")}},
    Kept("a file already up to date is left as it is", "InstallDir=" + kFolderText + "\n",
         "is up to date"),
    Kept("a read-only file is left whole", "InstallDir=C:\\Old\r\n", "is read-only, left as it is",
         ReadOnlyCfg),
    Kept("a file over the size limit is left alone", std::string(1024 * 1024 + 1, 'x'),
         "is larger than 1048576 bytes, left as it is"),
    Kept("bytes that are no text it can edit are left alone", std::string("A\0=\0", 4),
         "is no text it can edit, left as it is"),
    {.szName = "a failed replace leaves the old file and no sibling",
     .szAction = "UpdateCfg",
     .data = kFolder + L"\\",
     .before = {Cfg("InstallDir=C:\\Old\r\n")},
     .lines = {L"CustomActionData: " + kFolder + L"\\",
               L"VAREN_CA InstallManager.cfg could not be written, error 32: " + kCfg + L" \n"},
     .gone = {File(kCfg + L".new")},
     .arrange = Faulty("kernel32.dll", "MoveFileExW", &RefuseMove)},
    {.szName = "a folder that does not exist gets nothing",
     .szAction = "UpdateCfg",
     .data = L"%CASE%\\Missing",
     .lines = {L"CustomActionData: %CASE%\\Missing",
               L"VAREN_CA InstallManager.cfg not written, no folder %CASE%\\Missing \n"}},
    {.szName = "no data: nothing to do, still 0",
     .szAction = "UpdateCfg",
     .lines = {L"CustomActionData: ",
               L"VAREN_CA UpdateCfg: no install manager folder in CustomActionData \n"}},
});

Item ManagerFolder(unsigned views = N) {
    return Str(views, kManager, L"InstallDir", kFolder);
}

const int kUpdateVarenCfg = Register({
    {.szName = "records the suite's folder",
     .szAction = "UpdateVarenCfg",
     .before = {ManagerFolder(), Str(N, kInstall, L"InstallDir", L"C:\\Suite\\"),
                Cfg("InstallDir=x\n")},
     .lines = {Outcome("updated")},
     .after = {Cfg("InstallDir=x\nVarenInstallDir=C:\\Suite\\\n")}},
    {.szName = "no suite folder registered",
     .szAction = "UpdateVarenCfg",
     .before = {ManagerFolder(), Str(W, kInstall, L"InstallDir", L"C:\\Suite\\"),
                Cfg("InstallDir=x\n")},
     .lines = {L"VAREN_CA UpdateVarenCfg: the suite's folder is not registered \n"}},
});

const int kDisableRepairForVLM = Register({
    {.szName = "turns the repair offer off",
     .szAction = "DisableRepairForVLM",
     .before = {ManagerFolder(), Cfg("EnableRepair = 1\r\nInstallDir=x\r\n")},
     .lines = {Outcome("updated")},
     .after = {Cfg("EnableRepair = 0\r\nInstallDir=x\r\n")}},
    {.szName = "a UTF-16 file stays UTF-16; unknown lines are kept and counted",
     .szAction = "DisableRepairForVLM",
     .before = {ManagerFolder(), Cfg(kUtf16Before + std::string("[\0x\0\r\0\n\0", 8))},
     .lines = {L"VAREN_CA InstallManager.cfg has 1 lines it does not understand, kept as they "
               L"are: " +
                   kCfg + L" \n",
               Outcome("updated")},
     .after = {Cfg(kUtf16Before + std::string("[\0x\0\r\0\n\0", 8) +
                   std::string("E\0n\0a\0b\0l\0e\0R\0e\0p\0a\0i\0r\0=\0"
                               "0\0\r\0\n\0",
                               32))}},
    {.szName = "the install manager registered in the 32-bit view only is not found",
     .szAction = "DisableRepairForVLM",
     .before = {ManagerFolder(W), Cfg("EnableRepair=1\r\n")},
     .lines = {L"VAREN_CA DisableRepairForVLM: the install manager's folder is not registered \n"}},
});

} // namespace
