#pragma once

#include <algorithm>
#include <array>
#include <cstddef>

namespace orrery {

struct CodePointRange {
    char32_t first, last;
};

template <std::size_t Size>
constexpr bool IsAscending(const std::array<CodePointRange, Size>& ranges)
{
    for (std::size_t at = 1; at < Size; ++at)
        if (ranges[at - 1].last >= ranges[at].first)
            return false;
    return true;
}

/// Whether one of the ascending ranges has the code point.
template <std::size_t Size>
bool Holds(const std::array<CodePointRange, Size>& ranges, char32_t code)
{
    const auto range = std::lower_bound(
        ranges.begin(), ranges.end(), code,
        [](const CodePointRange& each, char32_t value) { return each.last < value; });
    return range != ranges.end() && range->first <= code;
}

}  // namespace orrery
