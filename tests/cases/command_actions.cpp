// The command-interpreter actions, against a stand-in for the 32-bit system folder's
// cmd.exe (the prefix has no 32-bit programs).
#include "tests/support/cases.h"

#include "tests/support/shell_folder_override.h"
#include "tests/support/standin_support.h"

#include <shlobj.h>

using namespace cases;

namespace {

const wchar_t kInterpreter[] = L"%WINDIR%\\syswow64\\cmd.exe";

std::vector<Case> CommandCases() {
    const std::pair<const char*, const wchar_t*> commands[] = {
        {"CreateDIR_CA", L"cmd.exe /c mkdir \"%%PROGRAMDATA%%\\QVX\\KDB\""},
        {"RemoveFolder_CA", L"Cmd.exe /c rd /s /q \"%ProgramData%\\QVX\\KDB\""},
        {"RemoveKDB_CA", L"Cmd.exe /c del \"%systemroot%\\kdb\\aml_*.kdb\""},
        {"RemoveShortcut_CA", L"Cmd.exe /c del \"%ProgramData%\\Microsoft\\Windows\\Start "
                              L"Menu\\Programs\\Startup\\AML*.*\""},
        {"SetFolderPermission_CA",
         L"Cmd.exe /c Icacls \"%ProgramData%\\QVX\\KDB\" /grant Users:(OI)(CI)M"},
        // 64-bit Windows: the 32-bit program folder's variable.
        {"launchKdbsync_CA",
         L"Cmd.exe /c start \"QVX Accelerated Video Transcoding device initialization\" /min "
         L"\"%programfiles(x86)%\\QVX AVT\\bin\\kdbsync.exe\" aml"},
    };
    const std::wstring strFolder = KnownFolder(CSIDL_SYSTEMX86);
    std::vector<Case> cases;
    for (const auto& [szAction, szCommand] : commands) {
        cases.push_back({.szName = "runs its command through the 32-bit interpreter and waits",
                         .szAction = szAction,
                         .before = {Program(kInterpreter, 300)},
                         .commands = {strFolder + L"\\" + szCommand, L"done"}});
    }
    cases.push_back({.szName = "no interpreter: silent, 0", .szAction = "RemoveFolder_CA"});
    // A system folder that cannot be resolved would name "\cmd.exe" in the root of
    // the current drive, where a stand-in waits.
    cases.push_back(
        {.szName = "an unresolved system folder starts nothing",
         .szAction = "launchKdbsync_CA",
         .before = {Program(L"C:\\cmd.exe")},
         .arrange = [](ActionSession&) -> std::shared_ptr<void> {
             struct Unresolved {
                 RootOfWindowsDrive root;
                 ShellFolderOverride folders{{{KnownFolder(CSIDL_SYSTEMX86), std::nullopt}}};
             };
             return std::make_shared<Unresolved>();
         }});
    return cases;
}

const int kCommands = Register(CommandCases());

} // namespace
