// A package built with the installer's database API and opened as a session whose
// INFO and USER records go, raw, to a handler: what varen-ca-run and the action
// tests share to call an export of Varen_CA.dll as the installer would.
#pragma once

#include <windows.h>
#include <msi.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

using PropertyRows = std::vector<std::pair<std::wstring, std::wstring>>;
using CustomAction = UINT(__stdcall*)(MSIHANDLE);

// A new GUID in registry form, "{...}", upper case.
std::wstring NewGuid();

// Writes the package at strPath. fCreate makes a new one: a Property table with the
// properties and a fresh ProductCode, and the summary a session needs; otherwise the
// package there is changed. orxRows go to ORX_InstallProperties, made when missing.
UINT WritePackage(const std::wstring& strPath, bool fCreate, const PropertyRows& properties,
                  const std::optional<PropertyRows>& orxRows);

// Opens the package as a session without user interface; pfnHandler gets the INFO
// and USER records from then on.
UINT OpenSession(const std::wstring& strPath, INSTALLUI_HANDLER_RECORD pfnHandler, void* pContext,
                 MSIHANDLE& hSession);

// Field 0 of a record as the action wrote it, unformatted.
std::wstring RecordText(MSIHANDLE hRecord);

// The export szName of hDll, or nullptr.
CustomAction FindAction(HMODULE hDll, const char* szName);
