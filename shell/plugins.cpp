// Registration of the Prepif companion's browser integration (a .NET assembly,
// through RegAsm.exe) and media-player plug-in (through Regsvr32.exe). Each action
// runs one tool silently and waits for it; only a tool that could not be started
// fails the action, the tool's own exit code is not examined.
#include "runtime/session.h"
#include "shell/plugin_text.h"
#include "system/process.h"
#include "system/process_text.h"

#include <shlobj.h>

namespace {

enum class PluginTool { RegAsm32, RegAsm64, Regsvr32 };

constexpr const wchar_t* kBrowserPlugin = L"HPInternetExplorerUrl.dll";
constexpr const wchar_t* kMediaPlugin = L"wmpplugin2.dll";

// The tool's path, or "" when its folder cannot be resolved.
std::wstring ToolPath(PluginTool tool) {
    if (tool == PluginTool::Regsvr32) {
        const std::wstring strSystem = GetShellFolderPath(CSIDL_SYSTEM);
        return strSystem.empty() ? std::wstring() : BuildRegsvr32Path(strSystem);
    }
    wchar_t szWindows[MAX_PATH] = {};
    const UINT cchWindows = GetWindowsDirectoryW(szWindows, MAX_PATH);
    if (cchWindows == 0 || cchWindows >= MAX_PATH) {
        return {};
    }
    return BuildRegAsmPath(szWindows, tool == PluginTool::RegAsm64 ? NetFramework::Bits64
                                                                   : NetFramework::Bits32);
}

// Runs the tool on the plug-in in the program-files folder (also for the 32-bit
// variants) and waits for it. 0 when it started, else 1603. A folder that cannot
// be resolved, the tool's or the program-files folder, counts as a tool that could
// not be started: the tool or the plug-in would otherwise be taken from the root
// of the current drive.
UINT RunPluginTool(MSIHANDLE hInstall, PluginTool tool, const wchar_t* szSwitches,
                   const wchar_t* szPlugin) {
    g_hInstall = hInstall;
    const std::wstring strTool = ToolPath(tool);
    const std::wstring strProgramFiles = GetShellFolderPath(CSIDL_PROGRAM_FILES);
    if (strTool.empty() || strProgramFiles.empty()) {
        return ERROR_INSTALL_FAILURE;
    }
    const std::wstring strPlugin = BuildPluginPath(strProgramFiles, szPlugin);
    const bool fStarted = RunBoundedCommand(BuildPluginCommand(strTool, szSwitches, strPlugin),
                                            kcchToolCommandBuffer);
    return fStarted ? ERROR_SUCCESS : ERROR_INSTALL_FAILURE;
}

} // namespace

extern "C" UINT __stdcall RegisterInternetExplorerUrl64(MSIHANDLE hInstall) {
    return RunPluginTool(hInstall, PluginTool::RegAsm64, L" /s /codebase ", kBrowserPlugin);
}

extern "C" UINT __stdcall RegisterInternetExplorerUrl(MSIHANDLE hInstall) {
    return RunPluginTool(hInstall, PluginTool::RegAsm32, L" /s /codebase ", kBrowserPlugin);
}

extern "C" UINT __stdcall UnRegisterInternetExplorerUrl64(MSIHANDLE hInstall) {
    return RunPluginTool(hInstall, PluginTool::RegAsm64, L" /s /u ", kBrowserPlugin);
}

extern "C" UINT __stdcall UnRegisterInternetExplorerUrl(MSIHANDLE hInstall) {
    return RunPluginTool(hInstall, PluginTool::RegAsm32, L" /s /u ", kBrowserPlugin);
}

extern "C" UINT __stdcall RegisterWMPPlugin(MSIHANDLE hInstall) {
    return RunPluginTool(hInstall, PluginTool::Regsvr32, L" /s ", kMediaPlugin);
}

extern "C" UINT __stdcall UnRegisterWMPPlugin(MSIHANDLE hInstall) {
    return RunPluginTool(hInstall, PluginTool::Regsvr32, L" /s /u ", kMediaPlugin);
}
