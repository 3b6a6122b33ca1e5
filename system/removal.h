// Removal of a file or a whole folder tree in one step through the shell's delete
// operation (silent, no confirmation), and the guard every removal of a folder or
// file passes first.
#pragma once

#include <string>

// The one guard for removals of folders and files. szPath may be removed when it
// is absolute (a drive letter and "\", or a share), already in its full form (no
// "." or ".." parts, nothing the system would drop or merge), shorter than
// MAX_PATH, free of wildcards, and neither a drive root or share root nor one of
// the system's own folders (Windows, System32/SysWOW64, the Program Files and
// Common Files roots, ProgramData, the profiles folder and each user's profile,
// the temporary folder) nor a folder holding one of them. Returns 0 and the form
// to remove in strTarget ("/" turned into "\", no trailing separator); otherwise
// the code the refusal is reported as: ERROR_ACCESS_DENIED for an empty path, a
// root or a system folder, ERROR_INVALID_NAME for a path that is not absolute or
// not in full form, and the shell's "too deep" code (0x79) for MAX_PATH or more.
int CheckRemovalTarget(const wchar_t* szPath, std::wstring& strTarget);

// Deletes szPath (a trailing '"' dropped) and logs the attempt and its outcome to
// g_hInstall. fUndo 0 deletes permanently, any other value sends to the Recycle
// Bin. Returns 1 when the shell reported no error, else 0 (0 for a null path,
// with nothing logged). A path the guard refuses is logged as a failed removal
// with the refusal's code.
int DeleteDirectory(const wchar_t* szPath, int fUndo);

// Deletes szPath as it stands, logging nothing. Note the opposite sense to
// DeleteDirectory: fPermanent non-zero deletes permanently, 0 sends to the Recycle
// Bin. True when the shell returned 0; false for a path the guard refuses.
bool RemovePathViaShell(const wchar_t* szPath, int fPermanent);

// Deletes the file szPath with the C runtime's removal, through the guard. True
// when it was removed.
bool RemoveFile(const wchar_t* szPath);
