// The contract every exported action shares: the module-wide session slot,
// property reads and the start line.
#pragma once

#include <windows.h>
#include <msi.h>

// The session that last called an action that reports. Helpers below the exports
// log through it, never through a parameter. It is never cleared: an action that
// does not store its handle reports to whatever session called last (0 before the
// first such call, and those lines are lost).
extern MSIHANDLE g_hInstall;

// Property values, paths and command lines fit MAX_PATH characters.
using PropertyBuffer = wchar_t[MAX_PATH];

// Reads a property the way every action does: a 260-character buffer, the count
// set to 260 just before the call, and any non-zero result (ERROR_MORE_DATA for
// a value of 260 characters or more included) returned as the failure, with no
// second try. An undefined property reads as "" with success.
UINT ReadProperty(MSIHANDLE hInstall, const wchar_t* szName, PropertyBuffer& szValue);

// Logs "Varen_CA <szAction>() start" to g_hInstall.
void LogActionStart(const wchar_t* szAction);
