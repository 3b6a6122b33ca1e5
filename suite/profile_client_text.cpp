#include "suite/profile_client_text.h"

namespace {

constexpr std::wstring_view kClientMarker = L"\\Performance Profile Client";

} // namespace

std::vector<std::wstring> SplitMultiString(const unsigned char* pbData, std::size_t cbData) {
    std::size_t cch = pbData != nullptr ? cbData / 2 : 0;
    auto unit = [pbData](std::size_t i) {
        return static_cast<wchar_t>(pbData[2 * i] | (pbData[2 * i + 1] << 8));
    };
    // The NUL that ends the list follows the NUL of the last string (or stands
    // alone in an empty list); without it the last string's NUL ends the data.
    if (cch > 0 && unit(cch - 1) == 0 && (cch == 1 || unit(cch - 2) == 0)) {
        --cch;
    }
    std::vector<std::wstring> vecStrings;
    std::wstring strCurrent;
    for (std::size_t i = 0; i < cch; ++i) {
        const wchar_t ch = unit(i);
        if (ch == 0) {
            vecStrings.push_back(std::move(strCurrent));
            strCurrent.clear();
        } else {
            strCurrent.push_back(ch);
        }
    }
    if (!strCurrent.empty()) {
        vecStrings.push_back(std::move(strCurrent));
    }
    return vecStrings;
}

std::vector<unsigned char> JoinMultiString(const std::vector<std::wstring>& vecStrings) {
    std::vector<unsigned char> vecData;
    auto append = [&vecData](wchar_t ch) {
        vecData.push_back(static_cast<unsigned char>(ch & 0xFF));
        vecData.push_back(static_cast<unsigned char>((ch >> 8) & 0xFF));
    };
    for (const std::wstring& str : vecStrings) {
        for (wchar_t ch : str) {
            append(ch);
        }
        append(0);
    }
    append(0);
    return vecData;
}

bool DropClientOperations(std::vector<std::wstring>& vecOperations) {
    const std::size_t cBefore = vecOperations.size();
    std::erase_if(vecOperations, [](const std::wstring& str) {
        return str.empty() || str.find(kClientMarker) != std::wstring::npos;
    });
    return vecOperations.size() != cBefore;
}

std::optional<std::vector<unsigned char>> CleanPendingRenames(const unsigned char* pbData,
                                                              std::size_t cbData) {
    std::vector<std::wstring> vecOperations = SplitMultiString(pbData, cbData);
    if (!DropClientOperations(vecOperations)) {
        return std::nullopt;
    }
    return JoinMultiString(vecOperations);
}

const wchar_t* DecideClientOwner(const ClientFacts& facts) {
    const bool fClientActive = !facts.strClient.empty() && facts.dwStatus == 1ul;
    const bool fOwnedByClient =
        facts.fLaunchedFromClient || (fClientActive && (facts.fRemoving || !facts.fSuiteInstalled));
    return fOwnedByClient ? L"Client" : L"Suite";
}
