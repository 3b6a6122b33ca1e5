// Pure text for the command-interpreter actions. No <windows.h>.
#pragma once

#include <string>
#include <string_view>

// strHead + '"' + strArgument + '"' + strTail.
std::wstring BuildInterpreterCommand(std::wstring_view strHead, std::wstring_view strArgument,
                                     std::wstring_view strTail);

// Starts the transcoding device's kdbsync.exe minimised under its window title:
// from "%programfiles(x86)%" on 64-bit Windows (129 characters), else from
// "%programfiles%" (124 characters).
std::wstring BuildKdbsyncCommand(bool f64BitWindows);
