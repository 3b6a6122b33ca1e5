// The runner of the case format (cases.h): arranges a case's machine, calls its
// export in a fresh session, checks every outcome and puts the machine back.
#include "tests/support/cases.h"

#include "tests/support/registry_support.h"
#include "tests/support/service_support.h"
#include "tests/support/standin_support.h"
#include "tests/support/task_support.h"

#include <shlobj.h>
#include <tlhelp32.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <tuple>

namespace fs = std::filesystem;

namespace cases {

namespace {

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

std::wstring Folder(int iCsidl) {
    return KnownFolder(iCsidl);
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
    std::wstring strHome = szHome;
    if (strHome.starts_with(L"\\??\\")) {
        strHome.erase(0, 4);
    }
    return fs::path(strHome) / L".local" / L"share" / L"Trash";
}

// Names that go to the Recycle Bin, shared by every prefix on the machine, carry a
// tag of this run so that concurrent runs do not meet there.
std::wstring RunTag() {
    return std::to_wstring(GetCurrentProcessId()) + L"_" + std::to_wstring(GetTickCount());
}

// The process's current folder (where relative paths lead), without a trailing "\".
std::wstring CurrentFolder() {
    wchar_t szFolder[MAX_PATH] = {};
    GetCurrentDirectoryW(MAX_PATH, szFolder);
    std::wstring strFolder = szFolder;
    if (!strFolder.empty() && strFolder.back() == L'\\') {
        strFolder.pop_back();
    }
    return strFolder;
}

const std::vector<std::pair<std::wstring, std::wstring>>& Tokens() {
    static const std::vector<std::pair<std::wstring, std::wstring>> tokens = {
        {L"%CASE%", TestTempFolder() + L"varen_case"},
        {L"%TEMP%", TestTempFolder()},
        {L"%WINDIR%", Folder(CSIDL_WINDOWS)},
        {L"%SYSTEM%", Folder(CSIDL_SYSTEM)},
        {L"%PROGRAMFILES32%", Folder(CSIDL_PROGRAM_FILESX86)},
        {L"%PROGRAMFILES%", Folder(CSIDL_PROGRAM_FILES)},
        {L"%COMMONFILES%", Folder(CSIDL_PROGRAM_FILES_COMMON)},
        {L"%PROGRAMDATA%", Folder(CSIDL_COMMON_APPDATA)},
        {L"%APPDATA%", Folder(CSIDL_APPDATA)},
        {L"%LOCALAPPDATA%", Folder(CSIDL_LOCAL_APPDATA)},
        {L"%TRASH%", (TrashFolder() / L"files").wstring()},
        {L"%RUN%", RunTag()},
        {L"%CURRENT%", CurrentFolder()},
        {L"%COMMONDESKTOP%", Folder(CSIDL_COMMON_DESKTOPDIRECTORY)},
        {L"%COMMONPROGRAMS%", Folder(CSIDL_COMMON_PROGRAMS)},
    };
    return tokens;
}

bool IsFileSystem(const Item& item) {
    return item.kind == Item::Kind::File || item.kind == Item::Kind::Folder ||
           item.kind == Item::Kind::Program || item.kind == Item::Kind::Shortcut ||
           item.kind == Item::Kind::Process;
}

// Items known by name alone: services and tasks.
bool IsNamed(const Item& item) {
    return item.kind == Item::Kind::Service || item.kind == Item::Kind::Task;
}

bool SamePath(const std::wstring& strA, const std::wstring& strB) {
    return CompareStringOrdinal(strA.c_str(), -1, strB.c_str(), -1, TRUE) == CSTR_EQUAL;
}

// strPath is strTop or lies below it.
bool IsAtOrBelow(const std::wstring& strPath, const std::wstring& strTop) {
    return strPath.size() >= strTop.size() && SamePath(strPath.substr(0, strTop.size()), strTop) &&
           (strPath.size() == strTop.size() || strPath[strTop.size()] == L'\\');
}

std::vector<View> ViewsOf(const Item& item) {
    std::vector<View> views;
    if (item.views & N) {
        views.push_back(View::Native);
    }
    if (item.views & W) {
        views.push_back(View::Wow32);
    }
    return views;
}

std::string Describe(const Item& item, std::optional<View> view = std::nullopt) {
    static const char* const kKinds[] = {"key",     "value",    "file",    "folder", "program",
                                         "service", "shortcut", "process", "link",   "task"};
    std::string strText = kKinds[static_cast<int>(item.kind)];
    if (IsNamed(item)) {
        return strText + " " + Narrow(item.strName);
    }
    if (!IsFileSystem(item)) {
        strText += item.hRoot == HKEY_CURRENT_USER ? " HKCU\\" : " HKLM\\";
    } else {
        strText += " ";
    }
    strText += Narrow(item.strPath);
    if (item.kind == Item::Kind::Value) {
        strText += " [" + Narrow(item.strName) + "]";
    }
    if (item.kind == Item::Kind::Link) {
        strText += " -> HKLM\\" + Narrow(item.strName);
    }
    if (view) {
        strText += std::string(" in the ") + ViewName(*view);
    }
    return strText;
}

std::optional<std::vector<BYTE>> ReadFileBytes(const std::wstring& strPath) {
    std::ifstream file(fs::path(strPath), std::ios::binary);
    if (!file) {
        return std::nullopt;
    }
    return std::vector<BYTE>(std::istreambuf_iterator<char>(file), {});
}

// "<target>|<arguments>|<working folder>" of a shell link, or "unreadable".
std::wstring ReadShortcut(const std::wstring& strPath) {
    // {00021401-0000-0000-C000-000000000046}: the shell's link object.
    constexpr CLSID kClsidShellLink = {0x00021401, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
    const HRESULT hrCom = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    std::wstring strText = L"unreadable";
    IShellLinkW* pLink = nullptr;
    IPersistFile* pFile = nullptr;
    wchar_t szTarget[MAX_PATH] = {}, szArguments[1024] = {}, szFolder[MAX_PATH] = {};
    if (SUCCEEDED(CoCreateInstance(kClsidShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_IShellLinkW,
                                   reinterpret_cast<void**>(&pLink))) &&
        SUCCEEDED(pLink->QueryInterface(IID_IPersistFile, reinterpret_cast<void**>(&pFile))) &&
        SUCCEEDED(pFile->Load(strPath.c_str(), STGM_READ)) &&
        SUCCEEDED(pLink->GetPath(szTarget, MAX_PATH, nullptr, SLGP_RAWPATH)) &&
        SUCCEEDED(pLink->GetArguments(szArguments, 1024)) &&
        SUCCEEDED(pLink->GetWorkingDirectory(szFolder, MAX_PATH))) {
        strText = std::wstring(szTarget) + L"|" + szArguments + L"|" + szFolder;
    }
    if (pFile) {
        pFile->Release();
    }
    if (pLink) {
        pLink->Release();
    }
    if (SUCCEEDED(hrCom)) {
        CoUninitialize();
    }
    return strText;
}

bool FileSystemExists(const std::wstring& strPath) {
    return GetFileAttributesW(strPath.c_str()) != INVALID_FILE_ATTRIBUTES;
}

bool Exists(const Item& item, View view) {
    switch (item.kind) {
    case Item::Kind::Key:
        return KeyExists(item.hRoot, view, item.strPath);
    case Item::Kind::Value:
        return ValueExists(item.hRoot, view, item.strPath, item.strName);
    case Item::Kind::Service:
        return ServiceState(item.strName).has_value();
    case Item::Kind::Link:
        return LinkExists(item.hRoot, view, item.strPath);
    case Item::Kind::Task:
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
    if (item.kind == Item::Kind::Value) {
        const auto stored = ReadRaw(item.hRoot, view, item.strPath, item.strName);
        if (stored && (stored->first != item.dwType || stored->second != item.data)) {
            return "changed (type " + std::to_string(stored->first) + ", " +
                   std::to_string(stored->second.size()) + " bytes)";
        }
    }
    if (item.kind == Item::Kind::File && ReadFileBytes(item.strPath) != item.data) {
        return "content changed";
    }
    if (item.kind == Item::Kind::Service) {
        const DWORD dwState = ServiceState(item.strName).value_or(0);
        if (dwState != item.dwState) {
            return "in state " + std::to_string(dwState) + ", not " + std::to_string(item.dwState);
        }
    }
    if (item.kind == Item::Kind::Shortcut) {
        const std::wstring strLink = ReadShortcut(item.strPath);
        if (strLink != item.strName) {
            return "a link to " + Shown(strLink) + ", expected " + Shown(item.strName);
        }
    }
    return {};
}

// A gone item takes an arranged one: the same value or file, or anything at or
// below a gone key or folder.
bool Takes(const Item& gone, const Item& item, View view) {
    if (IsNamed(gone) || IsNamed(item)) {
        return gone.kind == item.kind && SamePath(gone.strName, item.strName);
    }
    if (IsFileSystem(gone) != IsFileSystem(item)) {
        return false;
    }
    if (IsFileSystem(gone)) {
        return gone.kind == Item::Kind::Folder ? IsAtOrBelow(item.strPath, gone.strPath)
                                               : SamePath(item.strPath, gone.strPath);
    }
    if (gone.hRoot != item.hRoot || !(gone.views & (view == View::Native ? N : W))) {
        return false;
    }
    if (gone.kind == Item::Kind::Key) {
        return IsAtOrBelow(item.strPath, gone.strPath);
    }
    return item.kind == Item::Kind::Value && SamePath(item.strPath, gone.strPath) &&
           SamePath(item.strName, gone.strName);
}

bool SameItem(const Item& a, const Item& b) {
    return a.kind == b.kind && a.hRoot == b.hRoot && SamePath(a.strPath, b.strPath) &&
           SamePath(a.strName, b.strName);
}

std::wstring Parent(const std::wstring& strPath) {
    const size_t iSlash = strPath.find_last_of(L'\\');
    return iSlash == std::wstring::npos ? std::wstring() : strPath.substr(0, iSlash);
}

// What a case made that was not there before, to remove after it: for each item,
// the shallowest key or folder on its path that did not exist, or a value alone.
class Leftovers {
  public:
    void Note(const Item& item) {
        if (item.kind == Item::Kind::Task) {
            if (!TaskRoot().Exists(item.strName)) {
                m_tasks.push_back(item.strName);
            }
            return;
        }
        if (item.kind == Item::Kind::Service) {
            m_services.emplace_back(item.strName, item.strPath);
        }
        if (IsFileSystem(item) || item.kind == Item::Kind::Service) {
            std::wstring strTop;
            for (std::wstring strPath = item.strPath;
                 strPath.size() > 3 && !FileSystemExists(strPath); strPath = Parent(strPath)) {
                strTop = strPath;
            }
            if (!strTop.empty()) {
                m_paths.push_back(strTop);
            }
            return;
        }
        const std::wstring strKey = item.strPath;
        for (View view : ViewsOf(item)) {
            std::wstring strTop;
            for (std::wstring strPath = strKey;
                 !strPath.empty() && !KeyExists(item.hRoot, view, strPath);
                 strPath = Parent(strPath)) {
                strTop = strPath;
            }
            if (!strTop.empty()) {
                m_keys.push_back({item.hRoot, view, strTop, {}});
            } else if (item.kind == Item::Kind::Value &&
                       !ValueExists(item.hRoot, view, strKey, item.strName)) {
                m_keys.push_back({item.hRoot, view, strKey, item.strName});
            }
        }
    }

    // Services first: their programs cannot be removed while they run.
    void Remove() const {
        for (const auto& [strName, strPath] : m_services) {
            RemoveTestService(strName, strPath);
        }
        for (const RegLeftover& key : m_keys) {
            if (key.strValue) {
                HKEY hKey = nullptr;
                if (RegOpenKeyExW(key.hRoot, key.strPath.c_str(), 0,
                                  KEY_SET_VALUE | ViewFlag(key.view), &hKey) == ERROR_SUCCESS) {
                    RegDeleteValueW(hKey, key.strValue->c_str());
                    RegCloseKey(hKey);
                }
            } else {
                DeleteTree(key.hRoot, key.view, key.strPath);
            }
        }
        const fs::path trashed = TrashFolder() / L"files";
        for (const std::wstring& strPath : m_paths) {
            std::error_code error;
            fs::remove_all(fs::path(strPath), error);
            if (fs::path(strPath).parent_path() == trashed) {
                fs::remove(TrashFolder() / L"info" /
                               (fs::path(strPath).filename().wstring() + L".trashinfo"),
                           error);
            }
        }
        if (!m_tasks.empty()) {
            const TaskRoot root;
            std::for_each(m_tasks.begin(), m_tasks.end(),
                          [&](const std::wstring& strName) { root.Delete(strName); });
        }
    }

  private:
    struct RegLeftover {
        HKEY hRoot;
        View view;
        std::wstring strPath;
        std::optional<std::wstring> strValue;
    };
    std::vector<RegLeftover> m_keys;
    std::vector<std::wstring> m_paths;
    std::vector<std::pair<std::wstring, std::wstring>> m_services; // name, program
    std::vector<std::wstring> m_tasks;
};

void Arrange(const Item& item) {
    switch (item.kind) {
    case Item::Kind::Key:
        for (View view : ViewsOf(item)) {
            CreateKey(item.hRoot, view, item.strPath);
        }
        break;
    case Item::Kind::Value:
        for (View view : ViewsOf(item)) {
            SetRaw(item.hRoot, view, item.strPath, item.strName, item.dwType, item.data.data(),
                   static_cast<DWORD>(item.data.size()));
        }
        break;
    case Item::Kind::Link:
        for (View view : ViewsOf(item)) {
            CreateLink(item.hRoot, view, item.strPath, item.strName);
        }
        break;
    case Item::Kind::Folder:
        fs::create_directories(fs::path(item.strPath));
        break;
    case Item::Kind::Program: // StandIn copies the program in and sets aside a file that is there
    case Item::Kind::Process: // RunningApplication copies and starts it
        fs::create_directories(fs::path(item.strPath).parent_path());
        break;
    case Item::Kind::Service:
        fs::create_directories(fs::path(item.strPath).parent_path());
        CreateTestService(item.strName, item.strPath, item.strArguments, item.dwState);
        break;
    case Item::Kind::Shortcut:
        ADD_FAILURE() << "a shortcut is made by the action, not arranged";
        break;
    case Item::Kind::Task:
        TaskRoot().Register(item.strName);
        break;
    case Item::Kind::File:
        fs::create_directories(fs::path(item.strPath).parent_path());
        std::ofstream(fs::path(item.strPath), std::ios::binary)
            .write(reinterpret_cast<const char*>(item.data.data()),
                   static_cast<std::streamsize>(item.data.size()));
        break;
    }
}

Item ExpandItem(Item item) {
    item.strPath = Expand(item.strPath);
    item.strArguments = Expand(item.strArguments);
    if (item.kind == Item::Kind::Shortcut) {
        item.strName = Expand(item.strName);
    }
    if (item.kind == Item::Kind::Value && (item.dwType == REG_SZ || item.dwType == REG_EXPAND_SZ)) {
        std::wstring strText(reinterpret_cast<const wchar_t*>(item.data.data()),
                             item.data.size() / sizeof(wchar_t));
        strText = Expand(strText);
        const auto* pBytes = reinterpret_cast<const BYTE*>(strText.data());
        item.data.assign(pBytes, pBytes + strText.size() * sizeof(wchar_t));
    }
    if (item.kind == Item::Kind::File) {
        // Tokens in a file's bytes become UTF-8; every other byte stays as it is.
        std::string strBytes(item.data.begin(), item.data.end());
        for (const auto& [strToken, strValue] : Tokens()) {
            const std::string strNarrowToken = Narrow(strToken);
            const std::string strNarrowValue = Narrow(strValue);
            for (size_t i = strBytes.find(strNarrowToken); i != std::string::npos;
                 i = strBytes.find(strNarrowToken, i + strNarrowValue.size())) {
                strBytes.replace(i, strNarrowToken.size(), strNarrowValue);
            }
        }
        item.data.assign(strBytes.begin(), strBytes.end());
    }
    return item;
}

std::vector<Item> ExpandItems(const std::vector<Item>& items) {
    std::vector<Item> expanded;
    std::transform(items.begin(), items.end(), std::back_inserter(expanded), ExpandItem);
    return expanded;
}

Lines ExpandLines(const Lines& lines) {
    Lines expanded;
    std::transform(lines.begin(), lines.end(), std::back_inserter(expanded), Expand);
    return expanded;
}

PropertyRows ExpandRows(const PropertyRows& rows) {
    PropertyRows expanded;
    for (const auto& [strName, strValue] : rows) {
        expanded.emplace_back(strName, Expand(strValue));
    }
    return expanded;
}

// Fails with the first line that differs and the whole list that came.
void ExpectLines(const char* szWhat, const Lines& expected, const Lines& actual) {
    if (expected == actual) {
        return;
    }
    size_t i = 0;
    while (i < expected.size() && i < actual.size() && expected[i] == actual[i]) {
        ++i;
    }
    std::string strAll;
    for (const std::wstring& strLine : actual) {
        strAll += "    " + Shown(strLine) + "\n";
    }
    ADD_FAILURE() << szWhat << ": first difference at line " << i + 1 << ": expected "
                  << (i < expected.size() ? Shown(expected[i]) : "no more lines") << ", got "
                  << (i < actual.size() ? Shown(actual[i]) : "no more lines") << "\n  all "
                  << actual.size() << " " << szWhat << ":\n"
                  << strAll;
}

// Whether the case starts an application with a window (see PrivateDesktop).
bool ShowsWindows(const Case& c) {
    return std::any_of(c.before.begin(), c.before.end(), [](const Item& item) {
        return item.kind == Item::Kind::Process && item.strName != L"none";
    });
}

// The test machines have no display, and Wine without a display driver fails every
// top-level window. A case whose applications show windows runs on a desktop of its
// own whose desktop process loads Wine's null driver; the test thread moves to it for
// the case, so that the action sees the windows there. Once a process has enumerated
// windows on it, the null driver stays loaded in that process, and a message box of
// any later action would wait for a click that never comes: such cases therefore run
// in their own pass ("Desktop_*", the test cases_desktop).
class PrivateDesktop {
  public:
    static constexpr const wchar_t* kName = L"VarenCases";
    PrivateDesktop() {
        GetDesktopWindow(); // the default desktop keeps the driver it already has
        static const wchar_t kNull[] = L"null";
        SetRaw(HKEY_CURRENT_USER, View::Native, kDrivers, L"Graphics", REG_SZ, kNull,
               sizeof(kNull));
        m_hDesktop = CreateDesktopW(kName, nullptr, nullptr, 0, GENERIC_ALL, nullptr);
        EXPECT_TRUE(m_hDesktop && SetThreadDesktop(m_hDesktop))
            << "cannot use a desktop of its own";
    }
    ~PrivateDesktop() {
        SetThreadDesktop(m_hDefault);
        if (m_hDesktop) {
            CloseDesktop(m_hDesktop);
        }
        HKEY hKey = nullptr;
        if (RegOpenKeyExW(HKEY_CURRENT_USER, kDrivers, 0, KEY_SET_VALUE, &hKey) == ERROR_SUCCESS) {
            RegDeleteValueW(hKey, L"Graphics");
            RegCloseKey(hKey);
        }
    }
    PrivateDesktop(const PrivateDesktop&) = delete;
    PrivateDesktop& operator=(const PrivateDesktop&) = delete;

  private:
    static constexpr const wchar_t* kDrivers = L"Software\\Wine\\Drivers";
    HDESK m_hDefault = GetThreadDesktop(GetCurrentThreadId());
    HDESK m_hDesktop = nullptr;
};

// A Running item: the stand-in copied to its path and started as an application,
// ready to be asked to close when the constructor returns; ended when it goes.
class RunningApplication {
  public:
    RunningApplication(const std::wstring& strPath, const std::wstring& strWindow) {
        wchar_t szSelf[MAX_PATH] = {};
        GetModuleFileNameW(nullptr, szSelf, MAX_PATH);
        const std::wstring strStandIn = fs::path(szSelf).parent_path().wstring() + L"\\standin.exe";
        EXPECT_TRUE(CopyFileW(strStandIn.c_str(), strPath.c_str(), FALSE)) << "cannot place it";
        const std::wstring strReady = L"VarenStandInReady_" + NewGuid();
        HANDLE hReady = CreateEventW(nullptr, TRUE, FALSE, strReady.c_str());
        SetEnvironmentVariableW(L"VARENCA_STANDIN_WINDOW", strWindow.c_str());
        SetEnvironmentVariableW(L"VARENCA_STANDIN_READY", strReady.c_str());
        STARTUPINFOW startup = {};
        startup.cb = sizeof(startup);
        std::wstring strDesktop = PrivateDesktop::kName;
        startup.lpDesktop = strWindow == L"none" ? nullptr : strDesktop.data();
        PROCESS_INFORMATION info = {};
        std::wstring strCommand = L"\"" + strPath + L"\"";
        if (CreateProcessW(strPath.c_str(), strCommand.data(), nullptr, nullptr, FALSE, 0, nullptr,
                           nullptr, &startup, &info)) {
            CloseHandle(info.hThread);
            m_hProcess = info.hProcess;
            const HANDLE waits[] = {hReady, m_hProcess};
            EXPECT_EQ(WAIT_OBJECT_0, WaitForMultipleObjects(2, waits, FALSE, 30000))
                << "the application did not get ready";
        } else {
            ADD_FAILURE() << "cannot start " << Narrow(strPath);
        }
        SetEnvironmentVariableW(L"VARENCA_STANDIN_WINDOW", nullptr);
        SetEnvironmentVariableW(L"VARENCA_STANDIN_READY", nullptr);
        CloseHandle(hReady);
    }
    ~RunningApplication() {
        if (m_hProcess) {
            TerminateProcess(m_hProcess, 0);
            WaitForSingleObject(m_hProcess, 30000);
            CloseHandle(m_hProcess);
        }
    }
    RunningApplication(const RunningApplication&) = delete;
    RunningApplication& operator=(const RunningApplication&) = delete;

    // Whether it has ended, waiting up to dwWait ms for that (an ending that was
    // started just before the action returned completes promptly).
    bool HasEnded(DWORD dwWait) const {
        return m_hProcess && WaitForSingleObject(m_hProcess, dwWait) == WAIT_OBJECT_0;
    }

  private:
    HANDLE m_hProcess = nullptr;
};

// The ids of this program's child processes that run one of the stand-ins. The
// thread's last error is left as it was: some actions log whatever error they find.
std::vector<DWORD> StandInProcesses(const std::deque<StandIn>& standIns) {
    std::vector<DWORD> children;
    if (standIns.empty()) {
        return children;
    }
    const DWORD dwLastError = GetLastError();
    const HANDLE hSnapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    PROCESSENTRY32W entry = {};
    entry.dwSize = sizeof(entry);
    for (BOOL fEntry = Process32FirstW(hSnapshot, &entry); fEntry;
         fEntry = Process32NextW(hSnapshot, &entry)) {
        const bool fStandIn =
            std::any_of(standIns.begin(), standIns.end(), [&](const StandIn& standIn) {
                return SamePath(fs::path(standIn.Path()).filename().wstring(), entry.szExeFile);
            });
        if (entry.th32ParentProcessID == GetCurrentProcessId() && fStandIn) {
            children.push_back(entry.th32ProcessID);
        }
    }
    CloseHandle(hSnapshot);
    SetLastError(dwLastError);
    return children;
}

// Waits for the stand-ins an action started and did not wait for (children that
// were not there before it), so that what they record is complete.
void WaitForNewStandIns(const std::vector<DWORD>& before, const std::deque<StandIn>& standIns) {
    for (DWORD dwId : StandInProcesses(standIns)) {
        if (std::find(before.begin(), before.end(), dwId) != before.end()) {
            continue;
        }
        if (HANDLE hProcess = OpenProcess(SYNCHRONIZE, FALSE, dwId)) {
            EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(hProcess, 60000))
                << "a program the action started has not ended";
            CloseHandle(hProcess);
        }
    }
}

size_t CountDone(const std::deque<StandIn>& standIns) {
    if (standIns.empty()) {
        return 0;
    }
    const std::vector<std::wstring> lines = standIns.back().LogLines();
    return std::count_if(lines.begin(), lines.end(),
                         [](const std::wstring& strLine) { return strLine.ends_with(L"|done"); });
}

std::vector<std::wstring> g_debugLines;
int g_cFaultCalls = 0;
bool g_fFaultPlaced = false;

void WINAPI CaptureDebugOutput(LPCWSTR szText) {
    g_debugLines.emplace_back(szText ? szText : L"(null)");
}

void RunCase(const Case& c) {
    std::optional<testing::ScopedTrace> wineNote;
    if (c.szWine) {
        wineNote.emplace(__FILE__, __LINE__,
                         std::string("expectation is Wine's behaviour: ") + c.szWine);
    }
    const std::wstring strCaseFolder = Expand(L"%CASE%");
    std::error_code error;
    fs::remove_all(fs::path(strCaseFolder), error);

    const std::vector<Item> before = ExpandItems(c.before);
    const std::vector<Item> gone = ExpandItems(c.gone);
    const std::vector<Item> after = ExpandItems(c.after);
    Leftovers leftovers;
    for (const std::vector<Item>* pItems : {&before, &gone, &after}) {
        std::for_each(pItems->begin(), pItems->end(),
                      [&](const Item& item) { leftovers.Note(item); });
    }
    std::for_each(before.begin(), before.end(), Arrange);
    std::deque<StandIn> standIns;
    std::optional<PrivateDesktop> desktop;
    if (ShowsWindows(c)) {
        desktop.emplace();
    }
    std::deque<std::pair<std::wstring, RunningApplication>> applications;
    for (const Item& item : before) {
        if (item.kind == Item::Kind::Program) {
            standIns.emplace_back(item.strPath);
            if (item.uDelayMs) {
                standIns.back().SetDelay(item.uDelayMs);
            }
        } else if (item.kind == Item::Kind::Process) {
            applications.emplace_back(std::piecewise_construct, std::forward_as_tuple(item.strPath),
                                      std::forward_as_tuple(item.strPath, item.strName));
        }
    }

    UINT uReturn = 0;
    size_t cDoneAtReturn = 0; // a "done" logged later was not waited for by the action
    Lines lines, messages, debug;
    PropertyRows set;
    {
        PackageContents contents{ExpandRows(c.properties), std::nullopt};
        if (c.orx) {
            contents.orxRows = ExpandRows(*c.orx);
        }
        if (c.data) {
            contents.properties.emplace_back(L"CustomActionData", Expand(*c.data));
        }
        ActionSession session(contents);
        std::optional<ImportPatch> debugCapture;
        try {
            debugCapture.emplace(GetModuleHandleW(L"Varen_CA.dll"), "kernel32.dll",
                                 "OutputDebugStringW",
                                 reinterpret_cast<void*>(&CaptureDebugOutput));
        } catch (const std::runtime_error&) {
            // The DLL writes nothing to the debugger output.
        }
        g_debugLines.clear();
        g_cFaultCalls = 0;
        g_fFaultPlaced = false;
        {
            const std::shared_ptr<void> pArranged = c.arrange ? c.arrange(session) : nullptr;
            const std::vector<DWORD> children = StandInProcesses(standIns);
            uReturn = session.Call(c.szAction);
            cDoneAtReturn = CountDone(standIns);
            WaitForNewStandIns(children, standIns);
        }
        EXPECT_FALSE(g_fFaultPlaced && g_cFaultCalls == 0) << "the fault's shim was never called";
        for (const CapturedRecord& record : session.Records()) {
            ((record.uType & 0xFF000000) == INSTALLMESSAGE_USER ? messages : lines)
                .push_back(record.strText);
        }
        debug = g_debugLines;
        for (const auto& [strName, strValue] : c.set) {
            set.emplace_back(strName, session.Property(strName.c_str()));
        }
    }

    if (!c.fSurvivalOnly) {
        EXPECT_EQ(c.uReturn, uReturn) << "return value";
        ExpectLines("lines", ExpandLines(c.lines), lines);
        ExpectLines("user messages", ExpandLines(c.messages), messages);
        ExpectLines("debugger output", ExpandLines(c.debug), debug);
        const PropertyRows expectedSet = ExpandRows(c.set);
        for (size_t i = 0; i < set.size(); ++i) {
            EXPECT_EQ(Shown(expectedSet[i].second), Shown(set[i].second))
                << "property " << Narrow(set[i].first);
        }
        if (!standIns.empty()) {
            Lines commands;
            size_t cDone = 0;
            for (const std::wstring& strLine : standIns.back().LogLines()) {
                const std::wstring strCommand = strLine.substr(strLine.find(L'|') + 1);
                if (strCommand != L"done" || cDone++ < cDoneAtReturn) {
                    commands.push_back(strCommand);
                }
            }
            ExpectLines("stand-in command lines", ExpandLines(c.commands), commands);
        } else {
            EXPECT_TRUE(c.commands.empty())
                << "the case expects command lines but places no program";
        }
    }

    for (auto& [strPath, application] : applications) {
        const bool fGone = std::any_of(gone.begin(), gone.end(), [&](const Item& g) {
            return g.kind == Item::Kind::Process && SamePath(g.strPath, strPath);
        });
        EXPECT_EQ(fGone, application.HasEnded(fGone ? 30000 : 0))
            << "the application " << Narrow(strPath) << (fGone ? " still runs" : " has ended");
    }
    for (const Item& item : gone) {
        if (item.kind == Item::Kind::Process) {
            continue;
        }
        for (View view : IsFileSystem(item) ? std::vector<View>{View::Native} : ViewsOf(item)) {
            EXPECT_FALSE(Exists(item, view)) << Describe(item, view) << " should be gone";
        }
    }
    for (const Item& item : after) {
        for (View view : IsFileSystem(item) ? std::vector<View>{View::Native} : ViewsOf(item)) {
            const std::string strMismatch = Mismatch(item, view);
            EXPECT_TRUE(strMismatch.empty()) << Describe(item, view) << ": " << strMismatch;
        }
    }
    for (const Item& item : before) {
        if (item.kind == Item::Kind::Process ||
            std::any_of(after.begin(), after.end(),
                        [&](const Item& a) { return SameItem(a, item); })) {
            continue;
        }
        for (View view : IsFileSystem(item) ? std::vector<View>{View::Native} : ViewsOf(item)) {
            if (std::any_of(gone.begin(), gone.end(),
                            [&](const Item& g) { return Takes(g, item, view); })) {
                continue;
            }
            const std::string strMismatch = item.kind == Item::Kind::Program
                                                ? (Exists(item, view) ? "" : "missing")
                                                : Mismatch(item, view);
            EXPECT_TRUE(strMismatch.empty())
                << Describe(item, view) << " was arranged and not named as changed, but is "
                << strMismatch;
        }
    }

    standIns.clear();
    applications.clear();
    desktop.reset();
    leftovers.Remove();
    fs::remove_all(fs::path(strCaseFolder), error);
}

class CaseTest : public testing::Test {
  public:
    explicit CaseTest(const Case* pCase) : m_pCase(pCase) {}
    void TestBody() override { RunCase(*m_pCase); }

  private:
    const Case* m_pCase;
};

std::string TestName(const char* szName) {
    std::string strName;
    for (const char* pch = szName; *pch; ++pch) {
        strName += std::isalnum(static_cast<unsigned char>(*pch)) ? *pch : '_';
    }
    return strName;
}

} // namespace

std::wstring Expand(const std::wstring& strText) {
    std::wstring strExpanded;
    for (size_t i = 0; i < strText.size();) {
        if (strText.compare(i, 2, L"%%") == 0) {
            strExpanded += L'%';
            i += 2;
            continue;
        }
        const auto token = std::find_if(Tokens().begin(), Tokens().end(), [&](const auto& t) {
            return strText.compare(i, t.first.size(), t.first) == 0;
        });
        if (token != Tokens().end()) {
            strExpanded += token->second;
            i += token->first.size();
        } else {
            strExpanded += strText[i++];
        }
    }
    return strExpanded;
}

Item Key(unsigned views, std::wstring strPath, HKEY hRoot) {
    return {Item::Kind::Key, std::move(strPath), views, hRoot, {}, REG_NONE, {}};
}

Item Raw(unsigned views, std::wstring strPath, std::wstring strName, DWORD dwType,
         std::vector<BYTE> data, HKEY hRoot) {
    return {Item::Kind::Value, std::move(strPath), views, hRoot, std::move(strName), dwType,
            std::move(data)};
}

Item Str(unsigned views, std::wstring strPath, std::wstring strName, std::wstring strValue,
         HKEY hRoot) {
    const auto* pBytes = reinterpret_cast<const BYTE*>(strValue.c_str());
    return Raw(views, std::move(strPath), std::move(strName), REG_SZ,
               {pBytes, pBytes + (strValue.size() + 1) * sizeof(wchar_t)}, hRoot);
}

Item Dword(unsigned views, std::wstring strPath, std::wstring strName, DWORD dwValue, HKEY hRoot) {
    const auto* pBytes = reinterpret_cast<const BYTE*>(&dwValue);
    return Raw(views, std::move(strPath), std::move(strName), REG_DWORD,
               {pBytes, pBytes + sizeof(dwValue)}, hRoot);
}

Item Link(unsigned views, std::wstring strPath, std::wstring strTarget, HKEY hRoot) {
    return {Item::Kind::Link, std::move(strPath), views, hRoot, std::move(strTarget), REG_LINK, {}};
}

Item File(std::wstring strPath, std::string strContent) {
    return {Item::Kind::File,
            std::move(strPath),
            N,
            nullptr,
            {},
            REG_NONE,
            std::vector<BYTE>(strContent.begin(), strContent.end())};
}

Item Folder(std::wstring strPath) {
    return {Item::Kind::Folder, std::move(strPath), N, nullptr, {}, REG_NONE, {}};
}

Item Program(std::wstring strPath, unsigned uDelayMs) {
    return {Item::Kind::Program, std::move(strPath), N, nullptr, {}, REG_NONE, {}, {}, 0, uDelayMs};
}

Item Service(std::wstring strName, std::wstring strPath, std::wstring strArguments, DWORD dwState) {
    return {Item::Kind::Service,
            std::move(strPath),
            N,
            nullptr,
            std::move(strName),
            REG_NONE,
            {},
            std::move(strArguments),
            dwState};
}

Item Shortcut(std::wstring strPath, std::wstring strTarget, std::wstring strArguments,
              std::wstring strFolder) {
    return {Item::Kind::Shortcut,
            std::move(strPath),
            N,
            nullptr,
            strTarget + L"|" + strArguments + L"|" + strFolder,
            REG_NONE,
            {}};
}

Item Running(std::wstring strPath, const wchar_t* szWindow) {
    return {Item::Kind::Process, std::move(strPath), N, nullptr, szWindow, REG_NONE, {}};
}

Item Task(std::wstring strName) {
    return {Item::Kind::Task, {}, N, nullptr, std::move(strName), REG_NONE, {}};
}

int Register(std::vector<Case> newCases) {
    // Cases live as long as the program; GoogleTest keeps pointers to them.
    static std::deque<Case> registered;
    for (Case& c : newCases) {
        const Case& stored = registered.emplace_back(std::move(c));
        const std::string strSuite = (stored.fSurvivalOnly   ? std::string("Sweep_")
                                      : stored.iWindows == 7 ? std::string("Win7_")
                                      : ShowsWindows(stored) ? std::string("Desktop_")
                                                             : std::string()) +
                                     stored.szAction;
        testing::RegisterTest(
            strSuite.c_str(), TestName(stored.szName).c_str(), nullptr, nullptr, __FILE__, __LINE__,
            [pCase = &stored]() -> testing::Test* { return new CaseTest(pCase); });
    }
    return static_cast<int>(registered.size());
}

std::shared_ptr<void> Fault(const char* szDll, const char* szFunction, void* pfnShim) {
    g_fFaultPlaced = true;
    return std::make_shared<ImportPatch>(GetModuleHandleW(L"Varen_CA.dll"), szDll, szFunction,
                                         pfnShim);
}

void CountFault() {
    ++g_cFaultCalls;
}

} // namespace cases

// The two passes each prove the version the prefix reports, once.
namespace {

// Cases that arrange services need the service manager past its own start-up.
class ServiceManagerReady : public testing::Environment {
  public:
    void SetUp() override { WaitForServiceManager(); }
};
testing::Environment* const kServiceManagerReady =
    testing::AddGlobalTestEnvironment(new ServiceManagerReady);

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

} // namespace
