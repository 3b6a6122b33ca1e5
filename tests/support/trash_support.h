// The Recycle Bin as Wine keeps it: the host user's trash ($XDG_DATA_HOME/Trash or
// ~/.local/share/Trash), shared by every prefix and reached through drive Z:.
#pragma once

#include <filesystem>
#include <string>

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
