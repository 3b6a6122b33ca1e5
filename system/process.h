// Starting outside programs and waiting for them, and ending companion processes
// with TaskKill.exe. No launcher reads the child's exit code: success means only
// that the program was started.
#pragma once

#include <windows.h>

#include <cstddef>
#include <string>
#include <string_view>

// The path of a shell folder (CSIDL_SYSTEM, CSIDL_SYSTEMX86, CSIDL_PROGRAM_FILES...)
// resolved through its item list, or "" when it cannot be resolved.
std::wstring GetShellFolderPath(int iCsidl);

// Starts szCommandLine (program and arguments; CreateProcessW may write to it)
// without a window and, with fWait, waits up to dwTimeout ms. szDirectory is
// accepted for the callers' sake and not used. Logs nothing, also on failure.
bool LaunchProcess(wchar_t* szCommandLine, const wchar_t* szDirectory, bool fWait, DWORD dwTimeout);

// Starts szCommandLine with a fixed security descriptor on the process and logs
// each step to g_hInstall. Returns 1 when the process was created, else 0.
int LaunchProcessSecured(wchar_t* szCommandLine, const wchar_t* szDirectory, bool fWait,
                         DWORD dwTimeout);

// Opens szFile with szParameters through the shell ("open" verb, shown normally)
// and, with fWait, waits for it without limit; logs to g_hInstall. True when the
// shell started it.
bool ShellExecuteAndWait(const wchar_t* szFile, const wchar_t* szParameters, bool fWait);

// Copies strCommand into a writable buffer of cchBuffer characters (cut to fit)
// and runs it with LaunchProcess, waiting without limit. True when it started.
bool RunBoundedCommand(std::wstring_view strCommand, size_t cchBuffer);

// Ends VantorSettings.exe with the system folder's TaskKill.exe, waiting for it.
void KillVantorSettings();

// Ends every process of the image szImage with TaskKill.exe, waiting for it.
void TaskKillImage(const wchar_t* szImage);
