// The install manager's optional logging library, reached through the settings-file
// code: UpdateCfg mirrors its lines into a usable "VLMLog.dll" in the install manager's
// folder (a stand-in built by the tests) and logs exactly the same lines whatever is
// found there.
#include "tests/support/cases.h"

#include <fstream>
#include <iterator>

using namespace cases;

namespace {

const std::wstring kFolder = L"%CASE%\\IM";
const std::wstring kLibrary = kFolder + L"\\VLMLog.dll";
const std::wstring kRecord = kFolder + L"\\VLMLog.txt";
const std::wstring kCfgLine =
    L"VAREN_CA InstallManager.cfg created: " + kFolder + L"\\InstallManager.cfg \n";
const Lines kLines = {L"CustomActionData: " + kFolder + L"\\", kCfgLine};

// A file built beside the test program, as bytes.
std::string Built(const wchar_t* szName) {
    wchar_t szSelf[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, szSelf, MAX_PATH);
    std::wstring strPath = szSelf;
    strPath = strPath.substr(0, strPath.find_last_of(L'\\') + 1) + szName;
    std::ifstream file(strPath.c_str(), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// The stand-in with its machine field set to i386: a 32-bit library to the loader.
std::string As32Bit(std::string strImage) {
    const size_t iMachine = *reinterpret_cast<const int32_t*>(strImage.data() + 0x3C) + 4;
    strImage[iMachine] = '\x4C';
    strImage[iMachine + 1] = '\x01';
    return strImage;
}

// UpdateCfg with the folder holding szLibrary as "VLMLog.dll" (and more): it logs its
// own lines only, and the record the stand-in would write stays as it was.
Case Refused(const char* szName, const std::string& strLibrary, std::vector<Item> more = {}) {
    more.push_back(File(kLibrary, strLibrary));
    more.push_back(File(kRecord, "before\n"));
    return {.szName = szName,
            .szAction = "UpdateCfg",
            .data = kFolder + L"\\",
            .before = more,
            .lines = kLines};
}

const std::string kStandIn = Built(L"vlmlog_standin.dll");

const int kExternalLog = Register({
    {.szName = "a usable library gets the settings file's lines",
     .szAction = "UpdateCfg",
     .data = kFolder + L"\\",
     .before = {File(kLibrary, kStandIn)},
     .lines = kLines,
     .after = {File(kRecord, "open Varen_CA\nVAREN_CA InstallManager.cfg created: %CASE%\\IM\\"
                             "InstallManager.cfg \n\nclose\n")}},
    Refused("another interface version is not opened", kStandIn,
            {File(kFolder + L"\\VLMLog.version", "2")}),
    Refused("a 32-bit library is not loaded", As32Bit(kStandIn)),
    Refused("a library without the entry points is dropped", Built(L"probe_ca.dll")),
    Refused("a file that is no image is not loaded", "MZ"),
});

} // namespace
