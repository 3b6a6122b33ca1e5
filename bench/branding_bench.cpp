// Branding folder clean-up speed: DeleteandRetainValues over a folder of 1,000 and
// of 10,000 files, half of them named by the branding key (so kept), the other half
// deleted. The growth factor time(10,000) / time(1,000) is about 10 when the work is
// linear; comparing every entry with every kept name would make it about 100. The
// same growth of DeleteFileW on the same files shows what the file system adds.
#include "bench/registry_scope.h"
#include "tests/support/session_support.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <optional>
#include <string>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kRuns = 2;
const std::wstring kPn = L"SOFTWARE\\QVX\\PN";
const std::wstring kBranding = L"SOFTWARE\\QVXBranding";

std::wstring Folder() {
    wchar_t szTemp[MAX_PATH] = {};
    GetTempPathW(MAX_PATH, szTemp);
    return szTemp + std::wstring(L"varen_branding_bench");
}

std::wstring FileName(int iFile) {
    wchar_t szName[32];
    wsprintfW(szName, L"\\f%05d.txt", iFile);
    return Folder() + szName;
}

void RemoveFolder(int cFiles) {
    for (int iFile = 0; iFile < cFiles; ++iFile) {
        DeleteFileW(FileName(iFile).c_str());
    }
    RemoveDirectoryW(Folder().c_str());
}

// cFiles empty files; the branding key names every even one.
void Arrange(int cFiles) {
    RemoveFolder(cFiles);
    DeleteTree(HKEY_LOCAL_MACHINE, View::Native, kBranding);
    CreateDirectoryW(Folder().c_str(), nullptr);
    const std::wstring strFolder = Folder();
    SetRaw(HKEY_LOCAL_MACHINE, View::Native, kPn, L"PNBrandingInstallDir", REG_SZ,
           strFolder.c_str(), static_cast<DWORD>((strFolder.size() + 1) * sizeof(wchar_t)));
    HKEY hBranding = nullptr;
    RegCreateKeyExW(HKEY_LOCAL_MACHINE, kBranding.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                    &hBranding, nullptr);
    for (int iFile = 0; iFile < cFiles; ++iFile) {
        const std::wstring strFile = FileName(iFile);
        CloseHandle(
            CreateFileW(strFile.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
        if (iFile % 2 == 0) {
            RegSetValueExW(hBranding, (L"Keep" + std::to_wstring(iFile)).c_str(), 0, REG_SZ,
                           reinterpret_cast<const BYTE*>(strFile.c_str()),
                           static_cast<DWORD>((strFile.size() + 1) * sizeof(wchar_t)));
        }
    }
    RegCloseKey(hBranding);
}

// The best of kRuns timings of fnRun on a freshly arranged folder, each after
// fnPrepare (not timed); false in fRight when a run left other than the even files.
double BestOf(int cFiles, const std::function<void()>& fnPrepare,
              const std::function<void()>& fnRun, bool& fRight) {
    double dBest = 1e9;
    for (int iRun = 0; iRun < kRuns; ++iRun) {
        Arrange(cFiles);
        fnPrepare();
        const Clock::time_point start = Clock::now();
        fnRun();
        dBest = std::min(dBest, std::chrono::duration<double>(Clock::now() - start).count());
        for (int iFile = 0; iFile < cFiles; ++iFile) {
            const bool fPresent =
                GetFileAttributesW(FileName(iFile).c_str()) != INVALID_FILE_ATTRIBUTES;
            fRight = fRight && fPresent == (iFile % 2 == 0);
        }
    }
    RemoveFolder(cFiles);
    return dBest;
}

struct Timing {
    double dAction;
    double dSystem;
};

Timing Time(int cFiles) {
    bool fRight = true;
    Timing timing = {};
    std::optional<ActionSession> session;
    timing.dAction = BestOf(
        cFiles,
        [&] {
            session.reset();
            session.emplace(); // a fresh module: the kept names live as long as it
        },
        [&] { session->Call("DeleteandRetainValues"); }, fRight);
    session.reset();
    timing.dSystem = BestOf(
        cFiles, [] {},
        [cFiles] {
            for (int iFile = 1; iFile < cFiles; iFile += 2) {
                DeleteFileW(FileName(iFile).c_str());
            }
        },
        fRight);
    std::printf("%5d files: DeleteandRetainValues %8.3f ms, DeleteFileW of the odd half %8.3f "
                "ms%s\n",
                cFiles, timing.dAction * 1000, timing.dSystem * 1000,
                fRight ? "" : "  (NOT the kept half)");
    return timing;
}

} // namespace

int main() {
    RegistryScope scope(HKEY_LOCAL_MACHINE, {kPn, kBranding});
    const Timing small = Time(1000);
    const Timing large = Time(10000);
    std::printf("DeleteandRetainValues growth factor time(10,000) / time(1,000): %.2f (10 = "
                "linear; DeleteFileW alone: %.2f)\n",
                large.dAction / small.dAction, large.dSystem / small.dSystem);
    return 0;
}
