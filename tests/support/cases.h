// The case format for action tests. A case is a few lines of a table: the package,
// the machine before the call, the export called, and what must hold after it (the
// return, the exact lines logged, what is gone, what is new or changed, the command
// lines stand-ins saw). Everything arranged that a case does not name as gone or
// changed must still be there, unchanged: the runner checks that for every case.
//
// Texts (properties, data, rows, paths, contents, lines, command lines) may hold tokens
// that the runner replaces: %CASE% (a fresh folder for the case, removed after it), %TEMP%
// (with its trailing "\"), %WINDIR%, %SYSTEM%, %SYSTEMX86% (the 32-bit system folder),
// %PROGRAMFILES%, %PROGRAMFILES32%, %COMMONFILES%, %PROGRAMDATA%, %CURRENT% (where relative
// paths lead), %COMMONDESKTOP%, %COMMONPROGRAMS%, %TRASH% (the Recycle Bin's folder of
// removed items, the host user's trash under Wine) and %RUN%, a tag of this run for names
// sent to the Recycle Bin, which every prefix shares. "%%" stands for "%".
#pragma once

#include "tests/support/session_support.h"

#include <windows.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace cases {

using Lines = std::vector<std::wstring>;

// The text with the runner's tokens replaced (for helpers that build expected texts).
std::wstring Expand(const std::wstring& strText);

// Registry views an item is in: the native (64-bit) one, the 32-bit one, both.
enum Views : unsigned { N = 1, W = 2, NW = 3 };

// One thing on the machine. Paths are registry paths under hRoot, or file-system paths.
struct Item {
    enum class Kind { Key, Value, File, Folder, Program, Service, Shortcut, Link, Task };
    Kind kind = Kind::Key;
    std::wstring strPath{};
    unsigned views = N;
    HKEY hRoot = HKEY_LOCAL_MACHINE;
    std::wstring strName{}; // a value's name ("" is the default value); see the makers below
    DWORD dwType = REG_NONE;
    std::vector<BYTE> data{};    // a value's data, or a file's content
    std::wstring strArguments{}; // a service's behaviour: the arguments of its binary path
    DWORD dwState = 0;           // a service's state
    unsigned uDelayMs = 0;       // a program's run time before it logs "done"
};

inline Item Key(unsigned views, std::wstring strPath, HKEY hRoot = HKEY_LOCAL_MACHINE) {
    return {Item::Kind::Key, std::move(strPath), views, hRoot};
}
// Any type and bytes: odd sizes, missing terminators, wrong types (no tokens replaced).
inline Item Raw(unsigned views, std::wstring strPath, std::wstring strName, DWORD dwType,
                std::vector<BYTE> data, HKEY hRoot = HKEY_LOCAL_MACHINE) {
    return {Item::Kind::Value, std::move(strPath), views, hRoot, std::move(strName), dwType, data};
}
inline Item Str(unsigned views, std::wstring strPath, std::wstring strName, std::wstring strValue,
                HKEY hRoot = HKEY_LOCAL_MACHINE) {
    strValue = Expand(strValue);
    const auto* pBytes = reinterpret_cast<const BYTE*>(strValue.c_str());
    return Raw(views, std::move(strPath), std::move(strName), REG_SZ,
               {pBytes, pBytes + (strValue.size() + 1) * sizeof(wchar_t)}, hRoot);
}
inline Item Dword(unsigned views, std::wstring strPath, std::wstring strName, DWORD dwValue,
                  HKEY hRoot = HKEY_LOCAL_MACHINE) {
    const auto* pBytes = reinterpret_cast<const BYTE*>(&dwValue);
    return Raw(views, std::move(strPath), std::move(strName), REG_DWORD,
               {pBytes, pBytes + sizeof(dwValue)}, hRoot);
}
// A registry link at strPath that leads to the HKLM key strTarget (native view): the
// runner checks that it is still there, with its target, and removes it without following it.
inline Item Link(unsigned views, std::wstring strPath, std::wstring strTarget,
                 HKEY hRoot = HKEY_LOCAL_MACHINE) {
    const std::wstring strNtTarget = L"\\REGISTRY\\MACHINE\\" + strTarget; // unterminated
    const auto* pBytes = reinterpret_cast<const BYTE*>(strNtTarget.data());
    Item link = Raw(views, std::move(strPath), L"SymbolicLinkValue", REG_LINK,
                    {pBytes, pBytes + strNtTarget.size() * sizeof(wchar_t)}, hRoot);
    link.kind = Item::Kind::Link;
    return link;
}
inline Item File(std::wstring strPath, std::string strContent = "x") {
    return {.kind = Item::Kind::File,
            .strPath = std::move(strPath),
            .data = {strContent.begin(), strContent.end()}};
}
inline Item Folder(std::wstring strPath) {
    return {Item::Kind::Folder, std::move(strPath)};
}
// The stand-in program at strPath: it records the command line it is started with.
// A tool Wine has built in is marked "native" in the prefix for the case. With a
// delay it then runs that long and records "done": a starter that waits for it
// returns after "done" was recorded.
inline Item Program(std::wstring strPath, unsigned uDelayMs = 0) {
    return {.kind = Item::Kind::Program, .strPath = std::move(strPath), .uDelayMs = uDelayMs};
}
// The service strName of the test service program (tests/support/test_service.cpp),
// copied to strPath and registered with the binary path "<strPath>" strArguments, which
// set its behaviour. Before the action it is in dwState (SERVICE_STOPPED, _RUNNING, or
// _STOP_PENDING: running, then asked to stop); in .after, dwState is the state it must be
// in; in .gone, the service must no longer exist, or be stopped and marked for deletion
// (it goes once its process has ended). Its program file is not checked.
inline Item Service(std::wstring strName, std::wstring strPath, std::wstring strArguments = L"",
                    DWORD dwState = SERVICE_STOPPED) {
    return {.kind = Item::Kind::Service,
            .strPath = std::move(strPath),
            .strName = std::move(strName),
            .strArguments = std::move(strArguments),
            .dwState = dwState};
}
// A shell link, read back through IShellLinkW: its target, arguments and working folder.
inline Item Shortcut(std::wstring strPath, std::wstring strTarget, std::wstring strArguments = L"",
                     std::wstring strFolder = L"") {
    return {.kind = Item::Kind::Shortcut,
            .strPath = std::move(strPath),
            .strName = strTarget + L"|" + strArguments + L"|" + strFolder};
}
// The task strName in the root folder of the Task Scheduler, proved through the
// service; arranged as a task that runs cmd.exe on demand.
inline Item Task(std::wstring strName) {
    return {.kind = Item::Kind::Task, .strName = std::move(strName)};
}

