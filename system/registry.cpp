// Registry routines shared by the actions (see registry.h).
#include "system/registry.h"

#include "runtime/log.h"
#include "runtime/session.h"
#include "system/registry_text.h"

#include <aclapi.h>

#include <algorithm>
#include <cstdio>
#include <cwchar>

namespace {

IsWow64ProcessFn LookUpIsWow64Process() {
    return reinterpret_cast<IsWow64ProcessFn>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32"), "IsWow64Process")));
}

constexpr wchar_t kQvxUserKey[] = L"SOFTWARE\\QVX";

// What a tree removal needs of each key it opens: its sub-keys and the right to
// delete it.
constexpr REGSAM kKeyTreeAccess = DELETE | KEY_ENUMERATE_SUB_KEYS;

// Whether hKey, opened with REG_OPTION_OPEN_LINK, is a registry link: a link
// holds its target in the value "SymbolicLinkValue" of type REG_LINK.
bool IsLinkKey(HKEY hKey) {
    DWORD dwType = REG_NONE;
    return RegQueryValueExW(hKey, L"SymbolicLinkValue", nullptr, &dwType, nullptr, nullptr) ==
               ERROR_SUCCESS &&
           dwType == REG_LINK;
}

// Removes the key an open handle names. RegDeleteKeyW would open the key again
// by name and so remove a link's target instead of the link; ntdll's NtDeleteKey
// removes the very key of the handle. ntdll is in every process: it is looked up
// rather than imported, so the module imports only the DLLs it declares.
bool DeleteOpenKey(HKEY hKey) {
    using NtDeleteKeyFn = LONG(NTAPI*)(HANDLE);
    const auto pfnNtDeleteKey = reinterpret_cast<NtDeleteKeyFn>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll"), "NtDeleteKey")));
    return pfnNtDeleteKey != nullptr && pfnNtDeleteKey(hKey) == 0;
}

// Opens strPath under hRoot one key at a time, each with REG_OPTION_OPEN_LINK, so
// that no planted link on the way is followed: a link from the third key on
// answers ERROR_ACCESS_DENIED (the path does not lead where its text says; a name
// opened below a link's own handle would still reach into its target). The first
// two levels are the system's own structure, which has links of its own
// ("SYSTEM\CurrentControlSet", the 32-bit view's shared keys) and where only
// administrators create keys: a link there is followed. The last key may itself
// be a link, opened as such. samView is 0 or KEY_WOW64_32KEY.
LONG OpenKeyWithoutLinks(HKEY hRoot, const std::wstring& strPath, REGSAM samAccess, REGSAM samView,
                         UniqueRegKey& hKey) {
    constexpr int kcSystemLevels = 2;
    UniqueRegKey hParent;
    HKEY hCurrent = hRoot;
    int iLevel = 0;
    for (size_t iPart = 0; iPart < strPath.size();) {
        const size_t iEnd = std::min(strPath.find(L'\\', iPart), strPath.size());
        const std::wstring strPart = strPath.substr(iPart, iEnd - iPart);
        iPart = iEnd + 1;
        if (strPart.empty()) {
            continue;
        }
        const bool fLast = strPath.find_first_not_of(L'\\', iEnd) == std::wstring::npos;
        const REGSAM samPart = (fLast ? samAccess : KEY_QUERY_VALUE) | samView;
        UniqueRegKey hNext;
        LONG lOpen =
            RegOpenKeyExW(hCurrent, strPart.c_str(), REG_OPTION_OPEN_LINK, samPart, hNext.put());
        if (lOpen == ERROR_SUCCESS && !fLast && IsLinkKey(hNext.get())) {
            lOpen = iLevel < kcSystemLevels
                        ? RegOpenKeyExW(hCurrent, strPart.c_str(), 0, samPart, hNext.put())
                        : ERROR_ACCESS_DENIED;
        }
        if (lOpen != ERROR_SUCCESS) {
            return lOpen;
        }
        hParent = std::move(hNext);
        hCurrent = hParent.get();
        ++iLevel;
    }
    if (!hParent) {
        return ERROR_INVALID_PARAMETER; // no key named: never the root itself
    }
    hKey = std::move(hParent);
    return ERROR_SUCCESS;
}

// Removes the open key hKey and everything below it, children first. Every key
// is opened with REG_OPTION_OPEN_LINK: a link is opened as itself, which has no
// sub-keys of its own, and so it is removed without its target being reached.
// cchPath is the length of the key's path; a child whose path would reach
// cchBound characters cannot be removed, which ends the walk like any failed
// removal.
bool DeleteOpenKeyTree(HKEY hKey, REGSAM samView, size_t cchPath, size_t cchBound) {
    wchar_t szName[MAX_PATH];
    std::wstring strPrevious;
    for (;;) {
        DWORD cchName = MAX_PATH;
        if (RegEnumKeyExW(hKey, 0, szName, &cchName, nullptr, nullptr, nullptr, nullptr) !=
            ERROR_SUCCESS) {
            break;
        }
        std::wstring strName(szName, cchName);
        // A child that is still first after its removal "succeeded" would be
        // found forever.
        const size_t cchChild = cchPath + 1 + cchName;
        if (strName == strPrevious || cchChild >= cchBound) {
            break;
        }
        UniqueRegKey hChild;
        const LONG lOpen = RegOpenKeyExW(hKey, szName, REG_OPTION_OPEN_LINK,
                                         kKeyTreeAccess | samView, hChild.put());
        if (lOpen != ERROR_FILE_NOT_FOUND &&
            (lOpen != ERROR_SUCCESS ||
             !DeleteOpenKeyTree(hChild.get(), samView, cchChild, cchBound))) {
            break;
        }
        strPrevious = std::move(strName);
    }
    return DeleteOpenKey(hKey);
}

} // namespace

