// Removal of a file or a whole folder tree in one step through the shell's delete
// operation (silent, no confirmation).
#pragma once

// Deletes szPath (a trailing '"' dropped) and logs the attempt and its outcome to
// g_hInstall. fUndo 0 deletes permanently, any other value sends to the Recycle
// Bin. Returns 1 when the shell reported no error, else 0 (0 for a null path,
// with nothing logged).
int DeleteDirectory(const wchar_t* szPath, int fUndo);

// Deletes szPath as it stands, logging nothing. Note the opposite sense to
// DeleteDirectory: fPermanent non-zero deletes permanently, 0 sends to the Recycle
// Bin. True when the shell returned 0.
bool RemovePathViaShell(const wchar_t* szPath, int fPermanent);
