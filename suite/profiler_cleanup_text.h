// Pure text of the profiler tool clean-up: paths in the drivers folder, product
// codes, version comparison and the command lines of the help and uninstall
// programs. No <windows.h>.
#pragma once

#include "system/path_text.h"

#include <optional>
#include <string>
#include <string_view>

// True for a product code in registry form: "{" 8-4-4-4-12 hexadecimal digits "}".
// Anything else (a path, a name with "\", a GUID without braces) is not one and
// never joined onto the uninstall key.
bool IsProductCode(std::wstring_view strCode);

// Compares two versions of one to four decimal parts of at most 65535 each
// ("3", "3.0" and "3.0.0.0" are equal; "10.0" is later than "9.9"): below zero,
// zero or above zero as strA is earlier, equal or later. nullopt when either is
// not such a version (empty, a fifth part, an empty part, a sign, a blank, a
// letter, a part over 65535).
std::optional<int> CompareVersions(std::wstring_view strA, std::wstring_view strB);

// The help library manager under the 32-bit program files folder:
// <folder>\Microsoft Help Viewer\v1.0\HelpLibManager.exe
std::wstring HelpLibManagerPath(std::wstring_view strProgramFiles32);

// Installs the profiler's help from "<profiler folder>\help\helpcontentsetup.msha";
// the program and the help file are quoted.
std::wstring BuildInstallHelpCommand(std::wstring_view strHelpLibManager,
                                     std::wstring_view strProfilerFolder);

// Removes the profiler's help book, silently.
std::wstring BuildRemoveHelpCommand(std::wstring_view strHelpLibManager);

// The uninstall string with " /qn /norestart" appended.
std::wstring BuildQuietUninstallCommand(std::wstring_view strUninstallString);
