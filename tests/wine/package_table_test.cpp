#include "runtime/handles.h"
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

HMODULE TestProgram() {
    return GetModuleHandleW(nullptr);
}
HMODULE VarenDll() {
    return GetModuleHandleW(L"Varen_CA.dll");
}

// Stand-ins for installer and registry functions, failing as the real ones can.
MSIHANDLE WINAPI NoDatabase(MSIHANDLE) {
    return 0;
}
UINT WINAPI FailExecute(MSIHANDLE, MSIHANDLE) {
    return ERROR_INVALID_HANDLE;
}
LSTATUS WINAPI DenyCreateKey(HKEY, LPCWSTR, DWORD, LPWSTR, DWORD, REGSAM,
                             const SECURITY_ATTRIBUTES*, PHKEY, LPDWORD) {
    return ERROR_ACCESS_DENIED;
}

} // namespace

TEST(GetFromMSITable, ReadsTheNamedRowThroughTheSlotAndClosesEveryHandle) {
    const std::wstring strFits(1041, L'v');
    const PropertyRows rows{{L"DriverVersion", L"31.0"},
                            {L"PNVersion", L"10.2.3"},
                            {L"Fits", strFits},
                            {L"TooLong", std::wstring(1042, L'w')}};
    const struct {
        std::optional<PropertyRows> orxRows;
        std::wstring strRowName;
        std::optional<std::wstring> strValue; // nothing: the call fails
        Lines lines;
        bool fNoDatabase = false;
    } cases[] = {
        {rows,
         L"PNVersion",
         L"10.2.3",
         {kReadingLine, L"Varen_CA GetFromMSITable() PackageRead Property Value is 10.2.3 \n"}},
        {rows, L"Fits", strFits, {kReadingLine, L"CA buffer overflow\n"}}, // too long to log
        {rows, L"TooLong", std::nullopt, {kReadingLine}},                  // ERROR_MORE_DATA
        // The name is not escaped: an apostrophe ends the literal early.
        {rows, L"O'Brien", std::nullopt, {kReadingLine}},
        {rows, L"pnversion", std::nullopt, {kReadingLine}},
        {std::nullopt, L"PNVersion", std::nullopt, {kReadingLine}},
        {rows, std::wstring(2000, L'n'), std::nullopt, {kReadingLine}},
        // The value is cleared before it is logged here.
        {rows,
         L"PNVersion",
         std::nullopt,
         {kReadingLine, L"Varen_CA GetFromMSITable() failed at MsiGetActiveDatabase  \n"},
         true},
    };
    MsiCloseAllHandles(); // so that only this test's handles are counted
    for (const auto& test : cases) {
        SCOPED_TRACE(testing::Message() << test.strRowName.substr(0, 20).c_str());
        ActionSession session({{}, test.orxRows});
        g_hInstall = session.Handle();
        QueryRecorder recorder(TestProgram());
        std::optional<ImportPatch> noDatabase;
        if (test.fNoDatabase) {
            noDatabase.emplace(TestProgram(), "msi.dll", "MsiGetActiveDatabase",
                               reinterpret_cast<void*>(&NoDatabase));
        }
        std::wstring strValue = L"stale";
        EXPECT_EQ(test.strValue.has_value(),
                  GetFromMSITable(kOrxPropertyQuery, test.strRowName.c_str(), strValue));
        EXPECT_EQ(test.strValue.value_or(L"stale"), strValue);
        EXPECT_EQ(test.lines, session.Lines()) << JoinLines(session.Lines());
        // The formatter cuts the query at 1023 characters.
        const std::wstring strQuery =
            L"SELECT `Value` FROM `ORX_InstallProperties` WHERE `Property` = '" + test.strRowName +
            L"'";
        EXPECT_EQ(test.fNoDatabase ? Lines{} : Lines{strQuery.substr(0, 1023)},
                  QueryRecorder::Queries());
        EXPECT_EQ(0, session.CloseLeftoverHandles()); // row, view and database all closed
    }
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

// MSI keeps "" as a null, which the bench's NOT NULL Value column refuses; so
// the table is made in the session's own database with a Value that may be
// null, and given a row without a value.
void AddRowWithoutValue(MSIHANDLE hSession, const std::wstring& strRow) {
    UniqueMsiHandle hDatabase(MsiGetActiveDatabase(hSession));
    for (const std::wstring& strQuery :
         {std::wstring(L"CREATE TABLE `ORX_InstallProperties` (`Property` CHAR(72) NOT NULL, "
                       L"`Value` LONGCHAR PRIMARY KEY `Property`)"),
          L"INSERT INTO `ORX_InstallProperties` (`Property`) VALUES ('" + strRow + L"')"}) {
        UniqueMsiHandle hView;
        ASSERT_EQ(ERROR_SUCCESS,
                  MsiDatabaseOpenViewW(hDatabase.get(), strQuery.c_str(), hView.put()));
        ASSERT_EQ(ERROR_SUCCESS, MsiViewExecute(hView.get(), 0));
    }
}

// What ORX_InstallProperties holds: the action's row beside another, its row
// without a value, only the other row, or there is no such table.
enum class Table { Row, RowWithoutValue, OtherRowOnly, None };

// An import of the DLL pointed at a stand-in.
struct Fault {
    const char* szDll;
    const char* szFunction;
    void* pStandIn;
};

struct VersionCase {
    const char* szCase = nullptr;
    Table table = Table::Row;
    std::wstring strValue = L"1.0"; // the row's value
    std::optional<Fault> fault = std::nullopt;
    bool fKeyExists = false;              // the native key holds the value and a sibling beforehand
    bool fSilent = false;                 // nothing is written or logged, and the action returns 1
    const wchar_t* szErrorLine = nullptr; // the action logs this, writes nothing, returns 0
    // The row record and the database are left open; without a row only the database.
    int cLeaked = 2;
};

const VersionCase kVersionCases[] = {
    {.szCase = "a row", .strValue = L"10.2.3", .fKeyExists = true},
    {.szCase = "a row without a value", .table = Table::RowWithoutValue, .strValue = L""},
    {.szCase = "8191 characters", .strValue = std::wstring(8191, L'f')},
    {.szCase = "8192 characters: ERROR_MORE_DATA",
     .strValue = std::wstring(8192, L'x'),
     .fSilent = true},
    {.szCase = "no row", .table = Table::OtherRowOnly, .fSilent = true, .cLeaked = 1},
    {.szCase = "a key that cannot be created",
     .fault = Fault{"advapi32.dll", "RegCreateKeyExW", reinterpret_cast<void*>(&DenyCreateKey)},
     .fSilent = true},
    // The error is the thread's last error, not the installer's result.
    {.szCase = "no table",
     .table = Table::None,
     .szErrorLine = L"Failed in call to MsiDatabaseOpenView. Error: 4242",
     .cLeaked = 1},
    {.szCase = "a failed execute, whose view is closed",
     .fault = Fault{"msi.dll", "MsiViewExecute", reinterpret_cast<void*>(&FailExecute)},
     .szErrorLine = L"Failed in call to MsiViewExecute. Error: 4242",
     .cLeaked = 1},
};

} // namespace

