// Services of the test service program (test_service.cpp, built beside the tests
// as varen_service.exe): registered, brought to a state and removed by the runner.
#pragma once

#include <windows.h>

#include <optional>
#include <string>

// Waits until the service manager has started its automatic services: until then
// it refuses starts with 1055 (ERROR_SERVICE_DATABASE_LOCKED), as it does just
// after a prefix is made.
void WaitForServiceManager();

// Copies strProgram to strPath, registers it as strName (demand start, own process)
// with the binary path "<strPath>" strArguments, and brings it to dwState:
// SERVICE_STOPPED, SERVICE_RUNNING, or SERVICE_STOP_PENDING (started, then asked to
// stop; strArguments must make it stop slowly). A service of that name left by an
// earlier run is removed first.
void CreateTestService(const std::wstring& strName, const std::wstring& strPath,
                       const std::wstring& strArguments, DWORD dwState,
                       const std::wstring& strProgram);

// Deletes the service strName and ends every process of the program strPath (a
// stopped service's process may outlive its stop for a while).
void RemoveTestService(const std::wstring& strName, const std::wstring& strPath);

// The service's current state, or nullopt when there is no such service or it is
// stopped and marked for deletion.
std::optional<DWORD> ServiceState(const std::wstring& strName);
