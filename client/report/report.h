#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "client/report/completeness.h"

namespace orrery::report {

/// A fact of one instance. Texts are UTF-8; what UTF-16 cannot spell is U+FFFD.
struct Property {
    std::string name;
    std::string value;
};

/// One instance of a section, such as one disk; its properties in the report's order.
struct Instance {
    std::int32_t index = 0;
    std::vector<Property> properties;

    /// The value of a property, by its exact name.
    /// @return null when the report has no such property, as opposed to an empty value
    const std::string* Find(std::string_view name) const noexcept;
};

/// A section with its instances by ascending index.
struct Section {
    std::string name;
    std::vector<Instance> instances;
};

/// Something in a report that is not as the library writes it, or that could not be kept as it was.
struct Warning {
    std::uint64_t line;  ///< from 1; 0 for the report as a whole
    std::string text;
};

/// A report as far as it was kept.
struct Report {
    /// In the order in which the report first names them, without the elapsed times.
    std::vector<Section> sections;
    /// The values of the "ET" lines, in the report's order.
    std::vector<std::string> elapsedTimes;
    std::vector<Warning> warnings;
    Completeness completeness;

    const Section* Find(std::string_view name) const noexcept;
};

/// Whether a section or property comes before another one in a report. The library orders its keys as
/// text, each part with the mark that ends it: "PhysicalMemoryLocation\" is before "PhysicalMemory\".
bool ComesFirst(std::string_view name, std::string_view other) noexcept;

/// Tells which facts of a report to keep, by section and property.
using FactFilter = std::function<bool(std::string_view section, std::string_view property)>;

/// Reads a report file.
/// @param isKept says which facts to keep; all when empty. A section without any still has its name
///               in the report. Of facts that are left out there are no warnings about their texts.
/// @throws CommandError (kInput) for a file that cannot be read or is no report at all
Report ReadReport(const std::filesystem::path& path, const FactFilter& isKept = {});

}  // namespace orrery::report
