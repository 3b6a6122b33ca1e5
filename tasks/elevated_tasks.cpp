// Triggerless tasks that run a command elevated when started on demand, so that
// a program without elevation can start an elevated companion later; and the
// logon-started kind of them.
#include "tasks/elevated_tasks.h"

#include "runtime/handles.h"
#include "runtime/log.h"
#include "runtime/record_text.h"
#include "runtime/records.h"
#include "runtime/session.h"
#include "tasks/elevated_task_text.h"

#include <taskschd.h>

#include <stdexcept>

namespace {

// A VARIANT that lends a BSTR it does not own.
VARIANT StringVariant(BSTR bstr) {
    VARIANT variant;
    VariantInit(&variant);
    variant.vt = VT_BSTR;
    variant.bstrVal = bstr;
    return variant;
}

// Steps 2 on of the registration, with COM initialised; every interface is
// released here, before COM is uninitialised.
int RegisterWithService(const std::wstring& strTask, const std::wstring& strXml,
                        const std::wstring& strUser) {
    UniqueComPtr<ITaskService> pService;
    HRESULT hr = CoCreateInstance(CLSID_TaskScheduler, nullptr, CLSCTX_INPROC_SERVER,
                                  IID_ITaskService, reinterpret_cast<void**>(pService.put()));
    if (FAILED(hr)) {
        LogMessage(g_hInstall, L"Failed to create an instance of ITaskService: 0x%x", hr);
        return 1;
    }
    VARIANT empty;
    VariantInit(&empty);
    hr = pService.get()->Connect(empty, empty, empty, empty); // this computer, the current user
    if (FAILED(hr)) {
        LogMessage(g_hInstall, L"ITaskService::Connect failed: 0x%x", hr);
        return 1;
    }
    UniqueComPtr<ITaskFolder> pRoot;
    const UniqueBstr bstrRoot(SysAllocString(L"\\"));
    hr = pService.get()->GetFolder(bstrRoot.get(), pRoot.put());
    if (FAILED(hr)) {
        LogMessage(g_hInstall, L"Cannot get Root Folder pointer: 0x%x", hr);
        return 1;
    }
    const UniqueBstr bstrTask(SysAllocString(strTask.c_str()));
    const UniqueBstr bstrXml(SysAllocString(strXml.c_str()));
    const UniqueBstr bstrUser(SysAllocString(strUser.c_str()));
    const UniqueBstr bstrNoSecurity(SysAllocString(L""));
    UniqueComPtr<IRegisteredTask> pTask;
    hr = pRoot.get()->RegisterTask(
        bstrTask.get(), bstrXml.get(), TASK_CREATE_OR_UPDATE, StringVariant(bstrUser.get()), empty,
        TASK_LOGON_INTERACTIVE_TOKEN, StringVariant(bstrNoSecurity.get()), pTask.put());
    if (FAILED(hr)) {
        LogMessage(g_hInstall, L"Error saving the Task : 0x%x", hr);
        return 1;
    }
    LogMessage(g_hInstall, L"Successfully added %s Scheduled Event", strTask.c_str());
    return 0;
}

} // namespace

int RegisterTaskXml(const std::wstring& strTask, const std::wstring& strXml,
                    const std::wstring& strUser) {
    const HRESULT hr = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    if (FAILED(hr)) {
        LogMessage(g_hInstall, L"Failed to call CoInitializeEx 0x%x", hr);
        if (hr != RPC_E_CHANGED_MODE) {
            return 1;
        }
    }
    const int iResult = RegisterWithService(strTask, strXml, strUser);
    // Also after RPC_E_CHANGED_MODE, when this call added no initialisation: the
    // registration has always ended so, and it takes back the caller's own.
    CoUninitialize();
    return iResult;
}

void CreateLogonElevatedTask(std::wstring strTask, std::wstring strCommand, std::wstring strUser) {
    RegisterTaskXml(strTask, BuildLogonTaskXml(strTask, strCommand), strUser);
}

// Deferred. 0 when the task is registered, 1 when not.
extern "C" UINT __stdcall CreateTriggerlessElevatedScheduleTask(MSIHANDLE hInstall) {
    g_hInstall = hInstall;
    const std::wstring strData = ReadCustomActionData();
    std::wstring strTask, strCommand, strUser;
    try {
        strTask = GetTaskName(strData);
        strCommand = GetCommandToLaunch(strData);
        strUser = GetUsername(strData);
    } catch (const std::out_of_range&) {
        // A record too short for a missing key's value: nothing to register with.
        return 1;
    }
    LogMessage(g_hInstall, L"Task Name %s", strTask.c_str());
    LogMessage(g_hInstall, L"Command to launch %s", strCommand.c_str());
    LogMessage(g_hInstall, L"Username %s", strUser.c_str());
    return static_cast<UINT>(
        RegisterTaskXml(strTask, BuildOnDemandTaskXml(strTask, strCommand), strUser));
}
