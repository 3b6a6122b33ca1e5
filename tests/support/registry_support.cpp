#include "tests/support/registry_support.h"

#include <gtest/gtest.h>

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

void DeleteTree(HKEY hRoot, View view, const std::wstring& strPath) {
    HKEY hKey = Open(hRoot, view, strPath, KEY_ALL_ACCESS);
    if (!hKey) {
        return;
    }
    RegDeleteTreeW(hKey, nullptr);
    RegCloseKey(hKey);
    RegDeleteKeyExW(hRoot, strPath.c_str(), ViewFlag(view), 0);
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
