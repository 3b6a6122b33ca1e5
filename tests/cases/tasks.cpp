// The scheduled-task actions: the schtasks tasks of the settings application (a
// stand-in records the command lines; Wine's own schtasks proves a task made or
// deleted), the rewritten definition copies, and the elevated on-demand task
// registered through the Task Scheduler service.
#include "tests/support/cases.h"
#include "tests/support/task_support.h"

#include <gtest/gtest.h>

#include <ctime>

using namespace cases;

namespace {

const std::wstring kPnInstall = L"SOFTWARE\\ORX Technologies\\Install\\PNext";
const std::wstring kQvxPn = L"SOFTWARE\\QVX\\PN";
const std::wstring kRun = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run";
const std::wstring kApp = L"%CASE%\\PNext";
const Item kSchtasks = Program(L"%SYSTEM%\\schtasks.exe");

// A UTF-16 file with its byte-order mark, as task definitions are written.
Item Utf16File(std::wstring strPath, const std::wstring& strText) {
    std::string strBytes = "\xFF\xFE";
    for (wchar_t ch : strText) {
        strBytes += static_cast<char>(ch & 0xFF);
        strBytes += static_cast<char>(ch >> 8);
    }
    return File(std::move(strPath), strBytes);
}

Item Location(const std::wstring& strFolder) {
    return Str(N, kPnInstall, L"Location", strFolder);
}

std::wstring Create(const std::wstring& strTask, const std::wstring& strXml) {
    return L"schtasks /Create /TN \"" + strTask + L"\" /XML \"" + strXml + L"\"";
}

std::wstring Change(const std::wstring& strTask, const std::wstring& strProgram,
                    const std::wstring& strArgument) {
    return L"schtasks /change /TN \"" + strTask + L"\" /TR \"\\\"" + strProgram + L"\\\" " +
           strArgument + L"\"";
}

std::wstring Delete(const std::wstring& strTask) {
    return L"schtasks /delete /TN \"" + strTask + L"\" /F";
}

// Definitions without white space between elements: Wine's XmlLite writer
// cannot copy a line break that follows an end tag.
const std::wstring kDeclaration = L"<?xml version=\"1.0\" encoding=\"UTF-16\"?>";
const std::wstring kLogonDefinition =
    kDeclaration +
    L"<Task version=\"1.2\"><Actions Context=\"Author\"><Exec><Command>pncmd.exe"
    L"</Command><WorkingDirectory>C:\\Old</WorkingDirectory></Exec></Actions></Task>";

// The copy the writer makes of kLogonDefinition: its own declaration and
// indentation, every end tag in full, the working directory replaced.
std::wstring LogonCopy(const std::wstring& strFolder) {
    return L"<?xml version=\"1.0\" encoding=\"utf-16\"?>\r\n<Task version=\"1.2\">\r\n"
           L"  <Actions Context=\"Author\">\r\n    <Exec>\r\n      <Command>pncmd.exe</Command>\r\n"
           L"      <WorkingDirectory>" +
           strFolder + L"</WorkingDirectory>\r\n    </Exec>\r\n  </Actions>\r\n</Task>";
}

// An empty WorkingDirectory starts no replacement; a comment inside one is kept.
const std::wstring kDvrDefinition =
    L"<Task><Exec><WorkingDirectory/><Command>VSServCmd.exe</Command><WorkingDirectory><!--was-->"
    L"C:\\Old</WorkingDirectory></Exec></Task>";
const std::wstring kDvrCopy =
    L"<Task>\r\n  <Exec>\r\n    <WorkingDirectory />\r\n    <Command>VSServCmd.exe</Command>\r\n"
    L"    <WorkingDirectory>\r\n      <!--was-->" +
    Expand(L"%CASE%\\P&amp;N") + L"</WorkingDirectory>\r\n  </Exec>\r\n</Task>";

// Sets TMP, which the temporary folder is taken from, for the action.
class ScopedTempFolder {
  public:
    explicit ScopedTempFolder(const std::wstring& strFolder) {
        wchar_t szOld[MAX_PATH] = {};
        const DWORD cch = GetEnvironmentVariableW(L"TMP", szOld, MAX_PATH);
        m_strOld = cch != 0 && cch < MAX_PATH ? std::optional<std::wstring>(szOld) : std::nullopt;
        SetEnvironmentVariableW(L"TMP", Expand(strFolder).c_str());
    }
    ~ScopedTempFolder() { SetEnvironmentVariableW(L"TMP", m_strOld ? m_strOld->c_str() : nullptr); }

