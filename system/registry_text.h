// Key-path text for the registry routines: the key-part/leaf split and name
// lists. Pure text code (no <windows.h>), built for
// the host as well.
#pragma once

#include <string>
#include <string_view>
#include <vector>

// A key path split at its last backslash. Everything before it is the key
// part; everything after it is the leaf. A path without a backslash is all
// leaf, so "SOFTWARE\ORX\A4" names "SOFTWARE\ORX" and "...\Packages\X\" names
// "...\Packages\X".
struct KeyPathParts {
    std::wstring strKeyPart;
    std::wstring strLeafPart;
};
KeyPathParts SplitKeyPath(std::wstring_view strPath);

// True when strName can stand for one key below another: not empty and
// without a backslash. Names read from the registry or from the package are
// checked with it before they are joined onto a parent path, so that a bad
// name never makes the path name the parent itself or a key elsewhere.
bool IsSingleKeyName(std::wstring_view strName);

// True when vecNames holds an entry equal to strName (same length, same
// characters; case matters).
bool ContainsName(const std::vector<std::wstring>& vecNames, std::wstring_view strName);
