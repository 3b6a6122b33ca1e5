// Pure text for the shell removal routines: the source list handed to the shell's
// delete operation and the messages for its result codes. No <windows.h>.
#pragma once

#include <string>
#include <string_view>

// The source list for one path: the path, then NULs up to its length plus 2, which
// ends the list with two NULs. With fDropTrailingQuote a '"' that is the path's last
// character becomes a NUL; a leading quote is kept (the asymmetry is deliberate).
std::wstring BuildShellDeleteSource(std::wstring_view strPath, bool fDropTrailingQuote);

// The message logged for a result of the shell's file operation, or nullptr for a
// code with no entry of its own (the caller then asks the system for its text).
const wchar_t* ShellOperationMessage(int iResult);
