// Pure text for the display and driver settings actions (see display_settings_text.h).
#include "suite/display_settings_text.h"

#include <algorithm>

bool IsAbsolutePath(std::wstring_view strPath) {
    if (strPath.size() >= 3 && strPath[1] == L':' && strPath[2] == L'\\') {
        const wchar_t chDrive = strPath[0];
        return (chDrive >= L'A' && chDrive <= L'Z') || (chDrive >= L'a' && chDrive <= L'z');
    }
    return strPath.size() > 2 && strPath.substr(0, 2) == L"\\\\" && strPath[2] != L'\\';
}

std::wstring JoinFolderAndName(std::wstring_view strFolder, std::wstring_view strName) {
    std::wstring strPath(strFolder);
    if (!strPath.empty() && strPath.back() != L'\\') {
        strPath += L'\\';
    }
    return strPath.append(strName);
}

bool IsDriverKeyName(std::wstring_view strDriver) {
    const size_t iSlash = strDriver.find(L'\\');
    return iSlash != 0 && iSlash != std::wstring_view::npos && iSlash + 1 < strDriver.size() &&
           std::count(strDriver.begin(), strDriver.end(), L'\\') == 1;
}

DceLogPaths BuildDceLogPaths(std::wstring_view strProgramData) {
    if (!IsAbsolutePath(strProgramData)) {
        return {};
    }
    // The driver's documented form is "%sQVX\PN\Analytics" with %s ending in "\".
    std::wstring strFolder = JoinFolderAndName(strProgramData, L"QVX\\PN\\Analytics");
    std::wstring strFile = strFolder + L"\\orxkmdag_dce.log";
    return {std::move(strFolder), std::move(strFile)};
}