IsWow64ProcessFn g_pfnIsWow64Process = LookUpIsWow64Process();

bool IsRunningUnderWow64() {
    BOOL fWow64 = FALSE;
    IsWow64ProcessFn pfnIsWow64Process = LookUpIsWow64Process();
    if (pfnIsWow64Process != nullptr) {
        pfnIsWow64Process(GetCurrentProcess(), &fWow64);
    }
    return fWow64 != FALSE;
}

bool Is64BitWindows() {
    OSVERSIONINFOW osvi = {};
    static_assert(sizeof(osvi) == 276);
    osvi.dwOSVersionInfoSize = sizeof(osvi);
    GetVersionExW(&osvi);
    SYSTEM_INFO si = {};
    // Only Windows 10 is asked for the native system; older versions report
    // through GetSystemInfo (and rely on the WOW64 check below).
    if (osvi.dwMajorVersion == 10) {
        GetNativeSystemInfo(&si);
    } else {
        GetSystemInfo(&si);
    }
    if (si.wProcessorArchitecture == PROCESSOR_ARCHITECTURE_AMD64 ||
        si.wProcessorArchitecture == PROCESSOR_ARCHITECTURE_IA64) {
        return true;
    }
    return IsRunningUnderWow64();
}

std::wstring GetPlatformBinFolder() {
    return Is64BitWindows() ? L"BIN64" : L"Bin";
}

std::optional<std::wstring> QueryStringValue(HKEY hKey, const wchar_t* szName, DWORD cbMax) {
    // One character more than cbMax holds, all zero, so the text always ends.
    std::vector<wchar_t> vecData(cbMax / sizeof(wchar_t) + 1);
    DWORD dwType = REG_NONE;
    DWORD cbData = cbMax;
    if (RegQueryValueExW(hKey, szName, nullptr, &dwType, reinterpret_cast<BYTE*>(vecData.data()),
                         &cbData) != ERROR_SUCCESS ||
        (dwType != REG_SZ && dwType != REG_EXPAND_SZ)) {
        return std::nullopt;
    }
    const size_t cchData = std::min<size_t>(cbData, cbMax) / sizeof(wchar_t);
    return std::wstring(vecData.data(), wcsnlen(vecData.data(), cchData));
}

