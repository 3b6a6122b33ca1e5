// The install manager's settings file, "InstallManager.cfg" in its folder: read,
// edited in place and replaced whole, so that a failure at any step leaves the old
// file as it was.
#pragma once

#include <string>
#include <utility>
#include <vector>

using CfgValues = std::vector<std::pair<const wchar_t*, std::wstring>>;

// Gives the settings file in strFolder the values (creating the file when it is
// missing) and logs the outcome to g_hInstall. A file that is larger than
// kcbMaxCfgFile, not text it can edit, or read-only, and a folder that does not
// exist, are left alone with a line saying so.
void UpdateInstallManagerCfg(const std::wstring& strFolder, const CfgValues& values);
