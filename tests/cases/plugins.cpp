// The plug-in registration actions, against stand-ins placed where each tool lives.
#include "tests/support/cases.h"

#include "tests/support/shell_folder_override.h"
#include "tests/support/standin_support.h"

#include <shlobj.h>

using namespace cases;

namespace {

const std::wstring kPlugins = L"%PROGRAMFILES%\\Prepif\\HP Pixel Sharp\\";
const std::wstring kBrowser = L"\"" + kPlugins + L"HPInternetExplorerUrl.dll\"";
const std::wstring kMedia = L"\"" + kPlugins + L"wmpplugin2.dll\"";
const std::wstring kRegsvr32 = L"%SYSTEM%\\Regsvr32.exe";

std::wstring RegAsm(const wchar_t* szFramework) {
    return L"%WINDIR%\\Microsoft.NET\\" + std::wstring(szFramework) + L"\\v4.0.30319\\RegAsm.exe";
}

// The tool as the actions spell it: the Windows folder, "\" and "\Microsoft.NET...".
std::wstring RegAsmAsCalled(const wchar_t* szFramework) {
    return L"\"%WINDIR%\\" + RegAsm(szFramework).substr(8) + L"\"";
}

std::shared_ptr<void> Unresolved(int iCsidl) {
    return std::make_shared<ShellFolderOverride>(
        ShellFolderOverride::Changes{{KnownFolder(iCsidl), std::nullopt}});
}

std::vector<Case> PluginCases() {
    struct Action {
        const char* szName;
        std::wstring strTool;
        std::wstring strCommand;
        bool fRegAsm;
    };
    const Action actions[] = {
        {"RegisterInternetExplorerUrl64", RegAsm(L"Framework64"),
         RegAsmAsCalled(L"Framework64") + L" /s /codebase " + kBrowser, true},
        {"RegisterInternetExplorerUrl", RegAsm(L"Framework"),
         RegAsmAsCalled(L"Framework") + L" /s /codebase " + kBrowser, true},
        {"UnRegisterInternetExplorerUrl64", RegAsm(L"Framework64"),
         RegAsmAsCalled(L"Framework64") + L" /s /u " + kBrowser, true},
        {"UnRegisterInternetExplorerUrl", RegAsm(L"Framework"),
         RegAsmAsCalled(L"Framework") + L" /s /u " + kBrowser, true},
        {"RegisterWMPPlugin", kRegsvr32, L"\"" + kRegsvr32 + L"\" /s " + kMedia, false},
        {"UnRegisterWMPPlugin", kRegsvr32, L"\"" + kRegsvr32 + L"\" /s /u " + kMedia, false},
    };
    std::vector<Case> cases;
    for (const Action& a : actions) {
        cases.push_back({.szName = "runs its tool with the exact command and waits",
                         .szAction = a.szName,
                         .before = {Program(a.strTool, 300)},
                         .commands = {a.strCommand, L"done"}});
        // Otherwise the plug-in would be taken from "\Prepif\..." in the current drive's root.
        cases.push_back(
            {.szName = "an unresolved program-files folder starts nothing",
             .szAction = a.szName,
             .before = {Program(a.strTool)},
             .uReturn = 1603,
             .arrange = [](ActionSession&) { return Unresolved(CSIDL_PROGRAM_FILES); }});
        if (a.fRegAsm) {
            // The prefix has no .NET Framework.
            cases.push_back({.szName = "a RegAsm that cannot start fails the action",
                             .szAction = a.szName,
                             .uReturn = 1603});
        }
    }
    // Deep system and program-files folders make the command 531 characters; it is
    // started cut to 518.
    const std::wstring strDeep = L"%CASE%\\" + std::wstring(235 - Expand(L"%CASE%\\").size(), L'd');
    const std::wstring strFull = L"\"" + Expand(strDeep) + L"\\Regsvr32.exe\" /s /u \"" +
                                 Expand(strDeep) + L"\\Prepif\\HP Pixel Sharp\\wmpplugin2.dll\"";
    cases.push_back({.szName = "the command is cut at 518 characters",
                     .szAction = "UnRegisterWMPPlugin",
                     .before = {Program(strDeep + L"\\Regsvr32.exe")},
                     .commands = {strFull.substr(0, 518)},
                     .arrange = [strDeep](ActionSession&) -> std::shared_ptr<void> {
                         return std::make_shared<ShellFolderOverride>(ShellFolderOverride::Changes{
                             {KnownFolder(CSIDL_SYSTEM), Expand(strDeep)},
                             {KnownFolder(CSIDL_PROGRAM_FILES), Expand(strDeep)}});
                     }});
    return cases;
}

const int kPluginCases = Register(PluginCases());

} // namespace
