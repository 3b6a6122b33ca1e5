#include "tests/support/task_support.h"

#include <gtest/gtest.h>

namespace {

// Frees a BSTR made for one call.
struct Bstr {
    explicit Bstr(const std::wstring& strText) : bstr(SysAllocString(strText.c_str())) {}
    ~Bstr() { SysFreeString(bstr); }
    Bstr(const Bstr&) = delete;
    Bstr& operator=(const Bstr&) = delete;
    BSTR bstr;
};

} // namespace

TaskRoot::TaskRoot() {
    m_fUninitialize = SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED));
    VARIANT empty;
    VariantInit(&empty);
    if (FAILED(CoCreateInstance(CLSID_TaskScheduler, nullptr, CLSCTX_INPROC_SERVER,
                                IID_ITaskService, reinterpret_cast<void**>(&m_pService))) ||
        FAILED(m_pService->Connect(empty, empty, empty, empty)) ||
        FAILED(m_pService->GetFolder(Bstr(L"\\").bstr, &m_pFolder))) {
        ADD_FAILURE() << "the Task Scheduler cannot be reached";
    }
}

TaskRoot::~TaskRoot() {
    if (m_pFolder != nullptr) {
        m_pFolder->Release();
    }
    if (m_pService != nullptr) {
        m_pService->Release();
    }
    if (m_fUninitialize) {
        CoUninitialize();
    }
}

bool TaskRoot::Exists(const std::wstring& strName) const {
    IRegisteredTask* pTask = nullptr;
    if (m_pFolder == nullptr || FAILED(m_pFolder->GetTask(Bstr(strName).bstr, &pTask))) {
        return false;
    }
    pTask->Release();
    return true;
}

void TaskRoot::Register(const std::wstring& strName) const {
    const Bstr xml(
        L"<Task version=\"1.2\" "
        L"xmlns=\"http://schemas.microsoft.com/windows/2004/02/mit/task\"><Actions><Exec>"
        L"<Command>cmd.exe</Command></Exec></Actions></Task>");
    VARIANT empty;
    VariantInit(&empty);
    IRegisteredTask* pTask = nullptr;
    ASSERT_NE(nullptr, m_pFolder);
    ASSERT_EQ(S_OK,
              m_pFolder->RegisterTask(Bstr(strName).bstr, xml.bstr, TASK_CREATE_OR_UPDATE, empty,
                                      empty, TASK_LOGON_INTERACTIVE_TOKEN, empty, &pTask))
        << "cannot arrange the task";
    pTask->Release();
}

void TaskRoot::Delete(const std::wstring& strName) const {
    if (m_pFolder != nullptr) {
        m_pFolder->DeleteTask(Bstr(strName).bstr, 0);
    }
}
