// Registry cleanup speed, as ratios measured in one run:
// - DeleteA4Registry on a tree of 10,000 keys spread over both views, against
//   the system's RegDeleteTreeW on the same tree (both views);
// - RemoveARPEntries over 1,000 and over 10,000 packages: the growth factor
//   time(10,000) / time(1,000) is about 10 when the work is linear.
#include "bench/registry_scope.h"
#include "tests/support/session_support.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <string>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kRuns = 3;
const std::wstring kOrx = L"SOFTWARE\\ORX";
const std::wstring kOrxTechnologies = L"SOFTWARE\\ORX Technologies";
const std::wstring kPackages = L"SOFTWARE\\ORX Technologies\\Install\\Packages";
const std::wstring kUninstall = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\";

double Seconds(const std::function<void()>& fn) {
    const Clock::time_point start = Clock::now();
    fn();
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// The best of kRuns timings of fnRun, each after fnArrange (not timed).
double BestOf(const std::function<void()>& fnArrange, const std::function<void()>& fnRun) {
    double dBest = 1e9;
    for (int iRun = 0; iRun < kRuns; ++iRun) {
        fnArrange();
        dBest = std::min(dBest, Seconds(fnRun));
    }
    return dBest;
}

std::wstring Numbered(const wchar_t* szPrefix, int iNumber, int cDigits) {
    std::wstring strNumber = std::to_wstring(iNumber);
    return szPrefix +
           std::wstring(cDigits - std::min<int>(cDigits, static_cast<int>(strNumber.size())),
                        L'0') +
           strNumber;
}

// 10,000 keys under "SOFTWARE\ORX\A4": in each view 50 groups of 99 keys, the
// group keys themselves and one value per group.
void ArrangeOrxTree() {
    for (View view : kBothViews) {
        HKEY hA4 = nullptr;
        RegCreateKeyExW(HKEY_LOCAL_MACHINE, (kOrx + L"\\A4").c_str(), 0, nullptr, 0,
                        KEY_ALL_ACCESS | ViewFlag(view), nullptr, &hA4, nullptr);
        for (int iGroup = 0; iGroup < 50; ++iGroup) {
            HKEY hGroup = nullptr;
            RegCreateKeyExW(hA4, Numbered(L"G", iGroup, 2).c_str(), 0, nullptr, 0, KEY_ALL_ACCESS,
                            nullptr, &hGroup, nullptr);
            const DWORD dwValue = 1;
            RegSetValueExW(hGroup, L"Value", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&dwValue),
                           sizeof(dwValue));
            for (int iKey = 0; iKey < 99; ++iKey) {
                HKEY hKey = nullptr;
                RegCreateKeyExW(hGroup, Numbered(L"K", iKey, 2).c_str(), 0, nullptr, 0,
                                KEY_ALL_ACCESS, nullptr, &hKey, nullptr);
                RegCloseKey(hKey);
            }
            RegCloseKey(hGroup);
        }
        RegCloseKey(hA4);
    }
}

void DeleteOrxWithRegDeleteTree() {
    for (View view : {View::Wow32, View::Native}) {
        HKEY hKey = nullptr;
        if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kOrx.c_str(), 0, KEY_ALL_ACCESS | ViewFlag(view),
                          &hKey) == ERROR_SUCCESS) {
            RegDeleteTreeW(hKey, nullptr);
            RegCloseKey(hKey);
            RegDeleteKeyExW(HKEY_LOCAL_MACHINE, kOrx.c_str(), ViewFlag(view), 0);
        }
    }
}

bool OrxGone() {
    return !KeyExists(HKEY_LOCAL_MACHINE, View::Native, kOrx) &&
           !KeyExists(HKEY_LOCAL_MACHINE, View::Wow32, kOrx);
}

std::wstring ProductCode(int iPackage) {
    return Numbered(L"VarenBench-", iPackage, 5);
}

