#include "client/report/summary.h"

#include <algorithm>
#include <numeric>

namespace orrery {
namespace {

// The library formats a line into 1024 code units, the last of which ends the text.
constexpr std::size_t kLongestLine = 1023;

/// What the table calls a section: its name, explained where it says little.
std::string LabelOf(const SectionCount& count)
{
    return count.section == "ET" ? "ET (elapsed times)" : count.section;
}

constexpr bool IsSectionCharacter(char16_t unit)
{
    return unit > u' ' && unit < u'\x7F';
}

std::string Row(std::string_view name, std::size_t nameWidth, std::string_view number,
                std::size_t numberWidth)
{
    std::string row{name};
    row.append(nameWidth - name.size() + 2 + numberWidth - number.size(), ' ');
    return row.append(number) + '\n';
}

}  // namespace

void CFactCounter::Add(std::span<const std::byte> bytes)
{
    for (const std::byte byte : bytes) {
        if (!lowByte_) {
            lowByte_ = byte;
            continue;
        }
        AddUnit(static_cast<char16_t>(std::to_integer<unsigned>(*lowByte_) |
                                      std::to_integer<unsigned>(byte) << 8));
        lowByte_.reset();
    }
}

std::size_t CFactCounter::total() const noexcept
{
    return std::accumulate(
        sections_.begin(), sections_.end(), std::size_t{0},
        [](std::size_t sum, const SectionCount& count) { return sum + count.facts; });
}

bool CFactCounter::endsWhole() const noexcept
{
    return !lowByte_ && (lineUnits_ == 0 || factUnits_ == kLongestLine);
}

void CFactCounter::AddUnit(char16_t unit)
{
    // Only in a value: a line that is still undecided most likely began after a line feed.
    if (field_ == Field::kRest && factUnits_ == kLongestLine)
        BeginLine();
    ++lineUnits_;
    ++factUnits_;

    if (unit == u'\n') {
        BeginLine();
    } else if (field_ == Field::kSection) {
        if (unit == u'\t' && !section_.empty())
            field_ = Field::kIndex;
        else if (IsSectionCharacter(unit))
            section_ += static_cast<char>(unit);
        else
            field_ = Field::kRest;
    } else if (field_ == Field::kIndex) {
        if (unit >= u'0' && unit <= u'9') {
            hasIndex_ = true;
            return;
        }
        if (unit == u'\t' && hasIndex_)
            CountFact();
        field_ = Field::kRest;
    }
}

void CFactCounter::BeginLine()
{
    field_ = Field::kSection;
    section_.clear();
    hasIndex_ = false;
    lineUnits_ = 0;
}

void CFactCounter::CountFact()
{
    factUnits_ = lineUnits_;
    const auto known =
        std::find_if(sections_.begin(), sections_.end(),
                     [this](const SectionCount& count) { return count.section == section_; });
    if (known != sections_.end())
        ++known->facts;
    else
        sections_.push_back({section_, 1});
}

std::string SummaryTable(const CFactCounter& counter)
{
    constexpr std::string_view kHeading = "Section", kFacts = "Facts", kTotal = "Total";
    const std::string total = std::to_string(counter.total());
    std::size_t nameWidth = kHeading.size();
    for (const SectionCount& count : counter.sections())
        nameWidth = std::max(nameWidth, LabelOf(count).size());
    const std::size_t numberWidth = std::max(kFacts.size(), total.size());

    std::string table = Row(kHeading, nameWidth, kFacts, numberWidth);
    for (const SectionCount& count : counter.sections())
        table += Row(LabelOf(count), nameWidth, std::to_string(count.facts), numberWidth);
    return table + Row(kTotal, nameWidth, total, numberWidth);
}

}  // namespace orrery