  private:
    std::optional<std::wstring> m_strOld;
};

std::shared_ptr<void> MissingTempFolder(ActionSession&) {
    return std::make_shared<ScopedTempFolder>(L"%CASE%\\missing\\");
}

const std::wstring kLong = std::wstring(L"C:\\") + std::wstring(256, L'L'); // 259 characters

const int kCreateLogonSchTask = Register({
    {.szName = "registers the installed file and points the task at pncmd",
     .szAction = "CreateLogonSchTask",
     .before = {Location(kApp), Utf16File(kApp + L"\\StartPN.xml", kLogonDefinition),
                Str(NW, kRun, L"StartPN", L"old"), Str(N, kRun, L"StartDVR", L"keep"), kSchtasks},
     .gone = {Str(N, kRun, L"StartPN", L"")},
     .after = {Utf16File(L"%TEMP%StartPN.xml", LogonCopy(Expand(kApp)))},
     .commands = {Create(L"StartPN", kApp + L"\\StartPN.xml"),
                  Change(L"StartPN", kApp + L"\\pncmd.exe", L"startwithdelay")}},
    {.szName = "a trailing backslash is not doubled in the file, but is before pncmd",
     .szAction = "CreateLogonSchTask",
     .before = {Location(kApp + L"\\"), Utf16File(kApp + L"\\StartPN.xml", kLogonDefinition),
                kSchtasks},
     .after = {Utf16File(L"%TEMP%StartPN.xml", LogonCopy(Expand(kApp + L"\\")))},
     .commands = {Create(L"StartPN", kApp + L"\\StartPN.xml"),
                  Change(L"StartPN", kApp + L"\\\\pncmd.exe", L"startwithdelay")}},
    {.szName = "no Location: 1603, nothing registered, the Run value still deleted",
     .szAction = "CreateLogonSchTask",
     .before = {Str(N, kRun, L"StartPN", L"old"), Str(W, kPnInstall, L"Location", kApp), kSchtasks},
     .uReturn = 1603,
     .gone = {Str(N, kRun, L"StartPN", L"")}},
    {.szName = "a Location of 260 characters cannot be read: 1603",
     .szAction = "CreateLogonSchTask",
     .before = {Location(kLong + L"x"), kSchtasks},
     .uReturn = 1603},
    {.szName = "command lines that do not fit 260 characters are cut",
     .szAction = "CreateLogonSchTask",
     .before = {Location(kLong), kSchtasks},
     .lines = {L"Error creating file reader, error is 80070003"},
     .commands = {Create(L"StartPN", kLong + L"\\StartPN.xml").substr(0, 259),
                  Change(L"StartPN", kLong + L"\\pncmd.exe", L"startwithdelay").substr(0, 259)}},
    {.szName = "no definition: the reader's error, the task registered all the same",
     .szAction = "CreateLogonSchTask",
     .before = {Location(kApp), Folder(kApp), kSchtasks},
     .lines = {L"Error creating file reader, error is 80070002"},
     .gone = {File(L"%TEMP%StartPN.xml")},
     .commands = {Create(L"StartPN", kApp + L"\\StartPN.xml"),
                  Change(L"StartPN", kApp + L"\\pncmd.exe", L"startwithdelay")}},
    {.szName = "an indented definition stops the copy after the declaration",
     .szAction = "CreateLogonSchTask",
     .before = {Location(kApp),
                Utf16File(kApp + L"\\StartPN.xml", kDeclaration + L"\r\n<Task>\r\n</Task>\r\n"),
                kSchtasks},
     .lines = {L"Error writing WriteNodeShallow, error is c00cef0b"},
     .after = {Utf16File(L"%TEMP%StartPN.xml", L"<?xml version=\"1.0\" encoding=\"utf-16\"?>")},
     .commands = {Create(L"StartPN", kApp + L"\\StartPN.xml"),
                  Change(L"StartPN", kApp + L"\\pncmd.exe", L"startwithdelay")},
     .szWine = "Wine's writer fails on a line break after the declaration or an end tag"},
    {.szName = "a document type ends the copy without a line",
     .szAction = "CreateLogonSchTask",
     .before = {Location(kApp),
                Utf16File(kApp + L"\\StartPN.xml", L"<!DOCTYPE Task><Task><A>x</A></Task>"),
                kSchtasks},
     .after = {File(L"%TEMP%StartPN.xml", "")},
     .commands = {Create(L"StartPN", kApp + L"\\StartPN.xml"),
                  Change(L"StartPN", kApp + L"\\pncmd.exe", L"startwithdelay")}},
    {.szName = "an unwritable copy is logged and Wine's schtasks makes the task",
     .szAction = "CreateLogonSchTask",
     .before = {Location(kApp),
                Utf16File(
                    kApp + L"\\StartPN.xml",
                    L"<Task version=\"1.2\" xmlns=\"http://schemas.microsoft.com/windows/2004/"
                    L"02/mit/task\"><Actions><Exec><Command>cmd.exe</Command></Exec>"
                    L"</Actions></Task>"),
                Task(L"StartDVR")},
     .lines = {L"Error creating file writer, error is 80070003"},
     .after = {Task(L"StartPN")},
     .arrange = MissingTempFolder},
});

const int kCreateDVRLogonSchTask = Register({
    {.szName = "an empty argument leaves the blank; the folder is escaped in the copy only",
     .szAction = "CreateDVRLogonSchTask",
     .before = {Location(L"%CASE%\\P&N"), Utf16File(L"%CASE%\\P&N\\StartDVR.xml", kDvrDefinition),
                Str(N, kRun, L"StartDVR", L"old"), Str(N, kRun, L"StartPN", L"keep"), kSchtasks},
     .gone = {Str(N, kRun, L"StartDVR", L"")},
     .after = {Utf16File(L"%TEMP%StartDVR.xml", kDvrCopy)},
     .commands = {Create(L"StartDVR", L"%CASE%\\P&N\\StartDVR.xml"),
                  Change(L"StartDVR", L"%CASE%\\P&N\\VSServCmd.exe", L"")}},
    {.szName = "no Location: 1603",
     .szAction = "CreateDVRLogonSchTask",
     .before = {kSchtasks},
     .uReturn = 1603},
});

// The run-once task starts one day after this moment (the action's clock is fixed to it).
constexpr __time64_t kNow = 1714572187;

__time64_t __cdecl FixedTime(__time64_t* pTime) {
    CountFault();
    if (pTime != nullptr) {
        *pTime = kNow;
    }
    return kNow;
}

std::shared_ptr<void> FixClock(ActionSession&) {
    return Fault("msvcrt.dll", "_time64", reinterpret_cast<void*>(&FixedTime));
}

std::wstring Tomorrow() {
    const __time64_t tTomorrow = kNow + 86400;
    const std::tm* pLocal = _localtime64(&tTomorrow);
    wchar_t szText[32] = {};
    swprintf(szText, 32, L"%04d-%02d-%02dT%02d:%02d:%02d", pLocal->tm_year + 1900,
             pLocal->tm_mon + 1, pLocal->tm_mday, pLocal->tm_hour, pLocal->tm_min, pLocal->tm_sec);
    return szText;
}

std::wstring BenchmarkDefinition(const std::wstring& strBoundary) {
    return L"<Task><Triggers><TimeTrigger><StartBoundary>" + strBoundary +
           L"</StartBoundary></TimeTrigger></Triggers></Task>";
}

std::wstring BenchmarkCopy(const std::wstring& strBoundary) {
    return L"<Task>\r\n  <Triggers>\r\n    <TimeTrigger>\r\n      <StartBoundary>" + strBoundary +
           L"</StartBoundary>\r\n    </TimeTrigger>\r\n  </Triggers>\r\n</Task>";
}

const Item kBenchmarkDefinition =
    Utf16File(kApp + L"\\StartPNBM.xml", BenchmarkDefinition(L"2020-01-01T00:00:00"));

const int kCreateBenchMarkRunOnceSchTask = Register({
    {.szName = "registers the copy that starts tomorrow",
     .szAction = "CreateBenchMarkRunOnceSchTask",
     .before = {Location(kApp), kBenchmarkDefinition, Str(N, kQvxPn, L"GiBenchmark", L"11"),
                kSchtasks},
     .after = {Utf16File(L"%TEMP%StartPNBM.xml", BenchmarkCopy(Tomorrow()))},
     .commands = {Create(L"StartPNBM", L"%TEMP%StartPNBM.xml"),
                  Change(L"StartPNBM", kApp + L"\\pncmd.exe", L"benchmark")},
     .arrange = FixClock},
    {.szName = "the benchmark already arranged: nothing",
     .szAction = "CreateBenchMarkRunOnceSchTask",
     .before = {Location(kApp), kBenchmarkDefinition, Str(N, kQvxPn, L"GiBenchmark", L"1"),
                kSchtasks},
     .gone = {File(L"%TEMP%StartPNBM.xml")}},
    {.szName = "no definition: nothing",
     .szAction = "CreateBenchMarkRunOnceSchTask",
     .before = {Location(kApp), Folder(kApp), kSchtasks}},
    {.szName = "no Location: nothing",
     .szAction = "CreateBenchMarkRunOnceSchTask",
     .before = {kBenchmarkDefinition, kSchtasks}},
});

const int kLaunchPN = Register({
    {.szName = "starts the logon task",
     .szAction = "LaunchPN",
     .before = {kSchtasks},
     .uReturn = 1,
     .commands = {L"schtasks /run /TN \"StartPN\""}},
    {.szName = "Windows 7 starts nothing",
     .szAction = "LaunchPN",
     .before = {kSchtasks},
     .uReturn = 1,
     .iWindows = 7},
});

const int kDeleteSchedTaskonBranding = Register({
    {.szName = "LazeStart 1 deletes the logon task",
     .szAction = "DeleteSchedTaskonBranding",
     .before = {Dword(N, kQvxPn, L"LazeStart", 1), kSchtasks},
     .commands = {Delete(L"StartPN")}},
    {.szName = "LazeStart 2 keeps it",
     .szAction = "DeleteSchedTaskonBranding",
     .before = {Dword(N, kQvxPn, L"LazeStart", 2), kSchtasks}},
    {.szName = "LazeStart as the text 1 keeps it",
     .szAction = "DeleteSchedTaskonBranding",
     .before = {Str(N, kQvxPn, L"LazeStart", L"1"), kSchtasks}},
    {.szName = "LazeStart in the 32 bit view only keeps it",
     .szAction = "DeleteSchedTaskonBranding",
     .before = {Dword(W, kQvxPn, L"LazeStart", 1), kSchtasks}},
});

BOOL WINAPI FailCreateProcess(LPCWSTR, LPWSTR, LPSECURITY_ATTRIBUTES, LPSECURITY_ATTRIBUTES, BOOL,
                              DWORD, LPVOID, LPCWSTR, LPSTARTUPINFOW, LPPROCESS_INFORMATION) {
    CountFault();
    SetLastError(ERROR_FILE_NOT_FOUND);
    return FALSE;
}

const int kRemoveTasks = Register({
    {.szName = "deletes StartPNBM",
     .szAction = "RemoveBenchMarkRunOnceSchedularTask",
     .before = {kSchtasks},
     .uReturn = 1,
     .commands = {Delete(L"StartPNBM")}},
    {.szName = "deletes StartPN",
     .szAction = "RemovePNSchedularTask",
     .before = {kSchtasks},
     .uReturn = 1,
     .commands = {Delete(L"StartPN")}},
    {.szName = "deletes StartDVR",
     .szAction = "RemoveDVRSchedularTask",
     .before = {kSchtasks},
     .uReturn = 1,
     .commands = {Delete(L"StartDVR")}},
    {.szName = "deletes QVX Updater",
     .szAction = "RemoveSchedularTask",
     .before = {kSchtasks},
     .uReturn = 1,
     .commands = {Delete(L"QVX Updater")}},
    {.szName = "Wine's schtasks deletes the task and no other",
     .szAction = "RemovePNSchedularTask",
     .before = {Task(L"StartPN"), Task(L"StartPNBM")},
     .uReturn = 1,
     .gone = {Task(L"StartPN")}},
    {.szName = "schtasks not started: 0",
     .szAction = "RemoveSchedularTask",
     .before = {Task(L"QVX Updater")},
     .arrange =
         [](ActionSession&) {
             return Fault("kernel32.dll", "CreateProcessW",
                          reinterpret_cast<void*>(&FailCreateProcess));
         }},
});

// Points one slot of an interface's method table, which every object of its class
// shares, at a replacement while it lives.
class MethodPatch {
  public:
    MethodPatch(IUnknown* pInterface, int iSlot, void* pReplacement)
        : m_ppSlot(*reinterpret_cast<void***>(pInterface) + iSlot) {
        m_pOriginal = Exchange(pReplacement);
    }
    ~MethodPatch() { Exchange(m_pOriginal); }
    MethodPatch(const MethodPatch&) = delete;
    MethodPatch& operator=(const MethodPatch&) = delete;
    void* Original() const { return m_pOriginal; }

