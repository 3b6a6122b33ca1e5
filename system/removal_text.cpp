#include "system/removal_text.h"

#include <algorithm>

namespace {

bool IsAsciiLetter(wchar_t ch) {
    return (ch >= L'A' && ch <= L'Z') || (ch >= L'a' && ch <= L'z');
}

// The length of the part of strPath that names a drive ("X:") or a share
// ("\\server\share"), or 0 when it starts with neither.
size_t RootPrefixLength(std::wstring_view strPath) {
    if (strPath.size() >= 3 && IsAsciiLetter(strPath[0]) && strPath[1] == L':' &&
        strPath[2] == L'\\') {
        return 2;
    }
    // "\\?\" and "\\.\" reach devices and skip the path rules: never a share.
    if (strPath.size() < 3 || strPath.substr(0, 2) != L"\\\\" || strPath[2] == L'\\' ||
        strPath[2] == L'.') {
        return 0;
    }
    const size_t iShare = strPath.find(L'\\', 2);
    if (iShare == std::wstring_view::npos || iShare + 1 == strPath.size() ||
        strPath[iShare + 1] == L'\\') {
        return 0; // a server without a share
    }
    return std::min(strPath.find(L'\\', iShare + 1), strPath.size());
}

} // namespace

RemovalPath ClassifyRemovalPath(std::wstring_view strPath) {
    RemovalPath path = {RemovalPathKind::Invalid, std::wstring(strPath)};
    std::wstring& strTarget = path.strTarget;
    std::replace(strTarget.begin(), strTarget.end(), L'/', L'\\');
    if (strTarget.empty()) {
        path.kind = RemovalPathKind::Empty;
        return path;
    }
    const size_t cchPrefix = RootPrefixLength(strTarget);
    if (cchPrefix == 0 || strTarget.find_first_of(L"*?<>") != std::wstring::npos) {
        return path;
    }
    while (strTarget.size() > cchPrefix && strTarget.back() == L'\\') {
        strTarget.pop_back();
    }
    if (strTarget.size() == cchPrefix) {
        path.kind = RemovalPathKind::Root;
        return path;
    }
    for (size_t iPart = cchPrefix + 1; iPart <= strTarget.size();) {
        const size_t iEnd = std::min(strTarget.find(L'\\', iPart), strTarget.size());
        const std::wstring_view strPart = std::wstring_view(strTarget).substr(iPart, iEnd - iPart);
        if (strPart == L"." || strPart == L"..") {
            return path;
        }
        iPart = iEnd + 1;
    }
    path.kind = RemovalPathKind::Removable;
    return path;
}

std::wstring BuildShellDeleteSource(std::wstring_view strPath, bool fDropTrailingQuote) {
    std::wstring strSource(strPath.size() + 2, L'\0');
    strPath.copy(strSource.data(), strPath.size());
    if (fDropTrailingQuote && !strPath.empty() && strPath.back() == L'"') {
        strSource[strPath.size() - 1] = L'\0';
    }
    return strSource;
}

const wchar_t* ShellOperationMessage(int iResult) {
    switch (iResult) {
    case 0x71:
        return L"Source and destination file are the same";
    case 0x72:
        return L"Multiple paths were specified in the source of the operation, but only one "
               L"destination path";
    case 0x73:
        return L"Rename operation was specified but the destination path is a different "
               L"directory.  Use move instead.";
    case 0x74:
        return L"Source is a root directory, cannot be moved or renamed";
    case 0x75:
        return L"Operation was cancelled by the user (or silently cancelled if the specified "
               L"flags were supplied to SHFileOperation)";
    case 0x76:
        return L"The destination is a sub-tree of the source";
    case 0x78:
        return L"Security problems on source";
    case 0x79:
        return L"The source or destination path exceeded or would exceed MAX_PATH";
    case 0x7A:
        return L"Operation involved multiple destination paths which can fail in the case of a "
               L"move operation";
    case 0x7C:
        return L"The paths in the source or destination were invalid";
    case 0x7D:
        return L"Source and destination have the same parent folder.";
    case 0x7E:
        return L"The destination path is to an existing file";
    case 0x80:
        return L"The destination path is to an existing folder";
    case 0x81:
        return L"The name of the file exceeds MAX_PATH";
    case 0x82:
        return L"Destination is a Read-Only CDRom, possibly unformatted";
    case 0x83:
        return L"Destination is a Read-Only DVD, possibly unformatted";
    case 0x84:
        return L"Destination is a Recordable (AudioL) CDRom, possibly unformatted";
    case 0xB7:
    case 0x10074: // the same text as 0xB7, as packages' logs have always shown it
        return L"MAX_PATH was exceeded during the operation.";
    case 0x10000:
        return L"An unspecified error occurred on the destination.";
    default:
        return nullptr;
    }
}
