// Copying a file so that its target is never half written.
#pragma once

#include <string>

// Copies strSource over strTarget, which lies in strTargetFolder: the copy goes to
// a fresh file beside the target and is renamed over it, so the target is either
// the old file or the whole new one. False with the system's last error set when
// it could not be done (the fresh file is then removed again).
bool CopyWhole(const std::wstring& strSource, const std::wstring& strTarget,
               const std::wstring& strTargetFolder);