  private:
    void* Exchange(void* pNew) {
        DWORD dwProtect = 0;
        VirtualProtect(m_ppSlot, sizeof(void*), PAGE_READWRITE, &dwProtect);
        void* pOld = *m_ppSlot;
        *m_ppSlot = pNew;
        VirtualProtect(m_ppSlot, sizeof(void*), dwProtect, &dwProtect);
        return pOld;
    }
    void** m_ppSlot;
    void* m_pOriginal = nullptr;
};

// Method table slots: IUnknown's 3 and IDispatch's 4 come first.
constexpr int kGetFolderSlot = 7;     // ITaskService::GetFolder
constexpr int kRegisterTaskSlot = 16; // ITaskFolder::RegisterTask

// What the action hands to ITaskFolder::RegisterTask. Wine keeps only part of a
// task (no run level, no command), so the call itself is what proves the task's
// definition and account.
struct Registration {
    std::wstring strPath, strXml;
    LONG lFlags = 0;
    VARTYPE vtUser = VT_EMPTY;
    std::wstring strUser;
    VARTYPE vtPassword = VT_EMPTY;
    TASK_LOGON_TYPE logonType = TASK_LOGON_NONE;
    VARTYPE vtSecurity = VT_EMPTY;
    std::wstring strSecurity;
    bool operator==(const Registration&) const = default;
};

std::wstring VariantText(const VARIANT& variant) {
    return variant.vt == VT_BSTR && variant.bstrVal != nullptr ? variant.bstrVal : L"";
}

using RegisterTaskFn = HRESULT(STDMETHODCALLTYPE*)(ITaskFolder*, BSTR, BSTR, LONG, VARIANT, VARIANT,
                                                   TASK_LOGON_TYPE, VARIANT, IRegisteredTask**);

// Records the action's RegisterTask calls (passing each on to the service) and,
// when the action has returned, expects exactly the one given.
class RegistrationCheck {
  public:
    explicit RegistrationCheck(Registration expected)
        : m_hTaskScheduler(LoadLibraryW(L"taskschd.dll")), m_expected(std::move(expected)) {
        const TaskRoot root; // keeps the method table's module loaded beyond its own COM use
        s_pRecorded = &m_recorded;
        m_pPatch = std::make_unique<MethodPatch>(root.Folder(), kRegisterTaskSlot,
                                                 reinterpret_cast<void*>(&Record));
        s_pfnRegisterTask = reinterpret_cast<RegisterTaskFn>(m_pPatch->Original());
    }
    ~RegistrationCheck() {
        m_pPatch.reset();
        FreeLibrary(m_hTaskScheduler);
        if (m_recorded.size() != 1) {
            ADD_FAILURE() << m_recorded.size() << " RegisterTask calls, expected 1";
            return;
        }
        const Registration& actual = m_recorded.front();
        EXPECT_EQ(m_expected.strPath, actual.strPath);
        EXPECT_EQ(m_expected.strXml, actual.strXml);
        EXPECT_TRUE(m_expected == actual)
            << "flags " << actual.lFlags << ", user type " << actual.vtUser << ", password type "
            << actual.vtPassword << ", logon type " << actual.logonType << ", descriptor type "
            << actual.vtSecurity;
    }

