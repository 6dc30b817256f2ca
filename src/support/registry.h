#pragma once

#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "support/unique.h"

namespace orrery {

/// Opens a registry key.
/// @return an owner that holds nothing when the key is missing or may not be opened
UniqueKey OpenKey(HKEY parent, const wchar_t* path, REGSAM access = KEY_READ) noexcept;

/// The names of a key's direct subkeys, in the registry's order.
std::vector<std::wstring> SubkeyNames(HKEY key);

/// Reads a 32-bit number from an open registry key.
/// @return the number; nothing when the value is missing or is not a REG_DWORD
std::optional<std::uint32_t> ReadDword(HKEY key, const wchar_t* name) noexcept;

/// Reads the first 32 bits of a value of any type, as readers do that do not ask for one.
/// @return the number; 0 when the value is missing, may not be read or is longer than 32 bits
std::uint32_t ReadNumber(HKEY key, const wchar_t* name) noexcept;

/// A registry value as it is stored.
struct RegistryValue {
    DWORD type = REG_NONE;
    std::vector<std::uint8_t> bytes;
};

/// Reads a value of any type and size.
/// @return nothing when the value is missing or may not be read
std::optional<RegistryValue> ReadValue(HKEY key, const wchar_t* name);

/// Whether values of a type hold text: REG_SZ, REG_EXPAND_SZ and REG_MULTI_SZ.
constexpr bool IsTextType(DWORD type) noexcept
{
    return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ;
}

/// Reads a text from an open registry key: REG_SZ, REG_EXPAND_SZ (not expanded) or the first text
/// of a REG_MULTI_SZ. A stored text need not be terminated.
/// @param maxCharacters what is longer is cut there
/// @return nothing when the value is missing or of another type
std::optional<std::wstring> ReadText(HKEY key, const wchar_t* name, std::size_t maxCharacters);

/// Reads a text as ReadText does, unless it is stored in more than a given number of bytes, its
/// terminator included.
/// @return nothing when the value is missing, of another type or too long
std::optional<std::wstring> ReadTextWithin(HKEY key, const wchar_t* name, std::size_t maxBytes);

/// The characters of raw registry bytes up to the first zero; an odd last byte is left out.
std::wstring TextOfBytes(const std::vector<std::uint8_t>& bytes);

}  // namespace orrery
