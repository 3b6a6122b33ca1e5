#include "suite/install_manager_text.h"

std::wstring BuildInstallManagerPath(std::wstring_view strFolder) {
    std::wstring strPath(strFolder);
    if (!strPath.empty() && strPath.back() != L'\\' && strPath.back() != L'/') {
        strPath += L'\\';
    }
    return strPath + L"InstallManagerApp.exe";
}

std::wstring QuoteProgram(std::wstring_view strProgram) {
    return L"\"" + std::wstring(strProgram) + L"\"";
}

std::wstring BuildInstallManagerCommand(std::wstring_view strProgram,
                                        std::wstring_view strArguments) {
    return QuoteProgram(strProgram) + L" " + std::wstring(strArguments);
}