  private:
    static HRESULT STDMETHODCALLTYPE Record(ITaskFolder* pFolder, BSTR bstrPath, BSTR bstrXml,
                                            LONG lFlags, VARIANT user, VARIANT password,
                                            TASK_LOGON_TYPE logonType, VARIANT security,
                                            IRegisteredTask** ppTask) {
        s_pRecorded->push_back({bstrPath, bstrXml, lFlags, user.vt, VariantText(user), password.vt,
                                logonType, security.vt, VariantText(security)});
        return s_pfnRegisterTask(pFolder, bstrPath, bstrXml, lFlags, user, password, logonType,
                                 security, ppTask);
    }
    static inline std::vector<Registration>* s_pRecorded = nullptr;
    static inline RegisterTaskFn s_pfnRegisterTask = nullptr;

    HMODULE m_hTaskScheduler;
    Registration m_expected;
    std::vector<Registration> m_recorded;
    std::unique_ptr<MethodPatch> m_pPatch;
};

// The on-demand definition exactly as the service must get it.
std::wstring OnDemandXml(const std::wstring& strTask, const std::wstring& strCommand) {
    return L"<Task version=\"1.2\" "
           L"xmlns=\"http://schemas.microsoft.com/windows/2004/02/mit/task\">\n"
           L"<RegistrationInfo>\n<Date>2015-08-24T18:27:49.0496979</Date>\n<Author>Qorvexa</"
           L"Author>\n"
           L"<Description>" +
           strTask + L"</Description>\n<URI>" + strTask +
           L"</URI>\n</RegistrationInfo>\n<Principals>\n<Principal id=\"Author\">\n"
           L"<RunLevel>HighestAvailable</RunLevel>\n</Principal>\n</Principals>\n<Settings>\n"
           L"<DisallowStartIfOnBatteries>false</DisallowStartIfOnBatteries>\n"
           L"<StopIfGoingOnBatteries>false</StopIfGoingOnBatteries>\n"
           L"<AllowHardTerminate>true</AllowHardTerminate>\n"
           L"<StartWhenAvailable>false</StartWhenAvailable>\n"
           L"<RunOnlyIfNetworkAvailable>false</RunOnlyIfNetworkAvailable>\n"
           L"<AllowStartOnDemand>true</AllowStartOnDemand>\n<Enabled>true</Enabled>\n"
           L"<Hidden>false</Hidden>\n<RunOnlyIfIdle>false</RunOnlyIfIdle>\n"
           L"<ExecutionTimeLimit>PT0S</ExecutionTimeLimit>\n<Priority>3</Priority>\n</Settings>\n"
           L"<Actions Context=\"Author\">\n<Exec>\n<Command>" +
           strCommand + L"</Command>\n</Exec>\n</Actions>\n</Task>\n";
}

// The lines of a record with all three fields, up to the registration's own.
Lines RecordLines(const std::wstring& strData, const std::wstring& strTask,
                  const std::wstring& strCommand, const std::wstring& strUser) {
    return {L"CustomActionData: " + strData, L"Task Name " + strTask,
            L"Command to launch " + strCommand, L"Username " + strUser};
}

Lines operator+(Lines lines, const std::wstring& strLine) {
    lines.push_back(strLine);
    return lines;
}

const std::wstring kData = L"TaskName=VarenOnDemand;CommandToLaunch=\"C:\\Tools\\run.exe\" /x & y;"
                           L"Username=Bob";
const std::wstring kCommand = L"\"C:\\Tools\\run.exe\" /x & y";
const Lines kDataLines = RecordLines(kData, L"VarenOnDemand", kCommand, L"Bob");

// COM initialised on the action's thread as a single-threaded apartment; afterwards
// the thread must be left as hExpected says (S_OK: uninitialised again).
class ApartmentCheck {
  public:
    explicit ApartmentCheck(HRESULT hrExpected) : m_hrExpected(hrExpected) {
        EXPECT_EQ(S_OK, CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED));
    }
    ~ApartmentCheck() {
        const HRESULT hr = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        EXPECT_EQ(m_hrExpected, hr) << "CoInitializeEx after the action";
        CoUninitialize(); // the MTA just entered, or the STA the action left
    }

