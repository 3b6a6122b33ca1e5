// Changes what the loaded Varen_CA.dll learns about shell folders: its calls of
// SHGetPathFromIDListW go through a shim while an override lives, which fails or
// renames chosen folders. Create it after the ActionSession that loaded the DLL.
// A path built on a folder that failed begins with "\" and names a file in the
// root of the current drive; RootOfWindowsDrive makes that the drive where a test
// can place a stand-in.
#pragma once

#include "tests/support/session_support.h"

#include <windows.h>
#include <shlobj.h>

#include <map>
#include <optional>
#include <string>
#include <utility>

class ShellFolderOverride {
  public:
    // Each real folder path maps to the path to report instead, or to nullopt to
    // make the folder fail to resolve. Folders not named resolve as they are.
    using Changes = std::map<std::wstring, std::optional<std::wstring>>;

    explicit ShellFolderOverride(Changes changes)
        : m_patch(GetModuleHandleW(L"Varen_CA.dll"), "shell32.dll", "SHGetPathFromIDListW",
                  reinterpret_cast<void*>(&Resolve)) {
        s_changes = std::move(changes);
        s_pfnReal = reinterpret_cast<decltype(&SHGetPathFromIDListW)>(m_patch.Original());
    }

  private:
    static BOOL WINAPI Resolve(PCIDLIST_ABSOLUTE pidl, LPWSTR szPath) {
        if (!s_pfnReal(pidl, szPath)) {
            return FALSE;
        }
        const auto change = s_changes.find(szPath);
        if (change != s_changes.end()) {
            lstrcpynW(szPath, change->second.value_or(L"").c_str(), MAX_PATH);
        }
        return change == s_changes.end() || change->second.has_value();
    }

    ImportPatch m_patch;
    static inline Changes s_changes;
    static inline decltype(&SHGetPathFromIDListW) s_pfnReal = nullptr;
};

// Makes the prefix's Windows folder the current folder while it lives.
class RootOfWindowsDrive {
  public:
    RootOfWindowsDrive() {
        GetCurrentDirectoryW(MAX_PATH, m_szPrevious);
        wchar_t szWindows[MAX_PATH] = {};
        GetWindowsDirectoryW(szWindows, MAX_PATH);
        SetCurrentDirectoryW(szWindows);
    }
    ~RootOfWindowsDrive() { SetCurrentDirectoryW(m_szPrevious); }
    RootOfWindowsDrive(const RootOfWindowsDrive&) = delete;
    RootOfWindowsDrive& operator=(const RootOfWindowsDrive&) = delete;

  private:
    wchar_t m_szPrevious[MAX_PATH] = {};
};
