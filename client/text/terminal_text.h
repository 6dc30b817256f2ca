#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace orrery {

/// What a terminal can be sent besides ASCII.
enum class Charset { kAscii, kUnicode };

/// The text with escapes such as \n or \u202E for everything that a terminal would act on instead of
/// showing it: control characters and marks that turn the direction of the text.
/// @param utf8 bytes that are no UTF-8 are escaped, too
std::string Escaped(std::string_view utf8, Charset charset);

/// The same for text of several lines, whose ends stay.
std::string EscapedLines(std::string_view utf8, Charset charset);

/// How many columns of a terminal a text takes, in UTF-8 and escaped.
std::size_t Columns(std::string_view text);

/// The text, shortened with an ellipsis to what fits in.
/// @param columns at least 3
std::string Shortened(std::string_view text, std::size_t columns, Charset charset);

/// The text in lines that are broken between words and indented, the last one ended as well. A word
/// that does not fit in is left whole.
/// @param text    escaped; its words are separated by one blank
/// @param columns that a line takes with its indentation
std::string Wrapped(std::string_view text, std::size_t indent, std::size_t columns);

/// A bar as long as a share of the columns; whatever is more than nothing shows.
/// @param share 0 to 1
std::string BarText(double share, std::size_t columns, Charset charset);

}  // namespace orrery
