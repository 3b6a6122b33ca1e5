// Starting, stopping and removing a Windows service by name through the service
// control manager, each waiting for the service to settle. The start and stop
// routines report to the debugger output only, never to the installer log; the
// removal reports to the installer log of g_hInstall.
#pragma once

#include <windows.h>

#include <string>

// Starts szService and waits while it is start-pending without progress for no
// longer than its wait hint; a stop-pending service is first waited for. True
// when the service ends running, or when it was found neither stopped nor
// stop-pending (a running or starting service counts as started).
bool StartNamedService(const wchar_t* szService);

// Stops strService and waits for it, within 30,000 ms from entry for both the
// wait on an earlier stop and the wait after this one. Reports each outcome.
void StopNamedService(std::wstring strService);

// StopNamedService without a word: true when the service ended stopped.
bool StopNamedServiceQuiet(const std::wstring& strService);

// Stops and deletes strService when the folder of its configured binary is
// strDirectory (the same folder on disk, however the two paths are spelt);
// logs each step. A service elsewhere is left alone.
void DeleteServiceIfBinaryInDirectory(const std::wstring& strService,
                                      const std::wstring& strDirectory);
