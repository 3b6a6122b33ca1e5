#include "runtime/external_log.h"

#include "runtime/log.h"

#include <shlwapi.h>

#include <utility>

namespace {

constexpr DWORD kdwInterfaceVersion = 1;

// The entry point szName of hLibrary as TFunction, or null.
template <typename TFunction>
TFunction Entry(HMODULE hLibrary, const char* szName) {
    return reinterpret_cast<TFunction>(reinterpret_cast<void*>(GetProcAddress(hLibrary, szName)));
}

} // namespace

ExternalLog::ExternalLog(const wchar_t* szFolder) {
    wchar_t szPath[MAX_PATH] = {};
    if (szFolder == nullptr || *szFolder == L'\0' || PathIsRelativeW(szFolder) ||
        lstrlenW(szFolder) >= MAX_PATH || !PathCombineW(szPath, szFolder, L"VLMLog.dll")) {
        return;
    }
    // A library that cannot be loaded must not put an error box in front of the
    // user in the middle of an installation.
    DWORD dwOldMode = 0;
    SetThreadErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX, &dwOldMode);
    UniqueLibrary hLibrary(LoadLibraryExW(
        szPath, nullptr, LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32));
    SetThreadErrorMode(dwOldMode, nullptr);
    if (!hLibrary) {
        return;
    }
    const auto pfnVersion = Entry<DWORD(WINAPI*)()>(hLibrary.get(), "VlmLogVersion");
    const auto pfnOpen = Entry<BOOL(WINAPI*)(const wchar_t*)>(hLibrary.get(), "VlmLogOpen");
    const auto pfnWrite = Entry<void(WINAPI*)(const wchar_t*)>(hLibrary.get(), "VlmLogWrite");
    const auto pfnClose = Entry<void(WINAPI*)()>(hLibrary.get(), "VlmLogClose");
    if (pfnVersion == nullptr || pfnOpen == nullptr || pfnWrite == nullptr || pfnClose == nullptr ||
        pfnVersion() != kdwInterfaceVersion || !pfnOpen(L"Varen_CA")) {
        return;
    }
    m_hLibrary = std::move(hLibrary);
    m_pfnClose = pfnClose;
    SetLogMirror(pfnWrite);
}

ExternalLog::~ExternalLog() {
    if (m_pfnClose != nullptr) {
        SetLogMirror(nullptr);
        m_pfnClose();
    }
}
