#pragma once

#include <string>
#include <string_view>

namespace orrery::page {

/// HTML of ours, kept apart from texts by its type: what comes from a report only gets in through
/// `Text`, which escapes it.
class CMarkup {
public:
    CMarkup() = default;
    /// Markup that stands in the program itself.
    template <std::size_t size>
    CMarkup(const char (&literal)[size]) : html_(literal, size - 1)
    {}

    bool empty() const noexcept { return html_.empty(); }
    const std::string& html() const noexcept { return html_; }
    CMarkup& operator+=(const CMarkup& other)
    {
        html_ += other.html_;
        return *this;
    }
    friend CMarkup operator+(CMarkup first, const CMarkup& second)
    {
        first += second;
        return first;
    }

private:
    friend CMarkup Text(std::string_view utf8);
    friend CMarkup Element(const char* tag, const char* classes, const CMarkup& content);
    friend CMarkup Picture(const char* classes, std::string_view description,
                           const CMarkup& content);
    friend CMarkup Bar(const char* classes, double share);
    friend CMarkup Link(std::string_view target, const CMarkup& content, std::string_view label);

    std::string html_;
};

/// A text, safe in an element's content and in a quoted attribute. Tabs and line feeds are kept;
/// other control characters and those that turn the direction of writing show by their number, such as
/// "[U+001B]".
CMarkup Text(std::string_view utf8);

/// An element with its content; `classes` may be empty.
CMarkup Element(const char* tag, const char* classes, const CMarkup& content);

/// An element that shows something without words, and the words for whoever does not see it.
CMarkup Picture(const char* classes, std::string_view description, const CMarkup& content);

/// An empty box as wide as its share, from 0 to 1, of what it is in; other numbers count as the nearer
/// of the two.
CMarkup Bar(const char* classes, double share);

/// What leads to another place, such as "#all" or "pc/1.html".
/// @param label  says where for whoever hears it alone, where the content does not
CMarkup Link(std::string_view target, const CMarkup& content, std::string_view label = {});

}  // namespace orrery::page
