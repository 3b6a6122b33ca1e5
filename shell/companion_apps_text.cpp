#include "shell/companion_apps_text.h"

#include <algorithm>

namespace {

constexpr size_t kcchMaxPath = 260;

bool IsSeparator(wchar_t ch) {
    return ch == L'\\' || ch == L'/';
}

bool IsDriveLetter(wchar_t ch) {
    return (ch >= L'A' && ch <= L'Z') || (ch >= L'a' && ch <= L'z');
}

} // namespace

bool IsUsableFolder(std::wstring_view strFolder) {
    if (strFolder.size() >= kcchMaxPath || strFolder.find(L'\0') != std::wstring_view::npos) {
        return false;
    }
    const bool fDrive = strFolder.size() >= 3 && IsDriveLetter(strFolder[0]) &&
                        strFolder[1] == L':' && IsSeparator(strFolder[2]);
    const bool fShare = strFolder.size() >= 3 && strFolder[0] == L'\\' && strFolder[1] == L'\\' &&
                        !IsSeparator(strFolder[2]);
    return fDrive || fShare;
}

std::wstring JoinPath(std::wstring_view strFolder, std::wstring_view strFile) {
    std::wstring strPath(strFolder);
    if (strPath.empty() || !IsSeparator(strPath.back())) {
        strPath += L'\\';
    }
    return strPath.append(strFile);
}

std::wstring BuildVerbCommand(std::wstring_view strProgram) {
    return L"\"" + std::wstring(strProgram) + L"\"";
}

bool IsAppUserModelId(std::wstring_view strId) {
    const size_t iBang = strId.find(L'!');
    return strId.size() < kcchMaxPath && iBang != std::wstring_view::npos && iBang > 0 &&
           iBang + 1 < strId.size() && strId.find(L'!', iBang + 1) == std::wstring_view::npos &&
           std::none_of(strId.begin(), strId.end(), [](wchar_t ch) {
               return ch == L' ' || ch == L'"' || ch == L'\\' || ch < L' ';
           });
}

std::wstring BuildAppsFolderArguments(std::wstring_view strId) {
    return L"shell:AppsFolder\\" + std::wstring(strId);
}
