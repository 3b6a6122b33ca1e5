// Reads rows of the package's own ORX_InstallProperties table.
#pragma once

#include <string>

// The query template used with GetFromMSITable (one %s for the row name).
inline constexpr const wchar_t* kOrxPropertyQuery =
    L"SELECT `Value` FROM `ORX_InstallProperties` WHERE `Property` = '%s'";

// Formats szQueryTemplate with szRowName, runs it on the active database of
// g_hInstall and copies field 1 of the first row into strValue. False when the
// database, the view, the row or the value (over 1041 characters) is not there.
// The row name is not escaped: an apostrophe makes the query invalid.
bool GetFromMSITable(const wchar_t* szQueryTemplate, const wchar_t* szRowName,
                     std::wstring& strValue);
