// Pure text and arithmetic for the service routines: the poll interval and the
// folder of a configured binary path. No <windows.h>.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// How long the service routines sleep between status queries: a tenth of the
// service's wait hint, but at least 1,000 ms and at most 10,000 ms.
uint32_t ServicePollInterval(uint32_t dwWaitHint);

// The program file of a configured service command line: the text inside a
// leading pair of quotes, or, unquoted, the text up to and including the first
// ".exe" (any case) that ends the text or stands before a blank; an unquoted
// text without one is taken whole.
std::wstring GetServiceBinaryFile(std::wstring_view strConfigured);

// The folder strPath lies in: the text before its last "\" or "/", with the
// separator kept after a bare drive ("C:\x.exe" lies in "C:\"); "" when the
// path has no separator.
std::wstring GetParentFolder(std::wstring_view strPath);
