// Pure text for the display and driver settings actions: file paths built from
// folders that come from the package or the shell, and the driver keys of display
// adapters. No <windows.h>.
#pragma once

#include "system/path_text.h"

#include <string>
#include <string_view>

// True for an adapter's driver property of the form "<class>\<instance>" (both
// parts non-empty, one "\"): only such a name, joined onto the class key, names a
// driver's own key rather than the class key itself or a key elsewhere.
bool IsDriverKeyName(std::wstring_view strDriver);

// The display driver's diagnostic log under the ProgramData folder strProgramData
// (with or without its trailing "\"): "<ProgramData>\QVX\PN\Analytics" and the file
// "orxkmdag_dce.log" in it. Both empty when strProgramData is not absolute.
struct DceLogPaths {
    std::wstring strFolder;
    std::wstring strFile;
};
DceLogPaths BuildDceLogPaths(std::wstring_view strProgramData);