std::optional<DWORD> QueryDwordValue(HKEY hKey, const wchar_t* szName) {
    DWORD dwData = 0;
    DWORD dwType = REG_NONE;
    DWORD cbData = sizeof(dwData);
    if (RegQueryValueExW(hKey, szName, nullptr, &dwType, reinterpret_cast<BYTE*>(&dwData),
                         &cbData) != ERROR_SUCCESS ||
        dwType != REG_DWORD || cbData != sizeof(dwData)) {
        return std::nullopt;
    }
    return dwData;
}

std::wstring GetOrxInstallDir() {
    UniqueRegKey hKey;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\ORX Technologies\\Install", 0, KEY_READ,
                      hKey.put()) != ERROR_SUCCESS) {
        return {};
    }
    return QueryStringValue(hKey.get(), L"InstallDir", MAX_PATH * sizeof(wchar_t)).value_or(L"");
}

// The texts formatted here are never sent anywhere: the routine reports
// nothing, by design; they only show what the routine was doing.
void CreateRegDWValue(const wchar_t* szName, DWORD dwData) {
    wchar_t szText[1024];
    try {
        wsprintfW(szText, L"VAREN_CA Before RegOpenKeyEx and dwData is %ld \n", dwData);
        UniqueRegKey hKey;
        const LONG lOpen =
            RegOpenKeyExW(HKEY_CURRENT_USER, kQvxUserKey, 0, KEY_ALL_ACCESS, hKey.put());
        if (lOpen == ERROR_SUCCESS) {
            ZeroMemory(szText, sizeof(szText));
            wsprintfW(szText, L"VAREN_CA Inside RegOpenKeyEx and dwData is %ld \n", dwData);
            RegSetValueExW(hKey.get(), szName, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&dwData),
                           sizeof(dwData));
            return;
        }
        wchar_t szError[100];
        wsprintfW(szError, L"Error %d", lOpen);
        ZeroMemory(szText, sizeof(szText));
        wsprintfW(szText, L"VAREN_CA Inside ELSE RegOpenKeyEx and dwData is %ld \n", dwData);
        if (RegCreateKeyExW(HKEY_CURRENT_USER, kQvxUserKey, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                            hKey.put(), nullptr) == ERROR_SUCCESS) {
            ZeroMemory(szText, sizeof(szText));
            wsprintfW(szText, L"VAREN_CA Before ELSE RegSetValueEx and dwData is %ld \n", dwData);
            RegSetValueExW(hKey.get(), szName, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&dwData),
                           sizeof(dwData));
        }
    } catch (...) {
        // Nothing may leave this routine; the note stays unsent like the others.
        ZeroMemory(szText, sizeof(szText));
        wsprintfW(szText, L"VAREN_CA Inside catch CreateRegDWValue \n");
    }
}

RegistryKeyEraser::RegistryKeyEraser(HKEY hRoot, const wchar_t* szPath) : m_hRoot(hRoot) {
    KeyPathParts parts = SplitKeyPath(szPath != nullptr ? szPath : L"");
    m_strKeyPart = std::move(parts.strKeyPart);
    m_strLeafPart = std::move(parts.strLeafPart);
}

RegistryKeyEraser::~RegistryKeyEraser() = default;

bool RegistryKeyEraser::AppendNames(HKEY hKey, NameKind kind, bool fMerge) {
    m_lResult = RegQueryInfoKeyW(hKey, nullptr, nullptr, nullptr, &m_cSubKeys, &m_cchMaxSubKey,
                                 nullptr, &m_cValues, &m_cchMaxValue, nullptr, nullptr, nullptr);
    if (m_lResult != ERROR_SUCCESS) {
        return false;
    }
    const bool fSubKeys = kind == NameKind::SubKey;
    const DWORD cNames = fSubKeys ? m_cSubKeys : m_cValues;
    // The length passed is the longest name plus its terminator; the buffer
    // is grown to match, so a long value name cannot run past it.
    const DWORD cchMaxName = (fSubKeys ? m_cchMaxSubKey : m_cchMaxValue) + 1;
    if (m_vecName.size() < cchMaxName) {
        m_vecName.resize(cchMaxName);
    }
    bool fComplete = true;
    for (m_dwIndex = 0; m_dwIndex < cNames; ++m_dwIndex) {
        DWORD cchName = cchMaxName;
        m_lResult = fSubKeys ? RegEnumKeyExW(hKey, m_dwIndex, m_vecName.data(), &cchName, nullptr,
                                             nullptr, nullptr, nullptr)
                             : RegEnumValueW(hKey, m_dwIndex, m_vecName.data(), &cchName, nullptr,
                                             nullptr, nullptr, nullptr);
        if (m_lResult != ERROR_SUCCESS) {
            fComplete = false;
            continue;
        }
        std::wstring strName(m_vecName.data(), std::min<DWORD>(cchName, cchMaxName));
        if (!fMerge || !ContainsName(m_vecNames, strName)) {
            m_vecNames.push_back(std::move(strName));
        }
    }
    return fComplete;
}

