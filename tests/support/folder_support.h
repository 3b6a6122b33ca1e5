// Folders for removal tests, and the Recycle Bin as Wine keeps it.
#pragma once

#include <filesystem>
#include <string>

// A folder under the temporary folder holding sub\file.txt, and a sibling folder
// next to it that no removal may touch; both are removed at the end.
class TempTree {
  public:
    TempTree();
    ~TempTree();
    TempTree(const TempTree&) = delete;
    TempTree& operator=(const TempTree&) = delete;

    std::wstring Path() const { return m_path.wstring(); }
    std::wstring Name() const { return m_path.filename().wstring(); }
    bool Exists() const;
    bool SiblingExists() const;

  private:
    std::filesystem::path m_path;
    std::filesystem::path m_sibling;
};

// Wine's Recycle Bin is the host user's trash ($XDG_DATA_HOME/Trash or
// ~/.local/share/Trash), shared by every prefix and reached through drive Z:.
std::filesystem::path TrashFolder();

// One item a test sends to the trash under its unique name; that item alone is
// taken out of the trash again when the test ends (the user's trash is never emptied).
class TrashedItem {
  public:
    explicit TrashedItem(const std::wstring& strName);
    ~TrashedItem();
    TrashedItem(const TrashedItem&) = delete;
    TrashedItem& operator=(const TrashedItem&) = delete;

    // True when the item and its trash record are both there.
    bool InTrash() const;
    const std::filesystem::path& Files() const { return m_files; }

  private:
    std::filesystem::path m_files;
    std::filesystem::path m_info;
};
