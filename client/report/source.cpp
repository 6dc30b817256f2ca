#include "client/report/source.h"

#include <chrono>
#include <system_error>

namespace orrery::report {
namespace {

/// By whichever of the two ways the standard library has.
template <class Clock, class Duration>
auto OnSystemClock(std::chrono::time_point<Clock, Duration> time)
{
    if constexpr (requires { Clock::to_sys(time); }) {
        return Clock::to_sys(time);
    } else {
        const auto utc = Clock::to_utc(time);
        return decltype(utc)::clock::to_sys(utc);
    }
}

}  // namespace

std::optional<std::int64_t> FileTime(const std::filesystem::path& path)
{
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error))
        return std::nullopt;
    const auto time = std::filesystem::last_write_time(path, error);
    if (error)
        return std::nullopt;
    const auto seconds = std::chrono::floor<std::chrono::seconds>(OnSystemClock(time));
    return seconds.time_since_epoch().count();
}

}  // namespace orrery::report
