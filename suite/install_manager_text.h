// Pure text for the install-manager hand-off: the program path and its two command
// lines, and the install proxy's value paths. No <windows.h>.
#pragma once

#include <string>
#include <string_view>

// The install manager's program in strFolder: "InstallManagerApp.exe" joined to it.
std::wstring BuildInstallManagerPath(std::wstring_view strFolder);

// The value path as the install proxy's registration spells it: strKey and strName
// joined, with "Wow6432Node\" after the leading "SOFTWARE\" for the 32-bit view.
std::wstring SpellProxyValuePath(std::wstring_view strKey, std::wstring_view strName,
                                 bool f32BitView);

// "\"<program>\" <arguments>": the command line of the process launch.
std::wstring BuildInstallManagerCommand(std::wstring_view strProgram,
                                        std::wstring_view strArguments);

// "\"<program>\"": the file of the shell fallback, which gets the arguments apart.
std::wstring QuoteProgram(std::wstring_view strProgram);
