#include "runtime/records.h"

#include "runtime/log.h"
#include "runtime/session.h"

#include <msiquery.h>

#include <vector>

std::wstring ReadCustomActionData() {
    wchar_t szEmpty[1] = L"";
    DWORD cchData = 0;
    MsiGetPropertyW(g_hInstall, L"CustomActionData", szEmpty, &cchData);
    std::wstring strData(cchData + 1, L'\0');
    ++cchData;
    MsiGetPropertyW(g_hInstall, L"CustomActionData", strData.data(), &cchData);
    strData.resize(wcslen(strData.c_str()));
    LogMessage(g_hInstall, L"CustomActionData: %s", strData.c_str());
    return strData;
}

std::wstring GetFileVersionString(const std::wstring& strPath) {
    DWORD dwHandle = 0;
    const DWORD cbInfo = GetFileVersionInfoSizeW(strPath.c_str(), &dwHandle);
    if (cbInfo == 0) {
        return {};
    }
    std::vector<BYTE> info(cbInfo);
    VS_FIXEDFILEINFO* pFixed = nullptr;
    UINT cbFixed = 0;
    if (!GetFileVersionInfoW(strPath.c_str(), 0, cbInfo, info.data()) ||
        !VerQueryValueW(info.data(), L"\\", reinterpret_cast<void**>(&pFixed), &cbFixed) ||
        !pFixed) {
        return {};
    }
    wchar_t szVersion[64];
    wsprintfW(szVersion, L"%d.%d.%d.%d", HIWORD(pFixed->dwFileVersionMS),
              LOWORD(pFixed->dwFileVersionMS), HIWORD(pFixed->dwFileVersionLS),
              LOWORD(pFixed->dwFileVersionLS));
    return szVersion;
}
