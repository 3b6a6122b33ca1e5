// Registry routines shared by the actions: platform checks that pick the
// registry view, a per-user DWORD writer, removal of keys in both views, the
// package-key removal, the Run value removal, a recursive key walker and a
// per-machine key with an explicit access list.
//
// The module is 64-bit, so its native view is the 64-bit one; the 32-bit view
// is reached only with KEY_WOW64_32KEY, never by writing "Wow6432Node" into a
// path. Removal that covers both views does the 32-bit view first. A missing
// key counts as already removed.
#pragma once

#include "runtime/handles.h"

#include <windows.h>

#include <optional>
#include <string>
#include <vector>

// Access masks as the routines pass them.
constexpr REGSAM kKeyAllAccess32 = KEY_ALL_ACCESS | KEY_WOW64_32KEY; // 0xF023F
constexpr REGSAM kKeyAllAccess64 = KEY_ALL_ACCESS | KEY_WOW64_64KEY; // 0xF013F

// Paths handed to DeleteHklmKeyTree32 live in a buffer of this many characters.
constexpr size_t kcchLongPath = 2 * MAX_PATH;

using IsWow64ProcessFn = BOOL(WINAPI*)(HANDLE, PBOOL);

// kernel32's IsWow64Process, resolved once when the module loads (null when
// the entry point does not exist).
extern IsWow64ProcessFn g_pfnIsWow64Process;

// True when this process is a 32-bit process on 64-bit Windows; false when
// kernel32 has no IsWow64Process.
bool IsRunningUnderWow64();

// True on x64 or Itanium Windows (or when running under WOW64).
bool Is64BitWindows();

// "BIN64" on 64-bit Windows, else "Bin".
std::wstring GetPlatformBinFolder();

// HKLM "SOFTWARE\ORX Technologies\Install" "InstallDir" (native view), or ""
// when the key or value is missing or not a string.
std::wstring GetOrxInstallDir();

// Writes szName = dwData (REG_DWORD) under HKCU "SOFTWARE\QVX", creating the
// key when it is missing. Reports nothing.
void CreateRegDWValue(const wchar_t* szName, DWORD dwData);

// Removes the key of szPath under hRoot in both views, but only when neither
// view holds a sub-key or a value under it. A key that cannot be read counts as
// not empty and stays.
void DeleteVarenRegKey(HKEY hRoot, const wchar_t* szPath);

// Removes HKLM "SOFTWARE\ORX Technologies\Install\Packages\<szPackage>" in
// both views and clears the named values of HKCU "SOFTWARE\QVX". An empty
// name, or one with a backslash, removes no key (it would name "Packages"
// itself or a key that is no package); the lines are logged all the same.
// Returns 1.
int DeletePackageKey(const wchar_t* szPackage);

// Deletes every value of hKey except the default value and the value named
// " ". szName is not used.
void DeleteNamedValues(HKEY hKey, const wchar_t* szName);

// Deletes szName under HKLM "SOFTWARE\Microsoft\Windows\CurrentVersion\Run"
// (native view); silent when the key cannot be opened.
void DeleteRunValue(const wchar_t* szName);

// Removes the tree of szPath under HKLM in the 32-bit view; links inside are
// removed as themselves, never followed. szPath is a caller-owned buffer of
// kcchLongPath characters, left as it was; a key whose path would not fit it
// cannot be removed. hRoot is not used. Returns 1 when the key is gone, 0 when
// it could not be removed.
int DeleteHklmKeyTree32(HKEY hRoot, wchar_t* szPath /* kcchLongPath characters */);

// Appends to vecResult the full name ("HKEY_LOCAL_MACHINE\..." and so on) of
// every sub-key below hKey, and of every value as "<key>\"<value name>"",
// depth first. strPath is the path of hKey under hRoot. A sub-key whose name
// has 255 characters does not fit the name buffer and is passed over with all
// below it; one that cannot be opened is logged and not descended into.
void QueryKey(HKEY hKey, HKEY hRoot, const std::wstring& strPath,
              std::vector<std::wstring>& vecResult);

