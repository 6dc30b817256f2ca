#include "client/report/fact_counts.h"

#include <algorithm>
#include <numeric>
#include <string_view>

#include "client/text/utf8.h"

namespace orrery {
namespace {

/// What the table calls a section: its name, explained where it says little.
std::string LabelOf(const SectionCount& count)
{
    return count.section == "ET" ? "ET (elapsed times)" : count.section;
}

std::string Row(std::string_view name, std::size_t nameWidth, std::string_view number,
                std::size_t numberWidth)
{
    std::string row{name};
    row.append(nameWidth - name.size() + 2 + numberWidth - number.size(), ' ');
    return row.append(number) + '\n';
}

}  // namespace

std::size_t CFactCounter::total() const noexcept
{
    return std::accumulate(
        sections_.begin(), sections_.end(), std::size_t{0},
        [](std::size_t sum, const SectionCount& count) { return sum + count.facts; });
}

void CFactCounter::OnFact(const report::FactView& fact)
{
    check_.OnFact(fact);
    std::string section;
    AppendUtf8(fact.section, &section);
    const auto known =
        std::find_if(sections_.begin(), sections_.end(),
                     [&section](const SectionCount& count) { return count.section == section; });
    if (known != sections_.end())
        ++known->facts;
    else
        sections_.push_back({section, 1});
}

std::string FactCountTable(const CFactCounter& counter)
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
