// Shared by the fuzz targets: the input cut into text fields, and the checks that
// stop the run where a property fails.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

inline void Check(bool fCondition) {
    if (!fCondition) {
        std::abort();
    }
}

// strWhole holds each part, in order, without overlap.
inline bool HoldsInOrder(std::wstring_view strWhole,
                         std::initializer_list<std::wstring_view> parts) {
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

// The input as cFields texts, cut at each byte 0xFF (missing fields are empty).
// Bytes below 0x80 are those characters (NULs included), so separators, quotes and
// keys turn up often; the others map above U+00FF, reaching past Latin-1.
inline std::vector<std::wstring> SplitFields(const uint8_t* pData, size_t cbData, size_t cFields) {
    std::vector<std::wstring> fields(cFields);
    size_t iField = 0;
    for (size_t i = 0; i < cbData; ++i) {
        if (pData[i] == 0xFF) {
            if (++iField == cFields) {
                break;
            }
        } else {
            fields[iField] += pData[i] < 0x80 ? static_cast<wchar_t>(pData[i])
                                              : static_cast<wchar_t>(0x100 + pData[i]);
        }
    }
    return fields;
}
