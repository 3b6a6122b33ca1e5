// Feeds arbitrary input to the text code and checks what must hold whatever the input.
// The first byte picks the check from kChecks; the rest is that check's input.
#include "runtime/settings_file_text.h"
#include "system/process_text.h"
#include "system/removal_text.h"
#include "tasks/schtasks_text.h"

#include <array>
#include <cstdlib>

namespace {

void Check(bool fCondition) {
    if (!fCondition) {
        std::abort();
    }
}

// The input as two texts, cut at each byte 0xFF (after a second one nothing is read).
// Bytes below 0x80 are those characters (NULs included), so separators, quotes and
// keys turn up often; the others map above U+00FF, reaching past Latin-1.
std::array<std::wstring, 2> SplitFields(const uint8_t* pData, size_t cbData) {
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

// The bounded command lines and the shell's source list stay inside their buffers and
// keep what fits of their input.
void CheckCommandLines(const uint8_t* pData, size_t cbData) {
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
}

// A settings file (two bytes pick a name, another name and a value): an unedited
// document writes back the same bytes, a set value reads back, a second set changes
// nothing, and no other name's value, unknown line or encoding is disturbed.
void CheckSettingsFile(const uint8_t* pData, size_t cbData) {
    constexpr std::wstring_view kNames[] = {L"InstallDir", L"a", L"EnableRepair", L"\u00e9"};
    constexpr std::wstring_view kValues[] = {L"C:\\IM\\", L"", L"\u00e9\u20ac=;#", L"x\r\ny=1"};
    if (cbData < 2) {
        return;
    }
    const std::string_view strBytes(reinterpret_cast<const char*>(pData + 2), cbData - 2);
    std::optional<CfgDocument> document = ReadCfgDocument(strBytes);
    if (!document) {
        return;
    }
    const std::wstring_view strName = kNames[pData[0] % std::size(kNames)];
    const std::wstring_view strOther = kNames[(pData[0] / 4) % std::size(kNames)];
    const std::wstring_view strValue = kValues[pData[1] % std::size(kValues)];
    const CfgDocument before = *document;
    Check(WriteCfgDocument(before) == strBytes);

    SetCfgValue(*document, strName, strValue);
    Check(GetCfgValue(*document, strName) ==
          std::wstring(strValue.substr(0, strValue.find(L'\r'))));
    Check(CountUnknownCfgLines(*document) == CountUnknownCfgLines(before));
    Check(strOther == strName || GetCfgValue(*document, strOther) == GetCfgValue(before, strOther));
    Check(!SetCfgValue(*document, strName, strValue));
    const std::optional<CfgDocument> reread = ReadCfgDocument(WriteCfgDocument(*document));
    Check(reread && reread->strUnits == document->strUnits && reread->encoding == before.encoding);
}

// The seeds in corpus/text_fuzz/ start with their check's index here.
constexpr void (*kChecks[])(const uint8_t*, size_t) = {CheckCommandLines, CheckSettingsFile};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t cbData) {
    if (cbData > 0) {
        kChecks[pData[0] % std::size(kChecks)](pData + 1, cbData - 1);
    }
    return 0;
}
