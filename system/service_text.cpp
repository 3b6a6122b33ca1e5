#include "system/service_text.h"

#include <algorithm>

uint32_t ServicePollInterval(uint32_t dwWaitHint) {
    return std::clamp<uint32_t>(dwWaitHint / 10, 1000, 10000);
}

std::wstring GetServiceBinaryFile(std::wstring_view strConfigured) {
    if (!strConfigured.empty() && strConfigured.front() == L'"') {
        const std::wstring_view strQuoted = strConfigured.substr(1);
        return std::wstring(strQuoted.substr(0, strQuoted.find(L'"')));
    }
    constexpr std::wstring_view kExtension = L".exe";
    for (size_t iDot = strConfigured.find(L'.'); iDot != std::wstring_view::npos;
         iDot = strConfigured.find(L'.', iDot + 1)) {
        const std::wstring_view strTail = strConfigured.substr(iDot, kExtension.size());
        const bool fExtension =
            strTail.size() == kExtension.size() &&
            std::equal(strTail.begin(), strTail.end(), kExtension.begin(),
                       [](wchar_t chA, wchar_t chB) { return (chA | 0x20) == chB; });
        const size_t iEnd = iDot + kExtension.size();
        if (fExtension && (iEnd == strConfigured.size() || strConfigured[iEnd] == L' ')) {
            return std::wstring(strConfigured.substr(0, iEnd));
        }
    }
    return std::wstring(strConfigured);
}

std::wstring GetParentFolder(std::wstring_view strPath) {
    const size_t iSeparator = strPath.find_last_of(L"\\/");
    if (iSeparator == std::wstring_view::npos) {
        return {};
    }
    const bool fDriveRoot = iSeparator == 2 && strPath[1] == L':';
    return std::wstring(strPath.substr(0, fDriveRoot ? iSeparator + 1 : iSeparator));
}
