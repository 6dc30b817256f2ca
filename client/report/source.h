#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace orrery::report {

/// Where a report came from, and how what is made of it was made.
struct Source {
    std::string name;  ///< the report as the output calls it
    std::optional<std::int64_t>
        fileTime;  ///< when the file was last written, in seconds since 1970
    bool isRedacted = false;
    std::string clientVersion;
};

/// When a file was last written, in seconds since 1970.
/// @return nothing for what is no ordinary file
std::optional<std::int64_t> FileTime(const std::filesystem::path& path);

}  // namespace orrery::report
