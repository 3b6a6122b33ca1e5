// varen-ca-run: calls one export of Varen_CA.dll (beside this program) in a real
// installer session and shows what it did, so that a packager can replay a failing
// install step in seconds:
//
//   varen-ca-run [--package X.msi] [--property NAME=VALUE]... [--table-row PROPERTY=VALUE]...
//                [--data TEXT] [--diff] ACTION
//
// Without --package it builds a minimal package; --table-row adds rows to its
// ORX_InstallProperties table (to a copy of the given package otherwise). Each log
// line and user message is printed raw (controls escaped), then the return value and
// what the installer makes of it. With --diff it also prints what the call changed
// in the registry locations of the suite (both views of HKLM, HKCU's one) and in the
// folders and files that the given values name. The exit status is the return value
// (0 for success).
#include "packaging/actions_help.h"
#include "packaging/msi_session.h"
#include "runtime/handles.h"

#include <windows.h>
#include <msiquery.h>

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace {

// What a snapshot saw: a key, value, folder or file by its full name, and its content.
using Snapshot = std::map<std::wstring, std::wstring>;

struct Options {
    std::wstring strPackage;
    PropertyRows properties;
    PropertyRows tableRows;
    bool fData = false;
    std::wstring strData;
    bool fDiff = false;
    std::wstring strAction;
};

void Write(const std::wstring& strText) {
    const int cbText = WideCharToMultiByte(
        CP_UTF8, 0, strText.data(), static_cast<int>(strText.size()), nullptr, 0, nullptr, nullptr);
    std::string strBytes(cbText, '\0');
    WideCharToMultiByte(CP_UTF8, 0, strText.data(), static_cast<int>(strText.size()),
                        strBytes.data(), cbText, nullptr, nullptr);
    DWORD cbWritten = 0;
    WriteFile(GetStdHandle(STD_OUTPUT_HANDLE), strBytes.data(), static_cast<DWORD>(cbText),
              &cbWritten, nullptr);
}

// A text as the action wrote it, between quotes, with its control characters
// spelled as C escapes ("\n" stays visible, as in the actions reference).
std::wstring Escape(const std::wstring& strText) {
    std::wstring strEscaped = L"\"";
    for (wchar_t ch : strText) {
        if (ch == L'\n') {
            strEscaped += L"\\n";
        } else if (ch == L'\r') {
            strEscaped += L"\\r";
        } else if (ch == L'\t') {
            strEscaped += L"\\t";
        } else if (ch < L' ') {
            wchar_t szHex[8];
            wsprintfW(szHex, L"\\x%02X", ch);
            strEscaped += szHex;
        } else {
            strEscaped += ch;
        }
    }
    return strEscaped + L"\"";
}

const wchar_t kUsage[] =
    L"usage: varen-ca-run [--package X.msi] [--property NAME=VALUE]... [--table-row "
    L"PROPERTY=VALUE]...\n"
    L"                    [--data TEXT] [--diff] ACTION\n"
    L"Calls ACTION of Varen_CA.dll (beside this program) in an installer session on X.msi, or\n"
    L"on a minimal package; --table-row adds an ORX_InstallProperties row, --data sets\n"
    L"\"CustomActionData\", --diff shows the registry keys and files the call changed.\n"
    L"Exit status: the action's return value (0 for success).\n";

void PrintHelp() {
    std::wstring strHelp = kUsage;
    strHelp += L"\nThe actions (phase: effect), as docs/actions.md describes them:\n";
    for (const ActionContract& contract : kContracts) {
        strHelp += std::wstring(L"  ") + contract.szName + L"\n      " + contract.szPhase + L": " +
                   contract.szEffect + L"\n";
    }
    Write(strHelp);
}

bool SplitAssignment(const wchar_t* szText, PropertyRows& rows) {
    const std::wstring strText = szText;
    const size_t iEquals = strText.find(L'=');
    if (iEquals == 0 || iEquals == std::wstring::npos) {
        return false;
    }
    rows.emplace_back(strText.substr(0, iEquals), strText.substr(iEquals + 1));
    return true;
}

// False when the command line is not understood.
bool ParseArguments(int argc, wchar_t** argv, Options& options) {
    for (int iArg = 1; iArg < argc; ++iArg) {
        const std::wstring strArg = argv[iArg];
        const bool fHasValue = iArg + 1 < argc;
        if (strArg == L"--diff") {
            options.fDiff = true;
        } else if (strArg == L"--package" && fHasValue) {
            options.strPackage = argv[++iArg];
        } else if (strArg == L"--property" && fHasValue) {
            if (!SplitAssignment(argv[++iArg], options.properties)) {
                return false;
            }
        } else if (strArg == L"--table-row" && fHasValue) {
            if (!SplitAssignment(argv[++iArg], options.tableRows)) {
                return false;
            }
        } else if (strArg == L"--data" && fHasValue) {
            options.fData = true;
            options.strData = argv[++iArg];
        } else if (strArg.starts_with(L"--") || !options.strAction.empty()) {
            return false;
        } else {
            options.strAction = strArg;
        }
    }
    return !options.strAction.empty();
}

// Set while the action runs: the installer's own lines (opening the package) are not its.
bool g_fActionRunning = false;

int __stdcall PrintRecord(void*, UINT uType, MSIHANDLE hRecord) {
    if (!g_fActionRunning) {
        return 0;
    }
    const std::wstring strText = RecordText(hRecord);
    if ((uType & 0xFF000000) == INSTALLMESSAGE_USER) {
        wchar_t szStyle[16];
        wsprintfW(szStyle, L"0x%X", uType & 0x00FFFFFF);
        Write(std::wstring(L"message (style ") + szStyle + L"): " + Escape(strText) + L"\n");
    } else {
        Write(L"log: " + Escape(strText) + L"\n");
    }
    return 0; // the installer decides, as without a user interface
}

// What the installer does with a custom action's return value.
const wchar_t* DescribeReturn(UINT uReturn) {
    switch (uReturn) {
    case ERROR_SUCCESS:
        return L"ERROR_SUCCESS: success";
    case ERROR_NO_MORE_ITEMS:
        return L"ERROR_NO_MORE_ITEMS: success; the installer skips the rest of the sequence";
    case ERROR_INSTALL_USEREXIT:
        return L"ERROR_INSTALL_USEREXIT: the installer ends the installation as cancelled";
    case ERROR_INSTALL_FAILURE:
        return L"ERROR_INSTALL_FAILURE: the installer fails the installation unless the "
               L"action is sequenced with Return=\"ignore\"";
    case ERROR_FUNCTION_NOT_CALLED:
        return L"ERROR_FUNCTION_NOT_CALLED: the installer fails the installation unless the "
               L"action is sequenced with Return=\"ignore\"";
    default:
        return L"not a custom-action result: the installer takes it as a failure unless the "
               L"action is sequenced with Return=\"ignore\"";
    }
}

// --diff: the registry locations the actions' contracts name. Under HKLM\SOFTWARE
// and HKCU\SOFTWARE every key of the suite's makers (names starting "ORX", "QVX" or
// "QUEP"); under HKLM the uninstall entries, the Run keys, the services and the
// pending renames. HKLM in both views; HKCU has one.
constexpr const wchar_t* kMakerPrefixes[] = {L"ORX", L"QVX", L"QUEP"};
constexpr const wchar_t* kMachineKeys[] = {
    L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall",
    L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run",
    L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\RunOnce",
    L"SYSTEM\\CurrentControlSet\\Services",
    L"SYSTEM\\CurrentControlSet\\Control\\Session Manager",
};

std::wstring DescribeValue(DWORD dwType, const std::vector<BYTE>& data) {
    const auto* pchText = reinterpret_cast<const wchar_t*>(data.data());
    const size_t cchText = data.size() / sizeof(wchar_t);
    wchar_t szNumber[32];
    switch (dwType) {
    case REG_SZ:
    case REG_EXPAND_SZ:
    case REG_MULTI_SZ:
        return (dwType == REG_SZ          ? L"REG_SZ "
                : dwType == REG_EXPAND_SZ ? L"REG_EXPAND_SZ "
                                          : L"REG_MULTI_SZ ") +
               Escape(std::wstring(pchText, cchText));
    case REG_DWORD:
        if (data.size() == sizeof(DWORD)) {
            wsprintfW(szNumber, L"REG_DWORD %lu", *reinterpret_cast<const DWORD*>(data.data()));
            return szNumber;
        }
        break;
    }
    wsprintfW(szNumber, L"type %lu, bytes", dwType);
    std::wstring strText = szNumber;
    for (BYTE b : data) {
        wsprintfW(szNumber, L" %02X", b);
        strText += szNumber;
    }
    return strText;
}

void SnapshotKey(HKEY hParent, const std::wstring& strPath, const std::wstring& strName,
                 REGSAM samView, Snapshot& snapshot) {
    UniqueRegKey hKey;
    if (RegOpenKeyExW(hParent, strPath.c_str(), 0, KEY_READ | samView, hKey.put()) !=
        ERROR_SUCCESS) {
        return;
    }
    snapshot[strName] = L"key";
    for (DWORD iValue = 0;; ++iValue) {
        wchar_t szValue[16384];
        DWORD cchValue = ARRAYSIZE(szValue);
        DWORD dwType = 0;
        DWORD cbData = 0;
        if (RegEnumValueW(hKey.get(), iValue, szValue, &cchValue, nullptr, &dwType, nullptr,
                          &cbData) != ERROR_SUCCESS) {
            break;
        }
        std::vector<BYTE> data(cbData);
        RegQueryValueExW(hKey.get(), szValue, nullptr, nullptr, data.data(), &cbData);
        data.resize(cbData);
        snapshot[strName + L" : " + (cchValue ? szValue : L"(default)")] =
            DescribeValue(dwType, data);
    }
    std::vector<std::wstring> subkeys;
    for (DWORD iKey = 0;; ++iKey) {
        wchar_t szKey[256];
        DWORD cchKey = ARRAYSIZE(szKey);
        if (RegEnumKeyExW(hKey.get(), iKey, szKey, &cchKey, nullptr, nullptr, nullptr, nullptr) !=
            ERROR_SUCCESS) {
            break;
        }
        subkeys.emplace_back(szKey);
    }
    for (const std::wstring& strKey : subkeys) {
        SnapshotKey(hKey.get(), strKey, strName + L"\\" + strKey, 0, snapshot);
    }
}

void SnapshotRegistry(Snapshot& snapshot) {
    const struct {
        HKEY hRoot;
        const wchar_t* szRoot;
        REGSAM samView;
    } kRoots[] = {
        {HKEY_LOCAL_MACHINE, L"HKLM[32]\\", KEY_WOW64_32KEY},
        {HKEY_LOCAL_MACHINE, L"HKLM[64]\\", KEY_WOW64_64KEY},
        {HKEY_CURRENT_USER, L"HKCU\\", 0},
    };
    for (const auto& root : kRoots) {
        UniqueRegKey hSoftware;
        if (RegOpenKeyExW(root.hRoot, L"SOFTWARE", 0, KEY_READ | root.samView, hSoftware.put()) ==
            ERROR_SUCCESS) {
            for (DWORD iKey = 0;; ++iKey) {
                wchar_t szKey[256];
                DWORD cchKey = ARRAYSIZE(szKey);
                if (RegEnumKeyExW(hSoftware.get(), iKey, szKey, &cchKey, nullptr, nullptr, nullptr,
                                  nullptr) != ERROR_SUCCESS) {
                    break;
                }
                for (const wchar_t* szPrefix : kMakerPrefixes) {
                    if (CompareStringOrdinal(szKey, lstrlenW(szPrefix), szPrefix, -1, TRUE) ==
                        CSTR_EQUAL) {
                        SnapshotKey(hSoftware.get(), szKey,
                                    root.szRoot + std::wstring(L"SOFTWARE\\") + szKey, 0, snapshot);
                    }
                }
            }
        }
        if (root.hRoot == HKEY_LOCAL_MACHINE) {
            for (const wchar_t* szKey : kMachineKeys) {
                SnapshotKey(root.hRoot, szKey, root.szRoot + std::wstring(szKey), root.samView,
                            snapshot);
            }
        }
    }
}

void SnapshotFiles(const std::wstring& strPath, Snapshot& snapshot) {
    WIN32_FIND_DATAW found = {};
    UniqueFindHandle hFind(FindFirstFileW(strPath.c_str(), &found));
    if (!hFind) {
        return;
    }
    if (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) {
        snapshot[strPath] = L"folder";
        hFind.reset(FindFirstFileW((strPath + L"\\*").c_str(), &found));
        if (!hFind) {
            return;
        }
        do {
            if (lstrcmpW(found.cFileName, L".") != 0 && lstrcmpW(found.cFileName, L"..") != 0) {
                SnapshotFiles(strPath + L"\\" + found.cFileName, snapshot);
            }
        } while (FindNextFileW(hFind.get(), &found));
        return;
    }
    wchar_t szFile[96];
    wsprintfW(szFile, L"file, %I64u bytes, written %08lX%08lX",
              (static_cast<unsigned long long>(found.nFileSizeHigh) << 32) | found.nFileSizeLow,
              found.ftLastWriteTime.dwHighDateTime, found.ftLastWriteTime.dwLowDateTime);
    snapshot[strPath] = szFile;
}

// The folders and files the call's inputs name: every value given (properties, table
// rows, each "key=value" part of the data) that is an absolute path.
std::vector<std::wstring> NamedPaths(const Options& options) {
    std::vector<std::wstring> values;
    for (const PropertyRows* pRows : {&options.properties, &options.tableRows}) {
        for (const auto& row : *pRows) {
            values.push_back(row.second);
        }
    }
    size_t iPart = 0;
    while (options.fData && iPart <= options.strData.size()) {
        const size_t iEnd = std::min(options.strData.find(L';', iPart), options.strData.size());
        std::wstring strPart = options.strData.substr(iPart, iEnd - iPart);
        values.push_back(strPart.substr(strPart.find(L'=') + 1)); // npos + 1: the whole part
        iPart = iEnd + 1;
    }
    std::vector<std::wstring> paths;
    for (std::wstring& strValue : values) {
        while (strValue.size() > 3 && strValue.back() == L'\\') {
            strValue.pop_back();
        }
        if ((strValue.size() >= 3 && strValue[1] == L':' && strValue[2] == L'\\') ||
            strValue.starts_with(L"\\\\")) {
            paths.push_back(strValue);
        }
    }
    return paths;
}

Snapshot TakeSnapshot(const std::vector<std::wstring>& paths) {
    Snapshot snapshot;
    SnapshotRegistry(snapshot);
    for (const std::wstring& strPath : paths) {
        SnapshotFiles(strPath, snapshot);
    }
    return snapshot;
}

void PrintDiff(const Snapshot& before, const Snapshot& after) {
    std::wstring strDiff = L"changes (registry: suite keys, uninstall entries, Run keys, services, "
                           L"pending renames; files: the paths given):\n";
    size_t cChanges = 0;
    for (const auto& [strName, strContent] : before) {
        const auto itAfter = after.find(strName);
        if (itAfter == after.end()) {
            strDiff += L"  - " + strName + L" = " + strContent + L"\n";
            ++cChanges;
        } else if (itAfter->second != strContent) {
            strDiff += L"  ~ " + strName + L" = " + strContent + L" -> " + itAfter->second + L"\n";
            ++cChanges;
        }
    }
    for (const auto& [strName, strContent] : after) {
        if (!before.contains(strName)) {
            strDiff += L"  + " + strName + L" = " + strContent + L"\n";
            ++cChanges;
        }
    }
    Write(cChanges ? strDiff : strDiff + L"  none\n");
}

void PrintResult(const wchar_t* szWhat, UINT uResult) {
    wchar_t szLine[160];
    wsprintfW(szLine, L"varen-ca-run: %ls (error %u)\n", szWhat, uResult);
    Write(szLine);
}

} // namespace

