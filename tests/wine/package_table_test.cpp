#include "runtime/package_table.h"
#include "runtime/session.h"
#include "tests/support/registry_support.h"
#include "tests/support/session_support.h"

#include <msiquery.h>

#include <gtest/gtest.h>

#include <optional>
#include <tuple>
#include <string>
#include <utility>
#include <vector>

using Lines = std::vector<std::wstring>;

namespace {

const wchar_t kReadingLine[] = L"Varen_CA GetFromMSITable(), Reading Property table\n";

std::wstring ValueLine(const std::wstring& strValue) {
    return L"Varen_CA GetFromMSITable() PackageRead Property Value is " + strValue + L" \n";
}

// Records the query text of every MsiDatabaseOpenViewW call a module makes.
class QueryRecorder {
  public:
    explicit QueryRecorder(HMODULE hModule)
        : m_patch(hModule, "msi.dll", "MsiDatabaseOpenViewW", reinterpret_cast<void*>(&Record)) {
        s_pfnReal = reinterpret_cast<OpenView>(m_patch.Original());
        s_queries.clear();
    }
    static const std::vector<std::wstring>& Queries() { return s_queries; }

  private:
    using OpenView = UINT(WINAPI*)(MSIHANDLE, LPCWSTR, MSIHANDLE*);
    static UINT WINAPI Record(MSIHANDLE hDatabase, LPCWSTR szQuery, MSIHANDLE* phView) {
        s_queries.emplace_back(szQuery);
        return s_pfnReal(hDatabase, szQuery, phView);
    }
    ImportPatch m_patch;
    static inline OpenView s_pfnReal = nullptr;
    static inline std::vector<std::wstring> s_queries;
};

// Makes a module's call of an installer function that takes a handle first fail
// as it really does for a handle that is not one: the real function gets 0.
template <typename TResult, typename... TArgs>
class NullHandleCall {
  public:
    NullHandleCall(HMODULE hModule, const char* szFunction)
        : m_patch(hModule, "msi.dll", szFunction, reinterpret_cast<void*>(&Call)) {
        s_pfnReal = reinterpret_cast<Function>(m_patch.Original());
    }

  private:
    using Function = TResult(WINAPI*)(MSIHANDLE, TArgs...);
    static TResult WINAPI Call(MSIHANDLE, TArgs... args) { return s_pfnReal(0, args...); }
    ImportPatch m_patch;
    static inline Function s_pfnReal = nullptr;
};

HMODULE TestProgram() {
    return GetModuleHandleW(nullptr);
}
HMODULE VarenDll() {
    return GetModuleHandleW(L"Varen_CA.dll");
}

// Handles left open by an earlier test would be counted by the next
// CloseLeftoverHandles; tests that count start from none.
void CloseStrayHandles() {
    MsiCloseAllHandles();
}

} // namespace

TEST(GetFromMSITable, ReadsTheRowThroughTheSessionInTheSlot) {
    CloseStrayHandles();
    ActionSession session(
        {{}, PropertyRows{{L"DriverVersion", L"31.0"}, {L"PNVersion", L"10.2.3"}}});
    g_hInstall = session.Handle();
    QueryRecorder recorder(TestProgram());
    std::wstring strValue = L"stale";
    EXPECT_TRUE(GetFromMSITable(kOrxPropertyQuery, L"PNVersion", strValue));
    EXPECT_EQ(L"10.2.3", strValue);
    EXPECT_EQ((Lines{kReadingLine, ValueLine(L"10.2.3")}), session.Lines())
        << JoinLines(session.Lines());
    EXPECT_EQ(
        std::vector<std::wstring>{
            L"SELECT `Value` FROM `ORX_InstallProperties` WHERE `Property` = 'PNVersion'"},
        QueryRecorder::Queries());
    EXPECT_EQ(0, session.CloseLeftoverHandles()); // row, view and database all closed
}

