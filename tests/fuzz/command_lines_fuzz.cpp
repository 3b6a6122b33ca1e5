// Feeds arbitrary texts to the command-line, task and source-list builders and
// checks that each keeps its inputs whole and in place, and that a bounded copy
// stays inside its buffer.
#include "shell/plugin_text.h"
#include "suite/command_text.h"
#include "suite/install_manager_text.h"
#include "suite/profiler_cleanup_text.h"
#include "system/process_text.h"
#include "system/removal_text.h"
#include "tasks/elevated_task_text.h"
#include "tasks/schtasks_text.h"
#include "tests/fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t cbData) {
    const std::vector<std::wstring> fields = SplitFields(pData, cbData, 3);
    const std::wstring& strA = fields[0];
    const std::wstring& strB = fields[1];
    const std::wstring& strC = fields[2];

    for (size_t cchBuffer : {size_t{0}, size_t{1}, kcchToolCommandBuffer, cbData % 600}) {
        const std::wstring strBound = BoundCommandLine(strA, cchBuffer);
        Check(strBound.size() < std::max<size_t>(cchBuffer, 1));
        Check(strA.starts_with(strBound));
    }
    Check(BuildInterpreterCommand(strA, strB, strC) == strA + L'"' + strB + L'"' + strC);
    Check(HoldsInOrder(BuildPluginCommand(strA, strB, strC), {strA, strB, strC}));
    Check(HoldsInOrder(LaunchFailureText(L"VAREN_CA ", strA, cbData), {strA}));
    Check(HoldsInOrder(BuildTaskKillCommand(strA, strB), {strA, strB}));
    Check(HoldsInOrder(BuildKillVantorSettingsCommand(strA), {strA}));
    Check(HoldsInOrder(BuildInstallManagerCommand(strA, strB), {strA, strB}));
    Check(BuildInstallManagerPath(strA).starts_with(strA));
    Check(QuoteProgram(strA) == L'"' + strA + L'"');
    Check(HoldsInOrder(BuildInstallHelpCommand(strA, strB), {strA, strB}));
    Check(BuildQuietUninstallCommand(strA).starts_with(strA));
    Check(JoinFolderAndName(strA, strB).starts_with(strA));
    Check(JoinFolderAndName(strA, strB).ends_with(strB));
    Check(BuildRegAsmPath(strA, NetFramework::Bits64).starts_with(strA));
    Check(BuildPluginPath(strA, strB).ends_with(strB));
    // Task definitions take names and commands as they are; schtasks lines are cut.
    Check(HoldsInOrder(BuildOnDemandTaskXml(strA, strB), {strA, strA, strB}));
    Check(HoldsInOrder(BuildLogonTaskXml(strA, strB), {strA, strB}));
    Check(AppendFileName(strA, strB).starts_with(strA) &&
          AppendFileName(strA, strB).ends_with(strB));
    for (const std::wstring& strCommand :
         {BuildCreateTaskCommand(strA, strB), BuildChangeTaskCommand(strA, strB, strC),
          BuildRunTaskCommand(strA), BuildDeleteTaskCommand(strA)}) {
        Check(strCommand.size() < kcchTaskCommand && strCommand.starts_with(L"schtasks /"));
    }
    for (bool fDropTrailingQuote : {false, true}) {
        const std::wstring strSource = BuildShellDeleteSource(strA, fDropTrailingQuote);
        // The path (its trailing quote perhaps a NUL), then NULs ending the list.
        Check(strSource.size() >= strA.size() + 2);
        Check(strSource.compare(0, strA.size() - (strA.ends_with(L'"') ? 1 : 0), strA, 0,
                                strA.size() - (strA.ends_with(L'"') ? 1 : 0)) == 0);
        Check(strSource[strSource.size() - 1] == L'\0' && strSource[strSource.size() - 2] == L'\0');
    }
    return 0;
}
