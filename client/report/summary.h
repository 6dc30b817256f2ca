#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace orrery {

struct SectionCount {
    std::string section;
    std::size_t facts = 0;
};

/// Counts the facts of a report, section by section, from its UTF-16LE bytes.
///
/// A fact starts where a line begins with a section, a tab, a number and a tab. Values are written
/// raw, so a line that does not begin so is the rest of a value; and a line of 1023 code units was
/// cut there, so the next fact follows it without a line feed.
class CFactCounter {
public:
    /// Takes the next bytes of the report; a code unit may be split between two calls.
    void Add(std::span<const std::byte> bytes);

    /// The sections in the order in which the report first names them.
    const std::vector<SectionCount>& sections() const noexcept { return sections_; }
    std::size_t total() const noexcept;
    /// Whether the bytes so far end where a line ends, by its line feed or by the cut.
    bool endsWhole() const noexcept;

private:
    enum class Field { kSection, kIndex, kRest };

    void AddUnit(char16_t unit);
    void BeginLine();
    void CountFact();

    std::vector<SectionCount> sections_;
    std::optional<std::byte> lowByte_;
    std::string section_;        // of the line being read
    bool hasIndex_ = false;      // a digit of the line's index was read
    std::size_t lineUnits_ = 0;  // read since the line began
    std::size_t factUnits_ = 0;  // read since the last fact began
    Field field_ = Field::kSection;
};

/// The counts as a table of two aligned columns with a heading and the total.
std::string SummaryTable(const CFactCounter& counter);

}  // namespace orrery
