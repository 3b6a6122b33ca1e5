// Pure text for file-system paths (see path_text.h).
#include "system/path_text.h"

std::wstring JoinFolderAndName(std::wstring_view strFolder, std::wstring_view strName) {
    std::wstring strPath(strFolder);
    if (strPath.empty() || (strPath.back() != L'\\' && strPath.back() != L'/')) {
        strPath += L'\\';
    }
    return strPath.append(strName);
}

bool IsAbsolutePath(std::wstring_view strPath) {
    if (strPath.size() >= 3 && strPath[1] == L':' && strPath[2] == L'\\') {
        const wchar_t chDrive = strPath[0];
        return (chDrive >= L'A' && chDrive <= L'Z') || (chDrive >= L'a' && chDrive <= L'z');
    }
    return strPath.size() > 2 && strPath.substr(0, 2) == L"\\\\" && strPath[2] != L'\\';
}
