// Reading CustomActionData in full, and file versions as text.
#pragma once

#include <string>

// Reads the whole "CustomActionData" of g_hInstall (asking for its length
// first) and logs "CustomActionData: %s" with it.
std::wstring ReadCustomActionData();

// The file's version as "major.minor.build.revision", or "" when the file has
// no version resource.
std::wstring GetFileVersionString(const std::wstring& strPath);