// cPackages package keys (level 1, each with its product code) and as many
// uninstall entries, in the native view.
void ArrangePackages(int cPackages) {
    HKEY hPackages = nullptr;
    RegCreateKeyExW(HKEY_LOCAL_MACHINE, kPackages.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                    &hPackages, nullptr);
    HKEY hUninstall = nullptr;
    RegCreateKeyExW(HKEY_LOCAL_MACHINE, kUninstall.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                    &hUninstall, nullptr);
    for (int iPackage = 0; iPackage < cPackages; ++iPackage) {
        HKEY hPackage = nullptr;
        RegCreateKeyExW(hPackages, Numbered(L"W-09-0000-000-000-000-001-", iPackage, 5).c_str(), 0,
                        nullptr, 0, KEY_ALL_ACCESS, nullptr, &hPackage, nullptr);
        const DWORD dwLevel = 1;
        RegSetValueExW(hPackage, L"iPackageLevel", 0, REG_DWORD,
                       reinterpret_cast<const BYTE*>(&dwLevel), sizeof(dwLevel));
        const std::wstring strCode = ProductCode(iPackage);
        RegSetValueExW(hPackage, L"ProductGUID", 0, REG_SZ,
                       reinterpret_cast<const BYTE*>(strCode.c_str()),
                       static_cast<DWORD>((strCode.size() + 1) * sizeof(wchar_t)));
        RegCloseKey(hPackage);
        HKEY hEntry = nullptr;
        RegCreateKeyExW(hUninstall, strCode.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                        &hEntry, nullptr);
        RegCloseKey(hEntry);
    }
    RegCloseKey(hUninstall);
    RegCloseKey(hPackages);
}

void RemovePackages(int cPackages) {
    DeleteTree(HKEY_LOCAL_MACHINE, View::Native, kOrxTechnologies);
    for (int iPackage = 0; iPackage < cPackages; ++iPackage) {
        RegDeleteKeyW(HKEY_LOCAL_MACHINE, (kUninstall + ProductCode(iPackage)).c_str());
    }
}

double TimeRemoveArpEntries(int cPackages) {
    RemovePackages(cPackages);
    ArrangePackages(cPackages);
    ActionSession session;
    const double dSeconds = BestOf([] {}, [&] { session.Call("RemoveARPEntries"); });
    const auto hidden = ReadRaw(HKEY_LOCAL_MACHINE, View::Native,
                                kUninstall + ProductCode(cPackages - 1), L"SystemComponent");
    const bool fHidden =
        hidden && hidden->first == REG_DWORD && hidden->second == std::vector<BYTE>{1, 0, 0, 0};
    RemovePackages(cPackages);
    std::printf("RemoveARPEntries, %5d packages: %8.3f ms%s\n", cPackages, dSeconds * 1000,
                fHidden ? "" : "  (entries NOT hidden)");
    return dSeconds;
}

} // namespace

int main() {
    RegistryScope scope(HKEY_LOCAL_MACHINE, {kOrx});
    double dAction = 0;
    {
        ActionSession session;
        dAction = BestOf(ArrangeOrxTree, [&] { session.Call("DeleteA4Registry"); });
    }
    const bool fActionRemoved = OrxGone();
    const double dSystem = BestOf(ArrangeOrxTree, DeleteOrxWithRegDeleteTree);
    const bool fSystemRemoved = OrxGone();
    std::printf("10,000 keys in both views (best of %d):\n", kRuns);
    std::printf("  DeleteA4Registry:        %8.3f ms%s\n", dAction * 1000,
                fActionRemoved ? "" : "  (NOT removed)");
    std::printf("  RegDeleteTreeW (2 views): %8.3f ms%s\n", dSystem * 1000,
                fSystemRemoved ? "" : "  (NOT removed)");
    std::printf("  ratio DeleteA4Registry / RegDeleteTreeW: %.2f\n", dAction / dSystem);

    const double dSmall = TimeRemoveArpEntries(1000);
    const double dLarge = TimeRemoveArpEntries(10000);
    std::printf("RemoveARPEntries growth factor time(10,000) / time(1,000): %.2f (10 = linear)\n",
                dLarge / dSmall);
    return 0;
}
