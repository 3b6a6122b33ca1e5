// Pure text for the schtasks actions: the command lines, each as it fits the
// actions' 260-character command buffer. No <windows.h>.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// Every schtasks command line is formatted into a buffer of MAX_PATH characters.
constexpr size_t kcchTaskCommand = 260;

// The command lines below are cut to kcchTaskCommand - 1 characters when they do
// not fit, as the formatted buffer leaves them.

// schtasks /Create /TN "<task>" /XML "<definition file>"
std::wstring BuildCreateTaskCommand(std::wstring_view strTask, std::wstring_view strXmlPath);
// schtasks /change /TN "<task>" /TR "\"<program>\" <argument>": an empty argument
// leaves the blank after the program's closing quote.
std::wstring BuildChangeTaskCommand(std::wstring_view strTask, std::wstring_view strProgram,
                                    std::wstring_view strArgument);
// schtasks /run /TN "<task>"
std::wstring BuildRunTaskCommand(std::wstring_view strTask);
// schtasks /delete /TN "<task>" /F
std::wstring BuildDeleteTaskCommand(std::wstring_view strTask);
