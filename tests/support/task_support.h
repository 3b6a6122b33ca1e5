// The Task Scheduler as tests arrange and inspect it: tasks in its root folder,
// reached through ITaskService on the calling thread.
#pragma once

#include <windows.h>
#include <taskschd.h>

#include <string>

class TaskRoot {
  public:
    // Connects to the service. COM is initialised (multithreaded) for the
    // connection only when the thread has no apartment yet.
    TaskRoot();
    ~TaskRoot();
    TaskRoot(const TaskRoot&) = delete;
    TaskRoot& operator=(const TaskRoot&) = delete;

    bool Exists(const std::wstring& strName) const;
    // A task that runs cmd.exe on demand.
    void Register(const std::wstring& strName) const;
    void Delete(const std::wstring& strName) const;
    // The root folder (null when the service could not be reached).
    ITaskFolder* Folder() const { return m_pFolder; }

  private:
    HRESULT m_hrCom = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    ITaskService* m_pService = nullptr;
    ITaskFolder* m_pFolder = nullptr;
};
