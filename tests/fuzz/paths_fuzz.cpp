// Feeds arbitrary texts to the path and name parsers (service binary paths, parent
// folders, key paths, product codes, versions) checking what each must give
// whatever the text.
#include "suite/profiler_cleanup_text.h"
#include "system/registry_text.h"
#include "system/service_text.h"
#include "tests/fuzz/fuzz_support.h"

namespace {

void CheckServicePaths(const std::wstring& strText) {
    const std::wstring strBinary = GetServiceBinaryFile(strText);
    Check(std::wstring_view(strText).substr(strText.starts_with(L'"')).starts_with(strBinary));
    const std::wstring strParent = GetParentFolder(strText);
    Check(strText.starts_with(strParent));
    // Up to the last separator (with it after a bare drive); nothing without one.
    const size_t iLast = strText.find_last_of(L"\\/");
    Check(iLast == std::wstring::npos ? strParent.empty() : strParent.size() <= iLast + 1);
}

void CheckKeyPath(const std::wstring& strText) {
    const KeyPathParts parts = SplitKeyPath(strText);
    Check(parts.strLeafPart.find(L'\\') == std::wstring::npos);
    Check(strText.find(L'\\') == std::wstring::npos
              ? parts.strKeyPart.empty() && parts.strLeafPart == strText
              : parts.strKeyPart + L"\\" + parts.strLeafPart == strText);
    Check(IsSingleKeyName(strText) ==
          (!strText.empty() && strText.find(L'\\') == std::wstring::npos));
}

void CheckVersions(const std::wstring& strA, const std::wstring& strB) {
    const auto ab = CompareVersions(strA, strB);
    const auto ba = CompareVersions(strB, strA);
    Check(ab.has_value() == ba.has_value());
    if (ab) {
        Check((*ab < 0) == (*ba > 0) && (*ab == 0) == (*ba == 0));
        Check(CompareVersions(strA, strA) == 0);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t cbData) {
    const std::vector<std::wstring> fields = SplitFields(pData, cbData, 2);
    for (const std::wstring& strText : fields) {
        CheckServicePaths(strText);
        CheckKeyPath(strText);
        if (IsProductCode(strText)) {
            Check(strText.size() == 38 && strText.front() == L'{' && strText.back() == L'}');
        }
    }
    CheckVersions(fields[0], fields[1]);
    return 0;
}
