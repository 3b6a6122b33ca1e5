// Property values of 259, 260, 261 and 4,000 characters for every action that reads a
// property into its 260-character buffer (the hand-off actions' are with their cases). 259 fits;
// from 260 on the read fails and the action takes its failure path. No length may write past the
// buffer.
#include "tests/support/cases.h"

#include <algorithm>
#include <cstring>
#include <deque>
#include <string>

using namespace cases;

namespace {

constexpr size_t kcchBuffer = MAX_PATH;
const std::wstring kShouldBeSet = L" should be set in CustomActionData \n";
const std::wstring kPackages = L"SOFTWARE\\ORX Technologies\\Install\\Packages";
const std::wstring kPid = L"W-05-000U-000-003-002-001-00-07";
const std::wstring kAnalytics = L"SOFTWARE\\QVX\\QVXAnalytics";

// A line as the log carries it: one of 520 characters or more does not fit.
std::wstring Logged(const std::wstring& strLine) {
    return strLine.size() < 2 * kcchBuffer ? strLine : L"CA buffer overflow\n";
}

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
         Case c;
         c.properties = {{L"INSTALLDIR", strDir}};
         c.uReturn = fFits ? 1 : 0;
         c.lines = {L"Varen_CA GetInstallCADir() start",
                    fFits ? L"VAREN_CA ClearCADir: " + strDir + L" \n"
                          : L"VAREN_CA Could not get INSTALLDIR  \n",
                    (fFits ? L"VAREN_CA ClearCADir: " : L"VAREN_CA can not ClearCADir: ") +
                        Left(strDir, kcchBuffer) + L" \n"};
         if (fFits) {
             c.szWine = "Wine's Recycle Bin reports success for a path that does not exist";
         }
         return c;
     }},
    // A package key name cannot be longer than 255 characters, so even a PID that
    // fits removes nothing; the other package keeps Packages and Install.
    {"CleanRegistry", "CustomActionData",
     [](size_t cch) {
         const std::wstring strPid = kPid + std::wstring(cch - kPid.size(), L'x');
         Case c;
         c.data = strPid;
         c.before = {Key(NW, kPackages + L"\\" + kPid)};
         if (cch >= kcchBuffer) {
             c.uReturn = 1627;
             return c;
         }
         const std::wstring strPath = kPackages + L"\\" + strPid + L"\\";
         const std::wstring strNotEmpty =
             L"Varen_CA DeleteVarenRegKey(), Varen key has sub keys and is not empty thus it "
             L"will not be deleted ";
         c.lines = {L"Varen_CA DeleteVLMRegKey: PID=" + strPid + L"\n",
                    L"Varen_CA DeletePackageKey(), Key to delete is " + strPath + L" \n",
                    L"Varen_CA DeletePackageKey(), " + strPath + L" key should be deleted \n",
                    L"Varen_CA CleanVarenRegKeys(), VLM Package key deleted, will now attempt "
                    L"the Varen (Package) key\n",
                    strNotEmpty + kPackages + L"\\ \n",
                    strNotEmpty + L"SOFTWARE\\ORX Technologies\\Install\\ \n"};
         return c;
     }},
    // Width and height both of cch characters, then "32" and "60". The width is
    // read with 260; each later read gets the length the one before left, at most
    // 260, so the height (as long as the width) never fits, "32" fits, and "60"
    // gets 2 and leaves "6". The mode, over 520 characters, overflows its line.
    {"SetDisplayMode", "DisplayWidth and DisplayHeight",
     [](size_t cch) {
         const std::wstring strWidth(cch, L'1');
         const std::wstring strHeight(cch, L'2');
         Case c;
         c.properties = {{L"DisplayWidth", strWidth},
                         {L"DisplayHeight", strHeight},
                         {L"DisplayBpp", L"32"},
                         {L"DisplayFreq", L"60"}};
         const std::wstring strMode = Left(strWidth, kcchBuffer) + L";" +
                                      Left(strHeight, std::min(cch, kcchBuffer)) + L";32;6;";
         c.lines = {L"Varen_CA SetDisplayMode() start",
                    cch < kcchBuffer ? L"VAREN_CA DisplayWidth: " + strWidth + L" \n"
                                     : L"VAREN_CA Could not get DisplayWidth. Default to 1024  \n",
                    L"VAREN_CA Could not get DisplayHeight. Default to 768  \n",
                    L"VAREN_CA DisplayBpp: 32 \n",
                    L"VAREN_CA Could not get DisplayFreq. Default to 60  \n",
                    Logged(L"Varen_CA SetDisplayMode(), " + strMode + kShouldBeSet)};
         c.set = {{L"DisplayModeChange", strMode}};
         return c;
     }},
    // No long value is "YES": analytics stay as they were.
    {"DisabelAnalyticsKey", "DISABLEANALYTICS",
     [](size_t cch) {
         Case c;
         c.properties = {{L"DISABLEANALYTICS", std::wstring(cch, L'Y')}};
         c.before = {Str(N, kAnalytics, L"AnalyticsAccepted", L"true")};
         return c;
     }},
    {"EnableAnalyticsKey", "DISABLEANALYTICS",
     [](size_t cch) {
         Case c;
         c.properties = {{L"DISABLEANALYTICS", std::wstring(cch, L'Y')}};
         c.before = {Str(N, kAnalytics, L"AnalyticsAccepted", L"false")};
         c.after = {Str(N, kAnalytics, L"AnalyticsAccepted", L"true")};
         return c;
     }},
    // A value, read or too long to read, is set: the client owns the installation.
    {"CheckForClients", "LAUNCHED_FROM_CLIENT",
     [](size_t cch) {
         Case c;
         c.properties = {{L"LAUNCHED_FROM_CLIENT", std::wstring(cch, L'1')}};
         c.lines = {L"Varen_CA CheckForClients(), _QUEPStatus = Client \n"};
         c.set = {{L"_QUEPStatus", L"Client"}};
         return c;
     }},
    // Removing, with an active client and the suite installed: the client owns it.
    {"CheckForClients", "REMOVE",
     [](size_t cch) {
         Case c;
         c.properties = {{L"REMOVE", std::wstring(cch, L'A')}};
         c.before = {
             Str(N, L"SOFTWARE\\QUEP", L"QUEPClient", L"QUEP Client", HKEY_CURRENT_USER),
             Dword(N, L"SOFTWARE\\QUEP", L"QUEPStatus", 1, HKEY_CURRENT_USER),
             Str(N, L"SOFTWARE\\ORX Technologies\\Install\\PPC", L"ProductVersion", L"1.0")};
         c.lines = {L"Varen_CA CheckForClients(), _QUEPStatus = Client \n"};
         c.set = {{L"_QUEPStatus", L"Client"}};
         return c;
     }},
};

std::vector<Case> LongPropertyCases() {
    // Test names live as long as the program, like the cases.
    static std::deque<std::string> names;
    std::vector<Case> vecCases;
    for (const Reader& reader : kReaders) {
        for (size_t cch : {259, 260, 261, 4000}) {
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
