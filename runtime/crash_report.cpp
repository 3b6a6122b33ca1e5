#include "runtime/crash_report.h"

#include <msi.h>
#include <msiquery.h>

#include <cstdarg>

namespace {

// A fault may come from a corrupted heap, so the report is built in static storage
// with the system's formatter; nothing is allocated.
constexpr int kcchReport = 12288;
constexpr int kcchReportLine = 1024; // wvsprintfW's own limit
constexpr int kcFrames = 32;
// The stub's frame: 32 bytes of home space for the action, then the handle it saw.
constexpr size_t kcbHandleSlot = 32;

struct Fault {
    const EXCEPTION_RECORD* pRecord;
    CONTEXT context; // the faulting context, unwound frame by frame
    const char* szAction;
    MSIHANDLE hInstall;
};

wchar_t g_szReport[kcchReport];
int g_cchReport;
char g_szFileText[kcchReport * 3];
Fault g_fault;
// The exception last reported and the stub frame that reported it: a guarded export
// that calls another one sees the same exception twice; only the inner stub reports it.
// (The installer may take an exception without unwinding through the stub, so a later
// fault can come with the same record address: only an outer frame is passed over.)
const EXCEPTION_RECORD* g_pReported;
const void* g_pReporterFrame;

void Append(const wchar_t* szFormat, ...) {
    wchar_t szLine[kcchReportLine + 1];
    va_list args;
    va_start(args, szFormat);
    const int cchLine = wvsprintfW(szLine, szFormat, args);
    va_end(args);
    if (cchLine > 0 && g_cchReport + cchLine < kcchReport) {
        CopyMemory(g_szReport + g_cchReport, szLine, cchLine * sizeof(wchar_t));
        g_cchReport += cchLine;
        g_szReport[g_cchReport] = L'\0';
    }
}

// "<module>+0x<offset>" for an address, or "?+0x<address>" outside every module.
void AppendLocation(const wchar_t* szFormat, DWORD64 dwAddress) {
    HMODULE hModule = nullptr;
    wchar_t szModule[MAX_PATH] = L"?";
    if (GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                               GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                           reinterpret_cast<const wchar_t*>(dwAddress), &hModule) &&
        GetModuleFileNameW(hModule, szModule, MAX_PATH) > 0) {
        dwAddress -= reinterpret_cast<DWORD64>(hModule);
    }
    const wchar_t* szName = szModule;
    for (const wchar_t* pch = szModule; *pch; ++pch) {
        if (*pch == L'\\') {
            szName = pch + 1;
        }
    }
    wchar_t szLocation[MAX_PATH + 32];
    if (dwAddress >> 32) {
        wsprintfW(szLocation, L"%s+0x%X%08X", szName, static_cast<DWORD>(dwAddress >> 32),
                  static_cast<DWORD>(dwAddress));
    } else {
        wsprintfW(szLocation, L"%s+0x%X", szName, static_cast<DWORD>(dwAddress));
    }
    Append(szFormat, szLocation);
}

// The export whose entry is at dwRva in the module at pBase (the stub's own address),
// or "an action" when the export table does not name it.
const char* ExportNameAt(const BYTE* pBase, DWORD dwRva) {
    const auto* pDos = reinterpret_cast<const IMAGE_DOS_HEADER*>(pBase);
    const auto* pNt = reinterpret_cast<const IMAGE_NT_HEADERS*>(pBase + pDos->e_lfanew);
    const IMAGE_DATA_DIRECTORY& directory =
        pNt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT];
    if (directory.VirtualAddress == 0) {
        return "an action";
    }
    const auto* pExports =
        reinterpret_cast<const IMAGE_EXPORT_DIRECTORY*>(pBase + directory.VirtualAddress);
    const auto* pFunctions = reinterpret_cast<const DWORD*>(pBase + pExports->AddressOfFunctions);
    const auto* pNames = reinterpret_cast<const DWORD*>(pBase + pExports->AddressOfNames);
    const auto* pOrdinals = reinterpret_cast<const WORD*>(pBase + pExports->AddressOfNameOrdinals);
    for (DWORD iName = 0; iName < pExports->NumberOfNames; ++iName) {
        if (pOrdinals[iName] < pExports->NumberOfFunctions &&
            pFunctions[pOrdinals[iName]] == dwRva) {
            return reinterpret_cast<const char*>(pBase + pNames[iName]);
        }
    }
    return "an action";
}

// Whether the 8 bytes at dwAddress can be read without faulting again (a leaf frame's
// return address on a stack that may be damaged).
bool IsReadable(DWORD64 dwAddress) {
    MEMORY_BASIC_INFORMATION info = {};
    const auto* pAddress = reinterpret_cast<const void*>(dwAddress);
    constexpr DWORD kdwReadable = PAGE_READONLY | PAGE_READWRITE | PAGE_WRITECOPY |
                                  PAGE_EXECUTE_READ | PAGE_EXECUTE_READWRITE;
    return dwAddress % 8 == 0 && VirtualQuery(pAddress, &info, sizeof(info)) == sizeof(info) &&
           info.State == MEM_COMMIT && (info.Protect & kdwReadable) != 0 &&
           (info.Protect & PAGE_GUARD) == 0;
}

