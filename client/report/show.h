#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "client/report/report.h"
#include "client/text/terminal_text.h"
#include "client/text/text_sink.h"

namespace orrery::report {

struct ShowStyle {
    std::size_t columns = 120;          ///< that a line may take
    bool shorten = false;               ///< cut values that do not fit, instead of longer lines
    bool colours = false;               ///< terminal sequences for headings and the like
    Charset charset = Charset::kAscii;  ///< for bars and ellipses; what values may hold
    Charset values = Charset::kUnicode;
    bool explain = false;  ///< say why values look odd that do
};

/// A heading with a faint note behind it, as a line.
std::string FormatHeading(const std::string& name, const std::string& note, const ShowStyle& style);

/// Which parts of a report to show.
struct Selection {
    std::vector<const Section*> sections;
    bool elapsedTimes = false;
    std::vector<std::string> missing{};  ///< sections that other reports have
};

/// What keeps the facts that are needed to show some sections of a report.
/// @param names as for SelectSections
/// @param withSecrets whether to keep what Redact has to know of the other sections
FactFilter KeepSelected(const std::vector<std::string>& names, bool withSecrets);

/// Finds sections by name; "ET" stands for the elapsed times.
/// @param names of any letter case; none: everything
/// @throws CommandError (kInput) for a name that no report has, with the sections of this one
Selection SelectSections(const Report& report, const std::vector<std::string>& names);

/// Writes the selected parts as tables for people. A section with one instance has a row for each property,
/// others have a row for each instance, or one block after another where the rows would be too wide.
/// Empty values are "-"; where an instance lacks a property, there is nothing. Many empty values of an
/// instance, and columns without any value, are only named.
void WriteTables(const Report& report, const Selection& selection, const ShowStyle& style,
                 const TextSink& sink);

/// Writes a section of no more than 30 properties as a table with a row for each instance, whatever its
/// width: on a terminal in parts, with values shortened, and else on lines as long as they come.
void WriteRows(const Section& section, const ShowStyle& style, const TextSink& sink);

}  // namespace orrery::report
