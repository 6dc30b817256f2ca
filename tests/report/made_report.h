#pragma once

#include <string>
#include <string_view>

#include "client/report/report.h"

namespace orrery {

/// The lines of a report, with "|" for tabs, as a file holds them: in UTF-16LE.
std::string ReportBytes(std::string lines);

/// A report made of "section/index/property/value/property/value" lines, each ended by a line feed.
report::Report MadeReport(const std::string& facts);

/// The facts of a report as MadeReport takes them, a line for each instance and elapsed time.
std::string FactsOf(const report::Report& report);

/// All that one of the writers hands to its sink, which is its last argument.
template <class Writer, class... Arguments>
std::string Written(Writer write, const Arguments&... arguments)
{
    std::string text;
    write(arguments..., [&text](std::string_view part) { text += part; });
    return text;
}

}  // namespace orrery
