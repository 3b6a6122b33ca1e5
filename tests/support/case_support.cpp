// The runner of the case format (cases.h): arranges a case's machine, calls its
// export in a fresh session, checks every outcome and puts the machine back.
#include "tests/support/cases.h"

#include "runtime/handles.h"
#include "tests/support/registry_support.h"
#include "tests/support/task_support.h"

#include <msiquery.h>
#include <shlobj.h>
#include <psapi.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <span>

namespace fs = std::filesystem;

namespace cases {

namespace {

using Kind = Item::Kind;

std::wstring KnownFolder(int iCsidl) {
    wchar_t szPath[MAX_PATH] = {};
    SHGetFolderPathW(nullptr, iCsidl, nullptr, SHGFP_TYPE_CURRENT, szPath);
    return szPath;
}

// The path of szName in this program's folder, where the programs cases place are built.
std::wstring BuiltProgram(const wchar_t* szName) {
    wchar_t szSelf[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, szSelf, MAX_PATH);
    return (fs::path(szSelf).parent_path() / szName).wstring();
}

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
    if (const wchar_t* szData = _wgetenv(L"XDG_DATA_HOME"); szData && *szData) {
        return fs::path(L"Z:" + std::wstring(szData)).make_preferred() / L"Trash";
    }
    const wchar_t* szHome = _wgetenv(L"WINEHOMEDIR"); // "\??\Z:\home\user"
    const std::wstring strHome = szHome ? szHome : L"";
    return fs::path(strHome.substr(strHome.starts_with(L"\\??\\") ? 4 : 0)) /
           L".local\\share\\Trash";
}

const std::vector<std::pair<std::wstring, std::wstring>>& Tokens() {
    static const std::vector<std::pair<std::wstring, std::wstring>> tokens = {
        {L"%CASE%", (fs::temp_directory_path() / L"varen_case").wstring()},
        {L"%TEMP%", (fs::temp_directory_path() / L"").wstring()}, // with its trailing "\"
        {L"%WINDIR%", KnownFolder(CSIDL_WINDOWS)},
        {L"%SYSTEMX86%", KnownFolder(CSIDL_SYSTEMX86)},
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

bool IsRegistry(const Item& item) {
    return item.kind == Kind::Key || item.kind == Kind::Value || item.kind == Kind::Link;
}

bool IsNamed(const Item& item) {
    return item.kind == Kind::Service || item.kind == Kind::Task;
}

bool SamePath(const std::wstring& strA, const std::wstring& strB) {
    return CompareStringOrdinal(strA.c_str(), -1, strB.c_str(), -1, TRUE) == CSTR_EQUAL;
}

bool IsAtOrBelow(const std::wstring& strPath, const std::wstring& strTop) {
    return strPath.size() >= strTop.size() && SamePath(strPath.substr(0, strTop.size()), strTop) &&
           (strPath.size() == strTop.size() || strPath[strTop.size()] == L'\\');
}

// The registry views an item is checked in; anything else is checked once.
std::vector<View> ViewsOf(const Item& item) {
    if (!IsRegistry(item) || item.views == N) {
        return {View::Native};
    }
    return item.views == W ? std::vector<View>{View::Wow32}
                           : std::vector<View>{View::Native, View::Wow32};
}

std::string Describe(const Item& item, View view) {
    static const char* const kKinds[] = {"key",     "value",    "file", "folder", "program",
                                         "service", "shortcut", "link", "task"};
    const std::string strKind = kKinds[static_cast<int>(item.kind)];
    if (!IsRegistry(item)) {
        return strKind + " " + Narrow(IsNamed(item) ? item.strName : item.strPath);
    }
    return strKind + (item.hRoot == HKEY_CURRENT_USER ? " HKCU\\" : " HKLM\\") +
           Narrow(item.strPath) + (item.strName.empty() ? "" : " [" + Narrow(item.strName) + "]") +
           (view == View::Wow32 ? " in the 32-bit view" : " in the 64-bit view");
}

constexpr DWORD kSettleMs = 20000;

UniqueServiceHandle OpenNamedService(const std::wstring& strName, DWORD dwAccess) {
    const UniqueServiceHandle hManager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    return UniqueServiceHandle(OpenServiceW(hManager.get(), strName.c_str(), dwAccess));
}

void PlaceBuilt(const wchar_t* szProgram, const std::wstring& strPath) {
    EXPECT_TRUE(CopyFileW(BuiltProgram(szProgram).c_str(), strPath.c_str(), FALSE))
        << "cannot place " << Narrow(szProgram) << " at " << Narrow(strPath);
}

// Deletes the service and ends every process of its program: a stopped service's
// process may outlive its stop for a while.
void RemoveTestService(const Item& item) {
    if (const UniqueServiceHandle hService = OpenNamedService(item.strName, DELETE)) {
        DeleteService(hService.get());
    }
    DWORD ids[4096] = {}, cbIds = 0;
    EnumProcesses(ids, sizeof(ids), &cbIds);
    for (DWORD iId = 0; iId < cbIds / sizeof(DWORD); ++iId) {
        const UniqueHandle hProcess(OpenProcess(
            PROCESS_TERMINATE | PROCESS_QUERY_LIMITED_INFORMATION | SYNCHRONIZE, FALSE, ids[iId]));
        wchar_t szImage[MAX_PATH] = {};
        DWORD cchImage = MAX_PATH;
        if (hProcess && QueryFullProcessImageNameW(hProcess.get(), 0, szImage, &cchImage) &&
            SamePath(szImage, item.strPath)) {
            TerminateProcess(hProcess.get(), 1);
            WaitForSingleObject(hProcess.get(), kSettleMs);
        }
    }
}

// Registers the test service (demand start, own process) in its state, in place of one
// of that name left by an earlier run.
void CreateTestService(const Item& item) {
    RemoveTestService(item);
    // Connecting starts Wine's service manager, which sets this event once its automatic
    // services have been started: until then it refuses starts with 1055
    // (ERROR_SERVICE_DATABASE_LOCKED), as it does just after a prefix is made.
    const UniqueHandle hStarted(OpenEventW(SYNCHRONIZE, FALSE, L"__wine_SvcctlStarted"));
    ASSERT_TRUE(!hStarted || WaitForSingleObject(hStarted.get(), 60000) == WAIT_OBJECT_0)
        << "the service manager did not finish starting";
    PlaceBuilt(L"varen_service.exe", item.strPath);
    const UniqueServiceHandle hManager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS));
    const std::wstring strBinary =
        L"\"" + item.strPath + L"\"" + (item.strArguments.empty() ? L"" : L" " + item.strArguments);
    const UniqueServiceHandle hService(CreateServiceW(
        hManager.get(), item.strName.c_str(), item.strName.c_str(), SERVICE_ALL_ACCESS,
        SERVICE_WIN32_OWN_PROCESS, SERVICE_DEMAND_START, SERVICE_ERROR_IGNORE, strBinary.c_str(),
        nullptr, nullptr, nullptr, nullptr, nullptr));
    ASSERT_TRUE(hService) << "CreateServiceW failed: " << GetLastError();
    if (item.dwState == SERVICE_STOPPED) {
        return;
    }
    const UniqueHandle hRunning( // set by the service when it reports running
        CreateEventW(nullptr, TRUE, FALSE, (L"VarenTestService." + item.strName).c_str()));
    ASSERT_TRUE(StartServiceW(hService.get(), 0, nullptr))
        << "StartServiceW failed: " << GetLastError();
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(hRunning.get(), kSettleMs))
        << "the service did not run";
    SERVICE_STATUS status = {};
    if (item.dwState == SERVICE_STOP_PENDING) {
        ASSERT_TRUE(ControlService(hService.get(), SERVICE_CONTROL_STOP, &status));
        ASSERT_EQ(static_cast<DWORD>(SERVICE_STOP_PENDING), status.dwCurrentState);
    }
}

