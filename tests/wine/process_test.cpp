// The launchers and the TaskKill routines, called directly with g_hInstall set to a
// real session, against stand-in programs that record how they were started.
#include "runtime/handles.h"
#include "runtime/session.h"
#include "system/process.h"
#include "system/process_text.h"
#include "tests/support/session_support.h"
#include "tests/support/standin_support.h"
#include "tests/support/program_import.h"

#include <sddl.h>
#include <shellapi.h>
#include <shlobj.h>
#include <tlhelp32.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

using Lines = std::vector<std::wstring>;

namespace {

// The running children of this process whose image is szImage, opened for waiting
// and ending.
std::vector<UniqueHandle> OpenChildren(const wchar_t* szImage) {
    std::vector<UniqueHandle> children;
    UniqueHandle hSnapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    PROCESSENTRY32W entry = {};
    entry.dwSize = sizeof(entry);
    for (BOOL fMore = Process32FirstW(hSnapshot.get(), &entry); fMore;
         fMore = Process32NextW(hSnapshot.get(), &entry)) {
        if (entry.th32ParentProcessID != GetCurrentProcessId() ||
            _wcsicmp(entry.szExeFile, szImage) != 0) {
            continue;
        }
        UniqueHandle hChild(
            OpenProcess(SYNCHRONIZE | PROCESS_TERMINATE, FALSE, entry.th32ProcessID));
        if (hChild) {
            children.push_back(std::move(hChild));
        }
    }
    return children;
}

// Ends every running child of this process whose image is szImage and waits until
// each has gone.
void EndChildren(const wchar_t* szImage) {
    for (const UniqueHandle& hChild : OpenChildren(szImage)) {
        TerminateProcess(hChild.get(), 1);
        WaitForSingleObject(hChild.get(), INFINITE);
    }
}

// While it lives, a watchdog thread ends the tool.exe children of this process if
// the launch has not returned within kdwDeadline ms. It only ever fires for a
// launcher that waits for a tool that never ends: ending the tool releases that
// launcher, so the test fails instead of hanging.
class LaunchDeadline {
  public:
    LaunchDeadline()
        : m_hReturned(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
          m_hWatchdog(CreateThread(nullptr, 0, &Watch, m_hReturned.get(), 0, nullptr)) {}
    ~LaunchDeadline() {
        SetEvent(m_hReturned.get());
        WaitForSingleObject(m_hWatchdog.get(), INFINITE);
    }
    LaunchDeadline(const LaunchDeadline&) = delete;
    LaunchDeadline& operator=(const LaunchDeadline&) = delete;

  private:
    static constexpr DWORD kdwDeadline = 60000;
    static DWORD WINAPI Watch(void* hReturned) {
        if (WaitForSingleObject(static_cast<HANDLE>(hReturned), kdwDeadline) == WAIT_TIMEOUT) {
            EndChildren(L"tool.exe");
        }
        return 0;
    }
    UniqueHandle m_hReturned;
    UniqueHandle m_hWatchdog;
};

// Calls fnLaunch with the stand-in tool made to run until it is ended, and tells
// whether the tool was still running when fnLaunch returned. The tool cannot end
// on its own, so the answer does not depend on how fast the machine is; a launcher
// that waited for it returns only when the deadline ends the tool, and the answer
// is then false. The tool is ended before this returns.
template <typename TLaunch>
bool ReturnsWhileToolRuns(StandIn& tool, TLaunch fnLaunch) {
    tool.SetDelay(INFINITE);
    {
        const LaunchDeadline deadline;
        fnLaunch();
    }
    const std::vector<UniqueHandle> children = OpenChildren(L"tool.exe");
    const bool fRunning =
        children.size() == 1 && WaitForSingleObject(children[0].get(), 0) == WAIT_TIMEOUT;
    EndChildren(L"tool.exe");
    return fRunning;
}

// What one CreateProcessW call was given.
struct CreateProcessCall {
    bool fApplicationName = false;
    std::wstring strCommandLine;
    std::optional<SECURITY_ATTRIBUTES> processSecurity;
    bool fThreadSecurity = false;
    BOOL fInheritHandles = FALSE;
    DWORD dwCreationFlags = 0;
    bool fEnvironment = false;
    bool fCurrentDirectory = false;
    DWORD cbStartup = 0;
    std::vector<uintptr_t> startupRest; // every field of the start-up record after cb
};

std::vector<uintptr_t> FieldsAfterSize(const STARTUPINFOW& startup) {
    return {reinterpret_cast<uintptr_t>(startup.lpReserved),
            reinterpret_cast<uintptr_t>(startup.lpDesktop),
            reinterpret_cast<uintptr_t>(startup.lpTitle),
            startup.dwX,
            startup.dwY,
            startup.dwXSize,
            startup.dwYSize,
            startup.dwXCountChars,
            startup.dwYCountChars,
            startup.dwFillAttribute,
            startup.dwFlags,
            startup.wShowWindow,
            startup.cbReserved2,
            reinterpret_cast<uintptr_t>(startup.lpReserved2),
            reinterpret_cast<uintptr_t>(startup.hStdInput),
            reinterpret_cast<uintptr_t>(startup.hStdOutput),
            reinterpret_cast<uintptr_t>(startup.hStdError)};
}

// Records every CreateProcessW call and passes it on unchanged.
class CreateProcessRecorder {
  public:
    CreateProcessRecorder() { s_calls.clear(); }
    static const std::vector<CreateProcessCall>& Calls() { return s_calls; }

