#include "suite/install_manager_text.h"

#include "system/path_text.h"

std::wstring BuildInstallManagerPath(std::wstring_view strFolder) {
    return JoinFolderAndName(strFolder, L"InstallManagerApp.exe");
}

std::wstring SpellProxyValuePath(std::wstring_view strKey, std::wstring_view strName,
                                 bool f32BitView) {
    constexpr std::wstring_view kSoftware = L"SOFTWARE\\";
    std::wstring strPath = JoinFolderAndName(strKey, strName);
    if (f32BitView && strKey.substr(0, kSoftware.size()) == kSoftware) {
        strPath.insert(kSoftware.size(), L"Wow6432Node\\");
    }
    return strPath;
}

std::wstring QuoteProgram(std::wstring_view strProgram) {
    return L"\"" + std::wstring(strProgram) + L"\"";
}

std::wstring BuildInstallManagerCommand(std::wstring_view strProgram,
                                        std::wstring_view strArguments) {
    return QuoteProgram(strProgram) + L" " + std::wstring(strArguments);
}
