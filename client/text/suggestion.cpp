#include "client/text/suggestion.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "client/text/fold_case.h"

namespace orrery {
namespace {

/// How many letters have to be put in, left out, replaced or swapped to make one word the other.
std::size_t Distance(std::string_view from, std::string_view to)
{
    std::vector<std::size_t> beforeLast, last, row(to.size() + 1);
    for (std::size_t at = 0; at <= to.size(); ++at)
        row[at] = at;
    for (std::size_t left = 1; left <= from.size(); ++left) {
        beforeLast = std::exchange(last, row);
        row[0] = left;
        for (std::size_t at = 1; at <= to.size(); ++at) {
            const bool isEqual = from[left - 1] == to[at - 1];
            row[at] = std::min({last[at] + 1, row[at - 1] + 1, last[at - 1] + (isEqual ? 0 : 1)});
            if (left > 1 && at > 1 && from[left - 1] == to[at - 2] && from[left - 2] == to[at - 1])
                row[at] = std::min(row[at], beforeLast[at - 2] + 1);
        }
    }
    return row.back();
}

}  // namespace

std::string Suggestion(std::string_view word, const std::vector<std::string>& known)
{
    constexpr std::size_t kLongestWord = 64;
    const std::string* nearest = nullptr;
    std::size_t least = word.size() < 6 ? 2 : 3;
    for (const std::string& candidate : known) {
        if (word.size() > kLongestWord || candidate.size() > kLongestWord)
            continue;
        const std::string folded = FoldCase(word), other = FoldCase(candidate);
        // The start of a longer word is as near as a slip.
        const std::size_t distance =
            folded.size() >= 3 && other.starts_with(folded) ? 1 : Distance(folded, other);
        if (distance <= least && distance < std::max(word.size(), candidate.size()))
            if (nearest == nullptr || distance < least) {
                nearest = &candidate;
                least = distance;
            }
    }
    return nearest != nullptr ? "; did you mean \"" + *nearest + "\"?" : std::string{};
}

}  // namespace orrery
