#pragma once

#include <array>
#include <stdexcept>
#include <string>

namespace orrery {

/// What orreryctl returns to its caller; scripts depend on the numbers.
enum class ExitCode : int {
    kDone = 0,
    kNo = 1,
    kInput = 2,
    kReport = 3,
    kLibrary = 4,
    kCancelled = 5,
    kTimeout = 6,
    kCrash = 7,
    kNotDelivered = 8,
    kUnexpected = 9,
};

struct ExitCodeMeaning {
    ExitCode code;
    const char* meaning;
};

/// The exit codes as the help text lists them.
inline constexpr auto kExitCodes = std::to_array<ExitCodeMeaning>({
    {ExitCode::kDone, "done"},
    {ExitCode::kNo, ""},  // each command has a "no" of its own
    {ExitCode::kInput, "wrong usage, or a path or report that cannot be used"},
    {ExitCode::kReport, "the report or text cannot be written"},
    {ExitCode::kLibrary, "orrery.dll cannot be used"},
    {ExitCode::kCancelled, "cancelled, no report was written"},
    {ExitCode::kTimeout, "the run took too long, no report was written"},
    {ExitCode::kCrash, "the run crashed, no report was written"},
    {ExitCode::kNotDelivered, "collected, not delivered; the report waits for the next run"},
    {ExitCode::kUnexpected, "an unexpected failure, such as too little memory"},
});

/// What kNo means for the commands that give it.
inline constexpr char kNoOfShow[] = "the report does not have such a section";
inline constexpr char kNoOfGet[] = "there is no such value";
inline constexpr char kNoOfDiff[] = "the reports differ";
inline constexpr char kNoOfCheck[] = "a report lacks categories";
inline constexpr char kNoOfCollect[] = "cancelled, the report lacks categories";
inline constexpr char kNoOfLoad[] = "a report was refused, or PCs are hard to tell apart";
inline constexpr char kNoOfExport[] = "a report was refused";
inline constexpr char kNoOfDoctor[] = "something is missing";

/// Ends a command: the message says what went wrong, where, and what to do about it.
class CommandError : public std::runtime_error {
public:
    CommandError(ExitCode code, const std::string& message)
        : std::runtime_error(message), code_(code)
    {}
    ExitCode code() const noexcept { return code_; }

private:
    ExitCode code_;
};

}  // namespace orrery
