// The Task Scheduler as tests arrange and inspect it: tasks in its root folder,
// reached through ITaskService on the calling thread.
#pragma once

#include "runtime/handles.h"

#include <windows.h>
#include <taskschd.h>

#include <string>

class TaskRoot {
  public:
    // Connects to the service (in a single-threaded apartment if the thread has none).
    TaskRoot();

    bool Exists(const std::wstring& strName) const;
    // A task that runs cmd.exe on demand.
    void Register(const std::wstring& strName) const;
    void Delete(const std::wstring& strName) const;
    // The root folder (null when the service could not be reached).
    ITaskFolder* Folder() const { return m_pFolder.get(); }

  private:
    ComApartment m_apartment;
    UniqueComPtr<ITaskService> m_pService;
    UniqueComPtr<ITaskFolder> m_pFolder;
};