  private:
    HRESULT m_hrExpected;
};

HRESULT WINAPI FailCoInitializeEx(LPVOID, DWORD) {
    CountFault();
    return E_OUTOFMEMORY;
}

HRESULT WINAPI FailCoCreateInstance(REFCLSID, LPUNKNOWN, DWORD, REFIID, LPVOID* ppv) {
    CountFault();
    *ppv = nullptr;
    return REGDB_E_CLASSNOTREG;
}

HRESULT STDMETHODCALLTYPE FailGetFolder(ITaskService*, BSTR, ITaskFolder** ppFolder) {
    CountFault();
    *ppFolder = nullptr;
    return E_ACCESSDENIED;
}

// Makes ITaskService::GetFolder fail for the action.
struct GetFolderFault {
    GetFolderFault() : hTaskScheduler(LoadLibraryW(L"taskschd.dll")) {
        ITaskService* pService = nullptr;
        const bool fInitialized = SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED));
        if (SUCCEEDED(CoCreateInstance(CLSID_TaskScheduler, nullptr, CLSCTX_INPROC_SERVER,
                                       IID_ITaskService, reinterpret_cast<void**>(&pService)))) {
            patch = std::make_unique<MethodPatch>(pService, kGetFolderSlot,
                                                  reinterpret_cast<void*>(&FailGetFolder));
            pService->Release();
        }
        if (fInitialized) {
            CoUninitialize();
        }
    }
    ~GetFolderFault() {
        patch.reset();
        FreeLibrary(hTaskScheduler);
    }
    HMODULE hTaskScheduler;
    std::unique_ptr<MethodPatch> patch;
};

