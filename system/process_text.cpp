#include "system/process_text.h"

std::wstring BoundCommandLine(std::wstring_view strCommand, size_t cchBuffer) {
    if (cchBuffer == 0) {
        return {};
    }
    return std::wstring(strCommand.substr(0, cchBuffer - 1));
}

std::wstring LaunchFailureText(std::wstring_view strLead, std::wstring_view strCommand,
                               unsigned long dwError) {
    std::wstring strText = L"\n";
    strText.append(strLead).append(L"Failed to lauch >").append(strCommand);
    strText.append(L"<\n Last error return: ").append(std::to_wstring(dwError)).append(L"\n");
    return strText;
}

std::wstring BuildKillVantorSettingsCommand(std::wstring_view strSystemFolder) {
    std::wstring strCommand = L"\"";
    strCommand.append(strSystemFolder).append(L"\\TaskKill.exe");
    // The closing quote goes after the arguments: TaskKill has always been started so.
    strCommand.append(L" /IM VantorSettings.exe /F").append(L"\"");
    return strCommand;
}

std::wstring BuildTaskKillCommand(std::wstring_view strSystemFolder, std::wstring_view strImage) {
    std::wstring strCommand = L"\"";
    strCommand.append(strSystemFolder).append(L"\\TaskKill.exe").append(L"\"");
    strCommand.append(L" /IM ").append(strImage).append(L" /F");
    return strCommand;
}

const wchar_t* ShellExecuteErrorMessage(intptr_t iInstApp) {
    switch (iInstApp) {
    case 0:
        return L"The operating system is out of memory or resources";
    case 2: // SE_ERR_FNF
        return L"File not found.";
    case 3: // SE_ERR_PNF
        return L"Path not found.";
    case 5: // SE_ERR_ACCESSDENIED
        return L"Access denied.";
    case 8: // SE_ERR_OOM
        return L"Out of memory.";
    case 26: // SE_ERR_SHARE
        return L"Cannot share an open file.";
    case 27: // SE_ERR_ASSOCINCOMPLETE
        return L"File association information not complete.";
    case 28: // SE_ERR_DDETIMEOUT; the leading blank is part of the text
        return L" The DDE transaction could not be completed because the request timed out";
    case 29: // SE_ERR_DDEFAIL
        return L"DDE operation failed.";
    case 30: // SE_ERR_DDEBUSY
        return L"DDE operation is busy.";
    case 31: // SE_ERR_NOASSOC
        return L"File association not available.";
    case 32: // SE_ERR_DLLNOTFOUND
        return L"Dynamic-link library not found.";
    default:
        return L"Unknown error, could be SE_ERR_FNF, or SE_ERR_PNF";
    }
}
