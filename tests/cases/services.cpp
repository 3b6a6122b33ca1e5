// Service control: starting the EEU service and removing a service whose program lies
// in a given folder, on real services of the test service program.
#include "tests/support/cases.h"

#include <setupapi.h>

#include <cstring>

using namespace cases;

namespace {

const std::wstring kEeu = L"QVX External Events Utility";
const std::wstring kEeuProgram = L"%CASE%\\EEU\\eeu.exe";
const std::wstring kSibling = L"VarenSiblingService";
const std::wstring kSiblingProgram = L"%CASE%\\Other\\other.exe";

Item Eeu(const std::wstring& strBehaviour, DWORD dwState) {
    return Service(kEeu, kEeuProgram, strBehaviour, dwState);
}

const wchar_t kStarted[] = L"Service started successfully.\n";

// A start from the state the test service's behaviour holds it in, and the state it ends in.
Case Start(const char* szName, const wchar_t* szBehaviour, DWORD dwBefore, DWORD dwAfter,
           Lines debug) {
    return {.szName = szName,
            .szAction = "StartEEUService",
            .before = {Eeu(szBehaviour, dwBefore)},
            .after = {Eeu(szBehaviour, dwAfter)},
            .debug = std::move(debug)};
}

const int kStartEEUService = Register({
    {.szName = "starts a stopped service and leaves its neighbour",
     .szAction = "StartEEUService",
     .before = {Eeu(L"", SERVICE_STOPPED), Service(kSibling, kSiblingProgram)},
     .after = {Eeu(L"", SERVICE_RUNNING)},
     .debug = {kStarted}},
    Start("a running service counts as started without a word", L"", SERVICE_RUNNING,
          SERVICE_RUNNING, {}),
    Start("advancing check points keep the wait going past the hint",
          L"slowstart pending=2500 hint=500", SERVICE_STOPPED, SERVICE_RUNNING, {kStarted}),
    Start("a frozen start ends the wait after a pass without progress",
          L"slowstart pending=forever hint=500 frozen", SERVICE_STOPPED, SERVICE_START_PENDING,
          {L"Warning: Service did not start successfully.\n"}),
    Start("an earlier stop with hint 0 times out after one pass",
          L"slowstop pending=forever frozen", SERVICE_STOP_PENDING, SERVICE_STOP_PENDING,
          {L"Error: Timeout waiting for service to stop.\n"}),
    Start("an earlier stop is waited out, then the service starts",
          L"slowstop pending=1500 hint=3000", SERVICE_STOP_PENDING, SERVICE_RUNNING, {kStarted}),
    {.szName = "a program that is gone gives the start error",
     .szAction = "StartEEUService",
     .before = {Eeu(L"", SERVICE_STOPPED)},
     .debug = {L"Unable to start service and Error code is 2"},
     .arrange = [](ActionSession&) -> std::shared_ptr<void> {
         DeleteFileW(Expand(kEeuProgram).c_str());
         return nullptr;
     }},
    {.szName = "no such service: nothing written",
     .szAction = "StartEEUService",
     .before = {Service(kSibling, kSiblingProgram)}},
});

const std::wstring kTarget = L"VarenTargetService";
const std::wstring kFolder = L"%CASE%\\Target";
const std::wstring kProgram = kFolder + L"\\target.exe";

Item Target() {
    return Service(kTarget, kProgram, L"hint=0", SERVICE_RUNNING);
}

std::wstring Data(const std::wstring& strName, const std::wstring& strFolder) {
    return L"ServiceName=" + strName + L";DirectoryOfBinary=" + strFolder;
}
const std::wstring kParent = L"Parent path of \"" + kProgram + L"\" hint=0 is " + kFolder;

// The action on strData: the lines after "CustomActionData: ", nothing gone.
Case Delete(const char* szName, const std::wstring& strData, Lines lines,
            std::vector<Item> before = {Target()}, const char* szWine = nullptr) {
    lines.insert(lines.begin(), L"CustomActionData: " + strData);
    return {.szName = szName,
            .szAction = "DeleteServiceIfBinaryIsInDirectory",
            .data = strData,
            .before = std::move(before),
            .lines = std::move(lines),
            .szWine = szWine};
}
const std::wstring kElsewhere = L"%CASE%\\Elsewhere";
const std::wstring kLongName(300, L'S');

const int kDeleteServiceIfBinaryIsInDirectory = Register({
    {.szName = "stops and deletes the service; its neighbour in the folder stays",
     .szAction = "DeleteServiceIfBinaryIsInDirectory",
     .data = Data(kTarget, kFolder + L"\\"),
     .before = {Target(), Service(kSibling, kFolder + L"\\other.exe", L"", SERVICE_RUNNING)},
     .lines = {L"CustomActionData: " + Data(kTarget, kFolder + L"\\"), kParent,
               L"Successfully deleted " + kTarget},
     .gone = {Target()}},
    Delete("a service elsewhere is left alone", Data(kTarget, kElsewhere),
           {kParent, L"\"" + kProgram + L"\" hint=0 is not in directory " + kElsewhere},
           {Target(), Folder(kElsewhere)}),
    Delete("no such service", Data(L"VarenNoSuchService", kFolder),
           {L"Unable to open service VarenNoSuchService. Error code: 1060"}),
    Delete("a record without ServiceName= names the text after its 11th character",
           L"DirectoryOfBinary=" + kFolder,
           {L"Unable to open service Binary=" + kFolder + L". Error code: 123"}),
    Delete("a name over 256 characters opens nothing", Data(kLongName, kFolder),
           {L"Unable to open service " + kLongName + L". Error code: 1060"}, {Target()},
           "Wine looks the long name up; Windows refuses it with 123"),
    Delete("an empty name opens nothing", Data(L"", kFolder), {L"Empty service name provided"}),
});

const std::wstring kA4Key = L"SOFTWARE\\ORX\\A4";
const std::wstring kA4Program = L"%CASE%\\A4\\AdaptiveSleepService.exe";

const int kA4Service = Register({
    {.szName = "runs the program with start and waits",
     .szAction = "StartA4Service",
     .before = {Str(N, kA4Key, L"InstallDir", L"%CASE%\\A4\\"), Program(kA4Program)},
     .lines = {L"VAREN_CA StartA4Service: running \"" + kA4Program + L"\" /start \n"},
     .commands = {L"\"" + kA4Program + L"\" /start"}},
    {.szName = "a directory in the 32-bit view is found too",
     .szAction = "StopA4Service",
     .before = {Str(W, kA4Key, L"InstallDir", L"%CASE%\\A4"), Program(kA4Program)},
     .lines = {L"VAREN_CA StopA4Service: running \"" + kA4Program + L"\" /stop \n"},
     .commands = {L"\"" + kA4Program + L"\" /stop"}},
    {.szName = "no program in the directory",
     .szAction = "StopA4Service",
     .before = {Str(N, kA4Key, L"InstallDir", L"%CASE%\\A4"), Folder(L"%CASE%\\A4")},
     .lines = {L"VAREN_CA StopA4Service: " + kA4Program + L" not found \n"}},
    {.szName = "no directory registered",
     .szAction = "StartA4Service",
     .before = {Dword(N, kA4Key, L"InstallDir", 1)},
     .lines = {L"VAREN_CA StartA4Service: no A4 install directory registered \n"}},
});

BOOL WINAPI ReportQvxMaker(HDEVINFO, PSP_DEVINFO_DATA, DWORD, PDWORD, PBYTE pBuffer, DWORD cbBuffer,
                           PDWORD) {
    CountFault();
    const wchar_t szMaker[] = L"QVX Corporation";
    if (cbBuffer < sizeof(szMaker)) {
        return FALSE;
    }
    memcpy(pBuffer, szMaker, sizeof(szMaker));
    return TRUE;
}

const int kStopandDeleteEEU = Register({
    {.szName = "no QVX display: the running service is stopped and deleted",
     .szAction = "StopandDeleteEEU",
     .before = {Eeu(L"", SERVICE_RUNNING),
                Service(kSibling, kSiblingProgram, L"", SERVICE_RUNNING)},
     .lines = {L"VAREN_CA StopandDeleteEEU: no QVX display device, EEU service deleted \n"},
     .gone = {Eeu(L"", SERVICE_STOPPED)}},
    {.szName = "a QVX display keeps the service",
     .szAction = "StopandDeleteEEU",
     .before = {Eeu(L"", SERVICE_RUNNING)},
     .lines = {L"VAREN_CA StopandDeleteEEU: a QVX display device is present, the EEU service "
               L"stays \n"},
     .arrange = Faulty("setupapi.dll", "SetupDiGetDeviceRegistryPropertyW", &ReportQvxMaker)},
    {.szName = "no service to delete",
     .szAction = "StopandDeleteEEU",
     .before = {Service(kSibling, kSiblingProgram)},
     .lines = {L"VAREN_CA StopandDeleteEEU: no QVX display device, the EEU service is not "
               L"installed \n"}},
    {.szName = "a service that refuses to stop is marked for deletion and runs on",
     .szAction = "StopandDeleteEEU",
     .before = {Eeu(L"refuse", SERVICE_RUNNING)},
     .lines = {L"VAREN_CA StopandDeleteEEU: no QVX display device, EEU service deleted \n"}},
});

} // namespace
