// Pure text for the removal routines: the text rules of the removal guard, the
// source list handed to the shell's delete operation and the messages for its
// result codes. No <windows.h>.
#pragma once

#include <string>
#include <string_view>

// What the text of a path allows before anything is removed through it.
enum class RemovalPathKind {
    Removable, // absolute, below a drive root or a share, no "." or ".." parts
    Empty,     // names nothing
    Root,      // a drive root ("C:\") or the root of a share ("\\server\share")
    Invalid,   // relative, drive-relative ("Q:", "Q:dir"), rooted without a drive
               // ("\dir"), a device path ("\\?\", "\\.\"), "." or ".." parts, or a
               // wildcard the file system would expand ("*", "?", "<", ">")
};

struct RemovalPath {
    RemovalPathKind kind;
    // The path in the form a removal hands on: every "/" turned into "\" and
    // trailing separators dropped ("C:/A/B\\" gives "C:\A\B").
    std::wstring strTarget;
};

// Classifies strPath by its text alone; the guard in removal.cpp adds what only
// the system knows (the full path, the system's own folders).
RemovalPath ClassifyRemovalPath(std::wstring_view strPath);

// The source list for one path: the path, then NULs up to its length plus 2, which
// ends the list with two NULs. With fDropTrailingQuote a '"' that is the path's last
// character becomes a NUL; a leading quote is kept (the asymmetry is deliberate).
std::wstring BuildShellDeleteSource(std::wstring_view strPath, bool fDropTrailingQuote);

// The message logged for a result of the shell's file operation, or nullptr for a
// code with no entry of its own (the caller then asks the system for its text).
const wchar_t* ShellOperationMessage(int iResult);