// The service's state, or nullopt when there is no such service or it is stopped and
// marked for deletion.
std::optional<DWORD> ServiceState(const std::wstring& strName) {
    const UniqueServiceHandle hService =
        OpenNamedService(strName, SERVICE_QUERY_STATUS | SERVICE_CHANGE_CONFIG);
    SERVICE_STATUS status = {};
    if (!hService || !QueryServiceStatus(hService.get(), &status)) {
        return std::nullopt;
    }
    // A change that changes nothing fails only for a service marked for deletion; a
    // stopped one goes as soon as its process has let go of it.
    if (status.dwCurrentState == SERVICE_STOPPED &&
        !ChangeServiceConfigW(hService.get(), SERVICE_NO_CHANGE, SERVICE_NO_CHANGE,
                              SERVICE_NO_CHANGE, nullptr, nullptr, nullptr, nullptr, nullptr,
                              nullptr, nullptr) &&
        GetLastError() == ERROR_SERVICE_MARKED_FOR_DELETE) {
        return std::nullopt;
    }
    return status.dwCurrentState;
}

std::vector<BYTE> ReadFileBytes(const std::wstring& strPath) {
    std::ifstream file(fs::path(strPath), std::ios::binary);
    return std::vector<BYTE>(std::istreambuf_iterator<char>(file), {});
}

