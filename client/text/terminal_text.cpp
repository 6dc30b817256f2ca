#include "client/text/terminal_text.h"

#include <array>
#include <cmath>
#include <cstdio>

#include "client/text/code_point_ranges.h"
#include "client/text/utf8.h"

namespace orrery {
namespace {

// Source of the ranges: the Unicode character database, general categories Mn and Me, the scripts
// that names of devices and networks are likely to use.
constexpr auto kCombining = std::to_array<CodePointRange>({
    {0x0300, 0x036F},   {0x0483, 0x0489},   {0x0591, 0x05BD}, {0x05BF, 0x05BF}, {0x05C1, 0x05C2},
    {0x05C4, 0x05C5},   {0x05C7, 0x05C7},   {0x0610, 0x061A}, {0x064B, 0x065F}, {0x0670, 0x0670},
    {0x06D6, 0x06DC},   {0x06DF, 0x06E4},   {0x06E7, 0x06E8}, {0x06EA, 0x06ED}, {0x0900, 0x0902},
    {0x093A, 0x093A},   {0x093C, 0x093C},   {0x0941, 0x0948}, {0x094D, 0x094D}, {0x0E31, 0x0E31},
    {0x0E34, 0x0E3A},   {0x0E47, 0x0E4E},   {0x1AB0, 0x1ACE}, {0x1DC0, 0x1DFF}, {0x200D, 0x200D},
    {0x20D0, 0x20F0},   {0x302A, 0x302D},   {0x3099, 0x309A}, {0xFE00, 0xFE0F}, {0xFE20, 0xFE2F},
    {0x1F3FB, 0x1F3FF}, {0xE0100, 0xE01EF},
});
static_assert(IsAscending(kCombining));

// Source: EastAsianWidth.txt of the Unicode character database, values W and F, joined generously.
constexpr auto kWide = std::to_array<CodePointRange>({
    {0x1100, 0x115F},   {0x231A, 0x231B},   {0x2614, 0x2615},   {0x2E80, 0x303E},
    {0x3041, 0x4DBF},   {0x4E00, 0xA4CF},   {0xA960, 0xA97C},   {0xAC00, 0xD7A3},
    {0xF900, 0xFAFF},   {0xFE10, 0xFE19},   {0xFE30, 0xFE6B},   {0xFF01, 0xFF60},
    {0xFFE0, 0xFFE6},   {0x16FE0, 0x18AFF}, {0x1B000, 0x1B2FF}, {0x1F200, 0x1F265},
    {0x1F300, 0x1F320}, {0x1F32D, 0x1F393}, {0x1F3A0, 0x1F3F0}, {0x1F400, 0x1F64F},
    {0x1F680, 0x1F6FC}, {0x1F7E0, 0x1F7EB}, {0x1F90C, 0x1F9FF}, {0x1FA70, 0x1FAFF},
    {0x20000, 0x3FFFD},
});
static_assert(IsAscending(kWide));

std::size_t ColumnsOf(char32_t code)
{
    if (code < 0x300)
        return 1;
    return Holds(kCombining, code) ? 0 : Holds(kWide, code) ? 2 : 1;
}

std::string Escape(char32_t code, bool isByte)
{
    switch (code) {
        case U'\t':
            return "\\t";
        case U'\n':
            return "\\n";
        case U'\r':
            return "\\r";
        default:
            break;
    }
    std::array<char, 16> text{};
    const char* const format = isByte || code < 0x80 ? "\\x%02X"
                               : code < 0x10000      ? "\\u%04X"
                                                     : "\\U%08X";
    std::snprintf(text.data(), text.size(), format, static_cast<unsigned>(code));
    return text.data();
}

}  // namespace

std::string Escaped(std::string_view utf8, Charset charset)
{
    std::string text;
    text.reserve(utf8.size());
    while (!utf8.empty()) {
        const CodePoint point = DecodeUtf8(utf8);
        if (!point.isValid || IsHidden(point.code) ||
            (point.code > 0x7F && charset == Charset::kAscii))
            text += Escape(point.code, !point.isValid);
        else
            text += utf8.substr(0, point.bytes);
        utf8.remove_prefix(point.bytes);
    }
    return text;
}

std::string EscapedLines(std::string_view utf8, Charset charset)
{
    std::string text;
    while (!utf8.empty()) {
        const std::string_view line = utf8.substr(0, utf8.find('\n'));
        utf8.remove_prefix(line.size());
        const std::size_t endSize = utf8.empty() ? 0 : 1;
        const bool hasReturn = endSize != 0 && line.ends_with('\r');
        text += Escaped(line.substr(0, line.size() - (hasReturn ? 1 : 0)), charset);
        text += hasReturn ? "\r\n" : endSize != 0 ? "\n" : "";
        utf8.remove_prefix(endSize);
    }
    return text;
}

std::size_t Columns(std::string_view text)
{
    std::size_t columns = 0;
    while (!text.empty()) {
        const CodePoint point = DecodeUtf8(text);
        columns += ColumnsOf(point.code);
        text.remove_prefix(point.bytes);
    }
    return columns;
}

std::string Shortened(std::string_view text, std::size_t columns, Charset charset)
{
    if (Columns(text) <= columns)
        return std::string{text};
    const std::string_view ellipsis = charset == Charset::kUnicode ? "\u2026" : "...";
    std::size_t room = columns - Columns(ellipsis);
    std::size_t bytes = 0;
    while (true) {
        const CodePoint point = DecodeUtf8(text.substr(bytes));
        const std::size_t needed = ColumnsOf(point.code);
        if (needed > room)
            break;
        room -= needed;
        bytes += point.bytes;
    }
    return std::string{text.substr(0, bytes)}.append(ellipsis);
}

std::string Wrapped(std::string_view text, std::size_t indent, std::size_t columns)
{
    std::string lines(indent, ' ');
    std::size_t used = indent;
    for (bool isFirst = true; !text.empty(); isFirst = false) {
        const std::string_view word = text.substr(0, text.find(' '));
        text.remove_prefix(std::min(text.size(), word.size() + 1));
        const std::size_t width = Columns(word);
        if (!isFirst && used + 1 + width > columns) {
            lines.append(1, '\n').append(indent, ' ');
            used = indent;
        } else if (!isFirst) {
            lines += ' ';
            ++used;
        }
        lines += word;
        used += width;
    }
    return lines + '\n';
}

std::string BarText(double share, std::size_t columns, Charset charset)
{
    const bool isUnicode = charset == Charset::kUnicode;
    // In eighths of a column, for which there are characters.
    const std::size_t parts = isUnicode ? 8 : 1;
    auto size = static_cast<std::size_t>(std::lround(share * static_cast<double>(columns * parts)));
    if (share > 0)
        size = std::max<std::size_t>(size, 1);
    if (!isUnicode)
        return std::string(size, '#');
    constexpr std::array<const char*, 8> kEighths{"",       "\u258F", "\u258E", "\u258D",
                                                  "\u258C", "\u258B", "\u258A", "\u2589"};
    std::string bar;
    for (std::size_t full = size / 8; full > 0; --full)
        bar += "\u2588";
    return bar + kEighths[size % 8];
}

}  // namespace orrery
