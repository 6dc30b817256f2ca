#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace orrery {

/// The text as a report file holds it: UTF-16LE.
inline std::string Bytes(std::u16string_view text)
{
    std::string bytes;
    for (const char16_t unit : text) {
        bytes += static_cast<char>(unit & 0xFF);
        bytes += static_cast<char>(unit >> 8);
    }
    return bytes;
}

inline std::u16string Wide(std::string_view ascii)
{
    return {ascii.begin(), ascii.end()};
}

/// The text with "?" for what is not ASCII.
inline std::string Ascii(std::u16string_view text)
{
    std::string ascii;
    for (const char16_t unit : text)
        ascii += unit < 0x80 ? static_cast<char>(unit) : '?';
    return ascii;
}

/// The start of a line, filled with "x" up to a number of code units.
inline std::u16string Filled(std::u16string_view start, std::size_t units)
{
    return std::u16string{start}.append(units - start.size(), u'x');
}

}  // namespace orrery
