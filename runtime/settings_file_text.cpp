#include "runtime/settings_file_text.h"

#include <algorithm>
#include <vector>

namespace {

constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";
constexpr std::string_view kUtf16LeMark = "\xFF\xFE";
constexpr std::string_view kUtf16BeMark = "\xFE\xFF";
constexpr wchar_t kReplacement = 0xFFFD;

bool IsBlank(wchar_t ch) {
    return ch == L' ' || ch == L'\t';
}

wchar_t LowerAscii(wchar_t ch) {
    return ch >= L'A' && ch <= L'Z' ? static_cast<wchar_t>(ch - L'A' + L'a') : ch;
}

bool SameName(std::wstring_view strA, std::wstring_view strB) {
    return strA.size() == strB.size() &&
           std::equal(strA.begin(), strA.end(), strB.begin(),
                      [](wchar_t chA, wchar_t chB) { return LowerAscii(chA) == LowerAscii(chB); });
}

std::wstring_view TrimBlanks(std::wstring_view str) {
    while (!str.empty() && IsBlank(str.front())) {
        str.remove_prefix(1);
    }
    while (!str.empty() && IsBlank(str.back())) {
        str.remove_suffix(1);
    }
    return str;
}

// One line of the document: its text [iStart, iEnd) and its line end after that.
// For a "name=value" line, the name and where the value starts (after "=" and blanks).
struct CfgLine {
    enum class Kind { Blank, Comment, Entry, Unknown };
    Kind kind;
    std::size_t iStart;
    std::size_t iEnd;
    std::size_t cchLineEnd;
    std::wstring_view strName;
    std::size_t iValue;
};

CfgLine ParseLine(std::wstring_view strUnits, std::size_t iStart) {
    std::size_t iEnd = strUnits.find(L'\n', iStart);
    std::size_t cchLineEnd = 1;
    if (iEnd == std::wstring_view::npos) {
        iEnd = strUnits.size();
        cchLineEnd = 0;
    } else if (iEnd > iStart && strUnits[iEnd - 1] == L'\r') {
        --iEnd;
        cchLineEnd = 2;
    }
    CfgLine line{CfgLine::Kind::Unknown, iStart, iEnd, cchLineEnd, {}, iEnd};
    const std::wstring_view strText = strUnits.substr(iStart, iEnd - iStart);
    const std::wstring_view strTrimmed = TrimBlanks(strText);
    const std::size_t iEquals = strText.find(L'=');
    if (strTrimmed.empty()) {
        line.kind = CfgLine::Kind::Blank;
    } else if (strTrimmed.front() == L';' || strTrimmed.front() == L'#') {
        line.kind = CfgLine::Kind::Comment;
    } else if (iEquals != std::wstring_view::npos &&
               !TrimBlanks(strText.substr(0, iEquals)).empty()) {
        line.kind = CfgLine::Kind::Entry;
        line.strName = TrimBlanks(strText.substr(0, iEquals));
        std::size_t iValue = iStart + iEquals + 1;
        while (iValue < iEnd && IsBlank(strUnits[iValue])) {
            ++iValue;
        }
        line.iValue = iValue;
    }
    return line;
}

std::vector<CfgLine> ParseLines(std::wstring_view strUnits) {
    std::vector<CfgLine> lines;
    for (std::size_t iStart = 0; iStart < strUnits.size();) {
        const CfgLine line = ParseLine(strUnits, iStart);
        lines.push_back(line);
        iStart = line.iEnd + line.cchLineEnd;
    }
    return lines;
}

// The code point at strText[i] (a surrogate pair where wchar_t is 16 bits), and
// how many units it took.
char32_t CodePointAt(std::wstring_view strText, std::size_t i, std::size_t& cUnits) {
    cUnits = 1;
    const auto ch = static_cast<char32_t>(strText[i]);
    if (ch >= 0xD800 && ch <= 0xDBFF && i + 1 < strText.size()) {
        const auto chLow = static_cast<char32_t>(strText[i + 1]);
        if (chLow >= 0xDC00 && chLow <= 0xDFFF) {
            cUnits = 2;
            return 0x10000 + ((ch - 0xD800) << 10) + (chLow - 0xDC00);
        }
    }
    const bool fSurrogate = ch >= 0xD800 && ch <= 0xDFFF;
    return fSurrogate || ch > 0x10FFFF ? kReplacement : ch;
}

// strText as UTF-8, one byte per unit.
std::wstring EncodeUtf8Units(std::wstring_view strText) {
    std::wstring strUnits;
    for (std::size_t i = 0, cUnits = 0; i < strText.size(); i += cUnits) {
        const char32_t ch = CodePointAt(strText, i, cUnits);
        if (ch < 0x80) {
            strUnits += static_cast<wchar_t>(ch);
        } else if (ch < 0x800) {
            strUnits += static_cast<wchar_t>(0xC0 | (ch >> 6));
            strUnits += static_cast<wchar_t>(0x80 | (ch & 0x3F));
        } else if (ch < 0x10000) {
            strUnits += static_cast<wchar_t>(0xE0 | (ch >> 12));
            strUnits += static_cast<wchar_t>(0x80 | ((ch >> 6) & 0x3F));
            strUnits += static_cast<wchar_t>(0x80 | (ch & 0x3F));
        } else {
            strUnits += static_cast<wchar_t>(0xF0 | (ch >> 18));
            strUnits += static_cast<wchar_t>(0x80 | ((ch >> 12) & 0x3F));
            strUnits += static_cast<wchar_t>(0x80 | ((ch >> 6) & 0x3F));
            strUnits += static_cast<wchar_t>(0x80 | (ch & 0x3F));
        }
    }
    return strUnits;
}

void AppendCodePoint(std::wstring& strText, char32_t ch) {
    if constexpr (sizeof(wchar_t) == 2) {
        if (ch >= 0x10000) {
            ch -= 0x10000;
            strText += static_cast<wchar_t>(0xD800 + (ch >> 10));
            strText += static_cast<wchar_t>(0xDC00 + (ch & 0x3FF));
            return;
        }
    }
    strText += static_cast<wchar_t>(ch);
}

// UTF-8 units as text; a byte that does not start a valid sequence gives U+FFFD.
std::wstring DecodeUtf8Units(std::wstring_view strUnits) {
    constexpr char32_t kSmallest[] = {0, 0x80, 0x800, 0x10000};
    std::wstring strText;
    for (std::size_t i = 0; i < strUnits.size();) {
        const auto chLead = static_cast<char32_t>(strUnits[i]);
        std::size_t cTrail = 0;
        char32_t ch = chLead;
        bool fValid = true;
        if (chLead >= 0xC2 && chLead <= 0xDF) {
            cTrail = 1;
            ch = chLead & 0x1F;
        } else if (chLead >= 0xE0 && chLead <= 0xEF) {
            cTrail = 2;
            ch = chLead & 0x0F;
        } else if (chLead >= 0xF0 && chLead <= 0xF4) {
            cTrail = 3;
            ch = chLead & 0x07;
        } else {
            fValid = chLead < 0x80;
        }
        fValid = fValid && i + cTrail < strUnits.size();
        for (std::size_t iTrail = 1; fValid && iTrail <= cTrail; ++iTrail) {
            const auto chTrail = static_cast<char32_t>(strUnits[i + iTrail]);
            fValid = (chTrail & 0xC0) == 0x80;
            ch = (ch << 6) | (chTrail & 0x3F);
        }
        fValid =
            fValid && ch >= kSmallest[cTrail] && ch <= 0x10FFFF && !(ch >= 0xD800 && ch <= 0xDFFF);
        AppendCodePoint(strText, fValid ? ch : kReplacement);
        i += fValid ? cTrail + 1 : 1;
    }
    return strText;
}

// A name or value in the document's units.
std::wstring ToUnits(CfgEncoding encoding, std::wstring_view strText) {
    return encoding != CfgEncoding::Utf16Le ? EncodeUtf8Units(strText) : std::wstring(strText);
}

// The first line end of the document, for lines it appends.
std::wstring_view FirstLineEnd(std::wstring_view strUnits) {
    const std::size_t iNewLine = strUnits.find(L'\n');
    if (iNewLine == std::wstring_view::npos) {
        return L"\r\n";
    }
    return iNewLine > 0 && strUnits[iNewLine - 1] == L'\r' ? L"\r\n" : L"\n";
}

} // namespace

