// Feeds arbitrary file bytes to the settings-file reader and writer and checks what
// must hold whatever the file: an unedited document writes back the same bytes, a set
// value reads back, a second set changes nothing, and no other name's value, unknown
// line or encoding is disturbed.
#include "runtime/settings_file_text.h"
#include "tests/fuzz/fuzz_support.h"

namespace {

constexpr std::wstring_view kNames[] = {L"InstallDir", L"a", L"EnableRepair", L"\u00e9"};
constexpr std::wstring_view kValues[] = {L"C:\\Program Files\\IM\\", L"", L"0", L"\u00e9\u20ac=;#",
                                         L"x\r\ny=1"};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t cbData) {
    if (cbData < 2) {
        return 0;
    }
    const std::wstring_view strName = kNames[pData[0] % std::size(kNames)];
    const std::wstring_view strOther = kNames[(pData[0] / 4) % std::size(kNames)];
    const std::wstring_view strValue = kValues[pData[1] % std::size(kValues)];
    const std::string strBytes(reinterpret_cast<const char*>(pData + 2), cbData - 2);

    std::optional<CfgDocument> document = ReadCfgDocument(strBytes);
    if (!document) {
        return 0;
    }
    Check(WriteCfgDocument(*document) == strBytes);
    const std::size_t cUnknown = CountUnknownCfgLines(*document);
    const std::optional<std::wstring> strOtherBefore = GetCfgValue(*document, strOther);
    const CfgEncoding encoding = document->encoding;

    SetCfgValue(*document, strName, strValue);
    const std::wstring_view strStored = strValue.substr(0, strValue.find_first_of(L"\r\n"));
    Check(GetCfgValue(*document, strName) == std::wstring(strStored));
    Check(CountUnknownCfgLines(*document) == cUnknown);
    Check(document->encoding == encoding);
    if (strOther != strName) {
        Check(GetCfgValue(*document, strOther) == strOtherBefore);
    }
    Check(!SetCfgValue(*document, strName, strValue));

    const std::string strWritten = WriteCfgDocument(*document);
    const std::optional<CfgDocument> reread = ReadCfgDocument(strWritten);
    Check(reread && reread->strUnits == document->strUnits && reread->encoding == encoding);
    return 0;
}
