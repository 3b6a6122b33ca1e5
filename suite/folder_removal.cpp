// The suite's folder and file removal actions: temporary and installed folders of
// the A4 and Pyra components, the PN and WVR folders named in the install key, two
// version DLLs, the CA and USB monitor folders handed over in "CustomActionData",
// and the suite's emptied top folders. Every removal goes through the removal
// guard (system/removal.h). They are clean-up actions: each returns 0 whatever
// happened and logs what it could not do.
#include "runtime/log.h"
#include "runtime/session.h"
#include "system/path_text.h"
#include "system/process.h"
#include "system/registry.h"
#include "system/removal.h"

#include <shlobj.h>
#include <shlwapi.h>

#include <optional>
#include <string>

namespace {

constexpr wchar_t kInstallKey[] = L"SOFTWARE\\ORX Technologies\\Install\\";

// The action's "CustomActionData" (260 characters); logs the failed read and
// gives nullopt when it could not be read.
std::optional<std::wstring> ReadActionData(const wchar_t* szAction) {
    PropertyBuffer szData = {};
    if (ReadProperty(g_hInstall, L"CustomActionData", szData) != ERROR_SUCCESS) {
        LogMessage(g_hInstall, L"VAREN_CA %s could not get CustomActionData \n", szAction);
        return std::nullopt;
    }
    return std::wstring(szData);
}

// True when strPath passes the removal guard and names nothing: there is
// nothing to remove and nothing to report.
bool IsNothingToRemove(const std::wstring& strPath) {
    std::wstring strTarget;
    return CheckRemovalTarget(strPath.c_str(), strTarget) == 0 &&
           !PathFileExistsW(strTarget.c_str());
}

// Removes strPath permanently through the silent shell removal; a path the guard
// refuses, and one that stays, is logged as not deleted. True when nothing is left.
bool RemoveQuietly(const wchar_t* szAction, const std::wstring& strPath) {
    if (IsNothingToRemove(strPath) || RemovePathViaShell(strPath.c_str(), 1)) {
        return true;
    }
    LogMessage(g_hInstall, L"VAREN_CA %s could not delete %s \n", szAction, strPath.c_str());
    return false;
}

// Removes strPath permanently with DeleteDirectory, which logs the attempt and its
// outcome (a refusal included). True when it was removed.
bool RemoveLogged(const std::wstring& strPath) {
    return !IsNothingToRemove(strPath) && DeleteDirectory(strPath.c_str(), 0) == 1;
}

// <ProgramData>\QVX\<szComponent>, removed permanently. A ProgramData the shell
// cannot resolve leaves a path the guard refuses, logged as not deleted.
UINT DeleteTempFolder(const wchar_t* szComponent) {
    const std::wstring strFolder = JoinFolderAndName(
        JoinFolderAndName(GetShellFolderPath(CSIDL_COMMON_APPDATA), L"QVX"), szComponent);
    if (IsNothingToRemove(strFolder)) {
        return ERROR_SUCCESS;
    }
    LogMessage(g_hInstall, L"VAREN_CA deletes %s Temp DIR\n", szComponent);
    if (!RemovePathViaShell(strFolder.c_str(), 1)) {
        LogMessage(g_hInstall, L"VAREN_CA Could not delete %s Temp DIR  \n", szComponent);
    }
    return ERROR_SUCCESS;
}

// <CustomActionData> + szComponent ("ORX.UVE\A4\" or "ORX.UVE\Pyra\"), then, when
// the other component's folder szOther is gone too, the shared "ORX.UVE\Reservation
// Manager" and the emptied "ORX.UVE".
UINT DeleteInstalledComponent(const wchar_t* szAction, const wchar_t* szComponent,
                              const wchar_t* szOther) {
    const std::optional<std::wstring> strInstallDir = ReadActionData(szAction);
    if (!strInstallDir ||
        !RemoveQuietly(szAction, JoinFolderAndName(*strInstallDir, szComponent)) ||
        PathFileExistsW(JoinFolderAndName(*strInstallDir, szOther).c_str())) {
        return ERROR_SUCCESS;
    }
    const std::wstring strUve = JoinFolderAndName(*strInstallDir, L"ORX.UVE");
    if (RemoveQuietly(szAction,
                      JoinFolderAndName(*strInstallDir, L"ORX.UVE\\Reservation Manager")) &&
        PathIsDirectoryEmptyW(strUve.c_str())) {
        RemoveQuietly(szAction, strUve);
    }
    return ERROR_SUCCESS;
}

// The folder named by the string value szName of the install key's sub-key
// szSubKey (native view), removed after the settings application is ended. A
// missing key or value removes nothing and logs nothing.
UINT DeleteRegisteredFolder(const wchar_t* szSubKey, const wchar_t* szName) {
    UniqueRegKey hKey;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, (std::wstring(kInstallKey) + szSubKey).c_str(), 0,
                      KEY_READ, hKey.put()) != ERROR_SUCCESS) {
        return ERROR_SUCCESS;
    }
    // Room for more than a path: a longer value is refused by the removal, logged.
    const std::optional<std::wstring> strFolder =
        QueryStringValue(hKey.get(), szName, kcchLongPath * sizeof(wchar_t));
    if (!strFolder || IsNothingToRemove(*strFolder)) {
        return ERROR_SUCCESS;
    }
    KillVantorSettings(); // its files may be in use
    DeleteDirectory(strFolder->c_str(), 0);
    return ERROR_SUCCESS;
}

