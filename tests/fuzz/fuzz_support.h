// Shared by the fuzz targets: the check that stops the run, and text fields.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

inline void Check(bool fCondition) {
    if (!fCondition) {
        std::abort();
    }
}

// The input as two texts, cut at each byte 0xFF (after a second one nothing is read).
// Bytes below 0x80 are those characters (NULs included), so separators, quotes and
// keys turn up often; the others map above U+00FF, reaching past Latin-1.
inline std::array<std::wstring, 2> SplitFields(const uint8_t* pData, size_t cbData) {
    std::array<std::wstring, 2> fields;
    for (size_t i = 0, iField = 0; i < cbData && iField < fields.size(); ++i) {
        if (pData[i] == 0xFF) {
            ++iField;
        } else {
            fields[iField] += static_cast<wchar_t>(pData[i] < 0x80 ? pData[i] : 0x100 + pData[i]);
        }
    }
    return fields;
}
