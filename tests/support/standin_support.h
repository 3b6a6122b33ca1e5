// Places the stand-in program (standin.exe, built beside the tests) at the path an
// action starts, and reads back the command lines it was started with.
#pragma once

#include <string>
#include <vector>

class StandIn {
  public:
    // Copies standin.exe to strPath (creating its folder; a file already there is
    // put aside and restored afterwards) and points the stand-in's log at a fresh file. For a tool
    // that Wine also has built in, the image name is marked "native" in
    // HKCU\Software\Wine\DllOverrides so that the copy runs.
    explicit StandIn(const std::wstring& strPath);
    ~StandIn();
    StandIn(const StandIn&) = delete;
    StandIn& operator=(const StandIn&) = delete;

    // Makes each started stand-in take this long and then log "done".
    void SetDelay(unsigned int uMilliseconds);

    // Every line logged by a stand-in at any path, in order: "<program path>|<command
    // line>", and "<program path>|done".
    std::vector<std::wstring> LogLines() const;
    const std::wstring& Path() const { return m_strPath; }

  private:
    std::wstring m_strPath;
    std::wstring m_strImage;
    std::wstring m_strLog;
    std::wstring m_strSetAside;
    bool m_fCreatedFolder = false;
};

// Known folders, as the tests resolve them (Windows, system, 32-bit system, program files...).
std::wstring KnownFolder(int iCsidl);
std::wstring TestTempFolder();
