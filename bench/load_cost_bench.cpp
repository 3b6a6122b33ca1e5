// The load-time part of an action's cost, without the installer around it. The
// installer's custom-action server loads the DLL and frees it again for every call;
// here Varen_CA.dll and return_ca.dll (one export, returns at once) are loaded and
// freed in alternating rounds, in a process that holds what the server holds (the
// DLLs msiexec.exe imports). Prints the best milliseconds per load of each and their
// ratio, and the DLLs a load of Varen_CA.dll brings in with it: the server loads and
// frees those at every call too.
#include <windows.h>
#include <psapi.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <set>
#include <string>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kRounds = 7;
constexpr int kLoadsPerRound = 40;

// Milliseconds per load and free of szDll, over one round.
double TimeLoads(const wchar_t* szDll) {
    const Clock::time_point start = Clock::now();
    for (int iLoad = 0; iLoad < kLoadsPerRound; ++iLoad) {
        FreeLibrary(LoadLibraryW(szDll));
    }
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count() / kLoadsPerRound;
}

std::set<std::wstring> ListLoadedModules() {
    HMODULE hModules[512];
    DWORD cbNeeded = 0;
    EnumProcessModules(GetCurrentProcess(), hModules, sizeof(hModules), &cbNeeded);
    std::set<std::wstring> names;
    for (DWORD iModule = 0; iModule < std::min<DWORD>(cbNeeded / sizeof(HMODULE), 512); ++iModule) {
        wchar_t szName[MAX_PATH] = {};
        GetModuleBaseNameW(GetCurrentProcess(), hModules[iModule], szName, MAX_PATH);
        names.insert(szName);
    }
    return names;
}

} // namespace

int main() {
    for (const wchar_t* szDll :
         {L"advapi32.dll", L"comctl32.dll", L"msi.dll", L"ole32.dll", L"user32.dll"}) {
        LoadLibraryW(szDll);
    }
    const std::set<std::wstring> before = ListLoadedModules();
    HMODULE hVaren = LoadLibraryW(L"Varen_CA.dll");
    HMODULE hBaseline = LoadLibraryW(L"return_ca.dll");
    if (hVaren == nullptr || hBaseline == nullptr) {
        std::printf("cannot load Varen_CA.dll and return_ca.dll\n");
        return 1;
    }
    FreeLibrary(hBaseline);
    std::printf("DLLs loaded with Varen_CA.dll:");
    for (const std::wstring& strName : ListLoadedModules()) {
        if (before.count(strName) == 0 && lstrcmpiW(strName.c_str(), L"Varen_CA.dll") != 0) {
            std::printf(" %ls", strName.c_str());
        }
    }
    std::printf("\n");
    FreeLibrary(hVaren);

    double dBestVaren = 1e9;
    double dBestBaseline = 1e9;
    for (int iRound = 0; iRound < kRounds; ++iRound) {
        dBestVaren = std::min(dBestVaren, TimeLoads(L"Varen_CA.dll"));
        dBestBaseline = std::min(dBestBaseline, TimeLoads(L"return_ca.dll"));
    }
    std::printf("load and free (best of %d alternating rounds of %d):\n", kRounds, kLoadsPerRound);
    std::printf("  Varen_CA.dll:  %7.3f ms\n  return_ca.dll: %7.3f ms\n  ratio: %.2f\n", dBestVaren,
                dBestBaseline, dBestVaren / dBestBaseline);
    return 0;
}
