#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "client/report/parser.h"
#include "client/report/vocabulary.h"

namespace orrery::report {

/// How much of what a run finds out a report holds.
struct Completeness {
    enum class State {
        kWhole,
        kLacksCategories,  ///< the run was cancelled in time; what it did collect is there
        kCut,              ///< it does not end as a run ends a report, so facts are missing
    };

    State state = State::kWhole;
    // Of a report that lacks categories.
    std::size_t missing = 0;                ///< how many it lacks
    std::vector<std::string_view> lacking;  ///< those it lacks for sure
    std::vector<std::string_view> perhaps;  ///< the others are among these, which may tell nothing
    // Of a report that is cut: its last fact, or the part of one.
    std::string section, property, index;
    bool isWithinLine = false;  ///< the cut is in the line of that fact
    bool endsLine = true;       ///< the report ends with a line feed

    bool isCut() const noexcept { return state == State::kCut; }
    /// Whether both reports tell everything as far as the other one does.
    bool IsCutLike(const Completeness& other) const noexcept;
    /// Whether a fact lies where a cut report has none or only a part of one.
    bool IsBeyond(std::string_view factSection, std::string_view factProperty,
                  std::string_view factIndex) const noexcept;
};

/// Finds out how complete a report is while a parser finds its facts.
class CCompletenessCheck {
public:
    void OnFact(const FactView& fact);
    /// The same for facts of one property, the lines of which are whole.
    void OnFacts(std::string_view section, std::string_view property, std::size_t count,
                 std::int32_t lastIndex);
    /// @param endsLine whether the report ends with a line feed
    Completeness Result(bool endsLine) const;

private:
    struct Seen {
        bool any = false, last = false;
    };
    void Begin(std::string section, std::string property);
    void Count(std::size_t facts, std::int32_t lastIndex);

    std::array<Seen, kCategories.size()> categories_{};
    std::size_t elapsedTimes_ = 0;
    // What the present section and property are called, looked up once for all of their instances.
    std::u16string lastSection_, lastProperty_;
    std::string section_, property_;
    std::size_t category_ = kCategories.size();
    bool isLastOfCategory_ = false;
    std::int32_t index_ = 0;
    bool isCut_ = false;
    // A display adapter has as many names as memory sizes.
    std::size_t adapters_ = 0, adapterNames_ = 0;
};

/// What is to be said about a report that is not whole; empty for one that is.
std::string Describe(const Completeness& completeness);

}  // namespace orrery::report