  private:
    static BOOL WINAPI Record(LPCWSTR szApplication, LPWSTR szCommandLine,
                              LPSECURITY_ATTRIBUTES pProcess, LPSECURITY_ATTRIBUTES pThread,
                              BOOL fInherit, DWORD dwFlags, LPVOID pEnvironment,
                              LPCWSTR szDirectory, LPSTARTUPINFOW pStartup,
                              LPPROCESS_INFORMATION pInfo) {
        CreateProcessCall call;
        call.fApplicationName = szApplication != nullptr;
        call.strCommandLine = szCommandLine != nullptr ? szCommandLine : L"";
        if (pProcess != nullptr) {
            call.processSecurity = *pProcess;
        }
        call.fThreadSecurity = pThread != nullptr;
        call.fInheritHandles = fInherit;
        call.dwCreationFlags = dwFlags;
        call.fEnvironment = pEnvironment != nullptr;
        call.fCurrentDirectory = szDirectory != nullptr;
        call.cbStartup = pStartup->cb;
        call.startupRest = FieldsAfterSize(*pStartup);
        s_calls.push_back(call);
        return Import::Real()(szApplication, szCommandLine, pProcess, pThread, fInherit, dwFlags,
                              pEnvironment, szDirectory, pStartup, pInfo);
    }

    using Import = ProgramImport<decltype(&CreateProcessW)>;
    Import m_import{"kernel32.dll", "CreateProcessW", &Record};
    static inline std::vector<CreateProcessCall> s_calls;
};

// Records what the security text was converted with and the descriptor it gave;
// with a non-zero FailWith the conversion fails with that error instead.
class SecurityConversionRecorder {
  public:
    explicit SecurityConversionRecorder(DWORD dwFailWith = 0) {
        s_dwFailWith = dwFailWith;
        s_texts.clear();
        s_pDescriptor = nullptr;
    }
    // Each converted text with its revision, as "<revision>|<text>".
    static const std::vector<std::wstring>& Texts() { return s_texts; }
    static PSECURITY_DESCRIPTOR Descriptor() { return s_pDescriptor; }

  private:
    static BOOL WINAPI Record(LPCWSTR szText, DWORD dwRevision, PSECURITY_DESCRIPTOR* ppDescriptor,
                              PULONG pcbDescriptor) {
        s_texts.push_back(std::to_wstring(dwRevision) + L"|" + szText);
        if (s_dwFailWith != 0) {
            SetLastError(s_dwFailWith);
            return FALSE;
        }
        const BOOL fConverted = Import::Real()(szText, dwRevision, ppDescriptor, pcbDescriptor);
        s_pDescriptor = *ppDescriptor;
        return fConverted;
    }

    using Import = ProgramImport<decltype(&ConvertStringSecurityDescriptorToSecurityDescriptorW)>;
    Import m_import{"advapi32.dll", "ConvertStringSecurityDescriptorToSecurityDescriptorW",
                    &Record};
    static inline DWORD s_dwFailWith = 0;
    static inline std::vector<std::wstring> s_texts;
    static inline PSECURITY_DESCRIPTOR s_pDescriptor = nullptr;
};

// What one ShellExecuteExW call was given.
struct ShellExecuteCall {
    DWORD cbSize = 0;
    ULONG fMask = 0;
    bool fWindow = false;
    std::wstring strVerb;
    std::wstring strFile;
    std::wstring strParameters;
    bool fDirectory = false;
    int nShow = 0;
    bool fItemList = false;
    bool fClass = false;
};

// Records every ShellExecuteExW call and passes it on unchanged.
class ShellExecuteRecorder {
  public:
    ShellExecuteRecorder() { s_calls.clear(); }
    static const std::vector<ShellExecuteCall>& Calls() { return s_calls; }

