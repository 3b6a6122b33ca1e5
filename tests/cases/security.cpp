// The secured launch's security descriptor, by its SDDL text (Wine keeps descriptors
// but does not enforce them, so the text is what can be checked). A shim puts it in
// the property "ProcessSecurity" before the real call.
#include "tests/support/cases.h"

#include <msiquery.h>
#include <sddl.h>

using namespace cases;

namespace {

MSIHANDLE g_hSession = 0;

BOOL WINAPI NoteProcessSecurity(LPCWSTR szApplication, LPWSTR szCommandLine,
                                LPSECURITY_ATTRIBUTES pProcess, LPSECURITY_ATTRIBUTES pThread,
                                BOOL fInherit, DWORD dwFlags, LPVOID pEnvironment,
                                LPCWSTR szDirectory, LPSTARTUPINFOW pStartup,
                                LPPROCESS_INFORMATION pInfo) {
    CountFault();
    LPWSTR szSddl = nullptr;
    if (pProcess && pProcess->lpSecurityDescriptor) {
        ConvertSecurityDescriptorToStringSecurityDescriptorW(
            pProcess->lpSecurityDescriptor, SDDL_REVISION_1, DACL_SECURITY_INFORMATION, &szSddl,
            nullptr);
    }
    MsiSetPropertyW(g_hSession, L"ProcessSecurity",
                    (std::wstring(szSddl ? szSddl : L"(none)") +
                     (pProcess && pProcess->bInheritHandle ? L", inheritable" : L""))
                        .c_str());
    LocalFree(szSddl);
    return CreateProcessW(szApplication, szCommandLine, pProcess, pThread, fInherit, dwFlags,
                          pEnvironment, szDirectory, pStartup, pInfo);
}

const std::wstring kCommand = L"\"%CASE%\\IM\\InstallManagerApp.exe\" /UPDATE";
const wchar_t kNoWindow[] = L"Unable to show/hide MSI uninstall window";

// System, Administrators and the owner get full control, the interactive user read,
// write and execute; the handle is inheritable (kept on purpose: the install
// manager's own children rely on it).
const int kSecurity = Register({
    {.szName = "the install manager is started with the fixed descriptor",
     .szAction = "LaunchApp_Update",
     .before = {Str(N, L"SOFTWARE\\ORX Technologies\\Install\\ORX Velium Install Manager",
                    L"InstallDir", L"%CASE%\\IM"),
                Program(L"%CASE%\\IM\\InstallManagerApp.exe")},
     .lines = {kNoWindow, L"VAREN_CA Security String converted",
               L"CreateProcess successfully launched " + kCommand +
                   L" \nWaitng for process to return...",
               L"CreateProcess successfully returned from wait after launching " + kCommand +
                   L" \n",
               kNoWindow},
     .commands = {kCommand},
     .set = {{L"REBOOT", L""},
             {L"ProcessSecurity", L"D:(A;OICI;GA;;;SY)(A;OICI;GA;;;BA)(A;OICI;GA;;;CO)"
                                  L"(A;OICI;GXGWGR;;;IU), inheritable"}},
     .szWine = "Wine's SDDL writer orders the rights GXGWGR where the library wrote GRGWGX",
     .arrange =
         [](ActionSession& session) {
             g_hSession = session.Handle();
             return Fault("kernel32.dll", "CreateProcessW",
                          reinterpret_cast<void*>(&NoteProcessSecurity));
         }},
});

} // namespace