TEST(VersionInReg, CopiesTheRowIntoThe64BitViewOnlyAndLeavesItsHandlesOpen) {
    MsiCloseAllHandles(); // so that only this test's handles are counted
    for (const VersionAction& action : kVersionActions) {
        for (const VersionCase& test : kVersionCases) {
            SCOPED_TRACE(testing::Message() << action.szName << ", " << test.szCase);
            RegistryScope scope(HKEY_LOCAL_MACHINE, {L"SOFTWARE\\QVX"});
            SetString(HKEY_LOCAL_MACHINE, View::Wow32, kPnKey, action.szRow, L"wow-old");
            if (test.fKeyExists) {
                SetString(HKEY_LOCAL_MACHINE, View::Native, kPnKey, action.szRow, L"old");
                SetString(HKEY_LOCAL_MACHINE, View::Native, kPnKey, L"Sibling", L"keep");
            }
            PackageContents contents;
            if (test.table == Table::Row || test.table == Table::OtherRowOnly) {
                contents.orxRows = PropertyRows{{action.szOtherRow, L"other"}};
            }
            if (test.table == Table::Row) {
                contents.orxRows->emplace_back(action.szRow, test.strValue);
            }
            ActionSession session(contents);
            if (test.table == Table::RowWithoutValue) {
                AddRowWithoutValue(session.Handle(), action.szRow);
            }
            QueryRecorder recorder(VarenDll());
            ValueWriteRecorder writes;
            std::optional<ImportPatch> fault;
            if (test.fault) {
                fault.emplace(VarenDll(), test.fault->szDll, test.fault->szFunction,
                              test.fault->pStandIn);
            }

            SetLastError(4242);
            EXPECT_EQ(test.szErrorLine ? 0u : 1u, session.Call(action.szName));
            const bool fWrites = !test.fSilent && !test.szErrorLine;
            const Lines lines = test.szErrorLine ? Lines{test.szErrorLine}
                                : fWrites        ? Lines{action.szSuccessLine}
                                                 : Lines{};
            EXPECT_EQ(lines, session.Lines()) << JoinLines(session.Lines());
            EXPECT_EQ(Lines{L"SELECT `Value` FROM `ORX_InstallProperties` WHERE `Property`='" +
                            std::wstring(action.szRow) + L"'"},
                      QueryRecorder::Queries());
            if (fWrites) {
                // Without its terminator: two bytes a character.
                const DWORD cbValue = static_cast<DWORD>(test.strValue.size() * sizeof(wchar_t));
                EXPECT_EQ((std::vector<ValueWrite>{{action.szRow, REG_SZ, cbValue}}),
                          ValueWriteRecorder::Writes());
                EXPECT_EQ(test.strValue,
                          ReadString(HKEY_LOCAL_MACHINE, View::Native, kPnKey, action.szRow));
            } else {
                EXPECT_TRUE(ValueWriteRecorder::Writes().empty());
                EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, View::Native, L"SOFTWARE\\QVX"));
            }
            if (test.fKeyExists) {
                EXPECT_EQ(L"keep",
                          ReadString(HKEY_LOCAL_MACHINE, View::Native, kPnKey, L"Sibling"));
            }
            EXPECT_EQ(L"wow-old",
                      ReadString(HKEY_LOCAL_MACHINE, View::Wow32, kPnKey, action.szRow));
            EXPECT_EQ(test.cLeaked, session.CloseLeftoverHandles());
        }
    }
}
