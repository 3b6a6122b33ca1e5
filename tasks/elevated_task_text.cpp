#include "tasks/elevated_task_text.h"

#include <initializer_list>

namespace {

std::wstring Concat(std::initializer_list<std::wstring_view> parts) {
    std::wstring strText;
    for (std::wstring_view strPart : parts) {
        strText += strPart;
    }
    return strText;
}

} // namespace

std::wstring BuildOnDemandTaskXml(std::wstring_view strTask, std::wstring_view strCommand) {
    return Concat({L"<Task version=\"1.2\" "
                   L"xmlns=\"http://schemas.microsoft.com/windows/2004/02/mit/task\">\n"
                   L"<RegistrationInfo>\n"
                   L"<Date>2015-08-24T18:27:49.0496979</Date>\n"
                   L"<Author>Qorvexa</Author>\n"
                   L"<Description>",
                   strTask,
                   L"</Description>\n"
                   L"<URI>",
                   strTask,
                   L"</URI>\n"
                   L"</RegistrationInfo>\n"
                   L"<Principals>\n"
                   L"<Principal id=\"Author\">\n"
                   L"<RunLevel>HighestAvailable</RunLevel>\n"
                   L"</Principal>\n"
                   L"</Principals>\n"
                   L"<Settings>\n"
                   L"<DisallowStartIfOnBatteries>false</DisallowStartIfOnBatteries>\n"
                   L"<StopIfGoingOnBatteries>false</StopIfGoingOnBatteries>\n"
                   L"<AllowHardTerminate>true</AllowHardTerminate>\n"
                   L"<StartWhenAvailable>false</StartWhenAvailable>\n"
                   L"<RunOnlyIfNetworkAvailable>false</RunOnlyIfNetworkAvailable>\n"
                   L"<AllowStartOnDemand>true</AllowStartOnDemand>\n"
                   L"<Enabled>true</Enabled>\n"
                   L"<Hidden>false</Hidden>\n"
                   L"<RunOnlyIfIdle>false</RunOnlyIfIdle>\n"
                   L"<ExecutionTimeLimit>PT0S</ExecutionTimeLimit>\n"
                   L"<Priority>3</Priority>\n"
                   L"</Settings>\n"
                   L"<Actions Context=\"Author\">\n"
                   L"<Exec>\n"
                   L"<Command>",
                   strCommand,
                   L"</Command>\n"
                   L"</Exec>\n"
                   L"</Actions>\n"
                   L"</Task>\n"});
}

std::wstring BuildLogonTaskXml(std::wstring_view strTask, std::wstring_view strCommand) {
    return Concat({L"<Task version=\"1.2\" "
                   L"xmlns=\"http://schemas.microsoft.com/windows/2004/02/mit/task\">\n"
                   L"  <RegistrationInfo>\n"
                   L"    <Date>2016-12-11T23:29:31</Date>\n"
                   L"    <Author>WORKGROUP\\ORXBUILD$</Author>\n"
                   L"    <URI>",
                   strTask,
                   L"</URI>\n"
                   L"  </RegistrationInfo>\n"
                   L"  <Triggers>\n"
                   L"    <LogonTrigger>\n"
                   L"      <StartBoundary>2016-12-11T23:29:00</StartBoundary>\n"
                   L"      <Enabled>true</Enabled>\n"
                   L"    </LogonTrigger>\n"
                   L"  </Triggers>\n"
                   L"  <Principals>\n"
                   L"    <Principal id=\"Author\">\n"
                   L"      <GroupId>S-1-5-32-545</GroupId>\n"
                   L"      <RunLevel>HighestAvailable</RunLevel>\n"
                   L"    </Principal>\n"
                   L"  </Principals>\n"
                   L"  <Settings>\n"
                   L"    <MultipleInstancesPolicy>IgnoreNew</MultipleInstancesPolicy>\n"
                   L"    <DisallowStartIfOnBatteries>false</DisallowStartIfOnBatteries>\n"
                   L"    <StopIfGoingOnBatteries>false</StopIfGoingOnBatteries>\n"
                   L"    <AllowHardTerminate>true</AllowHardTerminate>\n"
                   L"    <StartWhenAvailable>false</StartWhenAvailable>\n"
                   L"    <RunOnlyIfNetworkAvailable>false</RunOnlyIfNetworkAvailable>\n"
                   L"    <IdleSettings>\n"
                   L"      <StopOnIdleEnd>true</StopOnIdleEnd>\n"
                   L"      <RestartOnIdle>false</RestartOnIdle>\n"
                   L"    </IdleSettings>\n"
                   L"    <AllowStartOnDemand>true</AllowStartOnDemand>\n"
                   L"    <Enabled>true</Enabled>\n"
                   L"    <Hidden>false</Hidden>\n"
                   L"    <RunOnlyIfIdle>false</RunOnlyIfIdle>\n"
                   L"    <WakeToRun>false</WakeToRun>\n"
                   L"    <ExecutionTimeLimit>PT72H</ExecutionTimeLimit>\n"
                   L"    <Priority>3</Priority>\n"
                   L"  </Settings>\n"
                   L"  <Actions Context=\"Author\">\n"
                   L"    <Exec>\n"
                   L"      <Command>",
                   strCommand,
                   L"</Command>\n"
                   L"    </Exec>\n"
                   L"  </Actions>\n"
                   L"</Task>\n"});
}
