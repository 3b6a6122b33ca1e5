// Feeds arbitrary bytes as pending-rename data (REG_MULTI_SZ, read from the
// registry and so written by anyone) and checks what must hold whatever the input:
// the clean-up keeps no empty string and no client operation, keeps every other
// string in order, and what it writes reads back as the list it kept.
#include "suite/profile_client_text.h"
#include "tests/fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t cbData) {
    const std::vector<std::wstring> vecBefore = SplitMultiString(pData, cbData);
    std::vector<std::wstring> vecKept;
    for (const std::wstring& str : vecBefore) {
        if (!str.empty() && str.find(L"\\Performance Profile Client") == std::wstring::npos) {
            vecKept.push_back(str);
        }
    }
    const auto cleaned = CleanPendingRenames(pData, cbData);
    Check(cleaned.has_value() == (vecKept.size() != vecBefore.size()));
    Check(!cleaned || SplitMultiString(cleaned->data(), cleaned->size()) == vecKept);
    Check(!cleaned || *cleaned == JoinMultiString(vecKept));
    return 0;
}
