#include "tests/support/task_support.h"

#include <gtest/gtest.h>

TaskRoot::TaskRoot() {
    VARIANT empty = {};
    if (FAILED(CoCreateInstance(CLSID_TaskScheduler, nullptr, CLSCTX_INPROC_SERVER,
                                IID_ITaskService, reinterpret_cast<void**>(m_pService.put()))) ||
        FAILED(m_pService.get()->Connect(empty, empty, empty, empty)) ||
        FAILED(m_pService.get()->GetFolder(UniqueBstr(SysAllocString(L"\\")).get(),
                                           m_pFolder.put()))) {
        ADD_FAILURE() << "the Task Scheduler cannot be reached";
    }
}

bool TaskRoot::Exists(const std::wstring& strName) const {
    UniqueComPtr<IRegisteredTask> pTask;
    return m_pFolder && SUCCEEDED(m_pFolder.get()->GetTask(
                            UniqueBstr(SysAllocString(strName.c_str())).get(), pTask.put()));
}

void TaskRoot::Register(const std::wstring& strName) const {
    const UniqueBstr bstrXml(SysAllocString(
        L"<Task version=\"1.2\" "
        L"xmlns=\"http://schemas.microsoft.com/windows/2004/02/mit/task\"><Actions><Exec>"
        L"<Command>cmd.exe</Command></Exec></Actions></Task>"));
    VARIANT empty = {};
    UniqueComPtr<IRegisteredTask> pTask;
    ASSERT_TRUE(m_pFolder);
    EXPECT_EQ(S_OK,
              m_pFolder.get()->RegisterTask(UniqueBstr(SysAllocString(strName.c_str())).get(),
                                            bstrXml.get(), TASK_CREATE_OR_UPDATE, empty, empty,
                                            TASK_LOGON_INTERACTIVE_TOKEN, empty, pTask.put()))
        << "cannot arrange the task";
}

void TaskRoot::Delete(const std::wstring& strName) const {
    if (m_pFolder) {
        m_pFolder.get()->DeleteTask(UniqueBstr(SysAllocString(strName.c_str())).get(), 0);
    }
}
