// The launchers and the TaskKill routines, called directly with g_hInstall set to a
// real session, against stand-in programs that record how they were started.
#include "runtime/handles.h"
#include "runtime/session.h"
#include "system/process.h"
#include "system/process_text.h"
#include "tests/support/session_support.h"
#include "tests/support/standin_support.h"

#include <shlobj.h>
#include <tlhelp32.h>

#include <gtest/gtest.h>

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

TEST_F(TaskKillTest, KillVantorSettingsQuotingKeepsTheToolFromStarting) {
    // The one pair of quotes makes the whole text the program's name: no such
    // file, so nothing starts (Wine: ERROR_FILE_NOT_FOUND), and nothing is logged.
    std::wstring strCommand = L"\"" + Program() + L" /IM VantorSettings.exe /F\"";
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION info = {};
    EXPECT_FALSE(CreateProcessW(nullptr, strCommand.data(), nullptr, nullptr, FALSE,
                                CREATE_NO_WINDOW, nullptr, nullptr, &startup, &info));
    EXPECT_EQ(static_cast<DWORD>(ERROR_FILE_NOT_FOUND), GetLastError());

    KillVantorSettings();
    EXPECT_EQ(Lines{}, m_taskKill.CommandLines());
    EXPECT_EQ(Lines{}, m_session.Lines());
}