TEST(GetFromMSITable, TakesAValueOf1041CharactersButNot1042) {
    CloseStrayHandles();
    const std::wstring strFits(1041, L'v');
    const std::wstring strTooLong(1042, L'w');
    ActionSession session({{}, PropertyRows{{L"Fits", strFits}, {L"TooLong", strTooLong}}});
    g_hInstall = session.Handle();

    std::wstring strValue = L"stale";
    EXPECT_TRUE(GetFromMSITable(kOrxPropertyQuery, L"Fits", strValue));
    EXPECT_EQ(strFits, strValue);
    // The value line is longer than a log line can be.
    EXPECT_EQ((Lines{kReadingLine, L"CA buffer overflow\n"}), session.Lines())
        << JoinLines(session.Lines());

    session.ClearLines();
    strValue = L"stale";
    EXPECT_FALSE(GetFromMSITable(kOrxPropertyQuery, L"TooLong", strValue)); // ERROR_MORE_DATA
    EXPECT_EQ(L"stale", strValue);
    EXPECT_EQ(Lines{kReadingLine}, session.Lines()) << JoinLines(session.Lines());
    EXPECT_EQ(0, session.CloseLeftoverHandles());
}

TEST(GetFromMSITable, FailsSilentlyOnABadQueryAMissingTableOrRow) {
    CloseStrayHandles();
    struct Case {
        std::optional<PropertyRows> orxRows;
        std::wstring strRowName;
        std::wstring strQuery;
    };
    const std::wstring strLongName(2000, L'n');
    const Case cases[] = {
        // The name is not escaped: an apostrophe ends the literal early.
        {PropertyRows{{L"PNVersion", L"1"}}, L"O'Brien",
         L"SELECT `Value` FROM `ORX_InstallProperties` WHERE `Property` = 'O'Brien'"},
        {std::nullopt, L"PNVersion",
         L"SELECT `Value` FROM `ORX_InstallProperties` WHERE `Property` = 'PNVersion'"},
        {PropertyRows{{L"PNVersion", L"1"}}, L"pnversion",
         L"SELECT `Value` FROM `ORX_InstallProperties` WHERE `Property` = 'pnversion'"},
        // A name too long for the formatter: the query is cut at 1023 characters.
        {PropertyRows{{L"PNVersion", L"1"}}, strLongName,
         (L"SELECT `Value` FROM `ORX_InstallProperties` WHERE `Property` = '" + strLongName)
             .substr(0, 1023)},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(testing::Message() << test.strRowName.substr(0, 20).c_str());
        ActionSession session({{}, test.orxRows});
        g_hInstall = session.Handle();
        QueryRecorder recorder(TestProgram());
        std::wstring strValue = L"stale";
        EXPECT_FALSE(GetFromMSITable(kOrxPropertyQuery, test.strRowName.c_str(), strValue));
        EXPECT_EQ(L"stale", strValue);
        EXPECT_EQ(Lines{kReadingLine}, session.Lines()) << JoinLines(session.Lines());
        EXPECT_EQ(std::vector<std::wstring>{test.strQuery}, QueryRecorder::Queries());
        EXPECT_EQ(0, session.CloseLeftoverHandles());
    }
}

TEST(GetFromMSITable, NoActiveDatabaseLogsTheEmptyValue) {
    ActionSession session({{}, PropertyRows{{L"PNVersion", L"1"}}});
    g_hInstall = session.Handle();
    NullHandleCall<MSIHANDLE> noDatabase(TestProgram(), "MsiGetActiveDatabase");
    std::wstring strValue = L"stale";
    EXPECT_FALSE(GetFromMSITable(kOrxPropertyQuery, L"PNVersion", strValue));
    EXPECT_EQ(L"stale", strValue);
    EXPECT_EQ(
        (Lines{kReadingLine, L"Varen_CA GetFromMSITable() failed at MsiGetActiveDatabase  \n"}),
        session.Lines())
        << JoinLines(session.Lines());
}

