// Feeds arbitrary file bytes to the settings-file reader and writer and checks what
// must hold whatever the file: an unedited document writes back the same bytes, a set
// value reads back, a second set changes nothing, and no other name's value, unknown
// line or encoding is disturbed.
#include "runtime/settings_file_text.h"
#include "tests/fuzz/fuzz_support.h"

constexpr std::wstring_view kNames[] = {L"InstallDir", L"a", L"EnableRepair", L"\u00e9"};
constexpr std::wstring_view kValues[] = {L"C:\\IM\\", L"", L"\u00e9\u20ac=;#", L"x\r\ny=1"};

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t cbData) {
    if (cbData < 2) {
        return 0;
    }
    const std::string_view strBytes(reinterpret_cast<const char*>(pData + 2), cbData - 2);
    std::optional<CfgDocument> document = ReadCfgDocument(strBytes);
    if (!document) {
        return 0;
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
    return 0;
}
