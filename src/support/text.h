#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace orrery {

/// Reads the integer at the start of a text: leading white space and a sign are allowed, reading
/// stops at the first character that is no digit, no digit gives 0. There is no overflow check: a
/// number that does not fit keeps its low 64 bits.
std::int64_t ParseInteger(std::wstring_view text) noexcept;

/// As ParseInteger, keeping the low 32 bits.
std::int32_t ParseInt32(std::wstring_view text) noexcept;

/// The text without the characters of code 32 or less at its two ends.
std::wstring_view TrimBlanks(std::wstring_view text) noexcept;

/// Whole mebibytes of a byte count, rounded down.
constexpr std::uint64_t ToMebibytes(std::uint64_t bytes) noexcept
{
    return bytes >> 20;
}

/// Compares without regard to case, by code unit and independent of the user's locale.
bool EqualsIgnoringCase(std::wstring_view left, std::wstring_view right) noexcept;

/// The text in lower case, by the system's rules.
std::wstring ToLower(std::wstring text);

/// The text that a field holds in the system's ANSI code page, up to its first zero; a field
/// without a zero is taken whole.
std::wstring FromAnsi(std::span<const char> field);

}  // namespace orrery