namespace {

struct VersionAction {
    const char* szName;
    const wchar_t* szRow; // also the registry value's name
    const wchar_t* szSuccessLine;
    const wchar_t* szOtherRow;
};

const VersionAction kVersionActions[] = {
    {"UpdatePNVersionInReg", L"PNVersion", L"VAREN_CA: PN version Registry values updated.",
     L"DriverVersion"},
    {"UpdateDriverVersionInReg", L"DriverVersion",
     L"VAREN_CA: Driver version Registry values updated.", L"PNVersion"},
};

const wchar_t kPnKey[] = L"SOFTWARE\\QVX\\PN";

// The UTF-16 bytes of a text without a terminator.
std::vector<BYTE> Utf16Bytes(const std::wstring& strText) {
    const auto* pBytes = reinterpret_cast<const BYTE*>(strText.data());
    return std::vector<BYTE>(pBytes, pBytes + strText.size() * sizeof(wchar_t));
}

std::pair<DWORD, std::vector<BYTE>> RegSz(const std::wstring& strText) {
    return {REG_SZ, Utf16Bytes(strText)};
}

// (value name, type, byte count) of each RegSetValueExW call the DLL makes.
using ValueWrite = std::tuple<std::wstring, DWORD, DWORD>;

class ValueWriteRecorder {
  public:
    ValueWriteRecorder()
        : m_patch(VarenDll(), "advapi32.dll", "RegSetValueExW", reinterpret_cast<void*>(&Record)) {
        s_pfnReal = reinterpret_cast<SetValue>(m_patch.Original());
        s_writes.clear();
    }
    static const std::vector<ValueWrite>& Writes() { return s_writes; }

  private:
    using SetValue = LSTATUS(WINAPI*)(HKEY, LPCWSTR, DWORD, DWORD, const BYTE*, DWORD);
    static LSTATUS WINAPI Record(HKEY hKey, LPCWSTR szName, DWORD dwReserved, DWORD dwType,
                                 const BYTE* pData, DWORD cbData) {
        s_writes.emplace_back(szName, dwType, cbData);
        return s_pfnReal(hKey, szName, dwReserved, dwType, pData, cbData);
    }
    ImportPatch m_patch;
    static inline SetValue s_pfnReal = nullptr;
    static inline std::vector<ValueWrite> s_writes;
};

void RunQuery(MSIHANDLE hDatabase, const std::wstring& strQuery) {
    MSIHANDLE hView = 0;
    ASSERT_EQ(ERROR_SUCCESS, MsiDatabaseOpenViewW(hDatabase, strQuery.c_str(), &hView));
    EXPECT_EQ(ERROR_SUCCESS, MsiViewExecute(hView, 0));
    MsiCloseHandle(hView);
}

// MSI keeps "" as a null, which the bench's NOT NULL Value column refuses; so
// the table is made in the session's own database with a Value that may be
// null, and given a row without a value.
void AddRowWithoutValue(MSIHANDLE hSession, const std::wstring& strRow) {
    const MSIHANDLE hDatabase = MsiGetActiveDatabase(hSession);
    RunQuery(hDatabase, L"CREATE TABLE `ORX_InstallProperties` (`Property` CHAR(72) NOT NULL, "
                        L"`Value` LONGCHAR PRIMARY KEY `Property`)");
    RunQuery(hDatabase,
             L"INSERT INTO `ORX_InstallProperties` (`Property`) VALUES ('" + strRow + L"')");
    MsiCloseHandle(hDatabase);
}

} // namespace

