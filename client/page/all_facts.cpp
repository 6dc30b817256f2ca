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

/// Begins a section, which its rows and its end have to follow.
void WriteSectionStart(std::string_view name, std::size_t count, const TextSink& sink)
{
    sink("<details class=\"card\">");
    sink(Element(
             "summary", "",
             Element("b", "", Text(name)) + Element("span", "muted", Text(Counted(count, "fact"))))
             .html());
    sink(
        "<table><thead><tr><th scope=\"col\">Index</th><th scope=\"col\">Property</th>"
        "<th scope=\"col\">Value</th></tr></thead><tbody>");
}

constexpr std::string_view kSectionEnd = "</tbody></table></details>\n";

std::size_t CountFacts(const report::Section& section)
{
    std::size_t count = 0;
    for (const report::Instance& instance : section.instances)
        count += instance.properties.size();
    return count;
}

}  // namespace

void WriteAllFacts(const report::Report& report, const TextSink& sink)
{
    if (report.sections.empty() && report.elapsedTimes.empty())
        return;
    sink("<section class=\"all\"><h2>All facts</h2>");
    for (const report::Section& section : report.sections) {
        WriteSectionStart(section.name, CountFacts(section), sink);
        for (const report::Instance& instance : section.instances)
            for (const auto& [property, value] : instance.properties)
                sink(FactRow(std::to_string(instance.index), property, value).html());
        sink(kSectionEnd);
    }
    if (const auto& times = report.elapsedTimes; !times.empty()) {
        WriteSectionStart("ET", times.size(), sink);
        for (std::size_t at = 0; at < times.size(); ++at)
            sink(
                FactRow(std::to_string(at), report::ElapsedCategory(report, at), times[at]).html());
        sink(kSectionEnd);
    }
    sink("</section>\n");
}

}  // namespace orrery::page
