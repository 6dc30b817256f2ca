#include "client/page/blocks.h"

#include "client/report/profile.h"
#include "client/report/units.h"

namespace orrery::page {

std::string ReadableNumber(std::string_view section, std::string_view property,
                           std::optional<std::int64_t> number)
{
    return number ? report::Readable(section, property, std::to_string(*number)).text
                  : std::string{};
}

std::string SpeedText(const report::Instance& adapter)
{
    return ReadableNumber("NetworkAdapter", "Speed", report::SpeedOf(adapter));
}

std::string SizeText(std::int64_t mebibytes)
{
    return report::FormatMebibytes(static_cast<double>(mebibytes));
}

std::string Listed(const std::vector<std::string>& texts)
{
    return Joined(texts, " \u00B7 ");
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
