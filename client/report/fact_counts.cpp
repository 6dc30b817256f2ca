#include "client/report/fact_counts.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <tuple>

#include "client/text/utf8.h"

namespace orrery {
namespace {

/// What the table calls a section: its name, explained where it says little.
std::string LabelOf(const SectionCount& count)
{
    return count.section == "ET" ? "ET (elapsed times)" : count.section;
}

/// A name and numbers, each as wide as the columns are.
using TableRow = std::array<std::string, 3>;

/// What is to be said about the sections that say nothing; empty where there are none.
std::string AdviceOn(const CFactCounter& counter)
{
    std::string names;
    std::size_t count = 0;
    for (const SectionCount& each : counter.sections())
        if (each.facts == 0) {
            names += (count == 0 ? "" : ", ") + LabelOf(each);
            ++count;
        }
    return count == 0 ? ""
                      : "\n" + names + (count == 1 ? " says" : " say") +
                            " nothing: \"orreryctl doctor\" tells why.\n";
}

bool SaysNothing(std::u16string_view value)
{
    return value.find_first_not_of(u" \t\r\n") == value.npos;
}

}  // namespace

SectionCount CFactCounter::total() const
{
    SectionCount sum;
    for (const SectionCount& count : sections_) {
        sum.facts += count.facts;
        sum.empty += count.empty;
    }
    return sum;
}

void CFactCounter::OnFact(const report::FactView& fact)
{
    check_.OnFact(fact);
    std::string section;
    AppendUtf8(fact.section, &section);
    auto known =
        std::find_if(sections_.begin(), sections_.end(),
                     [&section](const SectionCount& count) { return count.section == section; });
    if (known == sections_.end())
        known = sections_.insert(known, SectionCount{section});
    ++(SaysNothing(fact.value) ? known->empty : known->facts);
}

std::string FactCountTable(const CFactCounter& counter)
{
    std::vector<TableRow> rows{{"Section", "Facts", "Empty"}};
    const auto add = [&rows](const std::string& name, const SectionCount& count) {
        rows.push_back({name, std::to_string(count.facts), std::to_string(count.empty)});
    };
    for (const SectionCount& count : counter.sections())
        add(LabelOf(count), count);
    add("Total", counter.total());

    std::array<std::size_t, std::tuple_size_v<TableRow>> widths{};
    for (const TableRow& row : rows)
        for (std::size_t column = 0; column < row.size(); ++column)
            widths[column] = std::max(widths[column], row[column].size());
    std::string table;
    for (const auto& [name, facts, empty] : rows)
        table.append(name)
            .append(widths[0] - name.size() + 2 + widths[1] - facts.size(), ' ')
            .append(facts)
            .append(2 + widths[2] - empty.size(), ' ')
            .append(empty)
            .append(1, '\n');
    return table + AdviceOn(counter);
}

}  // namespace orrery
