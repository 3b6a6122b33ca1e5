// Session slot, property reads and the immediate-phase hand-off actions, which
// copy a value into the CustomActionData of a deferred action (the property named
// after that action).
#include "runtime/session.h"

#include "runtime/log.h"
#include "runtime/package_table.h"

#include <msiquery.h>

#include <algorithm>
#include <initializer_list>
#include <string>

MSIHANDLE g_hInstall = 0;

UINT ReadProperty(MSIHANDLE hInstall, const wchar_t* szName, PropertyBuffer& szValue) {
    DWORD cchValue = MAX_PATH;
    return MsiGetPropertyW(hInstall, szName, szValue, &cchValue);
}

void LogActionStart(const wchar_t* szAction) {
    LogMessage(g_hInstall, L"Varen_CA %s() start", szAction);
}

namespace {

// One deferred action that receives a value, with the two lines that report the
// outcome of setting its property (szSetLine formats the value for %s).
struct DeferredTarget {
    const wchar_t* szProperty;
    const wchar_t* szSetLine;
    const wchar_t* szFailLine;
};

bool HandOff(const DeferredTarget& target, const wchar_t* szValue) {
    if (MsiSetPropertyW(g_hInstall, target.szProperty, szValue) != ERROR_SUCCESS) {
        LogMessage(g_hInstall, target.szFailLine);
        return false;
    }
    LogMessage(g_hInstall, target.szSetLine, szValue);
    return true;
}

// Which sets decide an action that hands INSTALLDIR to two deferred actions.
enum class Verdict { EverySet, LastSet };

struct ActionResult {
    UINT uSuccess;
    UINT uFailure;
};
constexpr ActionResult kStatusResult{ERROR_SUCCESS, ERROR_INSTALL_FAILURE};
constexpr ActionResult kBooleanResult{1, 0};

// Reads INSTALLDIR and hands it to each target in turn. A failed read ends the
// action before anything is set; a failed set is logged and the next target is
// still attempted.
UINT HandOffInstallDir(MSIHANDLE hInstall, const wchar_t* szAction, const wchar_t* szReadFailLine,
                       std::initializer_list<DeferredTarget> targets, ActionResult result,
                       Verdict verdict = Verdict::EverySet) {
    g_hInstall = hInstall;
    LogActionStart(szAction);
    PropertyBuffer szInstallDir = {};
    if (ReadProperty(g_hInstall, L"INSTALLDIR", szInstallDir) != ERROR_SUCCESS) {
        LogMessage(g_hInstall, szReadFailLine);
        return result.uFailure;
    }
    bool fEverySet = true;
    bool fLastSet = false;
    for (const DeferredTarget& target : targets) {
        fLastSet = HandOff(target, szInstallDir);
        fEverySet = fEverySet && fLastSet;
    }
    const bool fSucceeded = verdict == Verdict::LastSet ? fLastSet : fEverySet;
    return fSucceeded ? result.uSuccess : result.uFailure;
}

} // namespace

extern "C" UINT __stdcall GetInstallA4Dir(MSIHANDLE hInstall) {
    return HandOffInstallDir(
        hInstall, L"GetInstallA4Dir", L"Varen_CA SetInstallA4Dir() failed.",
        {{L"DeleteInstallA4", L"Varen_CA DeleteInstallA4, %s should be set in CustomActionData \n",
          L"Varen_CA DeleteInstallA4 failed to set Pid in CustomActionData"}},
        kStatusResult);
}

extern "C" UINT __stdcall GetInstallCADir(MSIHANDLE hInstall) {
    return HandOffInstallDir(
        hInstall, L"GetInstallCADir", L"Varen_CA SetInstallCADir() failed.",
        {{L"DeleteInstallCA", L"Varen_CA DeleteInstallCA, %s should be set in CustomActionData \n",
          L"Varen_CA DeleteInstallCA failed to be set in CustomActionData"}},
        kBooleanResult);
}

extern "C" UINT __stdcall GetInstallPyraDir(MSIHANDLE hInstall) {
    return HandOffInstallDir(
        hInstall, L"GetInstallPyraDir", L"Varen_CA SetInstallPyraDir() failed.",
        {{L"DeleteInstallPyra",
          L"Varen_CA DeleteInstallPyra, %s should be set in CustomActionData \n",
          L"Varen_CA DeleteInstallPyra failed to set Pid in CustomActionData"}},
        kBooleanResult);
}

