#include "client/page/page.h"

#include "client/page/blocks.h"
#include "client/page/markup.h"
#include "client/report/machine.h"
#include "page_style.h"

namespace orrery::page {
namespace {

constexpr const char kHead[] =
    "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
    "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
    "style-src 'unsafe-inline'; base-uri 'none'; form-action 'none'\">\n"
    "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
    "<meta name=\"color-scheme\" content=\"light dark\">\n"
    "<meta name=\"referrer\" content=\"no-referrer\">\n";

CMarkup Warnings(const report::Report& report)
{
    CMarkup items;
    if (const std::string text = Describe(report.completeness); !text.empty())
        items += Element("li", "", Text(text));
    for (const report::Warning& warning : report.warnings)
        items += Element("li", "",
                         Text((warning.line == 0 ? std::string{}
                                                 : "Line " + std::to_string(warning.line) + ": ") +
                              warning.text));
    if (items.empty())
        return {};
    const bool isOdd = report.completeness.isCut() || !report.warnings.empty();
    const CMarkup heading = isOdd ? CMarkup{"The report is not as it was written"}
                                  : CMarkup{"The report is not that of a whole run"};
    return Element("aside", "card", Element("b", "", heading) + Element("ul", "", items)) + "\n";
}

CMarkup Header(const report::Report& report, std::string_view machine)
{
    const auto value = [&report](std::string_view section, std::string_view property) {
        return std::string{FirstValue(report, section, property)};
    };
    const std::string model = Joined({value("BIOS", "SystemMan"), value("BIOS", "SystemMod")}, " ");
    const std::string user = value("OperatingSystem", "LoggedOnUser");
    const std::string line = Listed(
        {model, value("SystemEnclosure", "ChassisTypes"), user.empty() ? "" : "used by " + user});
    return Element("header", "",
                   Element("p", "label", "Inventory report") + Element("h1", "", Text(machine)) +
                       Element("p", "muted", Text(line))) +
           "\n";
}

}  // namespace
}  // namespace orrery::page

namespace orrery::report {

void WriteHtml(const Report& report, const TextSink& sink)
{
    using namespace page;
    const std::string* const name = MachineName(report);
    const std::string machine = name != nullptr ? *name : "Computer without a name";
    sink(kHead);
    sink(Element("title", "", Text(machine) + " \u00B7 inventory report").html());
    sink("\n<style>\n");
    sink(kStyle);
    sink("</style>\n</head>\n<body>\n<main>\n");
    sink(Header(report, machine).html());
    for (const auto& part : {&Warnings, &SummaryCards, &StorageBlock, &MemoryBlock, &NetworkBlock,
                             &DetailsBlock, &ElapsedBlock})
        sink(part(report).html());
    WriteAllFacts(report, sink);
    sink("</main>\n</body>\n</html>\n");
}

}  // namespace orrery::report
