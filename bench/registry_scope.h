// Registry clean-up for the benches.
#pragma once

#include "tests/support/registry_support.h"

#include <initializer_list>
#include <string>
#include <vector>

// Removes the given keys in both views now and again when it goes out of scope, so
// each bench starts and ends clean.
class RegistryScope {
  public:
    RegistryScope(HKEY hRoot, std::initializer_list<std::wstring> paths)
        : m_hRoot(hRoot), m_paths(paths) {
        Clear();
    }
    ~RegistryScope() { Clear(); }
    RegistryScope(const RegistryScope&) = delete;
    RegistryScope& operator=(const RegistryScope&) = delete;

  private:
    void Clear() const {
        for (const std::wstring& strPath : m_paths) {
            for (View view : kBothViews) {
                DeleteTree(m_hRoot, view, strPath);
            }
        }
    }

    HKEY m_hRoot;
    std::vector<std::wstring> m_paths;
};
