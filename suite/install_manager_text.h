// Pure text for the install-manager hand-off: the program path and its two command
// lines. No <windows.h>.
#pragma once

#include <string>
#include <string_view>

// The install manager's program in strFolder: the folder and "InstallManagerApp.exe",
// joined by one "\" (none added after a folder that ends in "\" or "/").
std::wstring BuildInstallManagerPath(std::wstring_view strFolder);

// "\"<program>\" <arguments>": the command line of the process launch.
std::wstring BuildInstallManagerCommand(std::wstring_view strProgram,
                                        std::wstring_view strArguments);

// "\"<program>\"": the file of the shell fallback, which gets the arguments apart.
std::wstring QuoteProgram(std::wstring_view strProgram);