std::optional<CfgDocument> ReadCfgDocument(std::string_view strBytes) {
    CfgDocument document;
    if (strBytes.substr(0, kUtf16LeMark.size()) == kUtf16LeMark) {
        strBytes.remove_prefix(kUtf16LeMark.size());
        if (strBytes.size() % 2 != 0) {
            return std::nullopt;
        }
        document.encoding = CfgEncoding::Utf16Le;
        for (std::size_t i = 0; i < strBytes.size(); i += 2) {
            document.strUnits +=
                static_cast<wchar_t>(static_cast<unsigned char>(strBytes[i]) |
                                     static_cast<unsigned char>(strBytes[i + 1]) << 8);
        }
        return document;
    }
    if (strBytes.substr(0, kUtf16BeMark.size()) == kUtf16BeMark) {
        return std::nullopt;
    }
    if (strBytes.substr(0, kUtf8Mark.size()) == kUtf8Mark) {
        strBytes.remove_prefix(kUtf8Mark.size());
        document.encoding = CfgEncoding::Utf8Bom;
    }
    if (strBytes.find('\0') != std::string_view::npos) {
        return std::nullopt;
    }
    for (const char ch : strBytes) {
        document.strUnits += static_cast<wchar_t>(static_cast<unsigned char>(ch));
    }
    return document;
}

