#include "system/removal.h"

#include "runtime/log.h"
#include "runtime/session.h"
#include "system/registry.h"
#include "system/removal_text.h"

#include <shlobj.h>
#include <shellapi.h>

#include <algorithm>
#include <cwchar>
#include <string>
#include <vector>

namespace {

constexpr FILEOP_FLAGS kPermanentDelete = FOF_SILENT | FOF_NOCONFIRMATION; // 0x14
constexpr FILEOP_FLAGS kRecycleDelete = kPermanentDelete | FOF_ALLOWUNDO;  // 0x54

// The shell's own code for a path too long for it: "The source or destination
// path exceeded or would exceed MAX_PATH".
constexpr int kPathTooDeep = 0x79;

bool SamePath(const std::wstring& strA, const std::wstring& strB) {
    return CompareStringOrdinal(strA.c_str(), static_cast<int>(strA.size()), strB.c_str(),
                                static_cast<int>(strB.size()), TRUE) == CSTR_EQUAL;
}

// strOuter is strInner or a folder above it.
bool HoldsPath(const std::wstring& strOuter, const std::wstring& strInner) {
    return strInner.size() >= strOuter.size() &&
           SamePath(strOuter, strInner.substr(0, strOuter.size())) &&
           (strInner.size() == strOuter.size() || strInner[strOuter.size()] == L'\\');
}

// A path in the form it is compared in: its long form when it exists (so that
// "PROGRA~1" is seen as "Program Files"), without trailing separators.
std::wstring ComparableForm(const wchar_t* szPath) {
    wchar_t szLong[MAX_PATH];
    const DWORD cchLong = GetLongPathNameW(szPath, szLong, MAX_PATH);
    return ClassifyRemovalPath(cchLong > 0 && cchLong < MAX_PATH ? szLong : szPath).strTarget;
}

// The folder that holds the users' profiles, "" when the system does not say.
std::wstring GetProfilesFolder() {
    UniqueRegKey hKey;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE,
                      L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\ProfileList", 0,
                      KEY_QUERY_VALUE, hKey.put()) != ERROR_SUCCESS) {
        return {};
    }
    const std::wstring strValue =
        QueryStringValue(hKey.get(), L"ProfilesDirectory", MAX_PATH * sizeof(wchar_t))
            .value_or(L"");
    wchar_t szFolder[MAX_PATH] = {};
    const DWORD cchFolder = ExpandEnvironmentStringsW(strValue.c_str(), szFolder, MAX_PATH);
    return cchFolder > 0 && cchFolder <= MAX_PATH ? ComparableForm(szFolder) : std::wstring();
}

// The folders no removal may reach, in comparable form.
struct ProtectedFolders {
    std::vector<std::wstring> held; // neither these nor a folder above them
    std::wstring strProfiles;       // nor this, a folder above it or one directly below it
};

ProtectedFolders ResolveProtectedFolders() {
    static constexpr int kSystemFolders[] = {
        CSIDL_WINDOWS,
        CSIDL_SYSTEM,
        CSIDL_SYSTEMX86,
        CSIDL_PROGRAM_FILES,
        CSIDL_PROGRAM_FILESX86,
        CSIDL_PROGRAM_FILES_COMMON,
        CSIDL_PROGRAM_FILES_COMMONX86,
        CSIDL_COMMON_APPDATA,
        CSIDL_PROFILE,
    };
    ProtectedFolders folders;
    for (const int iCsidl : kSystemFolders) {
        wchar_t szFolder[MAX_PATH] = {};
        if (SUCCEEDED(SHGetFolderPathW(nullptr, iCsidl, nullptr, SHGFP_TYPE_CURRENT, szFolder)) &&
            szFolder[0] != L'\0') {
            folders.held.push_back(ComparableForm(szFolder));
        }
    }
    wchar_t szTemp[MAX_PATH + 1] = {};
    const DWORD cchTemp = GetTempPathW(MAX_PATH + 1, szTemp);
    if (cchTemp > 0 && cchTemp <= MAX_PATH) {
        folders.held.push_back(ComparableForm(szTemp));
    }
    folders.strProfiles = GetProfilesFolder();
    return folders;
}

// Whether strPath (in full form) is, or holds, one of the system's own folders or
// a user's profile. The folders are resolved when the first removal is checked and
// kept while the DLL is loaded (the installer loads it afresh for each action):
// the shell takes about a millisecond per folder under Wine.
bool IsSystemFolderOrAbove(const std::wstring& strPath) {
    static const ProtectedFolders folders = ResolveProtectedFolders();
    const std::wstring strCandidate = ComparableForm(strPath.c_str());
    if (std::any_of(folders.held.begin(), folders.held.end(), [&](const std::wstring& strFolder) {
            return HoldsPath(strCandidate, strFolder);
        })) {
        return true;
    }
    if (folders.strProfiles.empty()) {
        return false;
    }
    const size_t iLast = strCandidate.find_last_of(L'\\');
    return HoldsPath(strCandidate, folders.strProfiles) ||
           (iLast != std::wstring::npos &&
            SamePath(strCandidate.substr(0, iLast), folders.strProfiles));
}