  private:
    static BOOL WINAPI Record(SHELLEXECUTEINFOW* pInfo) {
        ShellExecuteCall call;
        call.cbSize = pInfo->cbSize;
        call.fMask = pInfo->fMask;
        call.fWindow = pInfo->hwnd != nullptr;
        call.strVerb = pInfo->lpVerb != nullptr ? pInfo->lpVerb : L"(none)";
        call.strFile = pInfo->lpFile != nullptr ? pInfo->lpFile : L"(none)";
        call.strParameters = pInfo->lpParameters != nullptr ? pInfo->lpParameters : L"(none)";
        call.fDirectory = pInfo->lpDirectory != nullptr;
        call.nShow = pInfo->nShow;
        call.fItemList = pInfo->lpIDList != nullptr;
        call.fClass = pInfo->lpClass != nullptr;
        s_calls.push_back(call);
        return Import::Real()(pInfo);
    }

    using Import = ProgramImport<decltype(&ShellExecuteExW)>;
    Import m_import{"shell32.dll", "ShellExecuteExW", &Record};
    static inline std::vector<ShellExecuteCall> s_calls;
};

std::wstring UniqueToolPath() {
    return TestTempFolder() + L"varen_proc_" + NewGuid() + L"\\tool.exe";
}

class LaunchTest : public ::testing::Test {
  protected:
    LaunchTest() : m_tool(UniqueToolPath()) { g_hInstall = m_session.Handle(); }
    ~LaunchTest() override { g_hInstall = 0; }

    std::wstring Command() const { return L"\"" + m_tool.Path() + L"\" /a \"b c\""; }
    Lines StartedAndDone() const {
        return {m_tool.Path() + L"|" + Command(), m_tool.Path() + L"|done"};
    }

