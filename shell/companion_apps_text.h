// Pure text for the companion-application actions: which folder values are used,
// program and shortcut paths, the context-menu command and the Windows app
// arguments. No <windows.h>.
#pragma once

#include <string>
#include <string_view>

// A folder value is used only when it is absolute ("X:\..." or "\\server\share...")
// and shorter than MAX_PATH: a relative or empty one would resolve against whatever
// folder the installer happens to run in.
bool IsUsableFolder(std::wstring_view strFolder);

// strFolder + strFile, with a "\" between them only when strFolder does not already
// end in "\" or "/".
std::wstring JoinPath(std::wstring_view strFolder, std::wstring_view strFile);

// The context-menu verb's command: the program in double quotes.
std::wstring BuildVerbCommand(std::wstring_view strProgram);

// An application user model ID of a Windows app: "<family>!<application>", text on
// both sides of one "!", no blank, double quote or backslash, shorter than MAX_PATH.
bool IsAppUserModelId(std::wstring_view strId);

// "shell:AppsFolder\<id>": explorer.exe starts the app from this argument.
std::wstring BuildAppsFolderArguments(std::wstring_view strId);
