#include "client/page/markup.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "client/text/utf8.h"

namespace orrery::page {
namespace {

std::string ControlName(char32_t code)
{
    std::array<char, 16> name{};
    std::snprintf(name.data(), name.size(), "[U+%04X]", static_cast<unsigned>(code));
    return name.data();
}

}  // namespace

CMarkup Text(std::string_view utf8)
{
    // Most texts are of letters and digits that mean nothing but themselves.
    const auto isPlain = [](char unit) {
        return unit >= ' ' && unit < '\x7F' && unit != '&' && unit != '<' && unit != '>' &&
               unit != '"' && unit != '\'';
    };
    CMarkup text;
    text.html_.reserve(utf8.size());
    for (;;) {
        const auto plain = static_cast<std::size_t>(
            std::find_if_not(utf8.begin(), utf8.end(), isPlain) - utf8.begin());
        text.html_ += utf8.substr(0, plain);
        utf8.remove_prefix(plain);
        if (utf8.empty())
            return text;
        const CodePoint character = DecodeUtf8(utf8);
        const bool isShown = !character.isValid || !IsHidden(character.code) ||
                             character.code == U'\t' || character.code == U'\n';
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
                text.html_ += isShown ? std::string{utf8.substr(0, character.bytes)}
                                      : ControlName(character.code);
        }
        utf8.remove_prefix(character.bytes);
    }
}

CMarkup Element(const char* tag, const char* classes, const CMarkup& content)
{
    CMarkup element;
    std::string& html = element.html_;
    const std::string_view name{tag}, names{classes};
    constexpr std::size_t kMarks = 16;
    html.reserve(2 * name.size() + names.size() + content.html_.size() + kMarks);
    html.append(1, '<').append(name);
    if (!names.empty())
        html.append(" class=\"").append(names).append(1, '"');
    html.append(1, '>').append(content.html_).append("</").append(name).append(1, '>');
    return element;
}

CMarkup Picture(const char* classes, std::string_view description, const CMarkup& content)
{
    CMarkup picture;
    picture.html_ = "<div class=\"" + std::string{classes} + "\" role=\"img\" aria-label=\"" +
                    Text(description).html_ + "\">" + content.html_ + "</div>";
    return picture;
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

CMarkup Link(std::string_view target, const CMarkup& content, std::string_view label)
{
    CMarkup link;
    link.html_ = "<a href=\"" + Text(target).html_ + '"';
    if (!label.empty())
        link.html_ += " aria-label=\"" + Text(label).html_ + '"';
    link.html_ += '>' + content.html_ + "</a>";
    return link;
}

}  // namespace orrery::page