extern "C" UINT __stdcall GetInstallProxyDir(MSIHANDLE hInstall) {
    return HandOffInstallDir(
        hInstall, L"GetInstallProxyDir", L"Varen_CA SetInstallProxyDir() failed.",
        {{L"LaunchInstallProxyExe",
          L"Varen_CA LaunchInstallProxyExe, %s should be set in CustomActionData \n",
          L"Varen_CA LaunchInstallProxyExe failed to set Pid in CustomActionData"},
         {L"SetInstallProxyReg",
          L"Varen_CA SetInstallProxyReg, %s should be set in CustomActionData \n",
          L"Varen_CA SetInstallProxyReg failed to set Pid in CustomActionData"}},
        kBooleanResult, Verdict::LastSet);
}

extern "C" UINT __stdcall GetInstallUSBMonDir(MSIHANDLE hInstall) {
    return HandOffInstallDir(
        hInstall, L"GetInstallUSBMonDir", L"Varen_CA SetInstallUSBMONDir() failed.",
        {{L"DeleteUSBMONDir", L"Varen_CA DeleteUSBMONDir, %s should be set in CustomActionData \n",
          L"Varen_CA DeleteUSBMONDir failed to set Installdir in CustomActionData"}},
        kBooleanResult);
}

extern "C" UINT __stdcall SetInstallDir(MSIHANDLE hInstall) {
    return HandOffInstallDir(
        hInstall, L"SetInstallDir",
        L"Varen_CA SetInstallDir() failed to get Pid from ORX Property table.",
        {{L"DeleteVLMDir",
          L"Varen_CA DeleteVLMDir SetInstallDir(), %s should be set in CustomActionData \n",
          L"Varen_CA DeleteVLMDir SetInstallDir() failed to set Pid in CustomActionData"},
         {L"UpdateCfg",
          L"Varen_CA UpdateCfg SetInstallDir(), %s should be set in CustomActionData \n",
          L"Varen_CA UpdateCfg SetInstallDir() failed to set Pid in CustomActionData"}},
        kStatusResult);
}

extern "C" UINT __stdcall SetVlmOrxPid(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    LogActionStart(L"SetVlmOrxPid");
    std::wstring strPid;
    if (!GetFromMSITable(kOrxPropertyQuery, L"ORX_PID", strPid)) {
        LogMessage(g_hInstall,
                   L"Varen_CA SetVlmOrxPid() failed to get Pid from ORX Property table.");
        return ERROR_INSTALL_FAILURE;
    }
    const DeferredTarget cleanRegistry{
        L"CleanRegistry", L"Varen_CA SetVlmOrxPid(), %s should be set in CustomActionData \n",
        L"Varen_CA SetVlmOrxPid() failed to set Pid in CustomActionData"};
    return HandOff(cleanRegistry, strPid.c_str()) ? ERROR_SUCCESS : ERROR_INSTALL_FAILURE;
}

// Hands the display mode to DisplayModeChange as "width;height;bpp;freq;". The
// count is set to 260 once and then carries each read's length into the next
// read as its capacity (never more than the buffer holds), so a value longer
// than the one before fails with ERROR_MORE_DATA. A failed read only names the
// default in the log; the text appended is whatever the failed read left in the
// buffer. Packages rely on this.
extern "C" UINT __stdcall SetDisplayMode(MSIHANDLE hInstall) {
    struct DisplayProperty {
        const wchar_t* szName;
        const wchar_t* szDefault;
    };
    static constexpr DisplayProperty kProperties[] = {{L"DisplayWidth", L"1024"},
                                                      {L"DisplayHeight", L"768"},
                                                      {L"DisplayBpp", L"32"},
                                                      {L"DisplayFreq", L"60"}};

    g_hInstall = hInstall;
    LogActionStart(L"SetDisplayMode");
    PropertyBuffer szValue = {};
    DWORD cchValue = MAX_PATH;
    std::wstring strMode;
    for (const DisplayProperty& property : kProperties) {
        // After a failed read the count is the value's whole length, which may
        // exceed the buffer; the installer would write that far.
        cchValue = std::min<DWORD>(cchValue, ARRAYSIZE(szValue));
        if (MsiGetPropertyW(g_hInstall, property.szName, szValue, &cchValue) == ERROR_SUCCESS) {
            LogMessage(g_hInstall, L"VAREN_CA %s: %s \n", property.szName, szValue);
        } else {
            LogMessage(g_hInstall, L"VAREN_CA Could not get %s. Default to %s  \n", property.szName,
                       property.szDefault);
        }
        strMode += szValue;
        strMode += L';';
    }
    const DeferredTarget displayModeChange{
        L"DisplayModeChange", L"Varen_CA SetDisplayMode(), %s should be set in CustomActionData \n",
        L"Varen_CA SetDisplayMode() failed to set DisplayModeChange in CustomActionData"};
    return HandOff(displayModeChange, strMode.c_str()) ? ERROR_SUCCESS : ERROR_INSTALL_FAILURE;
}
