#include "suite/profiler_cleanup_text.h"

#include <array>

namespace {

constexpr unsigned kMaxVersionPart = 65535;

// The numbers of a version ("3.0.1" is 3, 0, 1, 0); nullopt when strVersion is not one.
std::optional<std::array<unsigned, 4>> ParseVersion(std::wstring_view strVersion) {
    std::array<unsigned, 4> parts = {};
    std::size_t iPart = 0;
    std::size_t cDigits = 0;
    for (wchar_t ch : strVersion) {
        if (ch == L'.') {
            if (cDigits == 0 || ++iPart == parts.size()) {
                return std::nullopt;
            }
            cDigits = 0;
        } else if (ch >= L'0' && ch <= L'9') {
            parts[iPart] = parts[iPart] * 10 + static_cast<unsigned>(ch - L'0');
            if (parts[iPart] > kMaxVersionPart) {
                return std::nullopt;
            }
            ++cDigits;
        } else {
            return std::nullopt;
        }
    }
    if (cDigits == 0) {
        return std::nullopt;
    }
    return parts;
}

bool IsHexDigit(wchar_t ch) {
    return (ch >= L'0' && ch <= L'9') || (ch >= L'a' && ch <= L'f') || (ch >= L'A' && ch <= L'F');
}

} // namespace

bool IsProductCode(std::wstring_view strCode) {
    constexpr std::wstring_view kPattern = L"{xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}";
    if (strCode.size() != kPattern.size()) {
        return false;
    }
    for (std::size_t i = 0; i < kPattern.size(); ++i) {
        if (kPattern[i] == L'x' ? !IsHexDigit(strCode[i]) : strCode[i] != kPattern[i]) {
            return false;
        }
    }
    return true;
}

std::optional<int> CompareVersions(std::wstring_view strA, std::wstring_view strB) {
    const auto partsA = ParseVersion(strA);
    const auto partsB = ParseVersion(strB);
    if (!partsA || !partsB) {
        return std::nullopt;
    }
    return *partsA < *partsB ? -1 : (*partsA == *partsB ? 0 : 1);
}

std::wstring HelpLibManagerPath(std::wstring_view strProgramFiles32) {
    return JoinFolderAndName(strProgramFiles32, L"Microsoft Help Viewer\\v1.0\\HelpLibManager.exe");
}

std::wstring BuildInstallHelpCommand(std::wstring_view strHelpLibManager,
                                     std::wstring_view strProfilerFolder) {
    return L"\"" + std::wstring(strHelpLibManager) +
           L"\" /product VS /version 100 /locale en-us /sourceMedia \"" +
           JoinFolderAndName(strProfilerFolder, L"help\\helpcontentsetup.msha") + L"\"";
}

std::wstring BuildRemoveHelpCommand(std::wstring_view strHelpLibManager) {
    return L"\"" + std::wstring(strHelpLibManager) +
           L"\" /product VS /version 100 /locale en-us /uninstall /vendor \"Qorvexa\" "
           L"/mediaBookList \"QVX Codrevo\" /productName \"QVX Codrevo Performance Analyzer\" "
           L"/silent";
}

std::wstring BuildQuietUninstallCommand(std::wstring_view strUninstallString) {
    return std::wstring(strUninstallString) + L" /qn /norestart";
}
