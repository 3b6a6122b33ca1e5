#include "tests/support/registry_support.h"

#include "runtime/handles.h"

#include <gtest/gtest.h>

// Removes the key of an open handle itself, a link included (not in the SDK headers).
extern "C" LONG NTAPI NtDeleteKey(HANDLE hKey);

REGSAM ViewFlag(View view) {
    return view == View::Wow32 ? KEY_WOW64_32KEY : KEY_WOW64_64KEY;
}

namespace {

// dwOptions REG_OPTION_OPEN_LINK opens a link itself rather than its target.
UniqueRegKey Open(HKEY hRoot, View view, const std::wstring& strPath, REGSAM samAccess,
                  DWORD dwOptions = 0) {
    UniqueRegKey hKey;
    RegOpenKeyExW(hRoot, strPath.c_str(), dwOptions, samAccess | ViewFlag(view), hKey.put());
    return hKey;
}

// Removes everything below hKey and hKey itself; false when hKey is left. Links are opened
// and removed as themselves: RegDeleteTreeW would follow them and empty their targets.
bool DeleteOpenTree(HKEY hKey, View view) {
    wchar_t szName[256];
    DWORD dwIndex = 0;
    for (DWORD cchName = ARRAYSIZE(szName);
         RegEnumKeyExW(hKey, dwIndex, szName, &cchName, nullptr, nullptr, nullptr, nullptr) ==
         ERROR_SUCCESS;
         cchName = ARRAYSIZE(szName)) {
        const UniqueRegKey hChild = Open(hKey, view, szName, KEY_ALL_ACCESS, REG_OPTION_OPEN_LINK);
        if (!hChild || !DeleteOpenTree(hChild.get(), view)) {
            ++dwIndex; // left in place; the next one is tried
        }
    }
    return NtDeleteKey(hKey) == 0; // STATUS_SUCCESS
}

} // namespace

UniqueRegKey CreateKey(HKEY hRoot, View view, const std::wstring& strPath, DWORD dwOptions) {
    UniqueRegKey hKey;
    EXPECT_EQ(ERROR_SUCCESS,
              RegCreateKeyExW(hRoot, strPath.c_str(), 0, nullptr, dwOptions,
                              KEY_ALL_ACCESS | ViewFlag(view), nullptr, hKey.put(), nullptr))
        << "creating a key in the " << (view == View::Wow32 ? "32-bit" : "64-bit") << " view";
    return hKey;
}

void SetRaw(HKEY hRoot, View view, const std::wstring& strPath, const std::wstring& strName,
            DWORD dwType, const void* pData, DWORD cbData, DWORD dwOptions) {
    if (const UniqueRegKey hKey = CreateKey(hRoot, view, strPath, dwOptions)) {
        EXPECT_EQ(ERROR_SUCCESS, RegSetValueExW(hKey.get(), strName.c_str(), 0, dwType,
                                                static_cast<const BYTE*>(pData), cbData));
    }
}

void DeleteValue(HKEY hRoot, View view, const std::wstring& strPath, const std::wstring& strName) {
    if (const UniqueRegKey hKey = Open(hRoot, view, strPath, KEY_SET_VALUE)) {
        RegDeleteValueW(hKey.get(), strName.c_str());
    }
}

bool KeyExists(HKEY hRoot, View view, const std::wstring& strPath) {
    return static_cast<bool>(Open(hRoot, view, strPath, KEY_READ));
}

std::optional<RawValue> ReadRaw(HKEY hRoot, View view, const std::wstring& strPath,
                                const std::wstring& strName, DWORD dwOptions) {
    const UniqueRegKey hKey = Open(hRoot, view, strPath, KEY_READ, dwOptions);
    DWORD dwType = 0;
    DWORD cbData = 0;
    if (!hKey || RegQueryValueExW(hKey.get(), strName.c_str(), nullptr, &dwType, nullptr,
                                  &cbData) != ERROR_SUCCESS) {
        return std::nullopt;
    }
    std::vector<BYTE> data(cbData);
    if (RegQueryValueExW(hKey.get(), strName.c_str(), nullptr, &dwType, data.data(), &cbData) !=
        ERROR_SUCCESS) {
        return std::nullopt;
    }
    data.resize(cbData);
    return std::pair(dwType, std::move(data));
}

void DeleteTree(HKEY hRoot, View view, const std::wstring& strPath) {
    if (const UniqueRegKey hKey =
            Open(hRoot, view, strPath, KEY_ALL_ACCESS, REG_OPTION_OPEN_LINK)) {
        DeleteOpenTree(hKey.get(), view);
    }
}
