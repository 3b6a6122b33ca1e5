#include "system/removal.h"

#include "runtime/log.h"
#include "runtime/session.h"
#include "system/removal_text.h"

#include <shellapi.h>

#include <cwchar>
#include <string>

namespace {

constexpr FILEOP_FLAGS kPermanentDelete = FOF_SILENT | FOF_NOCONFIRMATION; // 0x14
constexpr FILEOP_FLAGS kRecycleDelete = kPermanentDelete | FOF_ALLOWUNDO;  // 0x54

// The shell's own code for a path too long for it: "The source or destination
// path exceeded or would exceed MAX_PATH".
constexpr int kPathTooDeep = 0x79;

// Runs the shell's delete on a double-NUL-ended source list; returns its result.
// A path of MAX_PATH characters or more cannot name anything the shell deletes,
// and some shells copy each path into a MAX_PATH buffer unchecked (Wine's
// overruns it and crashes the action's process), so it never reaches the shell.
int ShellDelete(const std::wstring& strSource, FILEOP_FLAGS fFlags) {
    if (wcslen(strSource.c_str()) >= MAX_PATH) {
        return kPathTooDeep;
    }
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

int DeleteDirectory(const wchar_t* szPath, int fUndo) {
    if (szPath == nullptr) {
        return 0;
    }
    const std::wstring strSource = BuildShellDeleteSource(szPath, true);
    LogMessage(g_hInstall, L"VAREN_CA DeleteDirectory attempting to delete %s \n",
               strSource.c_str());
    // fAnyOperationsAborted is not consulted: the result alone decides.
    const int iResult = ShellDelete(strSource, fUndo != 0 ? kRecycleDelete : kPermanentDelete);
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
    const std::wstring strSource = BuildShellDeleteSource(szPath, false);
    return ShellDelete(strSource, fPermanent != 0 ? kPermanentDelete : kRecycleDelete) == 0;
}