bool RegistryKeyEraser::AppendViewNames(bool f32BitView, NameKind kind, bool fMerge) {
    UniqueRegKey& hKey = f32BitView ? m_hKey32 : m_hKeyNative;
    const LONG lOpen = OpenKeyWithoutLinks(m_hRoot, m_strKeyPart, KEY_READ,
                                           f32BitView ? KEY_WOW64_32KEY : 0, hKey);
    if (lOpen != ERROR_SUCCESS) {
        return lOpen == ERROR_FILE_NOT_FOUND; // a view without the key holds nothing
    }
    const bool fComplete = AppendNames(hKey.get(), kind, fMerge);
    hKey.reset();
    return fComplete;
}

bool RegistryKeyEraser::EnumSubKeys() {
    m_vecNames.clear();
    const bool fNative = AppendViewNames(false, NameKind::SubKey, false);
    return AppendViewNames(true, NameKind::SubKey, true) && fNative;
}

bool RegistryKeyEraser::EnumValues() {
    m_vecNames.clear();
    const bool fNative = AppendViewNames(false, NameKind::Value, false);
    // The 32-bit view is consulted only when the native view holds no value.
    if (m_vecNames.empty()) {
        return AppendViewNames(true, NameKind::Value, false) && fNative;
    }
    return fNative;
}

bool RegistryKeyEraser::DeleteTree32(HKEY hRoot, const wchar_t* szPath) {
    return DeleteTree(hRoot, szPath != nullptr ? szPath : L"", true);
}

bool RegistryKeyEraser::DeleteTreeNative(HKEY hRoot, const wchar_t* szPath) {
    return DeleteTree(hRoot, szPath != nullptr ? szPath : L"", false);
}

bool RegistryKeyEraser::DeleteTree(HKEY hRoot, const std::wstring& strPath, bool f32BitView) {
    // An empty path would name the root itself: OpenKeyWithoutLinks refuses it
    // rather than empty a hive.
    UniqueRegKey hKey;
    const REGSAM samView = f32BitView ? KEY_WOW64_32KEY : 0;
    const LONG lOpen = OpenKeyWithoutLinks(hRoot, strPath, kKeyTreeAccess, samView, hKey);
    if (lOpen == ERROR_FILE_NOT_FOUND) {
        return true;
    }
    return lOpen == ERROR_SUCCESS &&
           DeleteOpenKeyTree(hKey.get(), samView, strPath.size(), static_cast<size_t>(-1));
}

void RemoveKeyPartInBothViews(HKEY hRoot, const wchar_t* szPath) {
    RegistryKeyEraser eraser(hRoot, szPath);
    eraser.DeleteTree32(hRoot, eraser.KeyPart().c_str());
    eraser.DeleteTreeNative(hRoot, eraser.KeyPart().c_str());
}

void DeleteVarenRegKey(HKEY hRoot, const wchar_t* szPath) {
    RegistryKeyEraser eraser(hRoot, szPath);
    // A view that cannot be read in full may hold anything: the key stays.
    const bool fSubKeysRead = eraser.EnumSubKeys();
    if (!eraser.Names().empty()) {
        LogMessage(g_hInstall,
                   L"Varen_CA DeleteVarenRegKey(), Varen key has sub keys and is not empty thus it "
                   L"will not be "
                   L"deleted %s \n",
                   szPath);
        return;
    }
    if (!eraser.EnumValues() || !fSubKeysRead || !eraser.Names().empty()) {
        LogMessage(g_hInstall,
                   L"Varen_CA DeleteVarenRegKey(), Varen key is not empty thus it will not be "
                   L"deleted %s \n",
                   szPath);
        return;
    }
    eraser.DeleteTree32(hRoot, eraser.KeyPart().c_str());
    eraser.DeleteTreeNative(hRoot, eraser.KeyPart().c_str());
    LogMessage(g_hInstall, L"Varen_CA DeleteVarenRegKey(), key deleted successfully %s \n", szPath);
}

