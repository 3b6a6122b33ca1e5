// Routes a test program's own calls of one imported function through a shim. The
// library's helpers are linked into every test program, so this reaches the calls
// they make when a test calls them directly.
#pragma once

#include "tests/support/session_support.h"

#include <windows.h>

// While it lives, the program's import of szDll!szFunction points at pfnShim; the
// shim reaches the system's function through Real(). One shim per function type
// at a time.
template <typename TFunction>
class ProgramImport {
  public:
    ProgramImport(const char* szDll, const char* szFunction, TFunction pfnShim)
        : m_patch(GetModuleHandleW(nullptr), szDll, szFunction, reinterpret_cast<void*>(pfnShim)) {
        s_pfnReal = reinterpret_cast<TFunction>(m_patch.Original());
    }
    static TFunction Real() { return s_pfnReal; }

  private:
    ImportPatch m_patch;
    static inline TFunction s_pfnReal = nullptr;
};
