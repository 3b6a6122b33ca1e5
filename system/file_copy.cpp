// Copying a file so that its target is never half written (see file_copy.h).
#include "system/file_copy.h"

#include <windows.h>

bool CopyWhole(const std::wstring& strSource, const std::wstring& strTarget,
               const std::wstring& strTargetFolder) {
    // The system takes a folder of at most MAX_PATH - 14 characters, leaving room
    // for "\vcaXXXX.tmp" in the MAX_PATH buffer, and refuses a longer one; Wine
    // would copy it past the buffer.
    if (strTargetFolder.size() > MAX_PATH - 14) {
        SetLastError(ERROR_BUFFER_OVERFLOW);
        return false;
    }
    wchar_t szTemporary[MAX_PATH] = {};
    if (GetTempFileNameW(strTargetFolder.c_str(), L"vca", 0, szTemporary) == 0) {
        return false;
    }
    if (CopyFileW(strSource.c_str(), szTemporary, FALSE) &&
        MoveFileExW(szTemporary, strTarget.c_str(), MOVEFILE_REPLACE_EXISTING)) {
        return true;
    }
    const DWORD dwError = GetLastError();
    DeleteFileW(szTemporary); // the fresh file of this call, never anything else
    SetLastError(dwError);
    return false;
}