TEST(VersionInReg, WritesTheRowWithoutTerminatorInThe64BitViewOnly) {
    CloseStrayHandles();
    for (const VersionAction& action : kVersionActions) {
        SCOPED_TRACE(action.szName);
        RegistryScope scope(HKEY_LOCAL_MACHINE, {L"SOFTWARE\\QVX"});
        SetString(HKEY_LOCAL_MACHINE, View::Native, kPnKey, action.szRow, L"0.0.0.0.0.0.0.0");
        SetString(HKEY_LOCAL_MACHINE, View::Native, kPnKey, L"Sibling", L"keep");
        SetString(HKEY_LOCAL_MACHINE, View::Wow32, kPnKey, action.szRow, L"wow-old");

        ActionSession session(
            {{}, PropertyRows{{action.szOtherRow, L"other"}, {action.szRow, L"10.2.3"}}});
        QueryRecorder recorder(VarenDll());
        ValueWriteRecorder writes;
        EXPECT_EQ(1u, session.Call(action.szName));
        EXPECT_EQ(Lines{action.szSuccessLine}, session.Lines()) << JoinLines(session.Lines());
        EXPECT_EQ(
            std::vector<std::wstring>{
                L"SELECT `Value` FROM `ORX_InstallProperties` WHERE `Property`='" +
                std::wstring(action.szRow) + L"'"},
            QueryRecorder::Queries());
        // Twelve bytes: the six characters without a terminator.
        EXPECT_EQ((std::vector<ValueWrite>{{action.szRow, REG_SZ, 12}}),
                  ValueWriteRecorder::Writes());
        // The registry itself counts the terminator in when the character after
        // the counted bytes is a null, as it is in the action's buffer.
        EXPECT_EQ(RegSz(std::wstring(L"10.2.3") + L'\0'),
                  ReadRaw(HKEY_LOCAL_MACHINE, View::Native, kPnKey, action.szRow));
        EXPECT_EQ(L"keep", ReadString(HKEY_LOCAL_MACHINE, View::Native, kPnKey, L"Sibling"));
        EXPECT_FALSE(ValueExists(HKEY_LOCAL_MACHINE, View::Native, kPnKey, action.szOtherRow));
        EXPECT_EQ(L"wow-old", ReadString(HKEY_LOCAL_MACHINE, View::Wow32, kPnKey, action.szRow));
        // The database handle and the row record are left open.
        EXPECT_EQ(2, session.CloseLeftoverHandles());
    }
}

TEST(VersionInReg, CreatesTheKeyAndStoresAnEmptyValueWithNoBytes) {
    CloseStrayHandles();
    for (const VersionAction& action : kVersionActions) {
        SCOPED_TRACE(action.szName);
        RegistryScope scope(HKEY_LOCAL_MACHINE, {L"SOFTWARE\\QVX"});
        ActionSession session;
        AddRowWithoutValue(session.Handle(), action.szRow);
        ValueWriteRecorder writes;
        EXPECT_EQ(1u, session.Call(action.szName));
        EXPECT_EQ(Lines{action.szSuccessLine}, session.Lines()) << JoinLines(session.Lines());
        EXPECT_EQ((std::vector<ValueWrite>{{action.szRow, REG_SZ, 0}}),
                  ValueWriteRecorder::Writes());
        EXPECT_EQ(RegSz(L""), ReadRaw(HKEY_LOCAL_MACHINE, View::Native, kPnKey, action.szRow));
        EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, View::Wow32, L"SOFTWARE\\QVX"));
        EXPECT_EQ(2, session.CloseLeftoverHandles());
    }
}

TEST(VersionInReg, TakesUpTo8191CharactersAndSkipsLongerValuesSilently) {
    CloseStrayHandles();
    for (const VersionAction& action : kVersionActions) {
        SCOPED_TRACE(action.szName);
        RegistryScope scope(HKEY_LOCAL_MACHINE, {L"SOFTWARE\\QVX"});
        const std::wstring strFits(8191, L'f');
        {
            ActionSession session({{}, PropertyRows{{action.szRow, strFits}}});
            ValueWriteRecorder writes;
            EXPECT_EQ(1u, session.Call(action.szName));
            EXPECT_EQ(Lines{action.szSuccessLine}, session.Lines());
            EXPECT_EQ((std::vector<ValueWrite>{{action.szRow, REG_SZ, 8191 * 2}}),
                      ValueWriteRecorder::Writes());
            EXPECT_EQ(RegSz(strFits + L'\0'),
                      ReadRaw(HKEY_LOCAL_MACHINE, View::Native, kPnKey, action.szRow));
            EXPECT_EQ(2, session.CloseLeftoverHandles());
        }
        SetString(HKEY_LOCAL_MACHINE, View::Native, kPnKey, action.szRow, L"before");
        {
            ActionSession session({{}, PropertyRows{{action.szRow, std::wstring(8192, L'x')}}});
            EXPECT_EQ(1u, session.Call(action.szName)); // ERROR_MORE_DATA: no write, no line
            EXPECT_EQ(Lines{}, session.Lines()) << JoinLines(session.Lines());
            EXPECT_EQ(L"before",
                      ReadString(HKEY_LOCAL_MACHINE, View::Native, kPnKey, action.szRow));
            EXPECT_EQ(2, session.CloseLeftoverHandles());
        }
    }
}

