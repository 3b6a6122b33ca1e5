#include "tests/support/folder_support.h"

#include "tests/support/session_support.h"
#include "tests/support/standin_support.h"

#include <windows.h>

#include <algorithm>
#include <fstream>

namespace fs = std::filesystem;

namespace {

std::wstring Environment(const wchar_t* szName) {
    wchar_t szValue[MAX_PATH] = {};
    const DWORD cch = GetEnvironmentVariableW(szName, szValue, MAX_PATH);
    return cch > 0 && cch < MAX_PATH ? szValue : L"";
}

} // namespace

TempTree::TempTree()
    : m_path(TestTempFolder() + L"varen_tree_" + NewGuid()),
      m_sibling(m_path.wstring() + L"_sibling") {
    fs::create_directories(m_path / L"sub");
    std::ofstream(m_path / L"sub" / L"file.txt") << "x";
    fs::create_directories(m_sibling);
}

TempTree::~TempTree() {
    std::error_code error;
    fs::remove_all(m_path, error);
    fs::remove_all(m_sibling, error);
}

bool TempTree::Exists() const {
    return fs::exists(m_path);
}

bool TempTree::SiblingExists() const {
    return fs::exists(m_sibling);
}

fs::path TrashFolder() {
    std::wstring strData = Environment(L"XDG_DATA_HOME");
    if (!strData.empty()) {
        std::replace(strData.begin(), strData.end(), L'/', L'\\');
        return fs::path(L"Z:" + strData) / L"Trash";
    }
    std::wstring strHome = Environment(L"WINEHOMEDIR"); // "\??\Z:\home\user"
    if (strHome.starts_with(L"\\??\\")) {
        strHome.erase(0, 4);
    }
    return fs::path(strHome) / L".local" / L"share" / L"Trash";
}

TrashedItem::TrashedItem(const std::wstring& strName)
    : m_files(TrashFolder() / L"files" / strName),
      m_info(TrashFolder() / L"info" / (strName + L".trashinfo")) {}

TrashedItem::~TrashedItem() {
    std::error_code error;
    fs::remove_all(m_files, error);
    fs::remove(m_info, error);
}

bool TrashedItem::InTrash() const {
    return fs::exists(m_files) && fs::exists(m_info);
}
