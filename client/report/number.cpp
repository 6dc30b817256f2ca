#include "client/report/number.h"

#include <charconv>

namespace orrery::report {

std::optional<std::int64_t> ParseNumber(std::string_view text) noexcept
{
    std::int64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc{} || stop != end)
        return std::nullopt;
    return number;
}

}  // namespace orrery::report
