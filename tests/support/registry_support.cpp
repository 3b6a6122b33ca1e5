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
        UniqueRegKey hChild = Open(hKey, view, szName, KEY_ALL_ACCESS, REG_OPTION_OPEN_LINK);
        const bool fOpened = static_cast<bool>(hChild);
        if (fOpened) {
            DeleteOpenTree(hChild.get(), view);
            hChild.reset();
        }
        if (!fOpened || Open(hKey, view, szName, KEY_READ, REG_OPTION_OPEN_LINK)) {
            ++dwIndex; // left in place; the next one is tried
        }
    }
    NtDeleteKey(hKey);
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
            DWORD dwType, const void* pData, DWORD cbData) {
    if (const UniqueRegKey hKey = CreateKey(hRoot, view, strPath)) {
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

std::optional<std::pair<DWORD, std::vector<BYTE>>>
ReadRaw(HKEY hRoot, View view, const std::wstring& strPath, const std::wstring& strName) {
    const UniqueRegKey hKey = Open(hRoot, view, strPath, KEY_READ);
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

void CreateLink(HKEY hRoot, View view, const std::wstring& strPath, const std::wstring& strTarget) {
    // The target in the kernel's form, without a terminator.
    const std::wstring strNtTarget = L"\\REGISTRY\\MACHINE\\" + strTarget;
    if (const UniqueRegKey hKey = CreateKey(hRoot, view, strPath, REG_OPTION_CREATE_LINK)) {
        EXPECT_EQ(ERROR_SUCCESS,
                  RegSetValueExW(hKey.get(), L"SymbolicLinkValue", 0, REG_LINK,
                                 reinterpret_cast<const BYTE*>(strNtTarget.data()),
                                 static_cast<DWORD>(strNtTarget.size() * sizeof(wchar_t))));
    }
}

bool LinkExists(HKEY hRoot, View view, const std::wstring& strPath) {
    const UniqueRegKey hKey = Open(hRoot, view, strPath, KEY_QUERY_VALUE, REG_OPTION_OPEN_LINK);
    DWORD dwType = REG_NONE;
    return hKey &&
           RegQueryValueExW(hKey.get(), L"SymbolicLinkValue", nullptr, &dwType, nullptr, nullptr) ==
               ERROR_SUCCESS &&
           dwType == REG_LINK;
}
