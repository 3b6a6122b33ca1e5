// The scheduled-task actions: schtasks command lines (a stand-in records them; Wine's own
// schtasks deletes), the rewritten definition copies, and the elevated on-demand task.
#include "tests/support/cases.h"
#include "tests/support/task_support.h"

#include <gtest/gtest.h>

using namespace cases;

namespace {

const std::wstring kRun = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run";
const std::wstring kApp = L"%CASE%\\PNext";
const std::wstring kPNext = L"SOFTWARE\\ORX Technologies\\Install\\PNext";
const Item kSchtasks = Program(L"%SYSTEM%\\schtasks.exe");

// A UTF-16 file with its byte-order mark, as task definitions are written.
Item Utf16File(std::wstring strPath, const std::wstring& strText) {
    const auto* pBytes = reinterpret_cast<const char*>(strText.data());
    return File(std::move(strPath),
                "\xFF\xFE" + std::string(pBytes, strText.size() * sizeof(wchar_t)));
}

// The create and change command lines of a task.
Lines Commands(const std::wstring& strTask, const std::wstring& strXml,
               const std::wstring& strProgram, const std::wstring& strArgument) {
    return {L"schtasks /Create /TN \"" + strTask + L"\" /XML \"" + strXml + L"\"",
            L"schtasks /change /TN \"" + strTask + L"\" /TR \"\\\"" + strProgram + L"\\\" " +
                strArgument + L"\""};
}

// The run-once task starts one day after this moment (the action's clock is fixed to it).
constexpr __time64_t kNow = 1714572187;

__time64_t __cdecl FixedTime(__time64_t* pTime) {
    CountFault();
    return pTime != nullptr ? (*pTime = kNow) : kNow;
}

std::wstring Tomorrow() {
    const __time64_t tTomorrow = kNow + 86400;
    wchar_t szText[32] = {};
    wcsftime(szText, 32, L"%Y-%m-%dT%H:%M:%S", _localtime64(&tTomorrow));
    return szText;
}

// A removal action run with Wine's schtasks: it deletes its task, no other, and returns 1.
Case RemoveCase(const char* szAction, const wchar_t* szTask) {
    return {.szName = "deletes its task and no other",
            .szAction = szAction,
            .before = {Task(szTask), Task(L"VarenOther")},
            .uReturn = 1,
            .gone = {Task(szTask)}};
}

using RegisterTaskFn = HRESULT(STDMETHODCALLTYPE*)(ITaskFolder*, BSTR, BSTR, LONG, VARIANT, VARIANT,
                                                   TASK_LOGON_TYPE, VARIANT, IRegisteredTask**);
RegisterTaskFn g_pfnRegisterTask = nullptr;

// Notes what the action hands to ITaskFolder::RegisterTask, with the definition's name and
// command: Wine keeps only part of a task (no run level, no command).
HRESULT STDMETHODCALLTYPE NoteRegistration(ITaskFolder* pFolder, BSTR bstrPath, BSTR bstrXml,
                                           LONG lFlags, VARIANT user, VARIANT password,
                                           TASK_LOGON_TYPE logonType, VARIANT security,
                                           IRegisteredTask** ppTask) {
    wchar_t szText[200];
    wsprintfW(szText,
              L"RegisterTask(%s, flags %ld, user %u %s, password %u, logon %d, security %u %s)",
              bstrPath, lFlags, user.vt, user.vt == VT_BSTR ? user.bstrVal : L"", password.vt,
              logonType, security.vt, security.vt == VT_BSTR ? security.bstrVal : L"");
    Note(szText);
    const std::wstring strXml = bstrXml;
    for (const std::wstring strElement : {L"Description", L"URI", L"Command"}) {
        const size_t iText = strXml.find(L"\n<" + strElement + L">") + strElement.size() + 3;
        Note(strElement + L" " + strXml.substr(iText, strXml.find(L"</" + strElement) - iText));
    }
    return g_pfnRegisterTask(pFolder, bstrPath, bstrXml, lFlags, user, password, logonType,
                             security, ppTask);
}

// While the result lives, the thread is a single-threaded apartment and the folders'
// RegisterTask slot (after IUnknown's 3 and IDispatch's 4 methods) leads to NoteRegistration.
std::shared_ptr<void> NoteRegistrations(ActionSession&) {
    HMODULE hTaskScheduler = LoadLibraryW(L"taskschd.dll"); // keeps the method table loaded
    EXPECT_EQ(S_OK, CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED));
    void** ppSlot = *reinterpret_cast<void***>(TaskRoot().Folder()) + 16;
    g_pfnRegisterTask = reinterpret_cast<RegisterTaskFn>(
        ExchangeSlot(ppSlot, reinterpret_cast<void*>(&NoteRegistration)));
    return std::shared_ptr<void>(nullptr, [=](void*) {
        ExchangeSlot(ppSlot, reinterpret_cast<void*>(g_pfnRegisterTask));
        FreeLibrary(hTaskScheduler);
        // The action uninitialises even the apartment it could not enter.
        EXPECT_EQ(S_OK, CoInitializeEx(nullptr, COINIT_MULTITHREADED)) << "COM left initialised";
        CoUninitialize();
    });
}