    ActionSession m_session;
    StandIn m_tool;
};

} // namespace

TEST_F(LaunchTest, LaunchProcessWaitsAndLogsNothing) {
    m_tool.SetDelay(300);
    std::wstring strCommand = Command();
    EXPECT_TRUE(LaunchProcess(strCommand.data(), L"", true, INFINITE));
    EXPECT_EQ(StartedAndDone(), m_tool.LogLines());
    EXPECT_EQ(Lines{}, m_session.Lines());
}

TEST_F(LaunchTest, LaunchProcessStartsWithoutAWindowFromAZeroedStartupRecord) {
    const CreateProcessRecorder recorder;
    std::wstring strCommand = Command();
    // The directory text is not used: no current directory reaches the system.
    EXPECT_TRUE(LaunchProcess(strCommand.data(), L"C:\\unused", true, INFINITE));
    ASSERT_EQ(1u, recorder.Calls().size());
    const CreateProcessCall& call = recorder.Calls()[0];
    EXPECT_FALSE(call.fApplicationName);
    EXPECT_EQ(Command(), call.strCommandLine);
    EXPECT_FALSE(call.processSecurity.has_value());
    EXPECT_FALSE(call.fThreadSecurity);
    EXPECT_EQ(FALSE, call.fInheritHandles);
    EXPECT_EQ(0x08000000u, call.dwCreationFlags); // CREATE_NO_WINDOW
    EXPECT_FALSE(call.fEnvironment);
    EXPECT_FALSE(call.fCurrentDirectory);
    EXPECT_EQ(104u, call.cbStartup);
    EXPECT_EQ(std::vector<uintptr_t>(17, 0), call.startupRest);
    EXPECT_EQ(Lines{Command()}, m_tool.CommandLines());
}

TEST_F(LaunchTest, LaunchProcessWithoutWaitReturnsWhileTheProgramRuns) {
    std::wstring strCommand = Command();
    bool fStarted = false;
    const bool fReturnedFirst = ReturnsWhileToolRuns(
        m_tool, [&] { fStarted = LaunchProcess(strCommand.data(), L"", false, INFINITE); });
    EXPECT_TRUE(fStarted);
    EXPECT_TRUE(fReturnedFirst) << "the launcher waited for the tool";
    EXPECT_EQ(Lines{}, m_session.Lines());
}

TEST_F(LaunchTest, LaunchProcessOnAMissingProgramFailsSilently) {
    std::wstring strCommand = L"\"" + TestTempFolder() + L"varen_missing\\missing.exe\" /x";
    EXPECT_FALSE(LaunchProcess(strCommand.data(), L"", true, INFINITE));
    EXPECT_EQ(Lines{}, m_session.Lines());
}

TEST_F(LaunchTest, LaunchProcessSecuredWithWait) {
    m_tool.SetDelay(300);
    std::wstring strCommand = Command();
    EXPECT_EQ(1, LaunchProcessSecured(strCommand.data(), L"", true, INFINITE));
    EXPECT_EQ(StartedAndDone(), m_tool.LogLines());
    EXPECT_EQ((Lines{L"VAREN_CA Security String converted",
                     L"CreateProcess successfully launched " + Command() +
                         L" \nWaitng for process to return...",
                     L"CreateProcess successfully returned from wait after launching " + Command() +
                         L" \n"}),
              m_session.Lines());
}

TEST_F(LaunchTest, LaunchProcessSecuredGivesTheProcessTheFixedDescriptor) {
    const SecurityConversionRecorder conversion;
    const CreateProcessRecorder recorder;
    std::wstring strCommand = Command();
    EXPECT_EQ(1, LaunchProcessSecured(strCommand.data(), L"C:\\unused", true, INFINITE));
    EXPECT_EQ(Lines{L"1|D:(A;OICI;GA;;;SY)(A;OICI;GA;;;BA)(A;OICI;GA;;;CO)(A;OICI;GRGWGX;;;IU)"},
              conversion.Texts());
    ASSERT_NE(nullptr, conversion.Descriptor());
    ASSERT_EQ(1u, recorder.Calls().size());
    const CreateProcessCall& call = recorder.Calls()[0];
    EXPECT_FALSE(call.fApplicationName);
    EXPECT_EQ(Command(), call.strCommandLine);
    ASSERT_TRUE(call.processSecurity.has_value());
    EXPECT_EQ(24u, call.processSecurity->nLength);
    EXPECT_EQ(conversion.Descriptor(), call.processSecurity->lpSecurityDescriptor);
    EXPECT_EQ(TRUE, call.processSecurity->bInheritHandle);
    EXPECT_FALSE(call.fThreadSecurity);
    EXPECT_EQ(FALSE, call.fInheritHandles);
    EXPECT_EQ(0u, call.dwCreationFlags);
    EXPECT_FALSE(call.fEnvironment);
    EXPECT_FALSE(call.fCurrentDirectory);
    EXPECT_EQ(104u, call.cbStartup);
    EXPECT_EQ(std::vector<uintptr_t>(17, 0), call.startupRest);
    EXPECT_EQ(Lines{Command()}, m_tool.CommandLines());
}

TEST_F(LaunchTest, LaunchProcessSecuredLaunchesWithDefaultSecurityWhenTheTextDoesNotConvert) {
    const SecurityConversionRecorder conversion(ERROR_INVALID_SID);
    const CreateProcessRecorder recorder;
    std::wstring strCommand = Command();
    EXPECT_EQ(1, LaunchProcessSecured(strCommand.data(), L"", true, INFINITE));
    ASSERT_EQ(1u, recorder.Calls().size());
    ASSERT_TRUE(recorder.Calls()[0].processSecurity.has_value());
    EXPECT_EQ(nullptr, recorder.Calls()[0].processSecurity->lpSecurityDescriptor);
    EXPECT_EQ(Lines{Command()}, m_tool.CommandLines());
    EXPECT_EQ(
        (Lines{L"VAREN_CA Failed to ConvertStringSecurityDescriptorToSecurityDescriptor: error "
               L"= 1337\n",
               L"CreateProcess successfully launched " + Command() +
                   L" \nWaitng for process to return...",
               L"CreateProcess successfully returned from wait after launching " + Command() +
                   L" \n"}),
        m_session.Lines());
}

TEST_F(LaunchTest, LaunchProcessSecuredWithoutWait) {
    std::wstring strCommand = Command();
    int iStarted = 0;
    const bool fReturnedFirst = ReturnsWhileToolRuns(
        m_tool, [&] { iStarted = LaunchProcessSecured(strCommand.data(), L"", false, INFINITE); });
    EXPECT_EQ(1, iStarted);
    EXPECT_TRUE(fReturnedFirst) << "the launcher waited for the tool";
    EXPECT_EQ((Lines{L"VAREN_CA Security String converted",
                     L"CreateProcess successfully launched " + Command() +
                         L" \nWating flag was not set."}),
              m_session.Lines());
}

TEST_F(LaunchTest, LaunchProcessSecuredOnAMissingProgram) {
    const std::wstring strMissing = TestTempFolder() + L"varen_missing\\missing.exe /x";
    std::wstring strCommand = strMissing;
    EXPECT_EQ(0, LaunchProcessSecured(strCommand.data(), L"", true, INFINITE));
    EXPECT_EQ((Lines{L"VAREN_CA Security String converted",
                     L"\nVAREN_CA Failed to lauch >" + strMissing + L"<\n Last error return: 2\n"}),
              m_session.Lines());
}

TEST_F(LaunchTest, NullCommandLineFailsWithoutACrash) {
    EXPECT_FALSE(LaunchProcess(nullptr, L"", true, INFINITE));
    EXPECT_EQ(Lines{}, m_session.Lines());
    EXPECT_EQ(0, LaunchProcessSecured(nullptr, L"", true, INFINITE));
    // Never handed to CreateProcessW (Wine's faults on it): ERROR_INVALID_PARAMETER.
    EXPECT_EQ((Lines{L"VAREN_CA Security String converted",
                     L"\nVAREN_CA Failed to lauch ><\n Last error return: 87\n"}),
              m_session.Lines());
}

TEST_F(LaunchTest, ShellExecuteAndWaitWaitsForTheProgram) {
    m_tool.SetDelay(300);
    EXPECT_TRUE(ShellExecuteAndWait(m_tool.Path().c_str(), L"/a \"b c\"", true));
    // Wine's shell quotes the program and appends the parameters as given.
    EXPECT_EQ(StartedAndDone(), m_tool.LogLines());
    EXPECT_EQ((Lines{L"Varen_CA launched the following successfully: " + m_tool.Path() +
                         L" \nWaiting for process to end...",
                     L"Varen_CA Process: " + m_tool.Path() + L" \nsuccessfully ended launching"}),
              m_session.Lines());
}

TEST_F(LaunchTest, ShellExecuteAndWaitOpensShownNormallyAndKeepsTheProcess) {
    const ShellExecuteRecorder recorder;
    EXPECT_TRUE(ShellExecuteAndWait(m_tool.Path().c_str(), L"/a \"b c\"", true));
    ASSERT_EQ(1u, recorder.Calls().size());
    const ShellExecuteCall& call = recorder.Calls()[0];
    EXPECT_EQ(112u, call.cbSize);
    EXPECT_EQ(0x40u, call.fMask); // SEE_MASK_NOCLOSEPROCESS
    EXPECT_FALSE(call.fWindow);
    EXPECT_EQ(L"open", call.strVerb);
    EXPECT_EQ(m_tool.Path(), call.strFile);
    EXPECT_EQ(L"/a \"b c\"", call.strParameters);
    EXPECT_FALSE(call.fDirectory);
    EXPECT_EQ(1, call.nShow); // SW_SHOWNORMAL
    EXPECT_FALSE(call.fItemList);
    EXPECT_FALSE(call.fClass);
}

TEST_F(LaunchTest, ShellExecuteAndWaitWithoutWait) {
    bool fStarted = false;
    const bool fReturnedFirst = ReturnsWhileToolRuns(m_tool, [&] {
        fStarted = ShellExecuteAndWait(m_tool.Path().c_str(), L"/a \"b c\"", false);
    });
    EXPECT_TRUE(fStarted);
    EXPECT_TRUE(fReturnedFirst) << "the launcher waited for the tool";
    EXPECT_EQ(Lines{L"Varen_CA launched the following successfully: " + m_tool.Path()},
              m_session.Lines());
}

TEST_F(LaunchTest, ShellExecuteAndWaitFailuresNameTheMessageNotTheFile) {
    EXPECT_FALSE(
        ShellExecuteAndWait((TestTempFolder() + L"varen_missing\\missing.exe").c_str(), L"", true));
    const std::wstring strDocument = TestTempFolder() + L"varen_" + NewGuid() + L".varennoassoc";
    UniqueHandle hFile(
        CreateFileW(strDocument.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
    hFile.reset();
    EXPECT_FALSE(ShellExecuteAndWait(strDocument.c_str(), L"", true));
    DeleteFileW(strDocument.c_str());
    EXPECT_EQ((Lines{L"Varen_CA failed to launch the following: File not found.",
                     L"Varen_CA failed to launch the following: File association not available."}),
              m_session.Lines());
}

TEST_F(LaunchTest, ShellExecuteAndWaitWithNoFileFailsWithoutACrash) {
    EXPECT_FALSE(ShellExecuteAndWait(nullptr, nullptr, true));
    const Lines lines = m_session.Lines();
    ASSERT_EQ(1u, lines.size());
    EXPECT_TRUE(lines[0].starts_with(L"Varen_CA failed to launch the following: ")) << lines[0];
}

TEST_F(LaunchTest, RunBoundedCommandStartsTheCutLineAndWaits) {
    m_tool.SetDelay(200);
    const std::wstring strLong = L"\"" + m_tool.Path() + L"\" " + std::wstring(600, L'a');
    EXPECT_TRUE(RunBoundedCommand(strLong, kcchInterpreterCommandBuffer));
    EXPECT_EQ((Lines{m_tool.Path() + L"|" + strLong.substr(0, 519), m_tool.Path() + L"|done"}),
              m_tool.LogLines());
    EXPECT_TRUE(RunBoundedCommand(strLong, kcchToolCommandBuffer));
    EXPECT_EQ(strLong.substr(0, 518), m_tool.CommandLines().back());
    EXPECT_EQ(Lines{}, m_session.Lines());
}

namespace {

// The stand-in in place of the system folder's TaskKill.exe (Wine's own is
// overridden while it is there).
class TaskKillTest : public ::testing::Test {
  protected:
    TaskKillTest() : m_taskKill(KnownFolder(CSIDL_SYSTEM) + L"\\TaskKill.exe") {
        g_hInstall = m_session.Handle();
    }
    ~TaskKillTest() override { g_hInstall = 0; }
    std::wstring Program() const { return KnownFolder(CSIDL_SYSTEM) + L"\\TaskKill.exe"; }

    ActionSession m_session;
    StandIn m_taskKill;
};

} // namespace

TEST_F(TaskKillTest, TaskKillImageQuotesTheProgramAndWaits) {
    m_taskKill.SetDelay(300);
    TaskKillImage(L"Foo Bar.exe");
    const Lines lines = m_taskKill.LogLines();
    ASSERT_EQ(2u, lines.size());
    EXPECT_EQ(Lines{L"\"" + Program() + L"\" /IM Foo Bar.exe /F"}, m_taskKill.CommandLines());
    EXPECT_TRUE(lines[1].ends_with(L"|done"));
    EXPECT_EQ(Lines{}, m_session.Lines());
}

TEST_F(TaskKillTest, TaskKillImageCutsTheCommandAt518Characters) {
    const std::wstring strImage(600, L'i');
    TaskKillImage(strImage.c_str());
    const std::wstring strFull = L"\"" + Program() + L"\" /IM " + strImage + L" /F";
    EXPECT_EQ(Lines{strFull.substr(0, 518)}, m_taskKill.CommandLines());
}

TEST_F(TaskKillTest, TaskKillImageWithNoImageNamesAnEmptyOne) {
    TaskKillImage(nullptr);
    EXPECT_EQ(Lines{L"\"" + Program() + L"\" /IM  /F"}, m_taskKill.CommandLines());
    EXPECT_EQ(Lines{}, m_session.Lines());
}

TEST_F(TaskKillTest, KillVantorSettingsQuotingKeepsTheToolFromStarting) {
    // The one pair of quotes makes the whole text the program's name: no such
    // file, so nothing starts (Wine: ERROR_FILE_NOT_FOUND), and nothing is logged.
    const CreateProcessRecorder recorder;
    KillVantorSettings();
    ASSERT_EQ(1u, recorder.Calls().size());
    EXPECT_EQ(L"\"" + Program() + L" /IM VantorSettings.exe /F\"",
              recorder.Calls()[0].strCommandLine);
    EXPECT_EQ(0x08000000u, recorder.Calls()[0].dwCreationFlags);
    EXPECT_EQ(Lines{}, m_taskKill.CommandLines());
    EXPECT_EQ(Lines{}, m_session.Lines());
}