std::shared_ptr<void> Both(std::shared_ptr<void> pFirst, std::shared_ptr<void> pSecond) {
    return std::make_shared<std::pair<std::shared_ptr<void>, std::shared_ptr<void>>>(
        std::move(pFirst), std::move(pSecond));
}

const int kCreateTriggerlessElevatedScheduleTask = Register({
    {.szName = "hands the on-demand definition to the service and replaces the task",
     .szAction = "CreateTriggerlessElevatedScheduleTask",
     .data = kData,
     .before = {Task(L"VarenOnDemand"), Task(L"VarenOther")},
     .lines = kDataLines + L"Successfully added VarenOnDemand Scheduled Event",
     .after = {Task(L"VarenOnDemand")},
     .arrange =
         [](ActionSession&) {
             return std::make_shared<RegistrationCheck>(Registration{
                 L"VarenOnDemand", OnDemandXml(L"VarenOnDemand", kCommand), TASK_CREATE_OR_UPDATE,
                 VT_BSTR, L"Bob", VT_EMPTY, TASK_LOGON_INTERACTIVE_TOKEN, VT_BSTR, L""});
         }},
    {.szName = "missing keys read from one before their length",
     .szAction = "CreateTriggerlessElevatedScheduleTask",
     .data = L"CommandToLaunch=cmd.exe",
     .lines = RecordLines(L"CommandToLaunch=cmd.exe", L"oLaunch=cmd.exe", L"cmd.exe",
                          L"oLaunch=cmd.exe") +
              L"Successfully added oLaunch=cmd.exe Scheduled Event",
     .after = {Task(L"oLaunch=cmd.exe")}},
    {.szName = "a record too short for a missing key: 1, nothing registered",
     .szAction = "CreateTriggerlessElevatedScheduleTask",
     .uReturn = 1,
     .lines = {L"CustomActionData: "}},
    {.szName = "the service rejects a name with <",
     .szAction = "CreateTriggerlessElevatedScheduleTask",
     .data = L"TaskName=Varen<1;CommandToLaunch=cmd.exe;Username=Bob",
     .uReturn = 1,
     .lines = RecordLines(L"TaskName=Varen<1;CommandToLaunch=cmd.exe;Username=Bob", L"Varen<1",
                          L"cmd.exe", L"Bob") +
              L"Error saving the Task : 0x8004131a",
     .szWine = "the code of Wine's Task Scheduler for malformed XML"},
    {.szName = "an unescaped & is accepted",
     .szAction = "CreateTriggerlessElevatedScheduleTask",
     .data = L"TaskName=Varen&1;CommandToLaunch=cmd.exe;Username=Bob",
     .lines = RecordLines(L"TaskName=Varen&1;CommandToLaunch=cmd.exe;Username=Bob", L"Varen&1",
                          L"cmd.exe", L"Bob") +
              L"Successfully added Varen&1 Scheduled Event",
     .after = {Task(L"Varen&1")},
     .szWine = "Wine's Task Scheduler takes XML with a bare & that Windows rejects"},
    {.szName = "an STA thread: logged, registered, and uninitialised at the end",
     .szAction = "CreateTriggerlessElevatedScheduleTask",
     .data = kData,
     .lines = kDataLines + L"Failed to call CoInitializeEx 0x80010106" +
              L"Successfully added VarenOnDemand Scheduled Event",
     .after = {Task(L"VarenOnDemand")},
     .arrange = [](ActionSession&) { return std::make_shared<ApartmentCheck>(S_OK); }},
    {.szName = "COM cannot be initialised: 1, not uninitialised",
     .szAction = "CreateTriggerlessElevatedScheduleTask",
     .data = kData,
     .uReturn = 1,
     .lines = kDataLines + L"Failed to call CoInitializeEx 0x8007000e",
     .arrange =
         [](ActionSession&) {
             return Both(std::make_shared<ApartmentCheck>(RPC_E_CHANGED_MODE),
                         Fault("ole32.dll", "CoInitializeEx",
                               reinterpret_cast<void*>(&FailCoInitializeEx)));
         }},
    {.szName = "no Task Scheduler class: 1",
     .szAction = "CreateTriggerlessElevatedScheduleTask",
     .data = kData,
     .uReturn = 1,
     .lines = kDataLines + L"Failed to create an instance of ITaskService: 0x80040154",
     .arrange =
         [](ActionSession&) {
             return Fault("ole32.dll", "CoCreateInstance",
                          reinterpret_cast<void*>(&FailCoCreateInstance));
         }},
    {.szName = "no root folder: 1",
     .szAction = "CreateTriggerlessElevatedScheduleTask",
     .data = kData,
     .uReturn = 1,
     .lines = kDataLines + L"Cannot get Root Folder pointer: 0x80070005",
     .arrange = [](ActionSession&) { return std::make_shared<GetFolderFault>(); }},
});

} // namespace
