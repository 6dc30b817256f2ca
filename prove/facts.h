#pragma once

#include <array>
#include <map>
#include <string>

#include "prove/faults.h"

namespace orrery::prove {

/// The facts of a report, by the category that tells them.
struct Facts {
    using Values = std::map<std::u16string, std::u16string>;

    std::array<Values, kCallers> byCaller;  ///< those of the run itself belong to no category
    int elapsedTimes = 0;
    int result = 0;         ///< of the run
    std::string flaws;      ///< what is not as the library writes reports; empty when all is well
    std::string leftovers;  ///< what the run left behind, likewise
};

/// Takes a report apart.
Facts FactsOf(const std::wstring& report);

/// What differs from the facts of a category, in words.
std::string Differences(const Facts& expected, const Facts& got, int caller);

}  // namespace orrery::prove
