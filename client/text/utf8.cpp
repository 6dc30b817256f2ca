#include "client/text/utf8.h"

#include <array>
#include <iterator>
#include <system_error>

#include <utf8.h>
#include <utf8/unchecked.h>

#include "client/text/code_point_ranges.h"

namespace orrery {
namespace {

// C0 and C1 controls, marks and overrides of the direction, separators, and what has no width.
constexpr auto kHidden = std::to_array<CodePointRange>({
    {0x0000, 0x001F},
    {0x007F, 0x009F},
    {0x00AD, 0x00AD},
    {0x061C, 0x061C},
    {0x180E, 0x180E},
    {0x200B, 0x200C},
    {0x200E, 0x200F},
    {0x2028, 0x202E},
    {0x2060, 0x206F},
    {0xFEFF, 0xFEFF},
    {0xFFF9, 0xFFFB},
    {0xE0000, 0xE007F},
});
static_assert(IsAscending(kHidden));

constexpr std::u16string_view kReplacement = u"\uFFFD";

constexpr bool IsLead(char16_t unit)
{
    return unit >= 0xD800 && unit < 0xDC00;
}

constexpr bool IsTrail(char16_t unit)
{
    return unit >= 0xDC00 && unit < 0xE000;
}

/// Whether the unit at a place is half of a pair whose other half is not beside it.
bool IsLone(std::u16string_view text, std::size_t at)
{
    if (IsLead(text[at]))
        return at + 1 == text.size() || !IsTrail(text[at + 1]);
    return IsTrail(text[at]) && (at == 0 || !IsLead(text[at - 1]));
}

}  // namespace

CodePoint DecodeUtf8(std::string_view text)
{
    const auto lead = static_cast<unsigned char>(text.front());
    if (lead < 0x80)
        return {lead, 1, true};
    auto end = text.begin();
    try {
        const char32_t code = utf8::next(end, text.end());
        return {code, static_cast<std::size_t>(end - text.begin()), true};
    } catch (const utf8::exception&) {
        return {lead, 1, false};
    }
}

bool AppendUtf8(std::u16string_view text, std::string* utf8Text)
{
    bool replaced = false;
    const auto append = [utf8Text](std::u16string_view whole) {
        utf8::unchecked::utf16to8(whole.begin(), whole.end(), std::back_inserter(*utf8Text));
    };
    std::size_t start = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (!IsLone(text, at))
            continue;
        append(text.substr(start, at - start));
        append(kReplacement);
        start = at + 1;
        replaced = true;
    }
    append(text.substr(start));
    return replaced;
}

bool AppendUtf16(std::string_view text, std::string* bytes)
{
    std::u16string units;
    bool replaced = false;
    while (!text.empty()) {
        const CodePoint point = DecodeUtf8(text);
        const std::string_view whole = text.substr(0, point.bytes);
        if (point.isValid)
            utf8::unchecked::utf8to16(whole.begin(), whole.end(), std::back_inserter(units));
        else
            units += kReplacement;
        replaced = replaced || !point.isValid;
        text.remove_prefix(point.bytes);
    }
    for (const char16_t unit : units) {
        *bytes += static_cast<char>(unit & 0xFF);
        *bytes += static_cast<char>(unit >> 8);
    }
    return replaced;
}

bool IsHidden(char32_t code)
{
    return Holds(kHidden, code);
}

std::filesystem::path PathFromUtf8(std::string_view path)
{
    std::filesystem::path typed{std::u8string{path.begin(), path.end()}};
#ifdef _WIN32
    // The form of a path that the system takes at any length, with room for the name of another file
    // in the same folder.
    constexpr std::size_t kLongestPlain = 200;
    std::error_code error;
    // That form takes neither "/" nor "..".
    const std::wstring whole =
        std::filesystem::absolute(typed, error).lexically_normal().make_preferred().wstring();
    if (!error && whole.size() > kLongestPlain && !whole.starts_with(LR"(\\?\)") &&
        !whole.starts_with(LR"(\\.\)"))
        return whole.starts_with(LR"(\\)") ? LR"(\\?\UNC)" + whole.substr(1) : LR"(\\?\)" + whole;
#endif
    return typed;
}

}  // namespace orrery
