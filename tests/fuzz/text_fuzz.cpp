// Feeds arbitrary input to the text code and checks what must hold whatever the input.
// The first byte picks the check from kChecks; the rest is that check's input.
#include "runtime/record_text.h"
#include "runtime/settings_file_text.h"
#include "suite/profile_client_text.h"
#include "suite/profiler_cleanup_text.h"
#include "system/process_text.h"
#include "system/registry_text.h"
#include "system/removal_text.h"
#include "system/service_text.h"
#include "tasks/schtasks_text.h"

#include <array>
#include <cstdlib>
#include <stdexcept>

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

// The path and name parsers: service binary paths, parent folders, key paths, product
// codes, versions.
void CheckPaths(const uint8_t* pData, size_t cbData) {
    const auto fields = SplitFields(pData, cbData);
    for (const std::wstring& strText : fields) {
        const std::wstring strBinary = GetServiceBinaryFile(strText);
        Check(std::wstring_view(strText).substr(strText.starts_with(L'"')).starts_with(strBinary));
        // The parent: up to the last separator (with it after a bare drive); nothing without one.
        const std::wstring strParent = GetParentFolder(strText);
        const size_t iLast = strText.find_last_of(L"\\/");
        Check(strText.starts_with(strParent));
        Check(iLast == std::wstring::npos ? strParent.empty() : strParent.size() <= iLast + 1);
        const KeyPathParts parts = SplitKeyPath(strText);
        const bool fSingle = strText.find(L'\\') == std::wstring::npos;
        Check(parts.strLeafPart.find(L'\\') == std::wstring::npos);
        Check(fSingle ? parts.strKeyPart.empty() && parts.strLeafPart == strText
                      : parts.strKeyPart + L"\\" + parts.strLeafPart == strText);
        Check(IsSingleKeyName(strText) == (fSingle && !strText.empty()));
        Check(!IsProductCode(strText) ||
              (strText.size() == 38 && strText.front() == L'{' && strText.back() == L'}'));
    }
    const auto ab = CompareVersions(fields[0], fields[1]);
    const auto ba = CompareVersions(fields[1], fields[0]);
    Check(ab.has_value() == ba.has_value());
    Check(!ab || ((*ab < 0) == (*ba > 0) && (*ab == 0) == (*ba == 0)));
    Check(!ab || CompareVersions(fields[0], fields[0]) == 0);
}

// Pending-rename data (REG_MULTI_SZ, written by anyone): the clean-up keeps no empty
// string and no client operation, keeps every other string in order, and what it
// writes reads back as the list it kept.
void CheckPendingRenames(const uint8_t* pData, size_t cbData) {
    const std::vector<std::wstring> vecBefore = SplitMultiString(pData, cbData);
    std::vector<std::wstring> vecKept;
    for (const std::wstring& str : vecBefore) {
        if (!str.empty() && str.find(L"\\Performance Profile Client") == std::wstring::npos) {
            vecKept.push_back(str);
        }
    }
    const auto cleaned = CleanPendingRenames(pData, cbData);
    Check(cleaned.has_value() == (vecKept.size() != vecBefore.size()));
    Check(!cleaned || SplitMultiString(cleaned->data(), cleaned->size()) == vecKept);
    Check(!cleaned || *cleaned == JoinMultiString(vecKept));
}

// A CustomActionData key's value is the text after the key's first occurrence (from
// L - 1 when it is missing) up to the first ";", or std::out_of_range when that start
// lies past the end.
void CheckRecords(const uint8_t* pData, size_t cbData) {
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
constexpr void (*kChecks[])(const uint8_t*, size_t) = {
    CheckCommandLines, CheckPaths, CheckPendingRenames, CheckRecords, CheckSettingsFile};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t cbData) {
    if (cbData > 0) {
        kChecks[pData[0] % std::size(kChecks)](pData + 1, cbData - 1);
    }
    return 0;
}
