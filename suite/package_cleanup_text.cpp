#include "suite/package_cleanup_text.h"

#include <algorithm>

bool IsExceptedPackage(std::wstring_view strPackage) {
    static constexpr std::wstring_view kExcepted[] = {
        L"W-05-000U-000-003-002-001-00-00",
        L"W-06-2U00-000-002-188-001-00-25",
        L"W-06-2U01-000-002-189-001-00-25",
    };
    return std::find(std::begin(kExcepted), std::end(kExcepted), strPackage) != std::end(kExcepted);
}

std::wstring WithForwardSlashes(std::wstring_view strText) {
    std::wstring strResult(strText);
    std::replace(strResult.begin(), strResult.end(), L'\\', L'/');
    return strResult;
}

std::wstring BrandingEntryPath(std::wstring_view strFolder, std::wstring_view strName) {
    std::wstring strEntry = WithForwardSlashes(strFolder);
    if (strEntry.empty() || strEntry.back() != L'/') {
        strEntry += L'/';
    }
    strEntry += WithForwardSlashes(strName);
    return strEntry;
}

bool KeepsBrandingEntry(std::wstring_view strEntry, const std::vector<std::wstring>& vecRetained) {
    const auto Holds = [&](std::wstring_view strName) {
        return std::binary_search(vecRetained.begin(), vecRetained.end(), strName);
    };
    return (strEntry.find(L"Skins") != std::wstring_view::npos && Holds(L"Skins")) ||
           Holds(strEntry);
}
