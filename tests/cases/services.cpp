// Service control on real services of the test service program, each with a running
// neighbour that must stay: starting the EEU service, the reporting stop, removing the
// EEU service and a service whose program lies in a given folder; and the A4 service's
// program.
#include "tests/support/cases.h"

using namespace cases;

namespace {

const std::wstring kTarget = L"VarenTargetService";
const std::wstring kFolder = L"%CASE%\\Target";
const std::wstring kProgram = kFolder + L"\\target.exe";
const Item kRunning = Service(kTarget, kProgram, L"/run", SERVICE_RUNNING);
const Item kNeighbour =
    Service(L"VarenSiblingService", kFolder + L"\\other.exe", L"", SERVICE_RUNNING);
const std::wstring kParent = L"Parent path of \"" + kProgram + L"\" /run is " + kFolder;
const std::wstring kA4Program = L"%CASE%\\A4\\AdaptiveSleepService.exe";

Item Eeu(DWORD dwState, const wchar_t* szBehaviour = L"") {
    return Service(L"QVX External Events Utility", L"%CASE%\\EEU\\eeu.exe", szBehaviour, dwState);
}

// The stop routine's debugger lines are its contract, but no export of the suite's
// library calls the reporting variant: the test build exports it.
Case Stop(const char* szName, const wchar_t* szBehaviour, DWORD dwState, Lines debug,
          DWORD dwStateAfter) {
    return {.szName = szName,
            .szAction = "VarenTestStopService",
            .szDll = L"Varen_CA_test.dll",
            .data = kTarget,
            .before = {Service(kTarget, kProgram, szBehaviour, dwState), kNeighbour},
            .after = {Service(kTarget, kProgram, szBehaviour, dwStateAfter)},
            .debug = std::move(debug)};
}

// DeleteServiceIfBinaryIsInDirectory on the record strData (logged first), with the
// running target service and a folder elsewhere.
Case Delete(const char* szName, const std::wstring& strData, Lines lines,
            std::vector<Item> gone = {}) {
    lines.insert(lines.begin(), L"CustomActionData: " + strData);
    return {.szName = szName,
            .szAction = "DeleteServiceIfBinaryIsInDirectory",
            .data = strData,
            .before = {kRunning, kNeighbour, Folder(L"%CASE%\\Elsewhere")},
            .lines = std::move(lines),
            .gone = std::move(gone)};
}

const int kServices = Register({
    // The poll is a second: the check point advances between polls, the wait hint is shorter.
    {.szName = "starts a stopped service and waits while it makes progress",
     .szAction = "StartEEUService",
     .before = {Eeu(SERVICE_STOPPED, L"slowstart hint=500"), kNeighbour},
     .after = {Eeu(SERVICE_RUNNING, L"slowstart hint=500")},
     .debug = {L"Service started successfully.\n"}},
    {.szName = "a start without progress ends the wait after the hint",
     .szAction = "StartEEUService",
     .before = {Eeu(SERVICE_STOPPED, L"frozen hint=500")},
     .after = {Eeu(SERVICE_START_PENDING, L"frozen hint=500")},
     .debug = {L"Warning: Service did not start successfully.\n"}},
    {.szName = "no QVX display: the running service is stopped and deleted",
     .szAction = "StopandDeleteEEU",
     .before = {Eeu(SERVICE_RUNNING), kNeighbour},
     .lines = {L"VAREN_CA StopandDeleteEEU: no QVX display device, EEU service deleted \n"},
     .gone = {Eeu(SERVICE_STOPPED)}},
    Delete("stops and deletes the service; its neighbour in the folder stays",
           L"ServiceName=" + kTarget + L";DirectoryOfBinary=" + kFolder + L"\\",
           {kParent, L"Successfully deleted " + kTarget}, {kRunning}),
    Delete("a service elsewhere is left alone",
           L"ServiceName=" + kTarget + L";DirectoryOfBinary=%CASE%\\Elsewhere",
           {kParent, L"\"" + kProgram + L"\" /run is not in directory %CASE%\\Elsewhere"}),
    Delete("an empty name opens nothing", L"ServiceName=;DirectoryOfBinary=" + kFolder,
           {L"Empty service name provided"}),
    {.szName = "runs the program with start and waits",
     .szAction = "StartA4Service",
     .before = {Str(N, L"SOFTWARE\\ORX\\A4", L"InstallDir", L"%CASE%\\A4\\"), Program(kA4Program)},
     .lines = {L"VAREN_CA StartA4Service: running \"" + kA4Program + L"\" /start \n"},
     .commands = {L"\"" + kA4Program + L"\" /start"}},
    {.szName = "a directory in the 32-bit view is found too",
     .szAction = "StopA4Service",
     .before = {Str(W, L"SOFTWARE\\ORX\\A4", L"InstallDir", L"%CASE%\\A4"), Program(kA4Program)},
     .lines = {L"VAREN_CA StopA4Service: running \"" + kA4Program + L"\" /stop \n"},
     .commands = {L"\"" + kA4Program + L"\" /stop"}},
    Stop("a slow stop is awaited for its wait hint", L"slowstop hint=1000", SERVICE_RUNNING,
         {L"Service stopped successfully.\n"}, SERVICE_STOPPED),
    Stop("a refused stop is reported", L"refuse", SERVICE_RUNNING,
         {L"Error: ControlService failed.\n"}, SERVICE_RUNNING),
    Stop("a stopped service is left alone", L"", SERVICE_STOPPED,
         {L"Service is already stopped.\n"}, SERVICE_STOPPED),
    // The stop takes 3 seconds, the routine's poll 6 (a tenth of the hint): one pending line
    // when the session has started within the 3 seconds.
    Stop("a stop already pending is awaited", L"slowstop hint=60000", SERVICE_STOP_PENDING,
         {L"Service stop pending...\n", L"Service stopped successfully.\n"}, SERVICE_STOPPED),
});

} // namespace