int DeletePackageKey(const wchar_t* szPackage) {
    const std::wstring strPackage = szPackage != nullptr ? szPackage : L"";
    const std::wstring strPath =
        L"SOFTWARE\\ORX Technologies\\Install\\Packages\\" + strPackage + L"\\";
    LogMessage(g_hInstall, L"Varen_CA DeletePackageKey(), Key to delete is %s \n", strPath.c_str());
    // An empty name (or one with a backslash) would make the path name
    // "Packages" itself or a key that is no package: nothing is removed then.
    if (IsSingleKeyName(strPackage)) {
        RemoveKeyPartInBothViews(HKEY_LOCAL_MACHINE, strPath.c_str());
    }
    LogMessage(g_hInstall, L"Varen_CA DeletePackageKey(), %s key should be deleted \n",
               strPath.c_str());

    constexpr wchar_t kQvxUserPath[] = L"SOFTWARE\\QVX\\";
    UniqueRegKey hQvx;
    if (RegOpenKeyExW(HKEY_CURRENT_USER, kQvxUserPath, 0, kKeyAllAccess32, hQvx.put()) ==
        ERROR_SUCCESS) {
        // The name passed is the key's own path, not the package: it is not
        // used, so every named value of the brand key goes.
        DeleteNamedValues(hQvx.get(), kQvxUserPath);
        hQvx.reset();
        LogMessage(g_hInstall, L"Varen_CA DeletePackageKey(), %s Attempted to delete key \n",
                   kQvxUserPath);
    }
    return 1;
}

// szName is deliberately unused: callers rely on every named value other than
// " " going, whatever name they pass.
void DeleteNamedValues(HKEY hKey, const wchar_t* /*szName*/) {
    DWORD cchMaxValue = 0;
    if (RegQueryInfoKeyW(hKey, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                         &cchMaxValue, nullptr, nullptr, nullptr) != ERROR_SUCCESS) {
        return;
    }
    std::vector<wchar_t> vecName(cchMaxValue + 1);
    std::vector<std::wstring> vecNames;
    for (DWORD dwIndex = 0;; ++dwIndex) {
        DWORD cchName = static_cast<DWORD>(vecName.size());
        const LONG lResult = RegEnumValueW(hKey, dwIndex, vecName.data(), &cchName, nullptr,
                                           nullptr, nullptr, nullptr);
        if (lResult == ERROR_MORE_DATA) {
            continue; // a value added since the count was taken; not ours to chase
        }
        if (lResult != ERROR_SUCCESS) {
            break; // ERROR_NO_MORE_ITEMS, or the key is unusable
        }
        std::wstring strName(vecName.data(), cchName);
        if (!strName.empty() && strName != L" ") {
            vecNames.push_back(std::move(strName));
        }
    }
    for (const std::wstring& strName : vecNames) {
        RegDeleteValueW(hKey, strName.c_str());
    }
}

void DeleteRunValue(const wchar_t* szName) {
    UniqueRegKey hRun;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run", 0,
                      KEY_ALL_ACCESS, hRun.put()) != ERROR_SUCCESS) {
        return;
    }
    RegDeleteValueW(hRun.get(), szName);
}