std::string WriteCfgDocument(const CfgDocument& document) {
    std::string strBytes;
    if (document.encoding == CfgEncoding::Utf16Le) {
        strBytes = kUtf16LeMark;
        for (const wchar_t ch : document.strUnits) {
            strBytes += static_cast<char>(ch & 0xFF);
            strBytes += static_cast<char>((ch >> 8) & 0xFF);
        }
        return strBytes;
    }
    if (document.encoding == CfgEncoding::Utf8Bom) {
        strBytes = kUtf8Mark;
    }
    for (const wchar_t ch : document.strUnits) {
        strBytes += static_cast<char>(ch & 0xFF);
    }
    return strBytes;
}

std::size_t CountUnknownCfgLines(const CfgDocument& document) {
    const std::vector<CfgLine> lines = ParseLines(document.strUnits);
    return static_cast<std::size_t>(
        std::count_if(lines.begin(), lines.end(),
                      [](const CfgLine& line) { return line.kind == CfgLine::Kind::Unknown; }));
}

std::optional<std::wstring> GetCfgValue(const CfgDocument& document, std::wstring_view strName) {
    const std::wstring_view strUnits = document.strUnits;
    const std::wstring strNameUnits = ToUnits(document.encoding, strName);
    for (const CfgLine& line : ParseLines(strUnits)) {
        if (line.kind == CfgLine::Kind::Entry && SameName(line.strName, strNameUnits)) {
            const std::wstring_view strValue =
                TrimBlanks(strUnits.substr(line.iValue, line.iEnd - line.iValue));
            return document.encoding != CfgEncoding::Utf16Le ? DecodeUtf8Units(strValue)
                                                             : std::wstring(strValue);
        }
    }
    return std::nullopt;
}

bool SetCfgValue(CfgDocument& document, std::wstring_view strName, std::wstring_view strValue) {
    strValue = strValue.substr(0, strValue.find_first_of(L"\r\n"));
    const std::wstring strValueUnits = ToUnits(document.encoding, strValue);
    const std::wstring strNameUnits = ToUnits(document.encoding, strName);
    std::wstring strUnits;
    bool fNamed = false;
    const std::wstring_view strOld = document.strUnits;
    for (const CfgLine& line : ParseLines(strOld)) {
        const std::size_t iNext = line.iEnd + line.cchLineEnd;
        if (line.kind == CfgLine::Kind::Entry && SameName(line.strName, strNameUnits)) {
            fNamed = true;
            strUnits.append(strOld.substr(line.iStart, line.iValue - line.iStart));
            strUnits += strValueUnits;
            strUnits.append(strOld.substr(line.iEnd, line.cchLineEnd));
        } else {
            strUnits.append(strOld.substr(line.iStart, iNext - line.iStart));
        }
    }
    if (!fNamed) {
        // A last line without its end gets one; after a carriage return that belongs
        // to the line, a "\n" alone would turn it into the line's end.
        if (!strUnits.empty() && strUnits.back() == L'\r') {
            strUnits += L"\r\n";
        } else if (!strUnits.empty() && strUnits.back() != L'\n') {
            strUnits += FirstLineEnd(strOld);
        }
        strUnits += strNameUnits + L"=" + strValueUnits + std::wstring(FirstLineEnd(strOld));
    }
    if (strUnits == document.strUnits) {
        return false;
    }
    document.strUnits = std::move(strUnits);
    return true;
}
