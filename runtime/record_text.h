// Key parsers for CustomActionData records: fields "Key=value" separated by ";".
// Pure text code (no <windows.h>), built for the host as well.
#pragma once

#include <string>
#include <string_view>

// Returns the value of the first occurrence of szKey (which ends in "="): the text
// after it up to the next ";" or the end. The search is a plain case-sensitive
// substring search, so it also matches inside a longer key or a value.
//
// A missing key does not give "": the start position is computed in 32-bit
// signed arithmetic, so "not found" plus the key's length L lands on L - 1 and
// the text from there to the next ";" is returned. A record too short for that
// start throws std::out_of_range("invalid string position"). Deferred actions
// built on this have always behaved so, and packages depend on it.
std::wstring GetRecordValue(std::wstring_view strRecord, std::wstring_view strKey);

inline std::wstring GetTaskName(std::wstring_view strRecord) {
    return GetRecordValue(strRecord, L"TaskName=");
}
inline std::wstring GetUsername(std::wstring_view strRecord) {
    return GetRecordValue(strRecord, L"Username=");
}
inline std::wstring GetCommandToLaunch(std::wstring_view strRecord) {
    return GetRecordValue(strRecord, L"CommandToLaunch=");
}
inline std::wstring GetDirectoryOfBinary(std::wstring_view strRecord) {
    return GetRecordValue(strRecord, L"DirectoryOfBinary=");
}
inline std::wstring GetServiceName(std::wstring_view strRecord) {
    return GetRecordValue(strRecord, L"ServiceName=");
}
