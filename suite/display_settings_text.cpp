// Pure text for the display and driver settings actions (see display_settings_text.h).
#include "suite/display_settings_text.h"

#include <algorithm>

bool IsDriverKeyName(std::wstring_view strDriver) {
    const size_t iSlash = strDriver.find(L'\\');
    return iSlash != 0 && iSlash != std::wstring_view::npos && iSlash + 1 < strDriver.size() &&
           std::count(strDriver.begin(), strDriver.end(), L'\\') == 1;
}

DceLogPaths BuildDceLogPaths(std::wstring_view strProgramData) {
    if (!IsAbsolutePath(strProgramData)) {
        return {};
    }
    // The driver names the folder "%sQVX\PN\Analytics", %s ending in "\".
    std::wstring strFolder = JoinFolderAndName(strProgramData, L"QVX\\PN\\Analytics");
    std::wstring strFile = strFolder + L"\\orxkmdag_dce.log";
    return {std::move(strFolder), std::move(strFile)};
}
