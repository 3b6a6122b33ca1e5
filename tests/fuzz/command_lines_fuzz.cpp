// Feeds arbitrary texts to the command-line, task and source-list builders and
// checks that each keeps its inputs whole and in order, and that a bounded copy
// stays inside its buffer.
#include "shell/plugin_text.h"
#include "suite/install_manager_text.h"
#include "suite/profiler_cleanup_text.h"
#include "system/process_text.h"
#include "system/removal_text.h"
#include "tasks/elevated_task_text.h"
#include "tasks/schtasks_text.h"
#include "tests/fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t cbData) {
    const std::vector<std::wstring> fields = SplitFields(pData, cbData, 2);
    const std::wstring& strA = fields[0];
    const std::wstring& strB = fields[1];
    for (size_t cchBuffer : {size_t{0}, size_t{1}, cbData % 600}) {
        const std::wstring strBound = BoundCommandLine(strA, cchBuffer);
        // The text up to the buffer less its terminator (a buffer of none holds nothing).
        Check(strBound == strA.substr(0, std::max<size_t>(cchBuffer, 1) - 1));
    }
    for (const std::wstring& strBuilt :
         {BuildPluginCommand(L"", strA, strB), BuildTaskKillCommand(strA, strB),
          BuildInstallManagerCommand(strA, strB), BuildInstallHelpCommand(strA, strB),
          BuildOnDemandTaskXml(strA, strB), BuildLogonTaskXml(strA, strB)}) {
        const size_t iA = strBuilt.find(strA);
        Check(iA != std::wstring::npos &&
              strBuilt.find(strB, iA + strA.size()) != std::wstring::npos);
    }
    // schtasks lines are cut to their buffer.
    for (const std::wstring& strCommand :
         {BuildCreateTaskCommand(strA, strB), BuildChangeTaskCommand(strA, strB, strA),
          BuildRunTaskCommand(strA), BuildDeleteTaskCommand(strA)}) {
        Check(strCommand.size() < kcchTaskCommand && strCommand.starts_with(L"schtasks /"));
    }
    // The shell's source list: the path (its trailing quote perhaps a NUL), then two NULs.
    for (bool fDropTrailingQuote : {false, true}) {
        const std::wstring strSource = BuildShellDeleteSource(strA, fDropTrailingQuote);
        const size_t cchKept = strA.size() - (fDropTrailingQuote && strA.ends_with(L'"'));
        Check(strSource.size() == strA.size() + 2 && strSource.ends_with(std::wstring(2, L'\0')));
        Check(strSource.compare(0, cchKept, strA, 0, cchKept) == 0 && strSource[cchKept] == L'\0');
    }
    return 0;
}
