#include "shell/companion_apps_text.h"

#include "system/path_text.h"

#include <algorithm>

namespace {

constexpr size_t kcchMaxPath = 260;

} // namespace

bool IsUsableFolder(std::wstring_view strFolder) {
    return strFolder.size() < kcchMaxPath && IsAbsolutePath(strFolder);
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
