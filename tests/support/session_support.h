// The session bench: a small package built at test time, opened as a real
// installer session, with every INFO and USER record captured raw (field 0,
// unformatted) and the built Varen_CA.dll loaded afresh for each session, so its
// globals start at zero as they do when the installer loads it.
#pragma once

#include "packaging/msi_session.h"

#include <windows.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

class ActionSession {
  public:
    // Property rows (a fresh ProductCode is always added), ORX_InstallProperties rows
    // (no such table when unset), and the library loaded afresh for it.
    explicit ActionSession(const PropertyRows& properties = {},
                           const std::optional<PropertyRows>& orxRows = std::nullopt,
                           const wchar_t* szDll = L"Varen_CA.dll");
    ~ActionSession();
    ActionSession(const ActionSession&) = delete;
    ActionSession& operator=(const ActionSession&) = delete;

    // Calls the export szName of the DLL loaded for this session with its handle.
    UINT Call(const char* szName);

    // The texts of the INFO records and of the USER records logged since the session opened.
    const std::vector<std::wstring>& Lines() const { return m_lines; }
    const std::vector<std::wstring>& Messages() const { return m_messages; }
    std::wstring Property(const wchar_t* szName) const;
    MSIHANDLE Handle() const { return m_hSession; }
    HMODULE Module() const { return m_hDll; }

  private:
    static int __stdcall OnRecord(void* pContext, UINT uType, MSIHANDLE hRecord);

    std::wstring m_strPackage;
    MSIHANDLE m_hSession = 0;
    HMODULE m_hDll = nullptr;
    std::vector<std::wstring> m_lines, m_messages;
};

// The ids of the processes started from this program, and theirs, other than this one.
// They are members of a job the program joins first: a process an action starts is in
// it from the moment it exists, where a snapshot of the system's processes may miss one
// that has only just started.
std::vector<DWORD> ProcessesStartedHere();

// Writes pNew into a code pointer slot (an import, a method table entry) of a
// loaded module and returns what it held.
void* ExchangeSlot(void** ppSlot, void* pNew);

// Points one import of a loaded module (msi.dll!MsiSetPropertyW of Varen_CA.dll,
// say) at pReplacement while the result lives, so that a test can make an installer
// function fail where no real input can. The module must stay loaded until the
// patch is gone: make it after the ActionSession that loaded the DLL.
std::shared_ptr<void> PatchImport(HMODULE hModule, const char* szDll, const char* szFunction,
                                  void* pReplacement);
