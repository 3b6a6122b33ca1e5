// Feeds arbitrary texts to the path and name parsers (service binary paths, parent
// folders, key paths, product codes, versions): what each must give whatever the text.
#include "suite/profiler_cleanup_text.h"
#include "system/registry_text.h"
#include "system/service_text.h"
#include "tests/fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t cbData) {
    const auto fields = SplitFields(pData, cbData);
    for (const std::wstring& strText : fields) {
        const std::wstring strBinary = GetServiceBinaryFile(strText);
        Check(std::wstring_view(strText).substr(strText.starts_with(L'"')).starts_with(strBinary));
        // The parent: up to the last separator (with it after a bare drive); nothing without one.
        const std::wstring strParent = GetParentFolder(strText);
        const size_t iLast = strText.find_last_of(L"\\/");
        Check(strText.starts_with(strParent));
        Check(iLast == std::wstring::npos ? strParent.empty() : strParent.size() <= iLast + 1);
        const KeyPathParts parts = SplitKeyPath(strText);
        const bool fSingle = strText.find(L'\\') == std::wstring::npos;
        Check(parts.strLeafPart.find(L'\\') == std::wstring::npos);
        Check(fSingle ? parts.strKeyPart.empty() && parts.strLeafPart == strText
                      : parts.strKeyPart + L"\\" + parts.strLeafPart == strText);
        Check(IsSingleKeyName(strText) == (fSingle && !strText.empty()));
        Check(!IsProductCode(strText) ||
              (strText.size() == 38 && strText.front() == L'{' && strText.back() == L'}'));
    }
    const auto ab = CompareVersions(fields[0], fields[1]);
    const auto ba = CompareVersions(fields[1], fields[0]);
    Check(ab.has_value() == ba.has_value());
    Check(!ab || ((*ab < 0) == (*ba > 0) && (*ab == 0) == (*ba == 0)));
    Check(!ab || CompareVersions(fields[0], fields[0]) == 0);
    return 0;
}
