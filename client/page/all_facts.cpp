#include "client/page/blocks.h"
#include "client/report/machine.h"

namespace orrery::page {
namespace {

CMarkup Cell(const CMarkup& content)
{
    return Element("td", "", content);
}

CMarkup FactRow(std::string_view index, std::string_view property, std::string_view value)
{
    return Element("tr", "",
                   Cell(Text(index)) + Cell(Text(property)) +
                       Cell(value.empty() ? CMarkup{"<i>empty</i>"} : Text(value))) +
           "\n";
}

CMarkup SectionFacts(std::string_view name, std::size_t count, const CMarkup& rows)
{
    const CMarkup title = Element(
        "summary", "",
        Element("b", "", Text(name)) + Element("span", "muted", Text(Count(count, "fact"))));
    const CMarkup head = "<thead><tr><th>Index</th><th>Property</th><th>Value</th></tr></thead>";
    return Element("details", "card",
                   title + Element("table", "", head + Element("tbody", "", rows))) +
           "\n";
}

}  // namespace

CMarkup AllFactsBlock(const report::Report& report)
{
    CMarkup sections;
    for (const report::Section& section : report.sections) {
        CMarkup rows;
        std::size_t count = 0;
        for (const report::Instance& instance : section.instances)
            for (const auto& [property, value] : instance.properties) {
                rows += FactRow(std::to_string(instance.index), property, value);
                ++count;
            }
        sections += SectionFacts(section.name, count, rows);
    }
    CMarkup times;
    for (std::size_t at = 0; at < report.elapsedTimes.size(); ++at)
        times += FactRow(std::to_string(at), report::ElapsedCategory(report, at),
                         report.elapsedTimes[at]);
    if (!times.empty())
        sections += SectionFacts("ET", report.elapsedTimes.size(), times);
    return Block("All facts", sections);
}

}  // namespace orrery::page