int wmain(int argc, wchar_t** argv) {
    SetConsoleOutputCP(CP_UTF8);
    Options options;
    if (argc == 2 && (lstrcmpW(argv[1], L"--help") == 0 || lstrcmpW(argv[1], L"-h") == 0)) {
        PrintHelp();
        return 0;
    }
    if (!ParseArguments(argc, argv, options)) {
        Write(kUsage);
        return ERROR_INVALID_COMMAND_LINE;
    }
    std::string strExport;
    for (wchar_t ch : options.strAction) {
        strExport += static_cast<char>(ch);
    }
    const HMODULE hDll = LoadLibraryW(L"Varen_CA.dll");
    const CustomAction pfnAction = FindAction(hDll, strExport.c_str());
    if (!pfnAction) {
        PrintResult(hDll ? L"Varen_CA.dll does not export that action"
                         : L"cannot load Varen_CA.dll",
                    GetLastError());
        return ERROR_PROC_NOT_FOUND;
    }

    wchar_t szTemp[MAX_PATH] = {};
    GetTempPathW(MAX_PATH, szTemp);
    const std::wstring strPackage = szTemp + std::wstring(L"varen-ca-run-") + NewGuid() + L".msi";
    const bool fCreate = options.strPackage.empty();
    UINT uResult = fCreate || CopyFileW(options.strPackage.c_str(), strPackage.c_str(), FALSE)
                       ? ERROR_SUCCESS
                       : GetLastError();
    if (uResult == ERROR_SUCCESS) {
        uResult = WritePackage(strPackage, fCreate, {},
                               options.tableRows.empty() ? std::nullopt
                                                         : std::optional(options.tableRows));
    }
    MSIHANDLE hSession = 0;
    if (uResult == ERROR_SUCCESS) {
        uResult = OpenSession(strPackage, &PrintRecord, nullptr, hSession);
    }
    for (const auto& [strName, strValue] : options.properties) {
        if (uResult == ERROR_SUCCESS) {
            uResult = MsiSetPropertyW(hSession, strName.c_str(), strValue.c_str());
        }
    }
    if (uResult == ERROR_SUCCESS && options.fData) {
        uResult = MsiSetPropertyW(hSession, L"CustomActionData", options.strData.c_str());
    }
    if (uResult != ERROR_SUCCESS) {
        PrintResult(L"cannot prepare the installer session", uResult);
        MsiCloseHandle(hSession);
        DeleteFileW(strPackage.c_str());
        return static_cast<int>(uResult);
    }

    const std::vector<std::wstring> paths = NamedPaths(options);
    const Snapshot before = options.fDiff ? TakeSnapshot(paths) : Snapshot{};
    Write(options.strAction + L":\n");
    g_fActionRunning = true;
    const UINT uReturn = pfnAction(hSession);
    g_fActionRunning = false;
    wchar_t szReturn[32];
    wsprintfW(szReturn, L"returned %u (", uReturn);
    Write(szReturn + std::wstring(DescribeReturn(uReturn)) + L")\n");
    if (options.fDiff) {
        PrintDiff(before, TakeSnapshot(paths));
    }
    MsiCloseHandle(hSession);
    MsiCloseAllHandles();
    FreeLibrary(hDll);
    DeleteFileW(strPackage.c_str());
    return static_cast<int>(uReturn);
}
