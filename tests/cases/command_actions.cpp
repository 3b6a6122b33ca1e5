// The actions that run one fixed tool command and wait for it: the plug-in registrations
// (RegAsm, Regsvr32) and the command-interpreter actions, against stand-ins placed where
// each tool lives (the 32-bit system folder's cmd.exe too: the prefix has no 32-bit programs).
#include "tests/support/cases.h"

using namespace cases;

namespace {

const std::wstring kRegsvr32 = L"%SYSTEM%\\Regsvr32.exe";

// The action starts strCommand, the stand-in at strTool, and waits for it to end.
Case Runs(const char* szAction, const std::wstring& strTool, const std::wstring& strCommand) {
    return {.szName = "runs its exact command and waits",
            .szAction = szAction,
            .before = {Program(strTool, 300)},
            .commands = {strCommand, L"done"}};
}

// The actions join the Windows folder and "\Microsoft.NET\..." with one more "\".
Case RegAsm(const char* szAction, const wchar_t* szFramework, const wchar_t* szSwitches) {
    const std::wstring strTool =
        L"\\Microsoft.NET\\" + std::wstring(szFramework) + L"\\v4.0.30319\\RegAsm.exe";
    return Runs(szAction, L"%WINDIR%" + strTool,
                L"\"%WINDIR%\\" + strTool + L"\" " + szSwitches +
                    L" \"%PROGRAMFILES%\\Prepif\\HP Pixel Sharp\\HPInternetExplorerUrl.dll\"");
}

Case Regsvr32(const char* szAction, const wchar_t* szSwitches) {
    return Runs(szAction, kRegsvr32,
                L"\"" + kRegsvr32 + L"\" " + szSwitches +
                    L" \"%PROGRAMFILES%\\Prepif\\HP Pixel Sharp\\wmpplugin2.dll\"");
}

Case Interpreter(const char* szAction, const wchar_t* szCommand) {
    return Runs(szAction, L"%WINDIR%\\syswow64\\cmd.exe",
                L"%SYSTEMX86%\\" + std::wstring(szCommand));
}

const int kCommands = Register({
    RegAsm("RegisterInternetExplorerUrl64", L"Framework64", L"/s /codebase"),
    RegAsm("RegisterInternetExplorerUrl", L"Framework", L"/s /codebase"),
    RegAsm("UnRegisterInternetExplorerUrl64", L"Framework64", L"/s /u"),
    RegAsm("UnRegisterInternetExplorerUrl", L"Framework", L"/s /u"),
    Regsvr32("RegisterWMPPlugin", L"/s"),
    Regsvr32("UnRegisterWMPPlugin", L"/s /u"),
    Interpreter("CreateDIR_CA", L"cmd.exe /c mkdir \"%%PROGRAMDATA%%\\QVX\\KDB\""),
    Interpreter("RemoveFolder_CA", L"Cmd.exe /c rd /s /q \"%ProgramData%\\QVX\\KDB\""),
    Interpreter("RemoveKDB_CA", L"Cmd.exe /c del \"%systemroot%\\kdb\\aml_*.kdb\""),
    Interpreter("RemoveShortcut_CA", L"Cmd.exe /c del \"%ProgramData%\\Microsoft\\Windows\\Start "
                                     L"Menu\\Programs\\Startup\\AML*.*\""),
    Interpreter("SetFolderPermission_CA",
                L"Cmd.exe /c Icacls \"%ProgramData%\\QVX\\KDB\" /grant Users:(OI)(CI)M"),
    // 64-bit Windows: the 32-bit program folder's variable.
    Interpreter("launchKdbsync_CA",
                L"Cmd.exe /c start \"QVX Accelerated Video Transcoding device initialization\" "
                L"/min \"%programfiles(x86)%\\QVX AVT\\bin\\kdbsync.exe\" aml"),
});

} // namespace
