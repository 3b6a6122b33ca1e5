// The install manager's optional logging library, reached through the settings-file
// code: UpdateCfg mirrors its lines into a usable "VLMLog.dll" in the install manager's
// folder, loaded by that full path only (a stand-in built by the tests, which records
// its calls in "VLMLog.txt" beside itself), and logs the same lines whatever it finds.
#include "tests/support/cases.h"

#include <fstream>
#include <iterator>

using namespace cases;

namespace {

// A file built beside the test program, as bytes.
std::string Built(const wchar_t* szName) {
    wchar_t szSelf[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, szSelf, MAX_PATH);
    std::wstring strPath = szSelf;
    std::ifstream file((strPath.substr(0, strPath.find_last_of(L'\\') + 1) + szName).c_str(),
                       std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

const std::string kStandIn = Built(L"vlmlog_standin.dll");

// UpdateCfg with the install manager's folder %CASE%\IM and szLibrary as "VLMLog.dll"
// in strFolder, with more beside it: the record the stand-in would write is expected
// as strRecord.
Case UpdateCfg(const char* szName, const std::string& strLibrary, const std::string& strRecord,
               const std::wstring& strFolder = L"%CASE%\\IM", std::vector<Item> more = {}) {
    more.push_back(File(strFolder + L"\\VLMLog.dll", strLibrary));
    more.push_back(File(strFolder + L"\\VLMLog.txt", "before\n"));
    return {.szName = szName,
            .szAction = "UpdateCfg",
            .data = L"%CASE%\\IM\\",
            .before = more,
            .lines = {L"CustomActionData: %CASE%\\IM\\",
                      L"VAREN_CA InstallManager.cfg created: %CASE%\\IM\\InstallManager.cfg \n"},
            .after = {File(strFolder + L"\\VLMLog.txt", strRecord)}};
}

const int kExternalLog = Register({
    UpdateCfg("a usable library gets the settings file's lines", kStandIn,
              "before\nopen Varen_CA\nVAREN_CA InstallManager.cfg created: "
              "%CASE%\\IM\\InstallManager.cfg \n\nclose\n"),
    UpdateCfg("another interface version is not opened", kStandIn, "before\n", L"%CASE%\\IM",
              {File(L"%CASE%\\IM\\VLMLog.version", "2")}),
    UpdateCfg("a library without the entry points is dropped", Built(L"probe_ca.dll"), "before\n"),
    UpdateCfg("a file that is no image is not loaded", "MZ", "before\n"),
    UpdateCfg("one in the current folder is not loaded", kStandIn, "before\n", L"%CURRENT%",
              {Folder(L"%CASE%\\IM")}),
});

} // namespace
