#include "client/fleet/machine_report.h"

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "client/fleet/rows.h"
#include "client/fleet/schema.h"

namespace orrery::fleet {
namespace {

/// Machines that are read at once.
constexpr std::int64_t kAtOnce = 500;

struct Parts {
    SectionPart history, latest;
    std::string empty;
};

struct Machine {
    std::map<std::string, Parts> sections;
    report::Report report;
};

using Machines = std::map<std::int64_t, Machine>;

/// Reads what the numbers of machines lie between.
class CReader {
public:
    CReader(CDatabase& database, std::int64_t first, std::int64_t last)
        : database_(database), range_{first, last}
    {}

    Machines Read()
    {
        // A section that the latest report did not have is not part of it.
        Each(
            "SELECT machine, section, empty, complete FROM collected_section WHERE seen IS NULL "
            "AND ",
            "", [&](std::span<const Value> row) {
                Machine& machine = machines_[NumberIn(row[0])];
                machine.sections[std::string{TextIn(row[1])}].empty = TextIn(row[2]);
                if (NumberIn(row[3]) == 0)
                    machine.report.completeness.state =
                        report::Completeness::State::kLacksCategories;
            });
        for (const SectionTable& table : SectionTables()) {
            // Rows of one machine come together.
            std::int64_t last = 0;
            Parts* parts = nullptr;
            Each("SELECT machine, instance, " + SelectList(table, database_.engine()) + " FROM " +
                     table.name + (table.isLatestOnly ? " WHERE " : " WHERE valid_to IS NULL AND "),
                 " ORDER BY machine, instance", [&](std::span<const Value> row) {
                     if (std::exchange(last, NumberIn(row[0])) != NumberIn(row[0]))
                         parts = Find(last, table.section);
                     if (parts != nullptr)
                         AddRow(table, row, table.isLatestOnly ? &parts->latest : &parts->history);
                 });
        }
        Each(
            "SELECT machine, instance, section, property, value FROM other_fact WHERE valid_to IS "
            "NULL "
            "AND ",
            "", [&](std::span<const Value> row) {
                if (Parts* const parts = Find(NumberIn(row[0]), TextIn(row[2])))
                    parts->history.others.push_back({std::string{TextIn(row[3])},
                                                     static_cast<std::int32_t>(NumberIn(row[1])),
                                                     std::string{TextIn(row[4])}});
            });
        Each("SELECT machine, milliseconds, value FROM elapsed WHERE ", " ORDER BY machine, place",
             [&](std::span<const Value> row) {
                 machines_[NumberIn(row[0])].report.elapsedTimes.push_back(
                     IsNull(row[1]) ? std::string{TextIn(row[2])}
                                    : std::to_string(NumberIn(row[1])));
             });
        for (auto& [number, machine] : machines_)
            Finish(&machine);
        return std::move(machines_);
    }

private:
    void Each(const std::string& query, const char* order,
              const std::function<void(std::span<const Value>)>& onRow)
    {
        database_.Query(query + "machine BETWEEN $1 AND $2" + order, range_, onRow);
    }

    Parts* Find(std::int64_t machine, std::string_view section)
    {
        const auto found = machines_.find(machine);
        if (found == machines_.end())
            return nullptr;
        const auto parts = found->second.sections.find(std::string{section});
        return parts != found->second.sections.end() ? &parts->second : nullptr;
    }

    static void AddRow(const SectionTable& table, std::span<const Value> values, SectionPart* part)
    {
        part->table = &table;
        Row row{static_cast<std::int32_t>(NumberIn(values[1])), {}};
        row.cells.reserve(values.size() - 2);
        for (const Value& value : values.subspan(2))
            row.cells.push_back(AsCell(value));
        part->rows.push_back(std::move(row));
    }

    static void Finish(Machine* machine)
    {
        auto& sections = machine->report.sections;
        for (auto& [name, parts] : machine->sections) {
            parts.history.empty = parts.empty;
            report::Section section = SectionOf(name, parts.history);
            for (report::Instance& added : SectionOf(name, parts.latest).instances) {
                const auto same =
                    std::ranges::find(section.instances, added.index, &report::Instance::index);
                if (same == section.instances.end())
                    section.instances.push_back(std::move(added));
                else
                    std::ranges::move(added.properties, std::back_inserter(same->properties));
            }
            for (report::Instance& instance : section.instances)
                std::ranges::sort(instance.properties, &report::ComesFirst,
                                  &report::Property::name);
            std::ranges::sort(section.instances, {}, &report::Instance::index);
            sections.push_back(std::move(section));
        }
        std::ranges::sort(sections, &report::ComesFirst, &report::Section::name);
    }

    CDatabase& database_;
    const std::array<Value, 2> range_;
    Machines machines_;
};

}  // namespace

void ReadMachines(CDatabase& database,
                  const std::function<void(std::int64_t, report::Report&&)>& onMachine)
{
    std::int64_t last = 0;
    database.Query("SELECT COALESCE(MAX(machine), 0) FROM machine",
                   [&](std::span<const Value> row) { last = NumberIn(row[0]); });
    for (std::int64_t first = 1; first <= last; first += kAtOnce)
        for (auto& [machine, read] : CReader{database, first, first + kAtOnce - 1}.Read())
            onMachine(machine, std::move(read.report));
}

}  // namespace orrery::fleet
