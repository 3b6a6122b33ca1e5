// Feeds arbitrary texts to the command-line and source-list builders and checks
// that each keeps its inputs whole and in place, and that a bounded copy stays
// inside its buffer.
#include "shell/plugin_text.h"
#include "suite/command_text.h"
#include "suite/install_manager_text.h"
#include "suite/profiler_cleanup_text.h"
#include "system/process_text.h"
#include "system/removal_text.h"
#include "tests/fuzz/fuzz_support.h"

#include <string_view>

namespace {

// strWhole holds each part, in order, without overlap.
bool HoldsInOrder(std::wstring_view strWhole, std::initializer_list<std::wstring_view> parts) {
    size_t iFrom = 0;
    for (std::wstring_view strPart : parts) {
        const size_t iAt = strWhole.find(strPart, iFrom);
        if (iAt == std::wstring_view::npos) {
            return false;
        }
        iFrom = iAt + strPart.size();
    }
    return true;
}

} // namespace

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
