#include "tests/support/session_support.h"

#include <msiquery.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <stdexcept>

namespace {

// Every test program runs in a job that ends its processes when the program ends,
// so a tool a test started and did not end (a stand-in told to wait) cannot keep
// CTest's output pipe open and stall the run.
const HANDLE g_hJob = [] {
    const HANDLE hJob = CreateJobObjectW(nullptr, nullptr); // closed by the system at exit
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
    SetInformationJobObject(hJob, JobObjectExtendedLimitInformation, &limits, sizeof(limits));
    AssignProcessToJobObject(hJob, GetCurrentProcess());
    return hJob;
}();

} // namespace

std::vector<DWORD> ProcessesStartedHere() {
    // The list's two counts take the first slot; the ids follow in the rest.
    static_assert(offsetof(JOBOBJECT_BASIC_PROCESS_ID_LIST, ProcessIdList) == sizeof(ULONG_PTR));
    std::array<ULONG_PTR, 256> members = {};
    EXPECT_TRUE(QueryInformationJobObject(g_hJob, JobObjectBasicProcessIdList, members.data(),
                                          sizeof(members), nullptr))
        << "cannot list the programs this one started: " << GetLastError();
    JOBOBJECT_BASIC_PROCESS_ID_LIST counts = {};
    std::memcpy(&counts, members.data(), sizeof(ULONG_PTR));
    std::vector<DWORD> ids(members.begin() + 1,
                           members.begin() + 1 +
                               std::min<size_t>(counts.NumberOfProcessIdsInList, 255));
    std::erase(ids, GetCurrentProcessId());
    return ids;
}

ActionSession::ActionSession(const PropertyRows& properties,
                             const std::optional<PropertyRows>& orxRows, const wchar_t* szDll) {
    wchar_t szTemp[MAX_PATH] = {};
    GetTempPathW(MAX_PATH, szTemp);
    m_strPackage = szTemp + (L"varen_" + NewGuid() + L".msi");
    if (WritePackage(m_strPackage, true, properties, orxRows) != ERROR_SUCCESS ||
        OpenSession(m_strPackage, &ActionSession::OnRecord, this, m_hSession) != ERROR_SUCCESS) {
        throw std::runtime_error("cannot open the package");
    }
    m_lines.clear(); // the installer's own "Logging started" line
    m_hDll = LoadLibraryW(szDll);
    if (!m_hDll) {
        throw std::runtime_error("cannot load the library");
    }
}

ActionSession::~ActionSession() {
    FreeLibrary(m_hDll);
    MsiCloseHandle(m_hSession);
    MsiSetExternalUIRecord(nullptr, 0, nullptr, nullptr);
    DeleteFileW(m_strPackage.c_str());
}

int __stdcall ActionSession::OnRecord(void* pContext, UINT uType, MSIHANDLE hRecord) {
    auto* pSession = static_cast<ActionSession*>(pContext);
    ((uType & 0xFF000000) == INSTALLMESSAGE_USER ? pSession->m_messages : pSession->m_lines)
        .push_back(RecordText(hRecord));
    return 0; // the installer decides, as with no user interface
}

UINT ActionSession::Call(const char* szName) {
    const CustomAction pfnAction = FindAction(m_hDll, szName);
    if (!pfnAction) {
        ADD_FAILURE() << "the library does not export " << szName;
        return 0xDEADBEEF;
    }
    return pfnAction(m_hSession);
}

std::wstring ActionSession::Property(const wchar_t* szName) const {
    wchar_t szValue[1024] = {};
    DWORD cchValue = ARRAYSIZE(szValue);
    MsiGetPropertyW(m_hSession, szName, szValue, &cchValue);
    return szValue;
}

namespace {

// The slot of hModule's import address table that holds szDll!szFunction (an import
// bound at load), or nullptr.
void** FindImportSlot(HMODULE hModule, const char* szDll, const char* szFunction) {
    const HMODULE hTarget = GetModuleHandleA(szDll);
    void* pFunction =
        hTarget ? reinterpret_cast<void*>(GetProcAddress(hTarget, szFunction)) : nullptr;
    auto* pBase = reinterpret_cast<BYTE*>(hModule);
    const auto* pNt = reinterpret_cast<const IMAGE_NT_HEADERS*>(
        pBase + reinterpret_cast<const IMAGE_DOS_HEADER*>(pBase)->e_lfanew);
    const IMAGE_DATA_DIRECTORY& iat = pNt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IAT];
    void** ppFirst = reinterpret_cast<void**>(pBase + iat.VirtualAddress);
    void** ppEnd = ppFirst + iat.Size / sizeof(void*);
    void** ppSlot = std::find(ppFirst, ppEnd, pFunction);
    return pFunction && ppSlot != ppEnd ? ppSlot : nullptr;
}

} // namespace

std::shared_ptr<void> PatchImport(HMODULE hModule, const char* szDll, const char* szFunction,
                                  void* pReplacement) {
    void** ppSlot = hModule ? FindImportSlot(hModule, szDll, szFunction) : nullptr;
    if (!ppSlot) {
        throw std::runtime_error(std::string("no import of ") + szDll + "!" + szFunction);
    }
    return std::shared_ptr<void>(ppSlot,
                                 [pOriginal = ExchangeSlot(ppSlot, pReplacement)](void* pSlot) {
                                     ExchangeSlot(static_cast<void**>(pSlot), pOriginal);
                                 });
}

void* ExchangeSlot(void** ppSlot, void* pNew) {
    DWORD dwProtect = 0;
    VirtualProtect(ppSlot, sizeof(void*), PAGE_READWRITE, &dwProtect);
    void* pOld = *ppSlot;
    *ppSlot = pNew;
    VirtualProtect(ppSlot, sizeof(void*), dwProtect, &dwProtect);
    return pOld;
}
