#include "tests/support/registry_support.h"

#include <gtest/gtest.h>

// Removes the key of an open handle itself, a link included (not in the SDK headers).
extern "C" LONG NTAPI NtDeleteKey(HANDLE hKey);

REGSAM ViewFlag(View view) {
    return view == View::Wow32 ? KEY_WOW64_32KEY : KEY_WOW64_64KEY;
}

const char* ViewName(View view) {
    return view == View::Wow32 ? "32-bit view" : "64-bit view";
}

namespace {

HKEY Open(HKEY hRoot, View view, const std::wstring& strPath, REGSAM samAccess) {
    HKEY hKey = nullptr;
    if (RegOpenKeyExW(hRoot, strPath.c_str(), 0, samAccess | ViewFlag(view), &hKey) !=
        ERROR_SUCCESS) {
        return nullptr;
    }
    return hKey;
}

HKEY Create(HKEY hRoot, View view, const std::wstring& strPath) {
    HKEY hKey = nullptr;
    const LONG lResult = RegCreateKeyExW(hRoot, strPath.c_str(), 0, nullptr, 0,
                                         KEY_ALL_ACCESS | ViewFlag(view), nullptr, &hKey, nullptr);
    EXPECT_EQ(ERROR_SUCCESS, lResult) << "creating a key in the " << ViewName(view);
    return hKey;
}

} // namespace

void CreateKey(HKEY hRoot, View view, const std::wstring& strPath) {
    if (HKEY hKey = Create(hRoot, view, strPath)) {
        RegCloseKey(hKey);
    }
}

void SetRaw(HKEY hRoot, View view, const std::wstring& strPath, const std::wstring& strName,
            DWORD dwType, const void* pData, DWORD cbData) {
    if (HKEY hKey = Create(hRoot, view, strPath)) {
        EXPECT_EQ(ERROR_SUCCESS, RegSetValueExW(hKey, strName.c_str(), 0, dwType,
                                                static_cast<const BYTE*>(pData), cbData));
        RegCloseKey(hKey);
    }
}

bool KeyExists(HKEY hRoot, View view, const std::wstring& strPath) {
    HKEY hKey = Open(hRoot, view, strPath, KEY_READ);
    if (hKey) {
        RegCloseKey(hKey);
    }
    return hKey != nullptr;
}

std::optional<std::pair<DWORD, std::vector<BYTE>>>
ReadRaw(HKEY hRoot, View view, const std::wstring& strPath, const std::wstring& strName) {
    HKEY hKey = Open(hRoot, view, strPath, KEY_READ);
    if (!hKey) {
        return std::nullopt;
    }
    DWORD dwType = 0;
    DWORD cbData = 0;
    std::optional<std::pair<DWORD, std::vector<BYTE>>> result;
    if (RegQueryValueExW(hKey, strName.c_str(), nullptr, &dwType, nullptr, &cbData) ==
        ERROR_SUCCESS) {
        std::vector<BYTE> data(cbData);
        if (RegQueryValueExW(hKey, strName.c_str(), nullptr, &dwType, data.data(), &cbData) ==
            ERROR_SUCCESS) {
            data.resize(cbData);
            result.emplace(dwType, std::move(data));
        }
    }
    RegCloseKey(hKey);
    return result;
}

bool ValueExists(HKEY hRoot, View view, const std::wstring& strPath, const std::wstring& strName) {
    return ReadRaw(hRoot, view, strPath, strName).has_value();
}

std::optional<DWORD> ReadDword(HKEY hRoot, View view, const std::wstring& strPath,
                               const std::wstring& strName) {
    const auto raw = ReadRaw(hRoot, view, strPath, strName);
    if (!raw || raw->first != REG_DWORD || raw->second.size() != sizeof(DWORD)) {
        return std::nullopt;
    }
    return *reinterpret_cast<const DWORD*>(raw->second.data());
}

namespace {

// Removes everything below hKey and hKey itself. Links are opened and removed as
// themselves: RegDeleteTreeW would follow them and empty their targets.
void DeleteOpenTree(HKEY hKey, View view) {
    wchar_t szName[256];
    for (DWORD dwIndex = 0;;) {
        DWORD cchName = ARRAYSIZE(szName);
        if (RegEnumKeyExW(hKey, dwIndex, szName, &cchName, nullptr, nullptr, nullptr, nullptr) !=
            ERROR_SUCCESS) {
            break;
        }
        HKEY hChild = nullptr;
        if (RegOpenKeyExW(hKey, szName, REG_OPTION_OPEN_LINK, KEY_ALL_ACCESS | ViewFlag(view),
                          &hChild) != ERROR_SUCCESS) {
            ++dwIndex; // left in place; the next one is tried
            continue;
        }
        DeleteOpenTree(hChild, view);
        RegCloseKey(hChild);
        if (KeyExists(hKey, view, szName) || LinkExists(hKey, view, szName)) {
            ++dwIndex;
        }
    }
    NtDeleteKey(hKey);
}

} // namespace

void DeleteTree(HKEY hRoot, View view, const std::wstring& strPath) {
    HKEY hKey = nullptr;
    if (RegOpenKeyExW(hRoot, strPath.c_str(), REG_OPTION_OPEN_LINK, KEY_ALL_ACCESS | ViewFlag(view),
                      &hKey) != ERROR_SUCCESS) {
        return;
    }
    DeleteOpenTree(hKey, view);
    RegCloseKey(hKey);
}

void CreateLink(HKEY hRoot, View view, const std::wstring& strPath, const std::wstring& strTarget) {
    HKEY hKey = nullptr;
    ASSERT_EQ(ERROR_SUCCESS,
              RegCreateKeyExW(hRoot, strPath.c_str(), 0, nullptr, REG_OPTION_CREATE_LINK,
                              KEY_ALL_ACCESS | KEY_CREATE_LINK | ViewFlag(view), nullptr, &hKey,
                              nullptr))
        << "creating a link in the " << ViewName(view);
    // The target in the kernel's form, without a terminator.
    const std::wstring strNtTarget = L"\\REGISTRY\\MACHINE\\" + strTarget;
    EXPECT_EQ(ERROR_SUCCESS,
              RegSetValueExW(hKey, L"SymbolicLinkValue", 0, REG_LINK,
                             reinterpret_cast<const BYTE*>(strNtTarget.data()),
                             static_cast<DWORD>(strNtTarget.size() * sizeof(wchar_t))));
    RegCloseKey(hKey);
}

bool LinkExists(HKEY hRoot, View view, const std::wstring& strPath) {
    HKEY hKey = nullptr;
    if (RegOpenKeyExW(hRoot, strPath.c_str(), REG_OPTION_OPEN_LINK,
                      KEY_QUERY_VALUE | ViewFlag(view), &hKey) != ERROR_SUCCESS) {
        return false;
    }
    DWORD dwType = REG_NONE;
    const bool fLink = RegQueryValueExW(hKey, L"SymbolicLinkValue", nullptr, &dwType, nullptr,
                                        nullptr) == ERROR_SUCCESS &&
                       dwType == REG_LINK;
    RegCloseKey(hKey);
    return fLink;
}

RegistryScope::RegistryScope(HKEY hRoot, std::initializer_list<std::wstring> paths)
    : m_hRoot(hRoot), m_paths(paths) {
    Clear();
}

RegistryScope::~RegistryScope() {
    Clear();
}

void RegistryScope::Clear() const {
    for (const std::wstring& strPath : m_paths) {
        for (View view : kBothViews) {
            DeleteTree(m_hRoot, view, strPath);
        }
    }
}
