// Property values of 259, 260 and 4,000 characters for every action that reads a property
// into its 260-character buffer (the hand-off actions' are with their cases). 259 fits;
// from 260 on the read fails and the action takes its failure path. No length may write
// past the buffer.
#include "tests/support/cases.h"

#include <algorithm>
#include <deque>

using namespace cases;

namespace {

constexpr size_t kcchBuffer = MAX_PATH;
const std::wstring kPackages = L"SOFTWARE\\ORX Technologies\\Install\\Packages";
const std::wstring kPid = L"W-05-000U-000-003-002-001-00-07";
const std::wstring kAnalytics = L"SOFTWARE\\QVX\\QVXAnalytics";

// What a read with room for cchCapacity characters leaves in the buffer.
std::wstring Left(const std::wstring& strValue, size_t cchCapacity) {
    return strValue.substr(0, std::min(strValue.size(), cchCapacity - 1));
}

struct Reader {
    const char* szAction;
    const char* szProperty; // names the test with the length
    std::function<Case(size_t cch)> expect;
};

const std::vector<Reader> kReaders = {
    // A value that fits goes to the shell (a folder that does not exist); a failed
    // read removes nothing, whatever it left in the buffer.
    {"ClearCADir", "INSTALLDIR",
     [](size_t cch) {
         const std::wstring strDir = L"C:\\ORX\\" + std::wstring(cch - 7, L'd');
         const bool fFits = cch < kcchBuffer;
         return Case{
             .properties = {{L"INSTALLDIR", strDir}},
             .uReturn = fFits ? 1u : 0u,
             .lines = {L"Varen_CA GetInstallCADir() start",
                       fFits ? L"VAREN_CA ClearCADir: " + strDir + L" \n"
                             : L"VAREN_CA Could not get INSTALLDIR  \n",
                       (fFits ? L"VAREN_CA ClearCADir: " : L"VAREN_CA can not ClearCADir: ") +
                           Left(strDir, kcchBuffer) + L" \n"},
             .szWine = fFits ? "Wine's Recycle Bin reports success for a path that does not exist"
                             : nullptr};
     }},
    // A package key name cannot be longer than 255 characters, so even a PID that
    // fits removes nothing; the other package keeps Packages and Install.
    {"CleanRegistry", "CustomActionData",
     [](size_t cch) {
         const std::wstring strPid = kPid + std::wstring(cch - kPid.size(), L'x');
         const std::wstring strPath = kPackages + L"\\" + strPid + L"\\";
         const std::wstring strNotEmpty =
             L"Varen_CA DeleteVarenRegKey(), Varen key has sub keys and is not empty thus it "
             L"will not be deleted ";
         Case c = {.data = strPid, .before = {Key(NW, kPackages + L"\\" + kPid)}, .uReturn = 1627};
         if (cch < kcchBuffer) {
             c.uReturn = 0;
             c.lines = {L"Varen_CA DeleteVLMRegKey: PID=" + strPid + L"\n",
                        L"Varen_CA DeletePackageKey(), Key to delete is " + strPath + L" \n",
                        L"Varen_CA DeletePackageKey(), " + strPath + L" key should be deleted \n",
                        L"Varen_CA CleanVarenRegKeys(), VLM Package key deleted, will now attempt "
                        L"the Varen (Package) key\n",
                        strNotEmpty + kPackages + L"\\ \n",
                        strNotEmpty + L"SOFTWARE\\ORX Technologies\\Install\\ \n"};
         }
         return c;
     }},
    // Width and height both of cch characters, then "32" and "60". The width is
    // read with 260; each later read gets the length the one before left, at most
    // 260, so the height (as long as the width) never fits, "32" fits, and "60"
    // gets 2 and leaves "6". A mode line of 520 characters or more overflows.
    {"SetDisplayMode", "DisplayWidth and DisplayHeight",
     [](size_t cch) {
         const std::wstring strWidth(cch, L'1');
         const std::wstring strMode = Left(strWidth, kcchBuffer) + L";" +
                                      Left(std::wstring(cch, L'2'), std::min(cch, kcchBuffer)) +
                                      L";32;6;";
         const std::wstring strLine =
             L"Varen_CA SetDisplayMode(), " + strMode + L" should be set in CustomActionData \n";
         return Case{.properties = {{L"DisplayWidth", strWidth},
                                    {L"DisplayHeight", std::wstring(cch, L'2')},
                                    {L"DisplayBpp", L"32"},
                                    {L"DisplayFreq", L"60"}},
                     .lines = {L"Varen_CA SetDisplayMode() start",
                               cch < kcchBuffer
                                   ? L"VAREN_CA DisplayWidth: " + strWidth + L" \n"
                                   : L"VAREN_CA Could not get DisplayWidth. Default to 1024  \n",
                               L"VAREN_CA Could not get DisplayHeight. Default to 768  \n",
                               L"VAREN_CA DisplayBpp: 32 \n",
                               L"VAREN_CA Could not get DisplayFreq. Default to 60  \n",
                               strLine.size() < 2 * kcchBuffer ? strLine : L"CA buffer overflow\n"},
                     .set = {{L"DisplayModeChange", strMode}}};
     }},
    // No long value is "YES" (DisabelAnalyticsKey reads it through the same helper).
    {"EnableAnalyticsKey", "DISABLEANALYTICS",
     [](size_t cch) {
         return Case{.properties = {{L"DISABLEANALYTICS", std::wstring(cch, L'Y')}},
                     .before = {Str(N, kAnalytics, L"AnalyticsAccepted", L"false")},
                     .after = {Str(N, kAnalytics, L"AnalyticsAccepted", L"true")}};
     }},
    // A value, read or too long to read, is set: the client owns the installation
    // (REMOVE is read through the same helper).
    {"CheckForClients", "LAUNCHED_FROM_CLIENT",
     [](size_t cch) {
         return Case{.properties = {{L"LAUNCHED_FROM_CLIENT", std::wstring(cch, L'1')}},
                     .lines = {L"Varen_CA CheckForClients(), _QUEPStatus = Client \n"},
                     .set = {{L"_QUEPStatus", L"Client"}}};
     }},
};

std::vector<Case> LongPropertyCases() {
    static std::deque<std::string> names; // test names live as long as the program
    std::vector<Case> vecCases;
    for (const Reader& reader : kReaders) {
        for (size_t cch : {259, 260, 4000}) {
            Case c = reader.expect(cch);
            c.szName = names
                           .emplace_back(std::string(reader.szProperty) + " of " +
                                         std::to_string(cch) + " characters")
                           .c_str();
            c.szAction = reader.szAction;
            vecCases.push_back(std::move(c));
        }
    }
    return vecCases;
}

const int kLongProperties = Register(LongPropertyCases());

} // namespace
