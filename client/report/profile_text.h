#pragma once

#include <string>
#include <vector>

#include "client/report/report.h"
#include "client/report/show.h"
#include "client/text/text_sink.h"

namespace orrery::report {

struct NamedReport {
    std::string path;  ///< as messages call it
    Report report;
};

/// What PCs are, for people. One has a screen to itself, with a line for each thing and a bar for each
/// volume; of several each has a row of a table. What a report does not tell is left out.
void WriteProfiles(const std::vector<NamedReport>& reports, const ShowStyle& style,
                   const TextSink& sink);

/// The same for programs, as a JSON object with a format version; ends with a line feed.
std::string FormatProfilesJson(const std::vector<NamedReport>& reports);

}  // namespace orrery::report
