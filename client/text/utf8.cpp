#include "client/text/utf8.h"

#include <array>

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

void AppendCodePoint(char32_t code, std::string* utf8)
{
    const auto byte = [utf8](char32_t bits) { utf8->push_back(static_cast<char>(bits)); };
    if (code < 0x80) {
        byte(code);
    } else if (code < 0x800) {
        byte(0xC0 | code >> 6);
        byte(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
        byte(0xE0 | code >> 12);
        byte(0x80 | (code >> 6 & 0x3F));
        byte(0x80 | (code & 0x3F));
    } else {
        byte(0xF0 | code >> 18);
        byte(0x80 | (code >> 12 & 0x3F));
        byte(0x80 | (code >> 6 & 0x3F));
        byte(0x80 | (code & 0x3F));
    }
}

constexpr bool IsLead(char16_t unit)
{
    return unit >= 0xD800 && unit < 0xDC00;
}

constexpr bool IsTrail(char16_t unit)
{
    return unit >= 0xDC00 && unit < 0xE000;
}

void AppendUnit(char32_t unit, std::string* bytes)
{
    *bytes += static_cast<char>(unit & 0xFF);
    *bytes += static_cast<char>(unit >> 8 & 0xFF);
}

}  // namespace

CodePoint DecodeUtf8(std::string_view utf8)
{
    const auto byte = [utf8](std::size_t at) {
        return at < utf8.size() ? static_cast<unsigned char>(utf8[at]) : 0u;
    };
    const unsigned lead = byte(0);
    if (lead < 0x80)
        return {lead, 1, true};
    const std::size_t bytes = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    char32_t code = lead & (0x7Fu >> bytes);
    for (std::size_t at = 1; at < bytes; ++at) {
        if ((byte(at) & 0xC0u) != 0x80)
            return {lead, 1, false};
        code = code << 6 | (byte(at) & 0x3Fu);
    }
    constexpr std::array<char32_t, 5> kLeast{0, 0, 0x80, 0x800, 0x10000};
    const bool isValid = lead >= 0xC0 && lead < 0xF8 && code >= kLeast[bytes] && code < 0x110000 &&
                         (code < 0xD800 || code > 0xDFFF);
    return isValid ? CodePoint{code, bytes, true} : CodePoint{lead, 1, false};
}

bool AppendUtf8(std::u16string_view text, std::string* utf8)
{
    bool replaced = false;
    for (std::size_t at = 0; at < text.size(); ++at) {
        char32_t code = text[at];
        if (code < 0x80) {
            utf8->push_back(static_cast<char>(code));
            continue;
        }
        if (IsLead(text[at]) && at + 1 < text.size() && IsTrail(text[at + 1])) {
            code = 0x10000 + ((code - 0xD800) << 10) + (text[++at] - 0xDC00u);
        } else if (IsLead(text[at]) || IsTrail(text[at])) {
            code = 0xFFFD;
            replaced = true;
        }
        AppendCodePoint(code, utf8);
    }
    return replaced;
}

void AppendUtf16(std::string_view utf8, std::string* bytes)
{
    while (!utf8.empty()) {
        const CodePoint point = DecodeUtf8(utf8);
        const char32_t code = point.isValid ? point.code : 0xFFFD;
        if (code >= 0x10000) {
            AppendUnit(0xD800 + ((code - 0x10000) >> 10), bytes);
            AppendUnit(0xDC00 + ((code - 0x10000) & 0x3FF), bytes);
        } else {
            AppendUnit(code, bytes);
        }
        utf8.remove_prefix(point.bytes);
    }
}

bool IsHidden(char32_t code)
{
    return Holds(kHidden, code);
}

std::filesystem::path PathFromUtf8(std::string_view path)
{
    return std::filesystem::path{std::u8string{path.begin(), path.end()}};
}

}  // namespace orrery
