#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

namespace orrery {

struct CodePoint {
    char32_t code = 0;      ///< the byte itself where there is no UTF-8
    std::size_t bytes = 1;  ///< that it takes
    bool isValid = false;
};

/// The code point at the start of a text that is not empty.
CodePoint DecodeUtf8(std::string_view utf8);

/// Appends the text as UTF-8.
/// @return whether halves of surrogate pairs had to be replaced by U+FFFD
bool AppendUtf8(std::u16string_view text, std::string* utf8);

/// Appends the text as the bytes of UTF-16LE.
/// @return whether bytes that are no UTF-8 had to be replaced by U+FFFD
bool AppendUtf16(std::string_view utf8, std::string* bytes);

/// Whether a character shows nothing itself but has a terminal or a page act: controls, marks that
/// turn the direction of the text, separators and what has no width.
bool IsHidden(char32_t code);

/// A path as the command line gives it. On Windows it may be of any length.
std::filesystem::path PathFromUtf8(std::string_view path);

}  // namespace orrery
