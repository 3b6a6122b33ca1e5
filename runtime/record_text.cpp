#include "runtime/record_text.h"

#include <cstdint>
#include <stdexcept>

std::wstring GetRecordValue(std::wstring_view strRecord, std::wstring_view strKey) {
    const size_t iKey = strRecord.find(strKey);
    // Truncating "not found" (all ones) to 32 bits gives -1, so a missing key
    // starts the value at L - 1.
    const auto iStart32 =
        static_cast<int32_t>(static_cast<uint32_t>(iKey) + static_cast<uint32_t>(strKey.size()));
    const auto iStart = static_cast<size_t>(static_cast<int64_t>(iStart32));
    if (iStart > strRecord.size()) {
        throw std::out_of_range("invalid string position");
    }
    const size_t iEnd = strRecord.find(L';', iStart);
    return std::wstring(
        strRecord.substr(iStart, iEnd == std::wstring_view::npos ? iEnd : iEnd - iStart));
}
