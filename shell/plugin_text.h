// Pure text for the plug-in registration actions: tool paths, plug-in paths and
// the command lines that run them. No <windows.h>.
#pragma once

#include <string>
#include <string_view>

enum class NetFramework { Bits32, Bits64 };

// Windows folder + "\" + "\Microsoft.NET\Framework(64)\v4.0.30319\RegAsm.exe": the
// doubled backslash is how the tool has always been named and Windows accepts it.
std::wstring BuildRegAsmPath(std::wstring_view strWindowsFolder, NetFramework framework);

// System folder + "\Regsvr32.exe".
std::wstring BuildRegsvr32Path(std::wstring_view strSystemFolder);

// Program-files folder + "\Prepif\HP Pixel Sharp\" + the plug-in's file name.
std::wstring BuildPluginPath(std::wstring_view strProgramFiles, std::wstring_view strPluginFile);

// "<tool>"<switches>"<plug-in>" (the switches text carries its own blanks).
std::wstring BuildPluginCommand(std::wstring_view strTool, std::wstring_view strSwitches,
                                std::wstring_view strPlugin);