void BuildReport(Fault& fault) {
    g_cchReport = 0;
    g_szReport[0] = L'\0';
    wchar_t szAction[MAX_PATH] = {};
    for (int i = 0; i < MAX_PATH - 1 && fault.szAction[i]; ++i) {
        szAction[i] = static_cast<unsigned char>(fault.szAction[i]);
    }
    wchar_t szHead[MAX_PATH + 80];
    wsprintfW(szHead, L"Varen_CA crash report: %s faulted with exception 0x%08X at %%s\n", szAction,
              static_cast<unsigned>(fault.pRecord->ExceptionCode));
    AppendLocation(szHead, reinterpret_cast<DWORD64>(fault.pRecord->ExceptionAddress));

    CONTEXT& context = fault.context;
    for (int iFrame = 0; iFrame < kcFrames && context.Rip != 0; ++iFrame) {
        AppendLocation(L"  %s\n", context.Rip);
        DWORD64 dwImageBase = 0;
        RUNTIME_FUNCTION* pFunction = RtlLookupFunctionEntry(context.Rip, &dwImageBase, nullptr);
        if (pFunction == nullptr) {
            // A leaf function (or a jump to nowhere): its return address is on top.
            if (!IsReadable(context.Rsp)) {
                break;
            }
            context.Rip = *reinterpret_cast<const DWORD64*>(context.Rsp);
            context.Rsp += 8;
            continue;
        }
        void* pHandlerData = nullptr;
        DWORD64 dwEstablisher = 0;
        RtlVirtualUnwind(UNW_FLAG_NHANDLER, dwImageBase, context.Rip, pFunction, &context,
                         &pHandlerData, &dwEstablisher, nullptr);
    }
}

void AppendToTempFile(const wchar_t* szText) {
    wchar_t szPath[MAX_PATH + 1] = {};
    const DWORD cchTemp = GetTempPathW(MAX_PATH, szPath);
    if (cchTemp == 0 || cchTemp + 20 >= MAX_PATH) {
        return;
    }
    lstrcatW(szPath, L"Varen_CA_crash.log");
    HANDLE hFile = CreateFileW(szPath, FILE_APPEND_DATA, FILE_SHARE_READ, nullptr, OPEN_ALWAYS,
                               FILE_ATTRIBUTE_NORMAL, nullptr);
    if (hFile == INVALID_HANDLE_VALUE) {
        return;
    }
    const int cbText = WideCharToMultiByte(CP_UTF8, 0, szText, -1, g_szFileText,
                                           sizeof(g_szFileText), nullptr, nullptr);
    DWORD cbWritten = 0;
    if (cbText > 1) {
        WriteFile(hFile, g_szFileText, cbText - 1, &cbWritten, nullptr);
    }
    CloseHandle(hFile);
}

// One INFO record with the whole report; false when the installer did not take it.
bool SendToInstallerLog(MSIHANDLE hInstall, const wchar_t* szText) {
    if (hInstall == 0) {
        return false;
    }
    const MSIHANDLE hRecord = MsiCreateRecord(0);
    if (hRecord == 0) {
        return false;
    }
    MsiRecordSetStringW(hRecord, 0, szText);
    const int iResult = MsiProcessMessage(hInstall, INSTALLMESSAGE_INFO, hRecord);
    MsiCloseHandle(hRecord);
    return iResult != -1;
}

DWORD WINAPI WriteReport(void* pParameter) {
    Fault& fault = *static_cast<Fault*>(pParameter);
    BuildReport(fault);
    if (!SendToInstallerLog(fault.hInstall, g_szReport)) {
        AppendToTempFile(g_szReport);
    }
    return 0;
}

} // namespace

extern "C" EXCEPTION_DISPOSITION VarenReportActionFault(EXCEPTION_RECORD* pRecord,
                                                        void* pEstablisherFrame, CONTEXT* pContext,
                                                        void* pDispatcherContext) {
    // Only the search for a handler reports; the unwind that follows once the
    // installer has taken the exception passes by.
    if ((pRecord->ExceptionFlags & (EXCEPTION_UNWINDING | EXCEPTION_EXIT_UNWIND)) != 0 ||
        (pRecord == g_pReported && pEstablisherFrame > g_pReporterFrame)) {
        return ExceptionContinueSearch;
    }
    g_pReported = pRecord;
    g_pReporterFrame = pEstablisherFrame;
    const auto* pDispatch = static_cast<const DISPATCHER_CONTEXT*>(pDispatcherContext);
    g_fault.pRecord = pRecord;
    g_fault.context = *pContext;
    g_fault.szAction = ExportNameAt(reinterpret_cast<const BYTE*>(pDispatch->ImageBase),
                                    pDispatch->FunctionEntry->BeginAddress);
    g_fault.hInstall =
        *reinterpret_cast<const MSIHANDLE*>(static_cast<BYTE*>(pEstablisherFrame) + kcbHandleSlot);
    if (pRecord->ExceptionCode == EXCEPTION_STACK_OVERFLOW) {
        // What is left of the stack cannot hold the report's work: a fresh thread
        // writes it while this one waits.
        HANDLE hThread = CreateThread(nullptr, 0, &WriteReport, &g_fault, 0, nullptr);
        if (hThread != nullptr) {
            WaitForSingleObject(hThread, INFINITE);
            CloseHandle(hThread);
        }
    } else {
        WriteReport(&g_fault);
    }
    return ExceptionContinueSearch;
}