TEST(VersionInReg, AMissingRowIsSilentAndStillSucceeds) {
    CloseStrayHandles();
    for (const VersionAction& action : kVersionActions) {
        SCOPED_TRACE(action.szName);
        RegistryScope scope(HKEY_LOCAL_MACHINE, {L"SOFTWARE\\QVX"});
        ActionSession session({{}, PropertyRows{{action.szOtherRow, L"1.0"}}});
        EXPECT_EQ(1u, session.Call(action.szName));
        EXPECT_EQ(Lines{}, session.Lines()) << JoinLines(session.Lines());
        for (View view : kBothViews) {
            EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, view, L"SOFTWARE\\QVX")) << ViewName(view);
        }
        EXPECT_EQ(1, session.CloseLeftoverHandles()); // the database
    }
}

TEST(VersionInReg, AKeyThatCannotBeCreatedIsSilent) {
    CloseStrayHandles();
    for (const VersionAction& action : kVersionActions) {
        SCOPED_TRACE(action.szName);
        RegistryScope scope(HKEY_LOCAL_MACHINE, {L"SOFTWARE\\QVX"});
        ActionSession session({{}, PropertyRows{{action.szRow, L"1.0"}}});
        using CreateKey = LSTATUS(WINAPI*)(HKEY, LPCWSTR, DWORD, LPWSTR, DWORD, REGSAM,
                                           const SECURITY_ATTRIBUTES*, PHKEY, LPDWORD);
        CreateKey pfnDenied = [](HKEY, LPCWSTR, DWORD, LPWSTR, DWORD, REGSAM,
                                 const SECURITY_ATTRIBUTES*, PHKEY,
                                 LPDWORD) -> LSTATUS { return ERROR_ACCESS_DENIED; };
        ImportPatch denied(VarenDll(), "advapi32.dll", "RegCreateKeyExW",
                           reinterpret_cast<void*>(pfnDenied));
        EXPECT_EQ(1u, session.Call(action.szName));
        EXPECT_EQ(Lines{}, session.Lines()) << JoinLines(session.Lines());
        EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, View::Native, L"SOFTWARE\\QVX"));
        EXPECT_EQ(2, session.CloseLeftoverHandles());
    }
}

TEST(VersionInReg, AMissingTableLogsTheThreadsLastError) {
    CloseStrayHandles();
    for (const VersionAction& action : kVersionActions) {
        SCOPED_TRACE(action.szName);
        RegistryScope scope(HKEY_LOCAL_MACHINE, {L"SOFTWARE\\QVX"});
        ActionSession session;
        SetLastError(4242);
        EXPECT_EQ(0u, session.Call(action.szName));
        EXPECT_EQ(Lines{L"Failed in call to MsiDatabaseOpenView. Error: 4242"}, session.Lines())
            << JoinLines(session.Lines());
        EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, View::Native, L"SOFTWARE\\QVX"));
        EXPECT_EQ(1, session.CloseLeftoverHandles()); // the database
    }
}

TEST(VersionInReg, AFailedExecuteLogsTheThreadsLastErrorAndClosesTheView) {
    CloseStrayHandles();
    for (const VersionAction& action : kVersionActions) {
        SCOPED_TRACE(action.szName);
        RegistryScope scope(HKEY_LOCAL_MACHINE, {L"SOFTWARE\\QVX"});
        ActionSession session({{}, PropertyRows{{action.szRow, L"1.0"}}});
        NullHandleCall<UINT, MSIHANDLE> failedExecute(VarenDll(), "MsiViewExecute");
        SetLastError(777);
        EXPECT_EQ(0u, session.Call(action.szName));
        EXPECT_EQ(Lines{L"Failed in call to MsiViewExecute. Error: 777"}, session.Lines())
            << JoinLines(session.Lines());
        EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, View::Native, L"SOFTWARE\\QVX"));
        EXPECT_EQ(1, session.CloseLeftoverHandles()); // the database; the view is closed
    }
}
