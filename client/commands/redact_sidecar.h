#pragma once

#include <optional>
#include <string>

#include "client/report/report.h"
#include "client/report/sidecar.h"

namespace orrery {

/// Gives the redacted copy of a report a sidecar where the report has one, and else lets none of an
/// earlier report stand beside it.
class CSidecarCopy {
public:
    /// @param input, output the reports, as the command line names them
    /// @throws CommandError (kInput) where the copy's sidecar would take the place of another file
    CSidecarCopy(const std::string& input, const std::string& output);

    /// Writes it, with placeholders for the name, the UUID and the installation.
    /// @param redacted the report, in which the computer's placeholder stands
    /// @throws CommandError as WriteOutputFile
    void Write(const report::Report& redacted);

private:
    std::optional<report::Sidecar> sidecar_;
    std::string output_;
    bool isStale_ = false;
};

}  // namespace orrery
