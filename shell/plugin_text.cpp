#include "shell/plugin_text.h"

std::wstring BuildRegAsmPath(std::wstring_view strWindowsFolder, NetFramework framework) {
    std::wstring strPath(strWindowsFolder);
    strPath.append(L"\\").append(framework == NetFramework::Bits64
                                     ? L"\\Microsoft.NET\\Framework64\\v4.0.30319\\RegAsm.exe"
                                     : L"\\Microsoft.NET\\Framework\\v4.0.30319\\RegAsm.exe");
    return strPath;
}

std::wstring BuildRegsvr32Path(std::wstring_view strSystemFolder) {
    return std::wstring(strSystemFolder).append(L"\\").append(L"Regsvr32.exe");
}

std::wstring BuildPluginPath(std::wstring_view strProgramFiles, std::wstring_view strPluginFile) {
    return std::wstring(strProgramFiles)
        .append(L"\\Prepif\\HP Pixel Sharp\\")
        .append(strPluginFile);
}

std::wstring BuildPluginCommand(std::wstring_view strTool, std::wstring_view strSwitches,
                                std::wstring_view strPlugin) {
    std::wstring strCommand = L"\"";
    strCommand.append(strTool).append(L"\"").append(strSwitches);
    strCommand.append(L"\"").append(strPlugin).append(L"\"");
    return strCommand;
}
