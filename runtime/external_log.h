// The install manager's optional external logging library: "VLMLog.dll" in the
// install manager's folder. When it is there and usable, the settings-file code
// mirrors its lines into it; when it is absent, broken, of the wrong architecture or
// of another interface version, there is simply no external logging (nothing is
// reported, the caller's own lines are unchanged).
//
// The library is loaded only by its full path in the folder the caller names (an
// absolute path), with LoadLibraryExW and LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR |
// LOAD_LIBRARY_SEARCH_SYSTEM32: never by bare name, never from the current folder or
// PATH, and its own imports come from its folder and system32 only.
//
// Entry points it must export by these names (x64 calling convention, UTF-16 text):
//   DWORD VlmLogVersion(void)            the interface version; must return 1
//   BOOL  VlmLogOpen(LPCWSTR szSource)   starts logging for szSource ("Varen_CA");
//                                        FALSE means the library cannot log now
//   void  VlmLogWrite(LPCWSTR szLine)    one line, as the installer log gets it
//   void  VlmLogClose(void)              ends logging; called once after a TRUE open
// All four must be present and the version must match before VlmLogOpen is called.
//
// Use (the settings-file code only): while an ExternalLog that opened the library is in
// scope, every line LogMessage sends is also written to the library (SetLogMirror):
//   const ExternalLog externalLog(strInstallManagerFolder.c_str());
#pragma once

#include "runtime/handles.h"

#include <windows.h>

class ExternalLog {
  public:
    // Loads and opens "VLMLog.dll" in szFolder (null, empty, relative or too long
    // gives no external logging) and mirrors the log into it while it lives.
    explicit ExternalLog(const wchar_t* szFolder);
    ~ExternalLog();
    ExternalLog(const ExternalLog&) = delete;
    ExternalLog& operator=(const ExternalLog&) = delete;

  private:
    UniqueLibrary m_hLibrary;
    void(WINAPI* m_pfnClose)() = nullptr;
};
