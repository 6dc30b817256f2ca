#include "client/page/blocks.h"

#include "client/report/machine.h"
#include "client/report/number.h"
#include "client/report/units.h"

namespace orrery::page {

std::string_view Value(const report::Instance& instance, std::string_view property) noexcept
{
    const std::string* const value = instance.Find(property);
    return value != nullptr ? std::string_view{*value} : std::string_view{};
}

std::string_view FirstValue(const report::Report& report, std::string_view section,
                            std::string_view property) noexcept
{
    const std::string* const value = report::FindFirst(report, section, property);
    return value != nullptr ? std::string_view{*value} : std::string_view{};
}

std::optional<std::int64_t> Number(const report::Instance& instance, std::string_view property)
{
    return report::ParseNumber(Value(instance, property));
}

std::string Readable(const report::Instance& instance, std::string_view section,
                     std::string_view property)
{
    return report::Readable(section, property, std::string{Value(instance, property)}).text;
}

const std::vector<report::Instance>& InstancesOf(const report::Report& report,
                                                 std::string_view section) noexcept
{
    static const std::vector<report::Instance> kNone;
    const report::Section* const found = report.Find(section);
    return found != nullptr ? found->instances : kNone;
}

std::string SizeText(std::int64_t mebibytes)
{
    return report::FormatMebibytes(static_cast<double>(mebibytes));
}

std::string Count(std::size_t number, const std::string& noun)
{
    return std::to_string(number) + ' ' + noun + (number == 1 ? "" : "s");
}

std::string Joined(const std::vector<std::string>& texts, const std::string& separator)
{
    std::string joined;
    for (const std::string& text : texts)
        if (!text.empty())
            joined += (joined.empty() ? "" : separator) + text;
    return joined;
}

CMarkup Chip(const char* kind, std::string_view text)
{
    const std::string classes = Joined({"chip", kind}, " ");
    return Element("span", classes.c_str(), Text(text));
}

CMarkup Definition(std::string_view term, std::string_view value)
{
    if (value.empty())
        return {};
    return Element("dt", "", Text(term)) + Element("dd", "", Text(value));
}

CMarkup Block(const char* heading, const CMarkup& content)
{
    if (content.empty())
        return {};
    return Element("section", "", Element("h2", "", Text(heading)) + content) + "\n";
}

}  // namespace orrery::page