// "<target>|<arguments>|<working folder>" of a shell link, or "unreadable".
std::wstring ReadShortcut(const std::wstring& strPath) {
    const ComApartment apartment;
    UniqueComPtr<IShellLinkW> pLink;
    UniqueComPtr<IPersistFile> pFile;
    wchar_t szTarget[MAX_PATH] = {}, szArguments[1024] = {}, szFolder[MAX_PATH] = {};
    if (SUCCEEDED(CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_IShellLinkW,
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

// The item as the machine has it in the view: its content read back into the fields
// that Content shows, or nullopt when it is missing.
std::optional<Item> ReadBack(Item item, View view) {
    bool fExists = true;
    if (item.kind == Kind::Key) {
        fExists = KeyExists(item.hRoot, view, item.strPath);
    } else if (item.kind == Kind::Task) {
        fExists = TaskRoot().Exists(item.strName);
    } else if (item.kind == Kind::Value || item.kind == Kind::Link) {
        const auto stored = ReadRaw(item.hRoot, view, item.strPath, item.strName,
                                    item.kind == Kind::Link ? REG_OPTION_OPEN_LINK : 0);
        fExists = stored.has_value();
        if (stored) {
            std::tie(item.dwType, item.data) = *stored;
        }
    } else if (item.kind == Kind::Service) {
        const std::optional<DWORD> dwState = ServiceState(item.strName);
        fExists = dwState.has_value();
        item.dwState = dwState.value_or(0);
    } else if ((fExists = FileSystemExists(item.strPath)) && item.kind == Kind::File) {
        item.data = ReadFileBytes(item.strPath);
    } else if (fExists && item.kind == Kind::Shortcut) {
        item.strName = ReadShortcut(item.strPath);
    }
    return fExists ? std::optional(item) : std::nullopt;
}

// What an item holds, as text to compare: a value's type and bytes, a file's bytes, a
// service's state, a shortcut's target, arguments and folder; nothing for the rest.
std::string Content(const Item& item) {
    if (item.kind == Kind::Service || item.kind == Kind::Shortcut) {
        return item.kind == Kind::Service ? "state " + std::to_string(item.dwState)
                                          : Shown(item.strName);
    }
    std::string strContent = IsRegistry(item) ? "type " + std::to_string(item.dwType) + ":" : "";
    for (BYTE b : item.data) { // only values, links and files have data
        const char szHex[] = "0123456789abcdef";
        strContent += {' ', szHex[b >> 4], szHex[b & 15]};
    }
    return strContent;
}

void ExpectAsDescribed(const Item& item, View view, const char* szWhy) {
    const std::optional<Item> stored = ReadBack(item, view);
    EXPECT_TRUE(stored && Content(*stored) == Content(item))
        << Describe(item, view) << szWhy << ": "
        << (stored ? "holds " + Content(*stored) + ", expected " + Content(item) : "missing");
}

// A gone item takes the same item, and anything at or below a gone key or folder.
bool Takes(const Item& gone, const Item& item, View view) {
    if (IsNamed(gone) || IsNamed(item)) {
        return gone.kind == item.kind && SamePath(gone.strName, item.strName);
    }
    if (IsRegistry(gone) != IsRegistry(item) ||
        (IsRegistry(gone) &&
         (gone.hRoot != item.hRoot || !(gone.views & (view == View::Native ? N : W))))) {
        return false;
    }
    if (gone.kind == Kind::Key || gone.kind == Kind::Folder) {
        return IsAtOrBelow(item.strPath, gone.strPath);
    }
    return SamePath(item.strPath, gone.strPath) &&
           (!IsRegistry(gone) || (item.kind == gone.kind && SamePath(item.strName, gone.strName)));
}

// The shallowest path on the way to strPath that fExists denies, or "".
template <typename TExists>
std::wstring FirstMissing(std::wstring strPath, size_t cchRoot, TExists fExists) {
    std::wstring strTop;
    while (strPath.size() > cchRoot && !fExists(strPath)) {
        strTop = strPath;
        const size_t iSlash = strPath.find_last_of(L'\\');
        strPath.resize(iSlash == std::wstring::npos ? 0 : iSlash);
    }
    return strTop;
}

// One case's machine: what it arranges, each with the step that puts the machine
// back, taken in reverse order when the case ends (services go before the folders
// of their programs, stand-ins are restored before what they were placed in).
class Machine {
  public:
    // Points every stand-in's record at a fresh file; put back after every other step.
    Machine() : m_strLog(Expand(L"%TEMP%standin_") + NewGuid() + L".log") {
        SetEnvironmentVariableW(L"VARENCA_STANDIN_LOG", m_strLog.c_str());
        m_undo.emplace_back([this] {
            SetEnvironmentVariableW(L"VARENCA_STANDIN_LOG", nullptr);
            SetEnvironmentVariableW(L"VARENCA_STANDIN_DELAY_MS", nullptr);
            for (const std::wstring& strImage : m_images) {
                DeleteValue(HKEY_CURRENT_USER, View::Native, kOverrides, strImage);
            }
            DeleteFileW(m_strLog.c_str());
        });
    }
    ~Machine() {
        std::for_each(m_undo.rbegin(), m_undo.rend(), [](const auto& undo) { undo(); });
    }

    // Notes what the item would make that is not there yet, to remove afterwards: the
    // shallowest key or folder on its path that does not exist, or a value alone. Keys
    // are noted in both views: an action may make in one view what a case names in the
    // other, and a later case could not arrange a link there.
    void NoteLeftovers(const Item& item) {
        if (item.kind == Kind::Task) {
            if (!TaskRoot().Exists(item.strName)) {
                m_undo.emplace_back([strName = item.strName] { TaskRoot().Delete(strName); });
            }
            return;
        }
        for (View view : IsRegistry(item) ? kBothViews : std::span<const View>()) {
            const std::wstring strTop = FirstMissing(item.strPath, 0, [&](const std::wstring& str) {
                return KeyExists(item.hRoot, view, str);
            });
            if (!strTop.empty()) {
                m_undo.emplace_back([item, view, strTop] { DeleteTree(item.hRoot, view, strTop); });
            } else if (item.kind == Kind::Value &&
                       !ReadRaw(item.hRoot, view, item.strPath, item.strName)) {
                m_undo.emplace_back(
                    [item, view] { DeleteValue(item.hRoot, view, item.strPath, item.strName); });
            }
        }
        if (IsRegistry(item)) {
            return;
        }
        const fs::path top = FirstMissing(item.strPath, 3, FileSystemExists);
        m_undo.emplace_back([top] {
            std::error_code error;
            if (!top.empty() && fs::remove_all(top, error) &&
                top.parent_path() == TrashFolder() / L"files") {
                fs::remove(TrashFolder() / L"info" / (top.filename().wstring() + L".trashinfo"),
                           error);
            }
        });
        if (item.kind == Kind::Service) {
            m_undo.emplace_back([item] { RemoveTestService(item); });
        }
    }

    void Arrange(const Item& item) {
        if (!IsRegistry(item) && item.kind != Kind::Task) {
            fs::create_directories(fs::path(item.strPath).parent_path());
        }
        for (View view : IsRegistry(item) ? ViewsOf(item) : std::vector<View>{}) {
            if (item.kind == Kind::Key) {
                CreateKey(item.hRoot, view, item.strPath);
            } else {
                SetRaw(item.hRoot, view, item.strPath, item.strName, item.dwType, item.data.data(),
                       static_cast<DWORD>(item.data.size()),
                       item.kind == Kind::Link ? REG_OPTION_CREATE_LINK : 0);
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
            CreateTestService(item);
            break;
        case Kind::Task:
            TaskRoot().Register(item.strName);
            break;
        default:
            break;
        }
    }

    // Every line the stand-ins recorded, in order: a command line, or "done".
    Lines StandInLog() const {
        const std::vector<BYTE> bytes = ReadFileBytes(m_strLog);
        const std::wstring strText(reinterpret_cast<const wchar_t*>(bytes.data()),
                                   bytes.size() / sizeof(wchar_t));
        Lines lines;
        for (size_t iStart = 0, iEnd = strText.find(L'\n'); iEnd != std::wstring::npos;
             iStart = iEnd + 1, iEnd = strText.find(L'\n', iStart)) {
            lines.push_back(strText.substr(iStart, iEnd - iStart));
        }
        return lines;
    }

    // The ids of the processes started from this program that run a placed stand-in,
    // or whose program can no longer be named (one that has just ended). The thread's
    // last error is left as it was: some actions log whatever error they find.
    std::vector<DWORD> RunningStandIns() const {
        const DWORD dwLastError = GetLastError();
        std::vector<DWORD> ids = ProcessesStartedHere();
        std::erase_if(ids, [this](DWORD dwId) {
            const UniqueHandle hProcess(
                OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, dwId));
            wchar_t szImage[MAX_PATH] = {};
            DWORD cchImage = MAX_PATH;
            return hProcess && QueryFullProcessImageNameW(hProcess.get(), 0, szImage, &cchImage) &&
                   std::none_of(m_images.begin(), m_images.end(), [&](const std::wstring& str) {
                       return SamePath(str, fs::path(szImage).filename().wstring());
                   });
        });
        SetLastError(dwLastError);
        return ids;
    }

    // Waits for the stand-ins that run and are not in before: their record is then complete.
    void AwaitNewStandIns(const std::vector<DWORD>& before) const {
        for (DWORD dwId : RunningStandIns()) {
            const UniqueHandle hProcess(std::find(before.begin(), before.end(), dwId) ==
                                                before.end()
                                            ? OpenProcess(SYNCHRONIZE, FALSE, dwId)
                                            : nullptr);
            EXPECT_TRUE(!hProcess || WaitForSingleObject(hProcess.get(), 60000) == WAIT_OBJECT_0)
                << "a program the action started has not ended";
        }
    }

  private:
    static constexpr wchar_t kOverrides[] = L"Software\\Wine\\DllOverrides";

    // The stand-in at the path of a program the action starts; a file there is put
    // aside until the case ends. A tool that Wine also has built in is marked "native"
    // so that the copy runs.
    void PlaceProgram(const Item& item) {
        const std::wstring strAside = item.strPath + L".varen-original";
        const bool fAside =
            MoveFileExW(item.strPath.c_str(), strAside.c_str(), MOVEFILE_REPLACE_EXISTING);
        PlaceBuilt(L"standin.exe", item.strPath);
        m_images.push_back(item.strPath.substr(item.strPath.find_last_of(L'\\') + 1));
        static const wchar_t kNative[] = L"native";
        SetRaw(HKEY_CURRENT_USER, View::Native, kOverrides, m_images.back(), REG_SZ, kNative,
               sizeof(kNative));
        if (item.uDelayMs) {
            SetEnvironmentVariableW(L"VARENCA_STANDIN_DELAY_MS",
                                    std::to_wstring(item.uDelayMs).c_str());
        }
        m_undo.emplace_back([item, strAside, fAside] {
            DeleteFileW(item.strPath.c_str());
            if (fAside) {
                MoveFileExW(strAside.c_str(), item.strPath.c_str(), MOVEFILE_REPLACE_EXISTING);
            }
        });
    }

    std::wstring m_strLog;
    std::vector<std::wstring> m_images; // the stand-ins' file names
    std::vector<std::function<void()>> m_undo;
};

Item ExpandItem(Item item) {
    item.strPath = Expand(item.strPath);
    item.strArguments = Expand(item.strArguments);
    if (item.kind == Kind::Shortcut) {
        item.strName = Expand(item.strName);
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
std::vector<T> ExpandAll(std::vector<T> items, TExpand expand) {
    std::transform(items.begin(), items.end(), items.begin(), expand);
    return items;
}

PropertyRows ExpandRows(const PropertyRows& rows) {
    return ExpandAll(rows,
                     [](const auto& row) { return std::pair(row.first, Expand(row.second)); });
}

// Fails with the lines one to a row, so that the failure shows where they differ.
void ExpectLines(const char* szWhat, const Lines& expected, const Lines& actual) {
    const auto shown = [](const Lines& lines) {
        std::string strShown;
        for (const std::wstring& strLine : lines) {
            strShown += Shown(strLine) + "\n";
        }
        return strShown;
    };
    EXPECT_EQ(shown(ExpandAll(expected, Expand)), shown(actual)) << szWhat;
}

std::vector<std::wstring> g_debugLines;
int g_cFaultCalls = -1;          // -1 while no fault is placed
MSIHANDLE g_hCaseSession = 0;    // the running case's session, for Note
HMODULE g_hCaseModule = nullptr; // the library it loaded, for Fault

void WINAPI CaptureDebugOutput(LPCWSTR szText) {
    g_debugLines.emplace_back(szText ? szText : L"(null)");
}

void CallAndCheck(const Case& c, Machine& machine) {
    PropertyRows properties = ExpandRows(c.properties);
    if (c.data) {
        properties.emplace_back(L"CustomActionData", Expand(*c.data));
    }
    ActionSession session(properties, c.orx ? std::optional(ExpandRows(*c.orx)) : std::nullopt,
                          c.szDll);
    g_hCaseModule = session.Module();
    const std::shared_ptr<void> pDebugCapture =
        PatchImport(session.Module(), "kernel32.dll", "OutputDebugStringW",
                    reinterpret_cast<void*>(&CaptureDebugOutput));
    g_debugLines.clear();
    g_cFaultCalls = -1;
    g_hCaseSession = session.Handle();
    std::shared_ptr<void> pArranged = c.arrange ? c.arrange(session) : nullptr;
    const std::vector<DWORD> running = machine.RunningStandIns();
    const UINT uReturn = session.Call(c.szAction);
    const Lines log = machine.StandInLog();
    // A "done" recorded after the return was not waited for by the action.
    const auto cDoneAtReturn = std::count(log.begin(), log.end(), L"done");
    machine.AwaitNewStandIns(running);
    pArranged.reset(); // a fault goes before the checks
    EXPECT_NE(0, g_cFaultCalls) << "the fault's shim was never called";
    if (c.fSurvivalOnly) {
        return;
    }
    Lines commands, set, expectedSet;
    std::ptrdiff_t cDone = 0;
    for (const std::wstring& strLine : machine.StandInLog()) {
        if (strLine != L"done" || cDone++ < cDoneAtReturn) {
            commands.push_back(strLine);
        }
    }
    for (const auto& [strName, strValue] : c.set) {
        set.push_back(strName + L"=" + session.Property(strName.c_str()));
        expectedSet.push_back(strName + L"=" + strValue);
    }
    EXPECT_EQ(c.uReturn, uReturn) << "return value";
    ExpectLines("lines", c.lines, session.Lines());
    ExpectLines("user messages", c.messages, session.Messages());
    ExpectLines("debugger output", c.debug, g_debugLines);
    ExpectLines("stand-in command lines", c.commands, commands);
    ExpectLines("properties set", expectedSet, set);
}

void RunCase(const Case& c) {
    const testing::ScopedTrace wineNote(
        __FILE__, __LINE__,
        c.szWine ? std::string("expectation is Wine's behaviour: ") + c.szWine : "");
    // The prefix reports the version the case runs on (minor in the high byte, major in the low).
    EXPECT_EQ(c.iWindows == 7 ? 0x0106u : 0x000Au, LOWORD(GetVersion())) << "Windows version";
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
        CallAndCheck(c, machine);
        for (const Item& item : gone) {
            for (View view : ViewsOf(item)) {
                EXPECT_FALSE(ReadBack(item, view)) << Describe(item, view) << " should be gone";
            }
        }
        for (const Item& item : after) {
            for (View view : ViewsOf(item)) {
                ExpectAsDescribed(item, view, "");
            }
        }
        for (const Item& item : before) {
            const bool fChanged = std::any_of(after.begin(), after.end(), [&](const Item& a) {
                return a.kind == item.kind && a.hRoot == item.hRoot &&
                       SamePath(a.strPath, item.strPath) && SamePath(a.strName, item.strName);
            });
            for (View view : fChanged ? std::vector<View>{} : ViewsOf(item)) {
                if (std::none_of(gone.begin(), gone.end(),
                                 [&](const Item& g) { return Takes(g, item, view); })) {
                    ExpectAsDescribed(item, view, " was arranged and not named as changed, but");
                }
            }
        }
    }
    fs::remove_all(caseFolder, error);
}

// Cases live as long as the program; GoogleTest keeps pointers to them.
std::deque<Case>& Registered() {
    static std::deque<Case> registered;
    return registered;
}

struct CaseTest : testing::Test {
    explicit CaseTest(const Case& c) : m_case(c) {}
    void TestBody() override { RunCase(m_case); }
    const Case& m_case;
};

} // namespace

void Note(const std::wstring& strText) {
    const UniqueMsiHandle hRecord(MsiCreateRecord(0));
    MsiRecordSetStringW(hRecord.get(), 0, strText.c_str());
    MsiProcessMessage(g_hCaseSession, INSTALLMESSAGE_INFO, hRecord.get());
}

std::string BuiltBytes(const wchar_t* szName) {
    const std::vector<BYTE> bytes = ReadFileBytes(BuiltProgram(szName));
    return {bytes.begin(), bytes.end()};
}

const std::vector<std::string>& ExportNames() {
    static const std::vector<std::string> names = [] {
        std::vector<std::string> read;
        std::ifstream definition(fs::path(BuiltProgram(L"Varen_CA.def")));
        // "    Name" is an export; the heading and the comments are not.
        for (std::string strLine; std::getline(definition, strLine);) {
            if (strLine.starts_with("    ") && strLine.find(';') == std::string::npos) {
                read.push_back(strLine.substr(4));
            }
        }
        return read;
    }();
    return names;
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
    for (Case& c : newCases) {
        const Case& stored = Registered().emplace_back(std::move(c));
        const std::string strSuite = (stored.fSurvivalOnly   ? "Sweep_"
                                      : stored.iWindows == 7 ? "Win7_"
                                                             : "") +
                                     std::string(stored.szAction);
        std::string strName = stored.szName;
        std::replace_if(
            strName.begin(), strName.end(),
            [](char ch) { return !std::isalnum(static_cast<unsigned char>(ch)); }, '_');
        testing::RegisterTest(
            strSuite.c_str(), strName.c_str(), nullptr, nullptr, __FILE__, __LINE__,
            [pCase = &stored]() -> testing::Test* { return new CaseTest(*pCase); });
    }
    return static_cast<int>(Registered().size());
}

std::function<std::shared_ptr<void>(ActionSession&)> Faulty(std::vector<Shim> shims) {
    return [shims](ActionSession&) -> std::shared_ptr<void> {
        g_cFaultCalls = 0;
        auto pPatches = std::make_shared<std::vector<std::shared_ptr<void>>>();
        for (const Shim& shim : shims) {
            pPatches->push_back(
                PatchImport(g_hCaseModule, shim.szDll, shim.szFunction, shim.pShim));
        }
        return pPatches;
    };
}

void CountFault() {
    ++g_cFaultCalls;
}

// Every export of the module definition (the built DLL's exports: the dll_image test) has
// cases of its own; the sweep does not count.
TEST(Exports, EachHasCases) {
    ASSERT_FALSE(ExportNames().empty()) << "the module definition was not read";
    for (const std::string& strExport : ExportNames()) {
        EXPECT_TRUE(
            std::any_of(Registered().begin(), Registered().end(),
                        [&](const Case& c) { return !c.fSurvivalOnly && strExport == c.szAction; }))
            << strExport << " has no case";
    }
}

} // namespace cases