HRESULT WINAPI RefuseCom(LPVOID, DWORD) {
    CountFault();
    return E_OUTOFMEMORY;
}

const std::wstring kCommand = L"\"C:\\Tools\\run.exe\" /x & y";
const std::wstring kData = L"TaskName=VarenOnDemand;CommandToLaunch=" + kCommand + L";Username=Bob";

const int kCases = Register({
    // A Location that ends in "\" is not doubled before the file name, but before pncmd.
    {.szName = "the native Run value goes; Wine's writer stops the copy after the declaration",
     .szAction = "CreateLogonSchTask",
     .before = {Str(N, kPNext, L"Location", kApp + L"\\"),
                Utf16File(kApp + L"\\StartPN.xml",
                          L"<?xml version=\"1.0\" encoding=\"UTF-16\"?>\r\n<Task>\r\n</Task>\r\n"),
                Str(NW, kRun, L"StartPN", L"old"), Str(N, kRun, L"StartDVR", L"keep"), kSchtasks},
     .lines = {L"Error writing WriteNodeShallow, error is c00cef0b"},
     .gone = {Str(N, kRun, L"StartPN", L"")},
     .after = {Utf16File(L"%TEMP%StartPN.xml", L"<?xml version=\"1.0\" encoding=\"utf-16\"?>")},
     .commands =
         Commands(L"StartPN", kApp + L"\\StartPN.xml", kApp + L"\\\\pncmd.exe", L"startwithdelay"),
     .szWine = "Wine's writer fails on a line break after the declaration or an end tag"},
    {.szName = "no Location: 1603, nothing registered, the Run value still deleted",
     .szAction = "CreateLogonSchTask",
     .before = {Str(N, kRun, L"StartPN", L"old"), Str(W, kPNext, L"Location", kApp), kSchtasks},
     .uReturn = 1603,
     .gone = {Str(N, kRun, L"StartPN", L"")}},
    // The copy: the writer's indentation, end tags in full, an empty WorkingDirectory
    // copied as it is, a comment inside one kept and the text after it replaced.
    {.szName = "an empty argument leaves the blank; the folder is escaped in the copy only",
     .szAction = "CreateDVRLogonSchTask",
     .before = {Str(N, kPNext, L"Location", L"%CASE%\\P&N"),
                Utf16File(L"%CASE%\\P&N\\StartDVR.xml",
                          L"<Task><Exec><WorkingDirectory/><Command>VSServCmd.exe</Command>"
                          L"<WorkingDirectory><!--was-->C:\\Old</WorkingDirectory></Exec></Task>"),
                Str(N, kRun, L"StartDVR", L"old"), Str(N, kRun, L"StartPN", L"keep"), kSchtasks},
     .gone = {Str(N, kRun, L"StartDVR", L"")},
     .after = {Utf16File(L"%TEMP%StartDVR.xml",
                         L"<Task>\r\n  <Exec>\r\n    <WorkingDirectory />\r\n    <Command>"
                         L"VSServCmd.exe</Command>\r\n    <WorkingDirectory>\r\n      <!--was-->" +
                             Expand(L"%CASE%\\P&amp;N") +
                             L"</WorkingDirectory>\r\n  </Exec>\r\n</Task>")},
     .commands =
         Commands(L"StartDVR", L"%CASE%\\P&N\\StartDVR.xml", L"%CASE%\\P&N\\VSServCmd.exe", L"")},
    {.szName = "registers the copy that starts tomorrow",
     .szAction = "CreateBenchMarkRunOnceSchTask",
     .before = {Str(N, kPNext, L"Location", kApp),
                Utf16File(kApp + L"\\StartPNBM.xml",
                          L"<Task><Triggers><StartBoundary>2020-01-01T00:00:00</StartBoundary>"
                          L"</Triggers></Task>"),
                Str(N, L"SOFTWARE\\QVX\\PN", L"GiBenchmark", L"11"), kSchtasks},
     .after = {Utf16File(L"%TEMP%StartPNBM.xml",
                         L"<Task>\r\n  <Triggers>\r\n    <StartBoundary>" + Tomorrow() +
                             L"</StartBoundary>\r\n  </Triggers>\r\n</Task>")},
     .commands =
         Commands(L"StartPNBM", L"%TEMP%StartPNBM.xml", kApp + L"\\pncmd.exe", L"benchmark"),
     .arrange = Faulty({{"msvcrt.dll", "_time64", &FixedTime}})},
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
    {.szName = "LazeStart 1 in the native view deletes the logon task",
     .szAction = "DeleteSchedTaskonBranding",
     .before = {Dword(N, L"SOFTWARE\\QVX\\PN", L"LazeStart", 1),
                Dword(W, L"SOFTWARE\\QVX\\PN", L"LazeStart", 2), kSchtasks},
     .commands = {L"schtasks /delete /TN \"StartPN\" /F"}},
    RemoveCase("RemoveBenchMarkRunOnceSchedularTask", L"StartPNBM"),
    RemoveCase("RemovePNSchedularTask", L"StartPN"),
    RemoveCase("RemoveDVRSchedularTask", L"StartDVR"),
    RemoveCase("RemoveSchedularTask", L"QVX Updater"),
    {.szName = "on an STA thread: hands the definition to the service, which makes the task",
     .szAction = "CreateTriggerlessElevatedScheduleTask",
     .data = kData,
     .before = {Task(L"VarenOther")},
     .lines =
         {L"CustomActionData: " + kData, L"Task Name VarenOnDemand",
          L"Command to launch " + kCommand, L"Username Bob",
          L"Failed to call CoInitializeEx 0x80010106",
          L"RegisterTask(VarenOnDemand, flags 6, user 8 Bob, password 0, logon 3, security 8 )",
          L"Description VarenOnDemand", L"URI VarenOnDemand", L"Command " + kCommand,
          L"Successfully added VarenOnDemand Scheduled Event"},
     .after = {Task(L"VarenOnDemand")},
     .szWine = "Wine's service takes the raw \"&\" in the command; Windows rejects it",
     .arrange = NoteRegistrations},
    {.szName = "COM refused: 1, nothing registered",
     .szAction = "CreateTriggerlessElevatedScheduleTask",
     .data = kData,
     .uReturn = 1,
     .lines = {L"CustomActionData: " + kData, L"Task Name VarenOnDemand",
               L"Command to launch " + kCommand, L"Username Bob",
               L"Failed to call CoInitializeEx 0x8007000e"},
     .arrange = Faulty({{"ole32.dll", "CoInitializeEx", &RefuseCom}})},
    {.szName = "a record too short for a missing key: 1, nothing registered",
     .szAction = "CreateTriggerlessElevatedScheduleTask",
     .uReturn = 1,
     .lines = {L"CustomActionData: "}},
});

} // namespace
