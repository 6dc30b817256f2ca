#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace orrery::report {

/// What a report does not tell about the run that made it. It stands beside the report, as NAME.json
/// beside NAME.tsv. Texts are empty where something could not be found out.
struct Sidecar {
    std::int64_t collected = 0;   ///< seconds since 1970, UTC
    std::string client, library;  ///< versions
    std::string rights;           ///< "LocalSystem", "administrator" or "user"
    std::string completeness;     ///< "whole" or "lacks categories"
    std::string computerName;
    std::string uuid;  ///< of SMBIOS, as Windows' own tools print it
    /// SHA-256 of the installation's MachineGuid, in hexadecimal digits: tells installations apart and
    /// nobody what the value is.
    std::string installation;
};

/// The file's text.
std::string FormatSidecar(const Sidecar& sidecar);

/// @return nothing for what is no such file
std::optional<Sidecar> ParseSidecar(std::string_view text);

/// @return nothing for what is no such file or cannot be read
std::optional<Sidecar> ReadSidecar(const std::filesystem::path& path);

}  // namespace orrery::report