struct Case {
    const char* szName = "";   // says what the case shows; with the action, names the test
    const char* szAction = ""; // the export called
    // The library it is called in: the test build Varen_CA_test.dll reaches
    // routines that no export of Varen_CA.dll calls.
    const wchar_t* szDll = L"Varen_CA.dll";
    // The package: Property rows, ORX_InstallProperties rows (no table when unset),
    // and "CustomActionData" (undefined when unset).
    PropertyRows properties{};
    std::optional<PropertyRows> orx{};
    std::optional<std::wstring> data{};
    std::vector<Item> before{};
    UINT uReturn = 0;
    Lines lines{};             // the INFO lines, exactly
    std::vector<Item> gone{};  // arranged items the action removes (a key or folder with all below)
    std::vector<Item> after{}; // items that must be there afterwards, with this content
    Lines commands{};          // the stand-ins' command lines (and "done"), in order; programs
                               // the action did not wait for are awaited, their "done" not shown
    PropertyRows set{};        // properties the action must have set, with their values
    Lines messages{};          // the USER messages, exactly
    Lines debug{};             // what the action wrote to the debugger output, exactly
    int iWindows = 10;         // 7: the case runs in the pass with the prefix set to Windows 7
    // Why an expectation is Wine's behaviour rather than the library's contract; shown
    // with a failure, so nobody mistakes it for what packages rely on.
    const char* szWine = nullptr;
    // Called in the session before the action; what it returns lives until the
    // action has returned (a patch made with Fault, say).
    std::function<std::shared_ptr<void>(ActionSession&)> arrange{};
    // Hostile input ("Sweep_<action>.<name>", in a prefix of its own): only that the
    // action returns and that nothing arranged changed are checked.
    bool fSurvivalOnly = false;
};

// A case given in one call, for tables of cases that differ only in these fields.
inline Case Removal(const char* szAction, const char* szName, std::optional<std::wstring> data,
                    std::vector<Item> before, UINT uReturn, Lines lines,
                    std::vector<Item> gone = {}) {
    return {.szName = szName,
            .szAction = szAction,
            .data = std::move(data),
            .before = std::move(before),
            .uReturn = uReturn,
            .lines = std::move(lines),
            .gone = std::move(gone)};
}

// Registers the cases as GoogleTest tests "<action>.<name>" ("Win7_<action>.<name>"
// for the Windows 7 pass). Call it from a namespace-scope initializer:
//   const int kRegistered = cases::Register({...});
int Register(std::vector<Case> cases);

// A function that stands in for the import szDll!szFunction of the loaded Varen_CA.dll.
struct Shim {
    template <typename TShim>
    Shim(const char* szDllName, const char* szFunctionName, TShim* pfnShim)
        : szDll(szDllName), szFunction(szFunctionName), pShim(reinterpret_cast<void*>(pfnShim)) {}
    const char* szDll;
    const char* szFunction;
    void* pShim;
};

// The arrange step that places shims for the action's call:
//   .arrange = Faulty({{"msi.dll", "MsiViewExecute", &ShimFunction}}).
// The shims must call CountFault(): a case whose shims were never reached fails, so a
// patch into the wrong place cannot pass silently.
std::function<std::shared_ptr<void>(ActionSession&)> Faulty(std::vector<Shim> shims);
void CountFault();

// Writes strText into the running case's session log as an INFO line: a shim shows
// so when, and with what, the action called it among the action's own lines.
void Note(const std::wstring& strText);

// The lines the removal routine logs for strPath: its attempt, then its success or the
// error szError; then more.
inline Lines Removed(const std::wstring& strPath, const wchar_t* szError = nullptr,
                     Lines more = {}) {
    more.insert(more.begin(), {L"VAREN_CA DeleteDirectory attempting to delete " + strPath + L" \n",
                               L"VAREN_CA DeleteDirectory " + strPath +
                                   (szError ? L" Error: " + std::wstring(szError) + L". \n"
                                            : L": no errors using SHFileOperation.  \n")});
    return more;
}

// The bytes of the file szName built beside the test program (a library a case places).
std::string BuiltBytes(const wchar_t* szName);

// The exports of Varen_CA.dll as its module definition, copied beside the test program,
// names them; read once (cases may keep pointers to them).
const std::vector<std::string>& ExportNames();

} // namespace cases
