// Feeds arbitrary texts to the bounded command lines and the shell's source list and
// checks that each stays inside its buffer and keeps what fits of its input.
#include "system/process_text.h"
#include "system/removal_text.h"
#include "tasks/schtasks_text.h"
#include "tests/fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t cbData) {
    const auto [strA, strB] = SplitFields(pData, cbData);
    for (size_t cchBuffer : {size_t{0}, size_t{1}, cbData % 600}) {
        // The text up to the buffer less its terminator (a buffer of none holds nothing).
        Check(BoundCommandLine(strA, cchBuffer) ==
              strA.substr(0, std::max<size_t>(cchBuffer, 1) - 1));
    }
    for (const std::wstring& strCommand :
         {BuildCreateTaskCommand(strA, strB), BuildChangeTaskCommand(strA, strB, strA),
          BuildRunTaskCommand(strA), BuildDeleteTaskCommand(strA)}) {
        Check(strCommand.size() < kcchTaskCommand && strCommand.starts_with(L"schtasks /"));
    }
    // The path (its trailing quote perhaps a NUL), then the two NULs that end the list.
    for (bool fDropTrailingQuote : {false, true}) {
        const std::wstring strSource = BuildShellDeleteSource(strA, fDropTrailingQuote);
        const size_t cchKept = strA.size() - (fDropTrailingQuote && strA.ends_with(L'"'));
        Check(strSource.size() == strA.size() + 2 && strSource.ends_with(std::wstring(2, L'\0')));
        Check(strSource.compare(0, cchKept, strA, 0, cchKept) == 0 && strSource[cchKept] == L'\0');
    }
    return 0;
}