// The walk always works under HKEY_LOCAL_MACHINE; hRoot is not used.
int DeleteHklmKeyTree32(HKEY /*hRoot*/, wchar_t* szPath) {
    const size_t cchPath = szPath != nullptr ? wcsnlen(szPath, kcchLongPath) : kcchLongPath;
    // No path, an unterminated one, or the empty path (which opens the hive
    // itself) is never walked.
    if (cchPath == 0 || cchPath == kcchLongPath) {
        return 0;
    }
    const std::wstring strPath(szPath, cchPath);
    UniqueRegKey hKey;
    LONG lOpen =
        OpenKeyWithoutLinks(HKEY_LOCAL_MACHINE, strPath, kKeyTreeAccess, KEY_WOW64_32KEY, hKey);
    if (lOpen == ERROR_ACCESS_DENIED) {
        lOpen =
            OpenKeyWithoutLinks(HKEY_LOCAL_MACHINE, strPath, kKeyTreeAccess, KEY_WOW64_32KEY, hKey);
    }
    if (lOpen == ERROR_FILE_NOT_FOUND) {
        return 1;
    }
    // Children's paths once had to fit the caller's buffer, with a "\" after
    // the path unless it ends in one: the same bound still ends the walk.
    const size_t cchBase = szPath[cchPath - 1] == L'\\' ? cchPath - 1 : cchPath;
    return lOpen == ERROR_SUCCESS &&
                   DeleteOpenKeyTree(hKey.get(), KEY_WOW64_32KEY, cchBase, kcchLongPath)
               ? 1
               : 0;
}

namespace {

const wchar_t* RootName(HKEY hRoot) {
    if (hRoot == HKEY_CLASSES_ROOT) {
        return L"HKEY_CLASSES_ROOT\\";
    }
    if (hRoot == HKEY_CURRENT_USER) {
        return L"HKEY_CURRENT_USER\\";
    }
    if (hRoot == HKEY_LOCAL_MACHINE) {
        return L"HKEY_LOCAL_MACHINE\\";
    }
    if (hRoot == HKEY_CURRENT_CONFIG) {
        return L"HKEY_CURRENT_CONFIG\\";
    }
    if (hRoot == HKEY_USERS) {
        return L"HKEY_USERS\\";
    }
    return L"";
}

// Lists the values of hKey, then each sub-key followed by what lies below it.
void ListKeyTree(HKEY hKey, const std::wstring& strFullName, std::vector<std::wstring>& vecResult) {
    DWORD cSubKeys = 0;
    DWORD cValues = 0;
    DWORD cchMaxValue = 0;
    if (RegQueryInfoKeyW(hKey, nullptr, nullptr, nullptr, &cSubKeys, nullptr, nullptr, &cValues,
                         &cchMaxValue, nullptr, nullptr, nullptr) != ERROR_SUCCESS) {
        return;
    }
    std::vector<wchar_t> vecValueName(cchMaxValue + 1);
    for (DWORD dwIndex = 0; dwIndex < cValues; ++dwIndex) {
        DWORD cchName = static_cast<DWORD>(vecValueName.size());
        if (RegEnumValueW(hKey, dwIndex, vecValueName.data(), &cchName, nullptr, nullptr, nullptr,
                          nullptr) == ERROR_SUCCESS) {
            vecResult.push_back(strFullName + L"\\\"" + std::wstring(vecValueName.data(), cchName) +
                                L"\"");
        }
    }
    // 255 characters with the terminator: a sub-key whose name is 255 characters
    // long (the registry's longest) does not fit and is passed over, deliberately.
    constexpr DWORD kcchKeyName = 255;
    wchar_t szSubKey[kcchKeyName];
    for (DWORD dwIndex = 0; dwIndex < cSubKeys; ++dwIndex) {
        DWORD cchName = kcchKeyName;
        if (RegEnumKeyExW(hKey, dwIndex, szSubKey, &cchName, nullptr, nullptr, nullptr, nullptr) !=
            ERROR_SUCCESS) {
            continue;
        }
        const std::wstring strSubKey = strFullName + L"\\" + szSubKey;
        vecResult.push_back(strSubKey);
        UniqueRegKey hSubKey;
        if (RegOpenKeyExW(hKey, szSubKey, REG_OPTION_OPEN_LINK, KEY_READ, hSubKey.put()) !=
            ERROR_SUCCESS) {
            LogMessage(g_hInstall, L"QueryKey: %s---------hkey is NULL---------------%s",
                       strFullName.c_str(), szSubKey);
            continue;
        }
        // A link is listed but never followed: it may lead anywhere, its own
        // ancestors included.
        if (!IsLinkKey(hSubKey.get())) {
            ListKeyTree(hSubKey.get(), strSubKey, vecResult);
        }
    }
}

} // namespace

