// The installer log: one formatted line per call, and one message box.
#pragma once

#include <windows.h>
#include <msi.h>

// A line is at most this many characters plus its terminator.
constexpr int kcchLogLine = 2 * MAX_PATH;

// Formats with wvsprintfW's rules (%s is a wide string, %d/%u/%x 32-bit, no
// floating point) and sends the line as field 0 of an INFO record. A line that
// does not fit logs "CA buffer overflow\n" instead. Nothing is added to the text.
void LogMessage(MSIHANDLE hInstall, const wchar_t* szFormat, ...);

// Puts szText before the user as an INSTALLMESSAGE_USER message with the given
// message-box style; returns the installer's answer (the button chosen).
int ShowInstallerMessage(MSIHANDLE hInstall, const wchar_t* szText, UINT uStyle);

// While set (by ExternalLog, runtime/external_log.h), every line LogMessage sends is also
// given, as sent, to pfnMirror. Null stops it.
using LogMirror = void(WINAPI*)(const wchar_t* szLine);
void SetLogMirror(LogMirror pfnMirror);