// <CustomActionData>\<szFile>, removed with DeleteDirectory's lines.
UINT DeleteInstalledFile(const wchar_t* szAction, const wchar_t* szFile) {
    if (const std::optional<std::wstring> strFolder = ReadActionData(szAction)) {
        RemoveLogged(JoinFolderAndName(*strFolder, szFile));
    }
    return ERROR_SUCCESS;
}

} // namespace

extern "C" UINT __stdcall DelA4TempDir(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    return DeleteTempFolder(L"A4");
}

extern "C" UINT __stdcall DelPyraTempDir(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    return DeleteTempFolder(L"Pyra");
}

extern "C" UINT __stdcall DelInstallA4Dir(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    return DeleteInstalledComponent(L"DelInstallA4Dir", L"ORX.UVE\\A4\\", L"ORX.UVE\\Pyra\\");
}

extern "C" UINT __stdcall DelInstallPyraDir(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    return DeleteInstalledComponent(L"DelInstallPyraDir", L"ORX.UVE\\Pyra\\", L"ORX.UVE\\A4\\");
}

extern "C" UINT __stdcall DeletePNFolder(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    return DeleteRegisteredFolder(L"PNext", L"Location");
}

extern "C" UINT __stdcall DeleteWVRFolder(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    return DeleteRegisteredFolder(L"WVR64", L"InstallDir");
}

extern "C" UINT __stdcall DeleteIOVDll(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    return DeleteInstalledFile(L"DeleteIOVDll", L"QVXIOVVer.dll");
}

extern "C" UINT __stdcall DeleteSMBusDll(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    return DeleteInstalledFile(L"DeleteSMBusDll", L"QVXSMBusVer.dll");
}

// The CA folder itself, as GetInstallCADir hands it over.
extern "C" UINT __stdcall RemoveCADDir(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    if (const std::optional<std::wstring> strFolder = ReadActionData(L"RemoveCADDir")) {
        RemoveQuietly(L"RemoveCADDir", *strFolder);
    }
    return ERROR_SUCCESS;
}

// The USB monitor's folder itself, as GetInstallUSBMonDir hands it over.
extern "C" UINT __stdcall RemoveUSBMON(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    const std::optional<std::wstring> strFolder = ReadActionData(L"RemoveUSBMON");
    if (strFolder && RemoveLogged(*strFolder)) {
        LogMessage(g_hInstall, L"Varen_CA QVXUSB3DeviceDetector folder deleted\n");
    }
    return ERROR_SUCCESS;
}

// The suite's top folders under the program-files folder handed over, each only
// when it is there and empty: the products' own removals have emptied them.
extern "C" UINT __stdcall DeleteFolder(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    const std::optional<std::wstring> strProgramFiles = ReadActionData(L"DeleteFolder");
    if (!strProgramFiles) {
        return ERROR_SUCCESS;
    }
    // The folder handed over ends in "\" as installer folders do; the pieces
    // begin with one.
    std::wstring strBase = *strProgramFiles;
    while (!strBase.empty() && strBase.back() == L'\\') {
        strBase.pop_back();
    }
    const std::wstring strFolders[] = {
        strBase + L"\\ORX Technologies\\",
        strBase + L"\\QVX",
        strBase + L"\\Common Files" + L"\\QVX",
    };
    for (const std::wstring& strFolder : strFolders) {
        LogMessage(g_hInstall, L"VAREN_CA Delete directory, %s \n", strFolder.c_str());
        if (!PathIsDirectoryW(strFolder.c_str()) || !PathIsDirectoryEmptyW(strFolder.c_str())) {
            LogMessage(g_hInstall,
                       L"VAREN_CA Directory, %s, DNE or is not empty and will not be deleted.\n",
                       strFolder.c_str());
        } else if (DeleteDirectory(strFolder.c_str(), 0) == 1) {
            LogMessage(g_hInstall, L"VAREN_CA successfully deleted directory, %s \n",
                       strFolder.c_str());
        } else {
            LogMessage(g_hInstall, L"VAREN_CA Could not delete directory, %s \n",
                       strFolder.c_str());
        }
    }
    return ERROR_SUCCESS;
}