// Creates HKLM szPath in the 64-bit view with a DACL granting full control to
// Everyone and to the Administrators group. Prints one diagnostic line to
// standard output.
void CreateKeyWithAdminAcl(const wchar_t* szPath);

// Builds a RegistryKeyEraser for szPath and removes its key part under hRoot
// with all its sub-keys, 32-bit view first, then the native view.
void RemoveKeyPartInBothViews(HKEY hRoot, const wchar_t* szPath);

// Reads the string value szName of hKey with at most cbMax bytes of data. A
// missing value, one longer than cbMax and one that is not REG_SZ or
// REG_EXPAND_SZ all read as nullopt. The text ends at its first NUL or at the
// end of the data, whichever comes first (a string stored without terminator
// or with an odd byte count is read safely).
std::optional<std::wstring> QueryStringValue(HKEY hKey, const wchar_t* szName, DWORD cbMax);

// Reads the REG_DWORD value szName of hKey; any other type or size reads as
// nullopt.
std::optional<DWORD> QueryDwordValue(HKEY hKey, const wchar_t* szName);

// One key, seen in both views. The path is split at its last backslash: the
// key part (before it) is the key the eraser works on, the leaf part (after
// it) is not used. Callers pass paths ending in "\" so that the key part is
// the key they name; a path without the trailing "\" names its parent.
class RegistryKeyEraser {
  public:
    RegistryKeyEraser(HKEY hRoot, const wchar_t* szPath);
    virtual ~RegistryKeyEraser();
    RegistryKeyEraser(const RegistryKeyEraser&) = delete;
    RegistryKeyEraser& operator=(const RegistryKeyEraser&) = delete;

    // Fills Names() with the sub-keys of the key part, native view first,
    // then the 32-bit names not already listed. Reads with KEY_READ and follows
    // no link on the way (a link is read as the key it is). False when a view
    // that has the key could not be read in full.
    bool EnumSubKeys();
    // Fills Names() with the values of the key part in the native view, or,
    // when it has none, with those of the 32-bit view; false as above.
    bool EnumValues();

    // Remove szPath under hRoot with all its sub-keys, in one view each. A
    // registry link inside is removed as itself, never followed, and a path
    // that passes through a link is not removed. True when the key is gone
    // (or was never there).
    bool DeleteTree32(HKEY hRoot, const wchar_t* szPath);
    bool DeleteTreeNative(HKEY hRoot, const wchar_t* szPath);

    HKEY Root() const { return m_hRoot; }
    const std::wstring& KeyPart() const { return m_strKeyPart; }
    const std::wstring& LeafPart() const { return m_strLeafPart; }
    const std::vector<std::wstring>& Names() const { return m_vecNames; }

  private:
    enum class NameKind { SubKey, Value };
    // Opens the key part in one view (read access) and runs AppendNames on it;
    // a view without the key adds nothing. False when the key could not be read.
    bool AppendViewNames(bool f32BitView, NameKind kind, bool fMerge);
    // One enumeration pass over the open key hKey; fMerge drops names already
    // listed. False when a name could not be read.
    bool AppendNames(HKEY hKey, NameKind kind, bool fMerge);
    // The removal behind DeleteTree32 and DeleteTreeNative.
    bool DeleteTree(HKEY hRoot, const std::wstring& strPath, bool f32BitView);

    std::vector<std::wstring> m_vecNames;
    std::wstring m_strKeyPart;
    std::wstring m_strLeafPart;
    HKEY m_hRoot;
    UniqueRegKey m_hKeyNative;
    UniqueRegKey m_hKey32;
    // Holds one name of the enumeration; at least kcchLongPath characters, and
    // grown to the longest name the key reports so that no name is cut short.
    std::vector<wchar_t> m_vecName = std::vector<wchar_t>(kcchLongPath);
    DWORD m_cSubKeys = 0;
    DWORD m_cchMaxSubKey = 0;
    DWORD m_cValues = 0;
    DWORD m_cchMaxValue = 0;
    DWORD m_dwIndex = 0;
    LONG m_lResult = ERROR_SUCCESS;
};
