// Service control on real services of the test service program, each with a running
// neighbour that must stay: starting the EEU service, removing it and a service whose
// program lies in a given folder; and the A4 service's program.
#include "tests/support/cases.h"

using namespace cases;

namespace {

const std::wstring kTarget = L"VarenTargetService";
const std::wstring kFolder = L"%CASE%\\Target";
const std::wstring kProgram = kFolder + L"\\target.exe";
const Item kRunning = Service(kTarget, kProgram, L"hint=0", SERVICE_RUNNING);
const Item kNeighbour =
    Service(L"VarenSiblingService", kFolder + L"\\other.exe", L"", SERVICE_RUNNING);
const std::wstring kParent = L"Parent path of \"" + kProgram + L"\" hint=0 is " + kFolder;
const std::wstring kA4Program = L"%CASE%\\A4\\AdaptiveSleepService.exe";

Item Eeu(const wchar_t* szBehaviour, DWORD dwState) {
    return Service(L"QVX External Events Utility", L"%CASE%\\EEU\\eeu.exe", szBehaviour, dwState);
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
    {.szName = "starts a stopped service",
     .szAction = "StartEEUService",
     .before = {Eeu(L"", SERVICE_STOPPED), kNeighbour},
     .after = {Eeu(L"", SERVICE_RUNNING)},
     .debug = {L"Service started successfully.\n"}},
    {.szName = "a frozen start ends the wait after a pass without progress",
     .szAction = "StartEEUService",
     .before = {Eeu(L"slowstart pending=forever hint=500 frozen", SERVICE_STOPPED)},
     .after = {Eeu(L"slowstart pending=forever hint=500 frozen", SERVICE_START_PENDING)},
     .debug = {L"Warning: Service did not start successfully.\n"}},
    {.szName = "no QVX display: the running service is stopped and deleted",
     .szAction = "StopandDeleteEEU",
     .before = {Eeu(L"", SERVICE_RUNNING), kNeighbour},
     .lines = {L"VAREN_CA StopandDeleteEEU: no QVX display device, EEU service deleted \n"},
     .gone = {Eeu(L"", SERVICE_STOPPED)}},
    Delete("stops and deletes the service; its neighbour in the folder stays",
           L"ServiceName=" + kTarget + L";DirectoryOfBinary=" + kFolder + L"\\",
           {kParent, L"Successfully deleted " + kTarget}, {kRunning}),
    Delete("a service elsewhere is left alone",
           L"ServiceName=" + kTarget + L";DirectoryOfBinary=%CASE%\\Elsewhere",
           {kParent, L"\"" + kProgram + L"\" hint=0 is not in directory %CASE%\\Elsewhere"}),
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
});

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

const int kStop = Register({
    Stop("stops a running service", L"hint=0", SERVICE_RUNNING,
         {L"Service stopped successfully.\n"}, SERVICE_STOPPED),
    Stop("a stopped service is left alone", L"hint=0", SERVICE_STOPPED,
         {L"Service is already stopped.\n"}, SERVICE_STOPPED),
    Stop("a refused stop is reported", L"refuse", SERVICE_RUNNING,
         {L"Error: ControlService failed.\n"}, SERVICE_RUNNING),
    // The stop takes 3 seconds, the routine's poll 6 (a tenth of the hint): one pending line
    // when the session has started within the 3 seconds.
    Stop("a stop already pending is awaited", L"slowstop pending=3000 hint=60000",
         SERVICE_STOP_PENDING, {L"Service stop pending...\n", L"Service stopped successfully.\n"},
         SERVICE_STOPPED),
});

} // namespace
