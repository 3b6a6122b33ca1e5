// The plug-in registration actions, against stand-ins placed where each tool lives.
#include "tests/support/cases.h"

#include "tests/support/shell_folder_override.h"
#include "tests/support/standin_support.h"

#include <shlobj.h>

using namespace cases;

namespace {

const std::wstring kBrowser =
    L" \"%PROGRAMFILES%\\Prepif\\HP Pixel Sharp\\HPInternetExplorerUrl.dll\"";
const std::wstring kRegsvr32 = L"%SYSTEM%\\Regsvr32.exe";

std::wstring RegAsm(const wchar_t* szFramework) {
    return L"%WINDIR%\\Microsoft.NET\\" + std::wstring(szFramework) + L"\\v4.0.30319\\RegAsm.exe";
}

// The tool as the actions spell it: RegAsm with the Windows folder, "\" and
// "\Microsoft.NET...".
std::wstring Called(const std::wstring& strTool) {
    return L"\"" + (strTool[1] == L'W' ? L"%WINDIR%\\" + strTool.substr(8) : strTool) + L"\"";
}

std::vector<Case> PluginCases() {
    const std::wstring strMedia = L" \"%PROGRAMFILES%\\Prepif\\HP Pixel Sharp\\wmpplugin2.dll\"";
    const std::tuple<const char*, std::wstring, std::wstring> actions[] = {
        {"RegisterInternetExplorerUrl64", RegAsm(L"Framework64"), L" /s /codebase" + kBrowser},
        {"RegisterInternetExplorerUrl", RegAsm(L"Framework"), L" /s /codebase" + kBrowser},
        {"UnRegisterInternetExplorerUrl64", RegAsm(L"Framework64"), L" /s /u" + kBrowser},
        {"UnRegisterInternetExplorerUrl", RegAsm(L"Framework"), L" /s /u" + kBrowser},
        {"RegisterWMPPlugin", kRegsvr32, L" /s" + strMedia},
        {"UnRegisterWMPPlugin", kRegsvr32, L" /s /u" + strMedia},
    };
    std::vector<Case> cases;
    for (const auto& [szAction, strTool, strArguments] : actions) {
        cases.push_back({.szName = "runs its tool with the exact command and waits",
                         .szAction = szAction,
                         .before = {Program(strTool, 300)},
                         .commands = {Called(strTool) + strArguments, L"done"}});
    }
    // The prefix has no .NET Framework.
    cases.push_back({.szName = "a RegAsm that cannot start fails the action",
                     .szAction = "RegisterInternetExplorerUrl64",
                     .uReturn = 1603});
    // Otherwise the plug-in would be taken from "\Prepif\..." in the current drive's root.
    cases.push_back({.szName = "an unresolved program-files folder starts nothing",
                     .szAction = "UnRegisterWMPPlugin",
                     .before = {Program(kRegsvr32)},
                     .uReturn = 1603,
                     .arrange = [](ActionSession&) {
                         return std::make_shared<ShellFolderOverride>(ShellFolderOverride::Changes{
                             {KnownFolder(CSIDL_PROGRAM_FILES), std::nullopt}});
                     }});
    return cases;
}

const int kPluginCases = Register(PluginCases());

} // namespace
