#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace orrery {

/// One row of a table that names the values of a code.
struct CodeName {
    std::int32_t code;
    std::wstring_view name;
};

/// Whether a table's codes rise strictly, which the look-up relies on.
constexpr bool IsAscending(std::span<const CodeName> table) noexcept
{
    for (std::size_t at = 1; at < table.size(); ++at)
        if (table[at - 1].code >= table[at].code)
            return false;
    return true;
}

/// Finds a code's name in an ascending table.
/// @return the name, or `other` for a code that has no row
constexpr std::wstring_view NameOf(std::span<const CodeName> table, std::int32_t code,
                                   std::wstring_view other) noexcept
{
    const auto row = std::lower_bound(
        table.begin(), table.end(), code,
        [](const CodeName& candidate, std::int32_t wanted) { return candidate.code < wanted; });
    return row != table.end() && row->code == code ? row->name : other;
}

}  // namespace orrery
