// Pending-rename clean-up speed: AfterInstallPPC on lists of 1,000 and of 10,000
// operations, half of them on the client's folder. The action's fixed cost (the
// session call and the service start it tries) is measured on an empty list in
// the same run and taken off, so the growth factor
// (time(10,000) - time(2)) / (time(1,000) - time(2)) is about 10 when the
// clean-up is linear.
#include "tests/support/registry_support.h"
#include "tests/support/session_support.h"

#include <windows.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kRuns = 15;
const std::wstring kSessionManager = L"SYSTEM\\CurrentControlSet\\Control\\Session Manager";
const std::wstring kPending = L"PendingFileRenameOperations";

// cOperations strings, every other one in the client's folder, as REG_MULTI_SZ data.
std::vector<BYTE> PendingList(int cOperations) {
    std::wstring strList;
    for (int i = 0; i < cOperations; ++i) {
        strList += (i % 2 == 0 ? L"\\??\\C:\\Program Files\\QVX\\Performance Profile Client\\"
                               : L"\\??\\C:\\Windows\\Temp\\Varen\\") +
                   std::to_wstring(i) + L".dll";
        strList += L'\0';
    }
    strList += L'\0';
    const auto* pBytes = reinterpret_cast<const BYTE*>(strList.data());
    return {pBytes, pBytes + strList.size() * sizeof(wchar_t)};
}

// The number of strings left in the list.
size_t CountLeft() {
    const auto value = ReadRaw(HKEY_LOCAL_MACHINE, View::Native, kSessionManager, kPending);
    if (!value) {
        return 0;
    }
    const auto* pch = reinterpret_cast<const wchar_t*>(value->second.data());
    return std::count(pch, pch + value->second.size() / sizeof(wchar_t), L'\0') - 1;
}

struct Size {
    int cOperations;
    std::vector<BYTE> data;
    double dBest = 1e9;
    size_t cLeft = 0;
};

// One timed call of AfterInstallPPC on a fresh list of the size.
void TimeOnce(ActionSession& session, Size& size) {
    SetRaw(HKEY_LOCAL_MACHINE, View::Native, kSessionManager, kPending, REG_MULTI_SZ,
           size.data.data(), static_cast<DWORD>(size.data.size()));
    const Clock::time_point start = Clock::now();
    session.Call("AfterInstallPPC");
    size.dBest = std::min(size.dBest, std::chrono::duration<double>(Clock::now() - start).count());
    size.cLeft = CountLeft();
}

} // namespace

int main() {
    // The sizes take turns, so that a change in the machine's load reaches all three.
    std::vector<Size> sizes;
    for (int cOperations : {2, 1000, 10000}) {
        sizes.push_back({cOperations, PendingList(cOperations)});
    }
    {
        ActionSession session;
        for (int iRun = 0; iRun < kRuns; ++iRun) {
            for (Size& size : sizes) {
                TimeOnce(session, size);
            }
        }
    }
    for (const Size& size : sizes) {
        std::printf("AfterInstallPPC, %5d operations: %8.3f ms (best of %d), %zu left%s\n",
                    size.cOperations, size.dBest * 1000, kRuns, size.cLeft,
                    size.cLeft == static_cast<size_t>(size.cOperations / 2) ? ""
                                                                            : "  (WRONG COUNT)");
    }
    HKEY hKey = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kSessionManager.c_str(), 0, KEY_SET_VALUE, &hKey) ==
        ERROR_SUCCESS) {
        RegDeleteValueW(hKey, kPending.c_str());
        RegCloseKey(hKey);
    }
    std::printf("pending-rename clean-up growth factor time(10,000) / time(1,000): %.2f (10 = "
                "linear, target <= 11)\n",
                sizes[2].dBest / sizes[1].dBest);
    return 0;
}
