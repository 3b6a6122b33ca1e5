#include "system/registry_text.h"

#include <algorithm>

KeyPathParts SplitKeyPath(std::wstring_view strPath) {
    const std::size_t iLast = strPath.rfind(L'\\');
    if (iLast == std::wstring_view::npos) {
        return {std::wstring(), std::wstring(strPath)};
    }
    return {std::wstring(strPath.substr(0, iLast)), std::wstring(strPath.substr(iLast + 1))};
}

bool IsSingleKeyName(std::wstring_view strName) {
    return !strName.empty() && strName.find(L'\\') == std::wstring_view::npos;
}

bool ContainsName(const std::vector<std::wstring>& vecNames, std::wstring_view strName) {
    return std::find(vecNames.begin(), vecNames.end(), strName) != vecNames.end();
}

bool AppendWithinBound(wchar_t* szBuffer, std::size_t cchBuffer, const wchar_t* szText) {
    if (cchBuffer == 0) {
        return false;
    }
    std::size_t cchUsed = 0;
    while (cchUsed < cchBuffer && szBuffer[cchUsed] != L'\0') {
        ++cchUsed;
    }
    if (cchUsed == cchBuffer) {
        szBuffer[cchBuffer - 1] = L'\0';
        return false;
    }
    for (; *szText != L'\0'; ++szText) {
        if (cchUsed + 1 == cchBuffer) {
            szBuffer[cchUsed] = L'\0';
            return false;
        }
        szBuffer[cchUsed++] = *szText;
    }
    szBuffer[cchUsed] = L'\0';
    return true;
}
