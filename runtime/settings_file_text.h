// The install manager's settings file ("InstallManager.cfg") as text: lines of
// "name=value", with blank lines and comments (";" or "#" first). A document keeps
// the file's own code units, so every line an edit does not touch is written back
// byte for byte, in its order, with its own line end and the file's encoding.
// No <windows.h>.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

enum class CfgEncoding {
    Utf8,    // no byte-order mark (also plain ASCII and an empty file)
    Utf8Bom, // EF BB BF first
    Utf16Le, // FF FE first
};

struct CfgDocument {
    CfgEncoding encoding = CfgEncoding::Utf8;
    // The code units after the byte-order mark: one per byte in UTF-8 (0 to 255, not
    // decoded, so that bytes that are not valid UTF-8 survive), one per 16-bit unit
    // in UTF-16.
    std::wstring strUnits;
};

// Files larger than this are not edited.
constexpr std::size_t kcbMaxCfgFile = 1024 * 1024;

// The document for a file's bytes; nullopt for bytes this cannot edit without
// damage: UTF-16 with an odd byte count, a big-endian byte-order mark, or a NUL
// byte in a file without a byte-order mark (UTF-16 without a mark, or no text).
std::optional<CfgDocument> ReadCfgDocument(std::string_view strBytes);

// The bytes of the file: the byte-order mark, then the code units.
std::string WriteCfgDocument(const CfgDocument& document);

// The number of lines that are neither blank, nor a comment, nor "name=value".
std::size_t CountUnknownCfgLines(const CfgDocument& document);

// The value of the first line named strName (names compare without case, blanks
// around name and value ignored), decoded; nullopt when no line names it.
std::optional<std::wstring> GetCfgValue(const CfgDocument& document, std::wstring_view strName);

// Gives every line named strName the value strValue (cut at its first line break),
// keeping each line's name, "=" and the blanks after it, and its line end; appends
// "<strName>=<strValue>" with the file's first line end ("\r\n" when it has none)
// when no line names it. True when the document changed.
bool SetCfgValue(CfgDocument& document, std::wstring_view strName, std::wstring_view strValue);
