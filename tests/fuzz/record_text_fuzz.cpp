// Feeds arbitrary records to the CustomActionData key parser: the value is the text after
// the key's first occurrence (from L - 1 when it is missing) up to the first ";", or
// std::out_of_range when that start lies past the end.
#include "runtime/record_text.h"
#include "tests/fuzz/fuzz_support.h"

#include <stdexcept>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t cbData) {
    const std::wstring strRecord = SplitFields(pData, cbData)[0];
    for (std::wstring_view strKey : {L"TaskName=", L"DirectoryOfBinary=", L"=", L";"}) {
        const size_t iKey = strRecord.find(strKey);
        const size_t iStart = iKey == std::wstring::npos ? strKey.size() - 1 : iKey + strKey.size();
        try {
            const std::wstring strValue = GetRecordValue(strRecord, strKey);
            const size_t iEnd = iStart + strValue.size();
            Check(iStart <= strRecord.size() && strValue.find(L';') == std::wstring::npos);
            Check(strRecord.compare(iStart, strValue.size(), strValue) == 0);
            Check(iEnd == strRecord.size() || strRecord[iEnd] == L';');
        } catch (const std::out_of_range&) {
            Check(iStart > strRecord.size());
        }
    }
    return 0;
}
