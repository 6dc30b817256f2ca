#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "client/report/report.h"

namespace orrery::report {

/// A property that differs; nothing on the side whose report has no such line.
struct PropertyChange {
    std::string name;
    std::optional<std::string> before, after;
};

/// An instance that differs. An index is missing on the side that does not have the instance.
struct InstanceChange {
    std::string label;  ///< what a person would call it, such as "C:" or a drive's caption
    std::optional<std::int32_t> before, after;
    std::vector<PropertyChange> properties;  ///< all non-empty ones of an instance added or removed

    bool isAdded() const noexcept { return !before; }
    bool isRemoved() const noexcept { return !after; }
};

enum class SectionState {
    kChanged,
    kOnlyBefore,  ///< the later report does not have the section at all: it was not collected
    kOnlyAfter,
};

struct SectionChange {
    std::string name;
    SectionState state = SectionState::kChanged;
    std::vector<InstanceChange> instances;  ///< none unless the state is kChanged
};

/// The instances of one section that are the same thing in both reports, or stand alone in one.
using InstancePair = std::pair<const Instance*, const Instance*>;

/// Finds out which instances are the same thing, whatever their indexes: by what identifies those of
/// the section, strongest first, in any letter case. Instances that nothing tells apart are paired in
/// their order, and those without any identity with what is left over.
/// @return pairs in the order of `before`, then the instances of `after` that stand alone, with null
///         in place of what is missing
std::vector<InstancePair> MatchInstances(const Section& before, const Section& after);

/// What is different in the machine, by section. Times, leases, free space and the processor's clock
/// differ between any two reports; they are left out unless `withPassing` is set.
/// What one report may only lack because it is cut before it is left out as well.
/// @return no sections when nothing differs
std::vector<SectionChange> CompareReports(const Report& before, const Report& after,
                                          bool withPassing);

}  // namespace orrery::report
