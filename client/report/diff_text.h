#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "client/report/diff.h"
#include "client/text/terminal_text.h"

namespace orrery::report {

/// The two reports as messages call them, in UTF-8.
struct DiffNames {
    std::string before, after;
};

/// How complete the two reports are.
struct DiffStates {
    Completeness before, after;

    /// Whether both end alike, so that reports without differences are the same.
    bool areAlike() const noexcept { return before.IsCutLike(after); }
};

/// The differences for people: by section, with what was added (+), removed (-) and changed (~).
/// Values
/// are in their units. What a terminal would act on is shown instead.
/// @param columns width that a line with both values should keep to; 0 for any
std::string FormatDiff(const std::vector<SectionChange>& changes, const DiffNames& names,
                       int columns, Charset charset);

/// How many things differ: "3 changed, 1 added, 1 not collected", the last of which are sections.
/// @return empty for none
std::string CountOfChanges(const std::vector<SectionChange>& changes);

/// The differences for programs, as a JSON object with a format version; ends with a line feed.
std::string FormatDiffJson(const std::vector<SectionChange>& changes, const DiffNames& names,
                           bool withPassing, const DiffStates& states = {});

}  // namespace orrery::report