// Runs the shell's delete on szPath once the guard allows it; returns the shell's
// result or the refusal's code. A path of MAX_PATH characters or more cannot name
// anything the shell deletes, and some shells copy each path into a MAX_PATH
// buffer unchecked (Wine's overruns it and crashes the action's process), so it
// never reaches the shell.
int ShellDelete(const wchar_t* szPath, FILEOP_FLAGS fFlags) {
    std::wstring strTarget;
    if (const int iRefused = CheckRemovalTarget(szPath, strTarget)) {
        return iRefused;
    }
    const std::wstring strSource = strTarget + L'\0'; // c_str() adds the second NUL
    SHFILEOPSTRUCTW operation = {};
    operation.wFunc = FO_DELETE;
    operation.pFrom = strSource.c_str();
    operation.fFlags = fFlags;
    return SHFileOperationW(&operation);
}

// The system's text for a code with no message of its own; empty if it has none.
std::wstring SystemMessage(int iResult) {
    wchar_t szMessage[MAX_PATH] = {};
    FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                   static_cast<DWORD>(iResult), LANG_USER_DEFAULT, szMessage, MAX_PATH, nullptr);
    return szMessage;
}

} // namespace

int CheckRemovalTarget(const wchar_t* szPath, std::wstring& strTarget) {
    if (szPath == nullptr || *szPath == L'\0') {
        return ERROR_ACCESS_DENIED;
    }
    if (wcslen(szPath) >= MAX_PATH) {
        return kPathTooDeep;
    }
    const RemovalPath path = ClassifyRemovalPath(szPath);
    if (path.kind == RemovalPathKind::Invalid) {
        return ERROR_INVALID_NAME;
    }
    if (path.kind != RemovalPathKind::Removable) {
        return ERROR_ACCESS_DENIED;
    }
    // The path must already be the one the system acts on: a trailing dot or
    // blank, a doubled separator or a relative part would make it name another.
    wchar_t szFull[MAX_PATH];
    const DWORD cchFull = GetFullPathNameW(path.strTarget.c_str(), MAX_PATH, szFull, nullptr);
    if (cchFull == 0 || cchFull >= MAX_PATH) {
        return ERROR_INVALID_NAME;
    }
    const RemovalPath full = ClassifyRemovalPath(szFull);
    if (full.kind != RemovalPathKind::Removable || !SamePath(full.strTarget, path.strTarget)) {
        return full.kind == RemovalPathKind::Root ? ERROR_ACCESS_DENIED : ERROR_INVALID_NAME;
    }
    if (IsSystemFolderOrAbove(full.strTarget)) {
        return ERROR_ACCESS_DENIED;
    }
    strTarget = full.strTarget;
    return 0;
}

int DeleteDirectory(const wchar_t* szPath, int fUndo) {
    if (szPath == nullptr) {
        return 0;
    }
    const std::wstring strSource = BuildShellDeleteSource(szPath, true);
    LogMessage(g_hInstall, L"VAREN_CA DeleteDirectory attempting to delete %s \n",
               strSource.c_str());
    // fAnyOperationsAborted is not consulted: the result alone decides.
    const int iResult =
        ShellDelete(strSource.c_str(), fUndo != 0 ? kRecycleDelete : kPermanentDelete);
    if (iResult == 0) {
        LogMessage(g_hInstall, L"VAREN_CA DeleteDirectory %s: no errors using SHFileOperation.  \n",
                   strSource.c_str());
        return 1;
    }
    const wchar_t* szMessage = ShellOperationMessage(iResult);
    const std::wstring strMessage = szMessage != nullptr ? szMessage : SystemMessage(iResult);
    LogMessage(g_hInstall, L"VAREN_CA DeleteDirectory %s Error: %s. \n", strSource.c_str(),
               strMessage.c_str());
    return 0;
}

bool RemovePathViaShell(const wchar_t* szPath, int fPermanent) {
    if (szPath == nullptr) {
        return false;
    }
    return ShellDelete(szPath, fPermanent != 0 ? kPermanentDelete : kRecycleDelete) == 0;
}

bool RemoveFile(const wchar_t* szPath) {
    std::wstring strTarget;
    return CheckRemovalTarget(szPath, strTarget) == 0 && _wremove(strTarget.c_str()) == 0;
}
