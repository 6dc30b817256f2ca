#include "client/page/markup.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>

namespace orrery::page {
namespace {

struct Decoded {
    std::uint32_t codePoint;
    std::size_t bytes;
};

/// The character that UTF-8 starts with, as far as escaping has to tell characters apart: anything
/// longer than three bytes is one byte of no meaning.
Decoded Decode(std::string_view utf8)
{
    const auto byte = [utf8](std::size_t at) {
        return static_cast<std::uint32_t>(static_cast<unsigned char>(utf8[at]));
    };
    const std::uint32_t lead = byte(0);
    if (lead >> 5 == 0x6 && utf8.size() >= 2)
        return {(lead & 0x1F) << 6 | (byte(1) & 0x3F), 2};
    if (lead >> 4 == 0xE && utf8.size() >= 3)
        return {(lead & 0x0F) << 12 | (byte(1) & 0x3F) << 6 | (byte(2) & 0x3F), 3};
    return {lead, 1};
}

/// Whether a character shows nothing itself but changes what others look like.
bool IsHiddenControl(Decoded character)
{
    const auto [code, bytes] = character;
    const auto isIn = [code](std::uint32_t first, std::uint32_t last) {
        return code >= first && code <= last;
    };
    if (bytes == 1)
        return code < 0x20 ? code != '\t' && code != '\n' : code == 0x7F;
    return isIn(0x80, 0x9F) || code == 0x061C || code == 0x200B || isIn(0x200E, 0x200F) ||
           isIn(0x2028, 0x202E) || isIn(0x2060, 0x2069) || code == 0xFEFF;
}

std::string ControlName(std::uint32_t code)
{
    std::array<char, 16> name{};
    std::snprintf(name.data(), name.size(), "[U+%04X]", code);
    return name.data();
}

}  // namespace

CMarkup Text(std::string_view utf8)
{
    CMarkup text;
    while (!utf8.empty()) {
        const Decoded character = Decode(utf8);
        switch (utf8.front()) {
            case '&':
                text.html_ += "&amp;";
                break;
            case '<':
                text.html_ += "&lt;";
                break;
            case '>':
                text.html_ += "&gt;";
                break;
            case '"':
                text.html_ += "&quot;";
                break;
            case '\'':
                text.html_ += "&#39;";
                break;
            default:
                text.html_ += IsHiddenControl(character)
                                  ? ControlName(character.codePoint)
                                  : std::string{utf8.substr(0, character.bytes)};
        }
        utf8.remove_prefix(character.bytes);
    }
    return text;
}

CMarkup Element(const char* tag, const char* classes, const CMarkup& content)
{
    CMarkup element;
    element.html_ = '<' + std::string{tag};
    if (*classes != '\0')
        element.html_ += " class=\"" + std::string{classes} + '"';
    element.html_ += '>' + content.html_ + "</" + tag + '>';
    return element;
}

CMarkup Bar(const char* classes, double share)
{
    std::array<char, 32> width{};
    std::snprintf(width.data(), width.size(), "%.2f%%", std::min(std::max(0.0, share), 1.0) * 100);
    CMarkup bar;
    bar.html_ =
        "<span class=\"" + std::string{classes} + "\" style=\"width:" + width.data() + "\"></span>";
    return bar;
}

}  // namespace orrery::page
