// Pure text for file-system paths that actions build from folders given by the
// package, the registry or the shell. No <windows.h>.
#pragma once

#include <string>
#include <string_view>

// strFolder and strName joined by one "\": none is added when the folder already
// ends in "\" or "/".
std::wstring JoinFolderAndName(std::wstring_view strFolder, std::wstring_view strName);

// True for a path that names one place whatever the current folder and drive:
// "X:\..." or "\\server\...". "", "name", "\name" and "X:name" are not.
bool IsAbsolutePath(std::wstring_view strPath);
