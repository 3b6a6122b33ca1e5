// The transcoding component's data folder and device initialisation, handled by
// one fixed command each through the 32-bit system folder's command interpreter,
// and the removal of the installation folder to the Recycle Bin.
#include "runtime/log.h"
#include "runtime/session.h"
#include "suite/command_text.h"
#include "system/process.h"
#include "system/process_text.h"
#include "system/registry.h"
#include "system/removal.h"

#include <shlobj.h>

namespace {

// Runs strCommand through the interpreter of the 32-bit system folder, the whole
// line cut at 519 characters, and waits for the interpreter. Reports nothing: a
// failed start or command leaves no trace and the actions still return 0. When the
// folder cannot be resolved nothing is started, since the line would then begin
// with "\" and name an interpreter in the root of the current drive.
UINT RunInterpreterCommand(const std::wstring& strCommand) {
    const std::wstring strFolder = GetShellFolderPath(CSIDL_SYSTEMX86);
    if (!strFolder.empty()) {
        RunBoundedCommand(strFolder + L"\\" + strCommand, kcchInterpreterCommandBuffer);
    }
    return ERROR_SUCCESS;
}

} // namespace

// The command actions take nothing from the session: they neither store the
// handle nor log.
extern "C" UINT __stdcall CreateDIR_CA(MSIHANDLE) {
    return RunInterpreterCommand(
        BuildInterpreterCommand(L"cmd.exe /c mkdir ", L"%PROGRAMDATA%\\QVX\\KDB", L""));
}

extern "C" UINT __stdcall RemoveFolder_CA(MSIHANDLE) {
    return RunInterpreterCommand(
        BuildInterpreterCommand(L"Cmd.exe /c rd /s /q ", L"%ProgramData%\\QVX\\KDB", L""));
}

extern "C" UINT __stdcall RemoveKDB_CA(MSIHANDLE) {
    return RunInterpreterCommand(
        BuildInterpreterCommand(L"Cmd.exe /c del ", L"%systemroot%\\kdb\\aml_*.kdb", L""));
}

extern "C" UINT __stdcall RemoveShortcut_CA(MSIHANDLE) {
    return RunInterpreterCommand(BuildInterpreterCommand(
        L"Cmd.exe /c del ",
        L"%ProgramData%\\Microsoft\\Windows\\Start Menu\\Programs\\Startup\\AML*.*", L""));
}

extern "C" UINT __stdcall SetFolderPermission_CA(MSIHANDLE) {
    return RunInterpreterCommand(BuildInterpreterCommand(
        L"Cmd.exe /c Icacls ", L"%ProgramData%\\QVX\\KDB", L" /grant Users:(OI)(CI)M"));
}

// "start" returns at once, so the wait covers the interpreter, not kdbsync.exe.
extern "C" UINT __stdcall launchKdbsync_CA(MSIHANDLE) {
    return RunInterpreterCommand(BuildKdbsyncCommand(Is64BitWindows()));
}

// Sends INSTALLDIR to the Recycle Bin. Returns 1 when the shell removed it, else 0.
// A failed read leaves part of the value in the buffer (the first 259 characters
// of a longer one, which can name its parent): that is never removed.
extern "C" UINT __stdcall ClearCADir(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    // The start line names the hand-off action GetInstallCADir, as packages' logs
    // have always shown it.
    LogMessage(g_hInstall, L"Varen_CA GetInstallCADir() start");
    PropertyBuffer szInstallDir = {};
    const bool fRead = ReadProperty(g_hInstall, L"INSTALLDIR", szInstallDir) == ERROR_SUCCESS;
    if (!fRead) {
        LogMessage(g_hInstall, L"VAREN_CA Could not get INSTALLDIR  \n");
    } else {
        LogMessage(g_hInstall, L"VAREN_CA ClearCADir: %s \n", szInstallDir);
    }
    if (!fRead || !RemovePathViaShell(szInstallDir, 0)) {
        LogMessage(g_hInstall, L"VAREN_CA can not ClearCADir: %s \n", szInstallDir);
        return 0;
    }
    LogMessage(g_hInstall, L"VAREN_CA ClearCADir: %s \n", szInstallDir);
    return 1;
}
