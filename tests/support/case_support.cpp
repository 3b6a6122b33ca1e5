// The runner of the case format (cases.h): arranges a case's machine, calls its
// export in a fresh session, checks every outcome and puts the machine back.
#include "tests/support/cases.h"

#include "runtime/handles.h"
#include "tests/support/registry_support.h"
#include "tests/support/service_support.h"
#include "tests/support/standin_support.h"
#include "tests/support/task_support.h"

#include <msiquery.h>
#include <shlobj.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace fs = std::filesystem;

namespace cases {

namespace {

using Kind = Item::Kind;

std::string Narrow(const std::wstring& strText) {
    const int cb = WideCharToMultiByte(CP_UTF8, 0, strText.data(), static_cast<int>(strText.size()),
                                       nullptr, 0, nullptr, nullptr);
    std::string strNarrow(cb, '\0');
    WideCharToMultiByte(CP_UTF8, 0, strText.data(), static_cast<int>(strText.size()),
                        strNarrow.data(), cb, nullptr, nullptr);
    return strNarrow;
}

// A line as the failure output shows it: brackets show blanks, "\n" is spelled out.
std::string Shown(const std::wstring& strLine) {
    std::string strShown = "[";
    for (char ch : Narrow(strLine)) {
        strShown += ch == '\n' ? std::string("\\n") : std::string(1, ch);
    }
    return strShown + "]";
}

// Wine's Recycle Bin is the host user's trash ($XDG_DATA_HOME/Trash or
// ~/.local/share/Trash), shared by every prefix and reached through drive Z:.
fs::path TrashFolder() {
    wchar_t szData[MAX_PATH] = {};
    const DWORD cchData = GetEnvironmentVariableW(L"XDG_DATA_HOME", szData, MAX_PATH);
    if (cchData > 0 && cchData < MAX_PATH) {
        std::wstring strData = szData;
        std::replace(strData.begin(), strData.end(), L'/', L'\\');
        return fs::path(L"Z:" + strData) / L"Trash";
    }
    wchar_t szHome[MAX_PATH] = {};
    GetEnvironmentVariableW(L"WINEHOMEDIR", szHome, MAX_PATH); // "\??\Z:\home\user"
    const std::wstring strHome = szHome;
    return fs::path(strHome.starts_with(L"\\??\\") ? strHome.substr(4) : strHome) / L".local" /
           L"share" / L"Trash";
}

const std::vector<std::pair<std::wstring, std::wstring>>& Tokens() {
    static const std::vector<std::pair<std::wstring, std::wstring>> tokens = {
        {L"%CASE%", TestTempFolder() + L"varen_case"},
        {L"%TEMP%", TestTempFolder()},
        {L"%WINDIR%", KnownFolder(CSIDL_WINDOWS)},
        {L"%SYSTEM%", KnownFolder(CSIDL_SYSTEM)},
        {L"%PROGRAMFILES32%", KnownFolder(CSIDL_PROGRAM_FILESX86)},
        {L"%PROGRAMFILES%", KnownFolder(CSIDL_PROGRAM_FILES)},
        {L"%COMMONFILES%", KnownFolder(CSIDL_PROGRAM_FILES_COMMON)},
        {L"%PROGRAMDATA%", KnownFolder(CSIDL_COMMON_APPDATA)},
        {L"%TRASH%", (TrashFolder() / L"files").wstring()},
        // Names sent to the Recycle Bin, shared by every prefix on the machine, carry
        // a tag of this run so that concurrent runs do not meet there.
        {L"%RUN%", std::to_wstring(GetCurrentProcessId()) + L"_" + std::to_wstring(GetTickCount())},
        {L"%CURRENT%", fs::current_path().wstring()},
        {L"%COMMONDESKTOP%", KnownFolder(CSIDL_COMMON_DESKTOPDIRECTORY)},
        {L"%COMMONPROGRAMS%", KnownFolder(CSIDL_COMMON_PROGRAMS)},
    };
    return tokens;
}

bool IsFileSystem(const Item& item) {
    return item.kind == Kind::File || item.kind == Kind::Folder || item.kind == Kind::Program ||
           item.kind == Kind::Shortcut || item.kind == Kind::Process;
}

// Items known by name alone: services and tasks.
bool IsNamed(const Item& item) {
    return item.kind == Kind::Service || item.kind == Kind::Task;
}

bool SamePath(const std::wstring& strA, const std::wstring& strB) {
    return CompareStringOrdinal(strA.c_str(), -1, strB.c_str(), -1, TRUE) == CSTR_EQUAL;
}

// strPath is strTop or lies below it.
bool IsAtOrBelow(const std::wstring& strPath, const std::wstring& strTop) {
    return strPath.size() >= strTop.size() && SamePath(strPath.substr(0, strTop.size()), strTop) &&
           (strPath.size() == strTop.size() || strPath[strTop.size()] == L'\\');
}

// The registry views an item is checked in; anything else is checked once.
std::vector<View> ViewsOf(const Item& item) {
    if (IsFileSystem(item) || IsNamed(item) || item.views == N) {
        return {View::Native};
    }
    return item.views == W ? std::vector<View>{View::Wow32}
                           : std::vector<View>{View::Native, View::Wow32};
}

std::string Describe(const Item& item, View view) {
    static const char* const kKinds[] = {"key",     "value",    "file",    "folder", "program",
                                         "service", "shortcut", "process", "link",   "task"};
    const std::string strKind = kKinds[static_cast<int>(item.kind)];
    if (IsNamed(item) || IsFileSystem(item)) {
        return strKind + " " + Narrow(IsNamed(item) ? item.strName : item.strPath);
    }
    return strKind + (item.hRoot == HKEY_CURRENT_USER ? " HKCU\\" : " HKLM\\") +
           Narrow(item.strPath) +
           (item.kind == Kind::Value ? " [" + Narrow(item.strName) + "]" : "") +
           (item.kind == Kind::Link ? " -> HKLM\\" + Narrow(item.strName) : "") +
           (view == View::Wow32 ? " in the 32-bit view" : " in the 64-bit view");
}

std::vector<BYTE> ReadFileBytes(const std::wstring& strPath) {
    std::ifstream file(fs::path(strPath), std::ios::binary);
    return std::vector<BYTE>(std::istreambuf_iterator<char>(file), {});
}

// "<target>|<arguments>|<working folder>" of a shell link, or "unreadable".
std::wstring ReadShortcut(const std::wstring& strPath) {
    // {00021401-0000-0000-C000-000000000046}: the shell's link object.
    constexpr CLSID kClsidShellLink = {0x00021401, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
    const ComApartment apartment;
    UniqueComPtr<IShellLinkW> pLink;
    UniqueComPtr<IPersistFile> pFile;
    wchar_t szTarget[MAX_PATH] = {}, szArguments[1024] = {}, szFolder[MAX_PATH] = {};
    if (SUCCEEDED(CoCreateInstance(kClsidShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_IShellLinkW,
                                   reinterpret_cast<void**>(pLink.put()))) &&
        SUCCEEDED(
            pLink.get()->QueryInterface(IID_IPersistFile, reinterpret_cast<void**>(pFile.put()))) &&
        SUCCEEDED(pFile.get()->Load(strPath.c_str(), STGM_READ)) &&
        SUCCEEDED(pLink.get()->GetPath(szTarget, MAX_PATH, nullptr, SLGP_RAWPATH)) &&
        SUCCEEDED(pLink.get()->GetArguments(szArguments, 1024)) &&
        SUCCEEDED(pLink.get()->GetWorkingDirectory(szFolder, MAX_PATH))) {
        return std::wstring(szTarget) + L"|" + szArguments + L"|" + szFolder;
    }
    return L"unreadable";
}

bool FileSystemExists(const std::wstring& strPath) {
    return GetFileAttributesW(strPath.c_str()) != INVALID_FILE_ATTRIBUTES;
}

bool Exists(const Item& item, View view) {
    switch (item.kind) {
    case Kind::Key:
        return KeyExists(item.hRoot, view, item.strPath);
    case Kind::Value:
        return ReadRaw(item.hRoot, view, item.strPath, item.strName).has_value();
    case Kind::Service:
        return ServiceState(item.strName).has_value();
    case Kind::Link:
        return LinkExists(item.hRoot, view, item.strPath);
    case Kind::Task:
        return TaskRoot().Exists(item.strName);
    default:
        return FileSystemExists(item.strPath);
    }
}

// Empty when the item is there as described; otherwise what differs.
std::string Mismatch(const Item& item, View view) {
    if (!Exists(item, view)) {
        return "missing";
    }
    if (item.kind == Kind::Value) {
        const auto stored = ReadRaw(item.hRoot, view, item.strPath, item.strName);
        if (stored->first != item.dwType || stored->second != item.data) {
            return "changed (type " + std::to_string(stored->first) + ", " +
                   std::to_string(stored->second.size()) + " bytes)";
        }
    }
    if (item.kind == Kind::File && ReadFileBytes(item.strPath) != item.data) {
        return "content changed";
    }
    const DWORD dwState = item.kind == Kind::Service ? ServiceState(item.strName).value_or(0) : 0;
    if (dwState != item.dwState) {
        return "in state " + std::to_string(dwState) + ", not " + std::to_string(item.dwState);
    }
    const std::wstring strLink = item.kind == Kind::Shortcut ? ReadShortcut(item.strPath) : L"";
    if (strLink != (item.kind == Kind::Shortcut ? item.strName : L"")) {
        return "a link to " + Shown(strLink) + ", expected " + Shown(item.strName);
    }
    return {};
}

// A gone item takes an arranged one: the same value, file, service or task, or
// anything at or below a gone key or folder.
bool Takes(const Item& gone, const Item& item, View view) {
    if (IsNamed(gone) || IsNamed(item)) {
        return gone.kind == item.kind && SamePath(gone.strName, item.strName);
    }
    if (IsFileSystem(gone) || IsFileSystem(item)) {
        return IsFileSystem(gone) && IsFileSystem(item) &&
               (gone.kind == Kind::Folder ? IsAtOrBelow(item.strPath, gone.strPath)
                                          : SamePath(item.strPath, gone.strPath));
    }
    if (gone.hRoot != item.hRoot || !(gone.views & (view == View::Native ? N : W))) {
        return false;
    }
    return gone.kind == Kind::Key
               ? IsAtOrBelow(item.strPath, gone.strPath)
               : item.kind == Kind::Value && SamePath(item.strPath, gone.strPath) &&
                     SamePath(item.strName, gone.strName);
}

std::wstring Parent(const std::wstring& strPath) {
    const size_t iSlash = strPath.find_last_of(L'\\');
    return iSlash == std::wstring::npos ? std::wstring() : strPath.substr(0, iSlash);
}

// The shallowest path on the way to strPath that fExists denies, or "".
template <typename TExists>
std::wstring FirstMissing(std::wstring strPath, size_t cchRoot, TExists fExists) {
    std::wstring strTop;
    for (; strPath.size() > cchRoot && !fExists(strPath); strPath = Parent(strPath)) {
        strTop = strPath;
    }
    return strTop;
}

// The test machines have no display, and Wine without a display driver fails every
// top-level window. A case whose applications show windows runs on a desktop of its
// own whose desktop process loads Wine's null driver; the test thread moves to it for
// the case, so that the action sees the windows there. Once a process has enumerated
// windows on it, the null driver stays loaded in that process, and a message box of
// any later action would wait for a click that never comes: such cases therefore run
// in their own pass ("Desktop_*", the test cases_desktop).
constexpr wchar_t kDesktop[] = L"VarenCases";
constexpr wchar_t kDrivers[] = L"Software\\Wine\\Drivers";

bool ShowsWindows(const Case& c) {
    return std::any_of(c.before.begin(), c.before.end(), [](const Item& item) {
        return item.kind == Kind::Process && item.strName != L"none";
    });
}

// One case's machine: what it arranges, each with the step that puts the machine
// back, taken in reverse order when the case ends (services go before the folders
// of their programs, stand-ins are restored before what they were placed in).
class Machine {
  public:
    ~Machine() {
        std::for_each(m_undo.rbegin(), m_undo.rend(), [](const auto& undo) { undo(); });
    }

    // Notes what the item would make that is not there yet, to remove afterwards:
    // the shallowest key or folder on its path that does not exist, or a value alone.
    void NoteLeftovers(const Item& item) {
        if (item.kind == Kind::Task) {
            if (!TaskRoot().Exists(item.strName)) {
                m_undo.emplace_back([strName = item.strName] { TaskRoot().Delete(strName); });
            }
            return;
        }
        if (IsFileSystem(item) || item.kind == Kind::Service) {
            const fs::path top = FirstMissing(item.strPath, 3, FileSystemExists);
            m_undo.emplace_back([top] {
                if (top.empty()) {
                    return;
                }
                std::error_code error;
                fs::remove_all(top, error);
                if (top.parent_path() == TrashFolder() / L"files") {
                    fs::remove(TrashFolder() / L"info" / (top.filename().wstring() + L".trashinfo"),
                               error);
                }
            });
        }
        if (item.kind == Kind::Service) {
            m_undo.emplace_back([item] { RemoveTestService(item.strName, item.strPath); });
        }
        for (View view :
             IsFileSystem(item) || IsNamed(item) ? std::vector<View>{} : ViewsOf(item)) {
            const std::wstring strTop = FirstMissing(item.strPath, 0, [&](const std::wstring& str) {
                return KeyExists(item.hRoot, view, str);
            });
            if (!strTop.empty()) {
                m_undo.emplace_back([item, view, strTop] { DeleteTree(item.hRoot, view, strTop); });
            } else if (item.kind == Kind::Value && !Exists(item, view)) {
                m_undo.emplace_back(
                    [item, view] { DeleteValue(item.hRoot, view, item.strPath, item.strName); });
            }
        }
    }

    void Arrange(const Item& item) {
        if (IsFileSystem(item) || item.kind == Kind::Service) {
            fs::create_directories(fs::path(item.strPath).parent_path());
        }
        for (View view : ViewsOf(item)) {
            if (item.kind == Kind::Key) {
                CreateKey(item.hRoot, view, item.strPath);
            } else if (item.kind == Kind::Value) {
                SetRaw(item.hRoot, view, item.strPath, item.strName, item.dwType, item.data.data(),
                       static_cast<DWORD>(item.data.size()));
            } else if (item.kind == Kind::Link) {
                CreateLink(item.hRoot, view, item.strPath, item.strName);
            }
        }
        switch (item.kind) {
        case Kind::Folder:
            fs::create_directories(fs::path(item.strPath));
            break;
        case Kind::File:
            std::ofstream(fs::path(item.strPath), std::ios::binary)
                .write(reinterpret_cast<const char*>(item.data.data()),
                       static_cast<std::streamsize>(item.data.size()));
            break;
        case Kind::Program:
            PlaceProgram(item);
            break;
        case Kind::Service:
            CreateTestService(item.strName, item.strPath, item.strArguments, item.dwState,
                              BuiltProgram(L"varen_service.exe"));
            break;
        case Kind::Task:
            TaskRoot().Register(item.strName);
            break;
        case Kind::Shortcut:
            ADD_FAILURE() << "a shortcut is made by the action, not arranged";
            break;
        default:
            break;
        }
    }

    // Moves the thread to a desktop of its own whose desktop process loads Wine's
    // null display driver (see kDesktop).
    void UsePrivateDesktop() {
        GetDesktopWindow(); // the default desktop keeps the driver it already has
        static const wchar_t kNull[] = L"null";
        SetRaw(HKEY_CURRENT_USER, View::Native, kDrivers, L"Graphics", REG_SZ, kNull,
               sizeof(kNull));
        const HDESK hDefault = GetThreadDesktop(GetCurrentThreadId());
        const HDESK hDesktop = CreateDesktopW(kDesktop, nullptr, nullptr, 0, GENERIC_ALL, nullptr);
        EXPECT_TRUE(hDesktop && SetThreadDesktop(hDesktop)) << "cannot use a desktop of its own";
        m_undo.emplace_back([hDefault, hDesktop] {
            SetThreadDesktop(hDefault);
            if (hDesktop) {
                CloseDesktop(hDesktop);
            }
            DeleteValue(HKEY_CURRENT_USER, View::Native, kDrivers, L"Graphics");
        });
    }

    // Starts a Running item: the stand-in copied to its path, as an application
    // ready to be asked to close when this returns; it is ended with the case.
    void Start(const Item& item) {
        EXPECT_TRUE(CopyFileW(BuiltProgram(L"standin.exe").c_str(), item.strPath.c_str(), FALSE))
            << "cannot place " << Narrow(item.strPath);
        const std::wstring strReady = L"VarenStandInReady_" + NewGuid();
        const UniqueHandle hReady(CreateEventW(nullptr, TRUE, FALSE, strReady.c_str()));
        SetEnvironmentVariableW(L"VARENCA_STANDIN_WINDOW", item.strName.c_str());
        SetEnvironmentVariableW(L"VARENCA_STANDIN_READY", strReady.c_str());
        STARTUPINFOW startup = {};
        startup.cb = sizeof(startup);
        std::wstring strDesktop = kDesktop;
        startup.lpDesktop = item.strName == L"none" ? nullptr : strDesktop.data();
        PROCESS_INFORMATION info = {};
        std::wstring strCommand = L"\"" + item.strPath + L"\"";
        if (CreateProcessW(item.strPath.c_str(), strCommand.data(), nullptr, nullptr, FALSE, 0,
                           nullptr, nullptr, &startup, &info)) {
            CloseHandle(info.hThread);
            const HANDLE waits[] = {hReady.get(), info.hProcess};
            EXPECT_EQ(WAIT_OBJECT_0, WaitForMultipleObjects(2, waits, FALSE, 30000))
                << "the application did not get ready";
            m_applications.emplace_back(item.strPath, info.hProcess);
            m_undo.emplace_back([hProcess = info.hProcess] {
                TerminateProcess(hProcess, 0);
                WaitForSingleObject(hProcess, 30000);
                CloseHandle(hProcess);
            });
        } else {
            ADD_FAILURE() << "cannot start " << Narrow(item.strPath);
        }
        SetEnvironmentVariableW(L"VARENCA_STANDIN_WINDOW", nullptr);
        SetEnvironmentVariableW(L"VARENCA_STANDIN_READY", nullptr);
    }

    // The applications started, by path, with their processes.
    const std::vector<std::pair<std::wstring, HANDLE>>& Applications() const {
        return m_applications;
    }
    StandIns& Programs() { return m_programs; }

  private:
    // The stand-in at the path of a program the action starts; a file there is put
    // aside until the case ends.
    void PlaceProgram(const Item& item) {
        const std::wstring strAside = item.strPath + L".varen-original";
        const bool fAside =
            MoveFileExW(item.strPath.c_str(), strAside.c_str(), MOVEFILE_REPLACE_EXISTING);
        m_programs.Place(item.strPath, item.uDelayMs);
        m_undo.emplace_back([item, strAside, fAside] {
            DeleteFileW(item.strPath.c_str());
            if (fAside) {
                MoveFileExW(strAside.c_str(), item.strPath.c_str(), MOVEFILE_REPLACE_EXISTING);
            }
        });
    }

    std::vector<std::function<void()>> m_undo;
    std::vector<std::pair<std::wstring, HANDLE>> m_applications;
    StandIns m_programs; // restores what it changed after the undo steps above
};

Item ExpandItem(Item item) {
    item.strPath = Expand(item.strPath);
    item.strArguments = Expand(item.strArguments);
    if (item.kind == Kind::Shortcut) {
        item.strName = Expand(item.strName);
    }
    if (item.kind == Kind::Value && (item.dwType == REG_SZ || item.dwType == REG_EXPAND_SZ)) {
        const std::wstring strText =
            Expand(std::wstring(reinterpret_cast<const wchar_t*>(item.data.data()),
                                item.data.size() / sizeof(wchar_t)));
        const auto* pBytes = reinterpret_cast<const BYTE*>(strText.data());
        item.data.assign(pBytes, pBytes + strText.size() * sizeof(wchar_t));
    }
    if (item.kind == Kind::File) {
        // Tokens in a file's bytes become UTF-8; every other byte stays as it is.
        std::string strBytes(item.data.begin(), item.data.end());
        for (const auto& [strToken, strValue] : Tokens()) {
            const std::string strNarrowToken = Narrow(strToken), strNarrowValue = Narrow(strValue);
            for (size_t i = strBytes.find(strNarrowToken); i != std::string::npos;
                 i = strBytes.find(strNarrowToken, i + strNarrowValue.size())) {
                strBytes.replace(i, strNarrowToken.size(), strNarrowValue);
            }
        }
        item.data.assign(strBytes.begin(), strBytes.end());
    }
    return item;
}

template <typename T, typename TExpand>
std::vector<T> ExpandAll(const std::vector<T>& items, TExpand expand) {
    std::vector<T> expanded;
    std::transform(items.begin(), items.end(), std::back_inserter(expanded), expand);
    return expanded;
}

PropertyRows ExpandRows(const PropertyRows& rows) {
    return ExpandAll(rows,
                     [](const auto& row) { return std::pair(row.first, Expand(row.second)); });
}

// Fails with the first line that differs and the whole list that came.
void ExpectLines(const char* szWhat, const Lines& expected, const Lines& actual) {
    const Lines expanded = ExpandAll(expected, Expand);
    if (expanded == actual) {
        return;
    }
    const auto [itExpected, itActual] =
        std::mismatch(expanded.begin(), expanded.end(), actual.begin(), actual.end());
    std::string strAll;
    for (const std::wstring& strLine : actual) {
        strAll += "    " + Shown(strLine) + "\n";
    }
    ADD_FAILURE() << szWhat << ": first difference at line " << itActual - actual.begin() + 1
                  << ": expected "
                  << (itExpected != expanded.end() ? Shown(*itExpected) : "no more lines")
                  << ", got " << (itActual != actual.end() ? Shown(*itActual) : "no more lines")
                  << "\n  all " << actual.size() << " " << szWhat << ":\n"
                  << strAll;
}

std::vector<std::wstring> g_debugLines;
int g_cFaultCalls = 0;
bool g_fFaultPlaced = false;
MSIHANDLE g_hCaseSession = 0;    // the running case's session, for Note
HMODULE g_hCaseModule = nullptr; // the library it loaded, for Fault

void WINAPI CaptureDebugOutput(LPCWSTR szText) {
    g_debugLines.emplace_back(szText ? szText : L"(null)");
}

// What the action did in its session.
struct Outcome {
    UINT uReturn = 0;
    Lines lines, messages, commands;
    PropertyRows set;
};

Outcome CallAction(const Case& c, Machine& machine) {
    Outcome outcome;
    PropertyRows properties = ExpandRows(c.properties);
    if (c.data) {
        properties.emplace_back(L"CustomActionData", Expand(*c.data));
    }
    ActionSession session(properties, c.orx ? std::optional(ExpandRows(*c.orx)) : std::nullopt,
                          c.szDll);
    g_hCaseModule = session.Module();
    std::optional<ImportPatch> debugCapture;
    try {
        debugCapture.emplace(session.Module(), "kernel32.dll", "OutputDebugStringW",
                             reinterpret_cast<void*>(&CaptureDebugOutput));
    } catch (const std::runtime_error&) {
        // The DLL writes nothing to the debugger output.
    }
    g_debugLines.clear();
    g_cFaultCalls = 0;
    g_fFaultPlaced = false;
    g_hCaseSession = session.Handle();
    size_t cDoneAtReturn = 0; // a "done" recorded later was not waited for by the action
    {
        const std::shared_ptr<void> pArranged = c.arrange ? c.arrange(session) : nullptr;
        const std::vector<DWORD> running = machine.Programs().Running();
        outcome.uReturn = session.Call(c.szAction);
        const Lines log = machine.Programs().Log();
        cDoneAtReturn = std::count(log.begin(), log.end(), L"done");
        machine.Programs().AwaitNew(running);
    }
    EXPECT_FALSE(g_fFaultPlaced && g_cFaultCalls == 0) << "the fault's shim was never called";
    for (const CapturedRecord& record : session.Records()) {
        ((record.uType & 0xFF000000) == INSTALLMESSAGE_USER ? outcome.messages : outcome.lines)
            .push_back(record.strText);
    }
    size_t cDone = 0;
    for (const std::wstring& strLine : machine.Programs().Log()) {
        if (strLine != L"done" || cDone++ < cDoneAtReturn) {
            outcome.commands.push_back(strLine);
        }
    }
    for (const auto& row : c.set) {
        outcome.set.emplace_back(row.first, session.Property(row.first.c_str()));
    }
    return outcome;
}

void RunCase(const Case& c) {
    std::optional<testing::ScopedTrace> wineNote;
    if (c.szWine) {
        wineNote.emplace(__FILE__, __LINE__,
                         std::string("expectation is Wine's behaviour: ") + c.szWine);
    }
    const fs::path caseFolder = Expand(L"%CASE%");
    std::error_code error;
    fs::remove_all(caseFolder, error);
    const std::vector<Item> before = ExpandAll(c.before, ExpandItem);
    const std::vector<Item> gone = ExpandAll(c.gone, ExpandItem);
    const std::vector<Item> after = ExpandAll(c.after, ExpandItem);
    {
        Machine machine;
        for (const std::vector<Item>* pItems : {&before, &gone, &after}) {
            for (const Item& item : *pItems) {
                machine.NoteLeftovers(item);
            }
        }
        for (const Item& item : before) {
            machine.Arrange(item);
        }
        if (ShowsWindows(c)) {
            machine.UsePrivateDesktop();
        }
        for (const Item& item : before) {
            if (item.kind == Kind::Process) {
                machine.Start(item);
            }
        }
        const Outcome outcome = CallAction(c, machine);
        if (!c.fSurvivalOnly) {
            EXPECT_EQ(c.uReturn, outcome.uReturn) << "return value";
            ExpectLines("lines", c.lines, outcome.lines);
            ExpectLines("user messages", c.messages, outcome.messages);
            ExpectLines("debugger output", c.debug, g_debugLines);
            ExpectLines("stand-in command lines", c.commands, outcome.commands);
            const PropertyRows expectedSet = ExpandRows(c.set);
            for (size_t i = 0; i < outcome.set.size(); ++i) {
                EXPECT_EQ(Shown(expectedSet[i].second), Shown(outcome.set[i].second))
                    << "property " << Narrow(outcome.set[i].first);
            }
        }
        for (const auto& [strPath, hProcess] : machine.Applications()) {
            const bool fGone = std::any_of(gone.begin(), gone.end(), [&](const Item& g) {
                return g.kind == Kind::Process && SamePath(g.strPath, strPath);
            });
            // An ending that was started just before the action returned completes promptly.
            const bool fEnded = WaitForSingleObject(hProcess, fGone ? 30000 : 0) == WAIT_OBJECT_0;
            EXPECT_EQ(fGone, fEnded)
                << "the application " << Narrow(strPath) << (fGone ? " still runs" : " has ended");
        }
        for (const Item& item : gone) {
            for (View view : item.kind == Kind::Process ? std::vector<View>{} : ViewsOf(item)) {
                EXPECT_FALSE(Exists(item, view)) << Describe(item, view) << " should be gone";
            }
        }
        for (const Item& item : after) {
            for (View view : ViewsOf(item)) {
                const std::string strMismatch = Mismatch(item, view);
                EXPECT_TRUE(strMismatch.empty()) << Describe(item, view) << ": " << strMismatch;
            }
        }
        for (const Item& item : before) {
            const bool fChanged = std::any_of(after.begin(), after.end(), [&](const Item& a) {
                return a.kind == item.kind && a.hRoot == item.hRoot &&
                       SamePath(a.strPath, item.strPath) && SamePath(a.strName, item.strName);
            });
            for (View view :
                 item.kind == Kind::Process || fChanged ? std::vector<View>{} : ViewsOf(item)) {
                if (std::none_of(gone.begin(), gone.end(),
                                 [&](const Item& g) { return Takes(g, item, view); })) {
                    const std::string strMismatch = Mismatch(item, view);
                    EXPECT_TRUE(strMismatch.empty())
                        << Describe(item, view) << " was arranged and not named as changed, but is "
                        << strMismatch;
                }
            }
        }
    }
    fs::remove_all(caseFolder, error);
}

std::string TestName(const char* szName) {
    std::string strName = szName;
    std::replace_if(
        strName.begin(), strName.end(),
        [](char ch) { return !std::isalnum(static_cast<unsigned char>(ch)); }, '_');
    return strName;
}

} // namespace

void Note(const std::wstring& strText) {
    const MSIHANDLE hRecord = MsiCreateRecord(0);
    MsiRecordSetStringW(hRecord, 0, strText.c_str());
    MsiProcessMessage(g_hCaseSession, INSTALLMESSAGE_INFO, hRecord);
    MsiCloseHandle(hRecord);
}

std::wstring Expand(const std::wstring& strText) {
    std::wstring strExpanded;
    for (size_t i = 0; i < strText.size();) {
        const auto token = std::find_if(Tokens().begin(), Tokens().end(), [&](const auto& t) {
            return strText.compare(i, t.first.size(), t.first) == 0;
        });
        if (strText.compare(i, 2, L"%%") == 0) {
            strExpanded += L'%';
            i += 2;
        } else if (token != Tokens().end()) {
            strExpanded += token->second;
            i += token->first.size();
        } else {
            strExpanded += strText[i++];
        }
    }
    return strExpanded;
}

int Register(std::vector<Case> newCases) {
    // Cases live as long as the program; GoogleTest keeps pointers to them.
    static std::deque<Case> registered;
    for (Case& c : newCases) {
        const Case& stored = registered.emplace_back(std::move(c));
        const std::string strSuite = (stored.fSurvivalOnly   ? "Sweep_"
                                      : stored.iWindows == 7 ? "Win7_"
                                      : ShowsWindows(stored) ? "Desktop_"
                                                             : "") +
                                     std::string(stored.szAction);
        testing::RegisterTest(strSuite.c_str(), TestName(stored.szName).c_str(), nullptr, nullptr,
                              __FILE__, __LINE__, [pCase = &stored]() -> testing::Test* {
                                  struct CaseTest : testing::Test {
                                      const Case* pCase = nullptr;
                                      void TestBody() override { RunCase(*pCase); }
                                  };
                                  auto* pTest = new CaseTest;
                                  pTest->pCase = pCase;
                                  return pTest;
                              });
    }
    return static_cast<int>(registered.size());
}

std::shared_ptr<void> Fault(const char* szDll, const char* szFunction, void* pfnShim) {
    g_fFaultPlaced = true;
    return std::make_shared<ImportPatch>(g_hCaseModule, szDll, szFunction, pfnShim);
}

void CountFault() {
    ++g_cFaultCalls;
}

} // namespace cases

namespace {

// Cases that arrange services need the service manager past its own start-up.
class ServiceManagerReady : public testing::Environment {
  public:
    void SetUp() override { WaitForServiceManager(); }
};
testing::Environment* const kServiceManagerReady =
    testing::AddGlobalTestEnvironment(new ServiceManagerReady);

// The two passes each prove the version the prefix reports, once.
DWORD MajorVersion() {
    OSVERSIONINFOW info = {};
    info.dwOSVersionInfoSize = sizeof(info);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    GetVersionExW(&info);
#pragma GCC diagnostic pop
    return info.dwMajorVersion * 10 + info.dwMinorVersion;
}

TEST(Prefix, ReportsWindows10) {
    EXPECT_EQ(100u, MajorVersion());
}

TEST(Win7_Prefix, ReportsWindows7) {
    EXPECT_EQ(61u, MajorVersion());
}

// Every export of the built DLL (its module definition) has cases of its own; the
// sweep does not count.
TEST(Exports, EachHasCases) {
    const ActionSession session; // loads the DLL
    const auto* pBase = reinterpret_cast<const BYTE*>(GetModuleHandleW(L"Varen_CA.dll"));
    const auto* pNt = reinterpret_cast<const IMAGE_NT_HEADERS*>(
        pBase + reinterpret_cast<const IMAGE_DOS_HEADER*>(pBase)->e_lfanew);
    const auto* pExports = reinterpret_cast<const IMAGE_EXPORT_DIRECTORY*>(
        pBase + pNt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT].VirtualAddress);
    const auto* pNames = reinterpret_cast<const DWORD*>(pBase + pExports->AddressOfNames);
    const testing::UnitTest& tests = *testing::UnitTest::GetInstance();
    for (DWORD iName = 0; iName < pExports->NumberOfNames; ++iName) {
        const std::string strExport = reinterpret_cast<const char*>(pBase + pNames[iName]);
        bool fCovered = false;
        for (int iSuite = 0; iSuite < tests.total_test_suite_count(); ++iSuite) {
            const std::string strSuite = tests.GetTestSuite(iSuite)->name();
            fCovered |= strSuite == strExport || strSuite == "Win7_" + strExport ||
                        strSuite == "Desktop_" + strExport;
        }
        EXPECT_TRUE(fCovered) << strExport << " has no case";
    }
}

} // namespace
