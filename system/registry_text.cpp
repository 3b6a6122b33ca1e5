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
