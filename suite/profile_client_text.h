// Pure list logic of the performance-profile client: the system's pending-rename
// list as REG_MULTI_SZ data, the removal of the operations an earlier uninstall
// queued on the client's folder, and who owns the client's installation.
// No <windows.h>.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The strings of REG_MULTI_SZ data (UTF-16, little-endian): every string ended by
// a NUL, then one more NUL that ends the list. Empty strings inside the list are
// strings of their own (the pending-rename list marks a deletion with an empty
// destination). Damaged data reads as far as it goes: an odd last byte is
// ignored, a last string without its NUL is kept, a missing list terminator is
// not needed.
std::vector<std::wstring> SplitMultiString(const unsigned char* pbData, std::size_t cbData);

// The REG_MULTI_SZ data for vecStrings: each string and its NUL, then the NUL
// that ends the list (a single NUL for an empty list).
std::vector<unsigned char> JoinMultiString(const std::vector<std::wstring>& vecStrings);

// Drops, one string at a time, every empty string and every string that
// contains "\Performance Profile Client" (case matters), keeping the others in
// order. The partner of a dropped string is judged by itself, so a source and
// its destination can part. Returns true when anything was dropped.
bool DropClientOperations(std::vector<std::wstring>& vecOperations);

// The new pending-rename data for cbData bytes at pbData, or nullopt when the
// list has nothing to drop and must stay as it is.
std::optional<std::vector<unsigned char>> CleanPendingRenames(const unsigned char* pbData,
                                                              std::size_t cbData);

// What the package learns about the client's installation.
struct ClientFacts {
    bool fLaunchedFromClient = false;      // LAUNCHED_FROM_CLIENT is set
    bool fRemoving = false;                // REMOVE is set
    std::wstring strClient;                // HKCU "SOFTWARE\QUEP" "QUEPClient"
    std::optional<unsigned long> dwStatus; // HKCU "SOFTWARE\QUEP" "QUEPStatus" (REG_DWORD)
    bool fSuiteInstalled = false;          // "ProductVersion" under the suite's "Install\PPC" key
};

// "Client" when another client owns the installation, else "Suite": the client
// launched this package; or a client is registered and active (QUEPStatus 1)
// and either this package is being removed (the client still needs it) or the
// suite never installed the client (its files are the client's).
const wchar_t* DecideClientOwner(const ClientFacts& facts);
