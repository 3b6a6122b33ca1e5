// Text rules of the package cleanup actions: the packages whose uninstall
// entries stay visible, and which branding-folder entries are kept. Pure text
// code (no <windows.h>), built for the host as well.
#pragma once

#include <string>
#include <string_view>
#include <vector>

// The three packages whose uninstall entries RemoveARPEntries never hides
// (matched exactly: all 31 characters, nothing more).
bool IsExceptedPackage(std::wstring_view strPackage);

// strText with every "\" turned into "/". Branding entries and the retained
// names they are compared with are both written this way.
std::wstring WithForwardSlashes(std::wstring_view strText);

// The entry for szName in the branding folder: the folder and the name joined
// by one "/", every separator a "/" ("C:\B\" and "a.png" give "C:/B/a.png").
std::wstring BrandingEntryPath(std::wstring_view strFolder, std::wstring_view strName);

// Whether a branding-folder entry is kept. An entry whose text contains
// "Skins" is kept when the retained list holds "Skins" itself; otherwise, and
// for every other entry, it is kept only when the list holds an item equal to
// it. An empty list keeps nothing. vecRetained is sorted (std::sort), so that
// each entry costs a binary search: a folder as large as the list stays linear.
bool KeepsBrandingEntry(std::wstring_view strEntry, const std::vector<std::wstring>& vecRetained);
