// The stand-in program (standin.exe, built beside the tests) placed at the paths of
// the programs an action starts, and the command lines it was started with.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

class StandIns {
  public:
    // Points every stand-in's record at a fresh file.
    StandIns();
    ~StandIns();
    StandIns(const StandIns&) = delete;
    StandIns& operator=(const StandIns&) = delete;

    // Copies standin.exe to strPath. A tool that Wine also has built in is marked
    // "native" in HKCU\Software\Wine\DllOverrides so that the copy runs. With a delay
    // each stand-in then takes that long and records "done".
    void Place(const std::wstring& strPath, unsigned uDelayMs);

    // Every line the stand-ins recorded, in order: a command line, or "done".
    std::vector<std::wstring> Log() const;
    // The ids of this program's child processes that run a placed stand-in.
    std::vector<DWORD> Running() const;
    // Waits for the stand-ins that run and are not in before: what they record is then
    // complete.
    void AwaitNew(const std::vector<DWORD>& before) const;

  private:
    std::wstring m_strLog;
    std::vector<std::wstring> m_images;
};

// The path of szName in this program's folder, where the stand-in and the test
// service are built.
std::wstring BuiltProgram(const wchar_t* szName);
// Known folders, as the tests resolve them (Windows, system, 32-bit system, program files...).
std::wstring KnownFolder(int iCsidl);
// The temporary folder, with its trailing "\".
std::wstring TestTempFolder();