void QueryKey(HKEY hKey, HKEY hRoot, const std::wstring& strPath,
              std::vector<std::wstring>& vecResult) {
    ListKeyTree(hKey, RootName(hRoot) + strPath, vecResult);
}

void CreateKeyWithAdminAcl(const wchar_t* szPath) {
    SID_IDENTIFIER_AUTHORITY worldAuthority = SECURITY_WORLD_SID_AUTHORITY;
    SID_IDENTIFIER_AUTHORITY ntAuthority = SECURITY_NT_AUTHORITY;
    UniqueSid sidEveryone;
    UniqueSid sidAdministrators;
    if (!AllocateAndInitializeSid(&worldAuthority, 1, SECURITY_WORLD_RID, 0, 0, 0, 0, 0, 0, 0,
                                  sidEveryone.put())) {
        wprintf(L"AllocateAndInitializeSid Error %u\n", GetLastError());
        return;
    }
    if (!AllocateAndInitializeSid(&ntAuthority, 2, SECURITY_BUILTIN_DOMAIN_RID,
                                  DOMAIN_ALIAS_RID_ADMINS, 0, 0, 0, 0, 0, 0,
                                  sidAdministrators.put())) {
        wprintf(L"AllocateAndInitializeSid Error %u\n", GetLastError());
        return;
    }
    EXPLICIT_ACCESSW access[2] = {};
    access[0].grfAccessPermissions = KEY_ALL_ACCESS;
    access[0].grfAccessMode = SET_ACCESS;
    access[0].grfInheritance = NO_INHERITANCE;
    access[0].Trustee.TrusteeForm = TRUSTEE_IS_SID;
    access[0].Trustee.TrusteeType = TRUSTEE_IS_WELL_KNOWN_GROUP;
    access[0].Trustee.ptstrName = static_cast<LPWSTR>(sidEveryone.get());
    access[1] = access[0];
    access[1].Trustee.TrusteeType = TRUSTEE_IS_GROUP;
    access[1].Trustee.ptstrName = static_cast<LPWSTR>(sidAdministrators.get());

    PACL pAcl = nullptr;
    const DWORD dwAclResult = SetEntriesInAclW(2, access, nullptr, &pAcl);
    UniqueLocalMemory hAcl(pAcl);
    if (dwAclResult != ERROR_SUCCESS) {
        wprintf(L"SetEntriesInAcl Error %u\n", GetLastError());
        return;
    }
    static_assert(SECURITY_DESCRIPTOR_MIN_LENGTH == 40);
    UniqueLocalMemory hDescriptor(LocalAlloc(LPTR, SECURITY_DESCRIPTOR_MIN_LENGTH));
    if (!hDescriptor) {
        wprintf(L"LocalAlloc Error %u\n", GetLastError());
        return;
    }
    const PSECURITY_DESCRIPTOR pDescriptor = hDescriptor.get();
    if (!InitializeSecurityDescriptor(pDescriptor, SECURITY_DESCRIPTOR_REVISION)) {
        wprintf(L"InitializeSecurityDescriptor Error %u\n", GetLastError());
        return;
    }
    if (!SetSecurityDescriptorDacl(pDescriptor, TRUE, pAcl, FALSE)) {
        wprintf(L"SetSecurityDescriptorDacl Error %u\n", GetLastError());
        return;
    }
    SECURITY_ATTRIBUTES sa = {sizeof(sa), pDescriptor, FALSE};
    static_assert(sizeof(sa) == 24);
    UniqueRegKey hKey;
    const LONG lCreate = RegCreateKeyExW(HKEY_LOCAL_MACHINE, szPath, 0, const_cast<LPWSTR>(L""), 0,
                                         kKeyAllAccess64, &sa, hKey.put(), nullptr);
    wprintf(L"RegCreateKeyEx result %u\n", static_cast<unsigned>(lCreate));
}
