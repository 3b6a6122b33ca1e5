// Arranging and inspecting registry state in either view.
#pragma once

#include "runtime/handles.h"

#include <windows.h>

#include <optional>
#include <string>
#include <vector>

// The 64-bit view (this module's native one) and the 32-bit view.
enum class View { Native, Wow32 };
inline constexpr View kBothViews[] = {View::Native, View::Wow32};

REGSAM ViewFlag(View view);

// dwOptions REG_OPTION_CREATE_LINK makes a link.
UniqueRegKey CreateKey(HKEY hRoot, View view, const std::wstring& strPath, DWORD dwOptions = 0);
// Raw data of any type and size (odd sizes, missing terminators); a link's target is
// the value "SymbolicLinkValue" of type REG_LINK in a key made with REG_OPTION_CREATE_LINK.
void SetRaw(HKEY hRoot, View view, const std::wstring& strPath, const std::wstring& strName,
            DWORD dwType, const void* pData, DWORD cbData, DWORD dwOptions = 0);

// A missing key or value is fine.
void DeleteValue(HKEY hRoot, View view, const std::wstring& strPath, const std::wstring& strName);

bool KeyExists(HKEY hRoot, View view, const std::wstring& strPath);
// Type and raw bytes of a value, for checks on exact stored data (of a link itself
// with REG_OPTION_OPEN_LINK).
using RawValue = std::pair<DWORD, std::vector<BYTE>>;
std::optional<RawValue> ReadRaw(HKEY hRoot, View view, const std::wstring& strPath,
                                const std::wstring& strName, DWORD dwOptions = 0);

// Removes a key and everything below it; a missing key is fine. Links are
// removed as themselves, never followed.
void DeleteTree(HKEY hRoot, View view, const std::wstring& strPath);
