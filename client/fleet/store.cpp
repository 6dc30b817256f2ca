#include "client/fleet/store.h"

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <set>
#include <unordered_map>
#include <utility>

#include "client/fleet/history.h"
#include "client/fleet/schema.h"
#include "client/report/facts.h"
#include "client/report/machine.h"
#include "client/report/placeholders.h"
#include "client/report/typed_value.h"
#include "client/text/fold_case.h"

namespace orrery::fleet {
namespace {

using report::FormatIsoTime;
using report::SecondsOf;

/// The elapsed times, among the digests of what only the latest is kept of.
constexpr char kElapsed[] = "ET";

/// Between two installations of a machine.
constexpr std::string_view kTo = " to ";

/// The properties that name or number the hardware, of which makers leave placeholders.
constexpr auto kFilledInByMakers = std::to_array<std::pair<std::string_view, std::string_view>>({
    {"BIOS", "AssetTag"},
    {"BIOS", "SerialNumber"},
    {"BIOS", "SystemMan"},
    {"BIOS", "SystemMod"},
    {"BaseBoard", "Manufacturer"},
    {"BaseBoard", "Product"},
    {"BaseBoard", "Version"},
});

/// Rows that wait for being written together.
struct Pending {
    std::string columns;
    std::vector<std::vector<Cell>> rows;
};

struct Collected {
    std::string digest, rights, empty;
    std::int64_t since = 0;
    std::optional<std::int64_t> seen;
    bool isComplete = true;
};

struct MachineState {
    KnownMachine known;
    std::int64_t first = 0, last = 0;
    bool isNew = false, isChanged = false, areKeysChanged = false, hasCompleteTimes = false;
    std::map<std::string, Collected, std::less<>> collected;
    std::set<std::string, std::less<>> changedSections;
    std::map<std::string, std::string, std::less<>> latestDigests;
};

/// The texts by which a machine is looked up.
std::vector<std::pair<std::string_view, std::string>> KeysOf(const Identity& identity)
{
    std::vector<std::pair<std::string_view, std::string>> keys;
    for (const auto& [kind, text] :
         {std::pair{"name", &identity.name}, std::pair{"serial", &identity.serial},
          std::pair{"uuid", &identity.uuid}})
        if (!text->empty())
            keys.emplace_back(kind, FoldCase(*text));
    for (const std::string& address : identity.addresses)
        keys.emplace_back("address", address);
    return keys;
}

std::string JoinedEmpty(const SectionRows& section)
{
    const bool both = !section.history.empty.empty() && !section.latest.empty.empty();
    return section.history.empty + (both ? "|" : "") + section.latest.empty;
}

/// One transaction's work.
class CBatch {
public:
    CBatch(CDatabase& database, std::string host, std::vector<Refusal>* refusals)
        : database_(database), history_(database), host_(std::move(host)), refusals_(refusals)
    {}

    StoreCounts Store(std::vector<StoredReport> reports)
    {
        Prepare();
        FetchMachines(reports);
        for (StoredReport& report : reports)
            Store(report);
        if (!reports.empty())
            Flush();
        return counts_;
    }

private:
    void Prepare()
    {
        database_.Run(
            "CREATE TEMPORARY TABLE IF NOT EXISTS wanted_key (value TEXT NOT NULL);"
            "CREATE TEMPORARY TABLE IF NOT EXISTS wanted_machine (machine BIGINT NOT NULL);"
            "DELETE FROM wanted_key; DELETE FROM wanted_machine;");
        database_.Query("SELECT COALESCE(MAX(machine), 0) FROM machine",
                        [&](std::span<const Value> row) { lastMachine_ = NumberIn(row[0]); });
    }

    /// Fetches every machine that one of the reports may be of.
    void FetchMachines(const std::vector<StoredReport>& reports)
    {
        if (lastMachine_ == 0)
            return;
        std::set<std::string> keys;
        for (const StoredReport& report : reports)
            for (auto& [kind, value] : KeysOf(report.identity))
                keys.insert(std::move(value));
        const auto writer = database_.Insert("wanted_key", "value");
        for (const std::string& key : keys)
            writer->Add(std::array<Value, 1>{key});
        writer->Finish();
        database_.Run(
            "ANALYZE wanted_key; INSERT INTO wanted_machine SELECT DISTINCT k.machine FROM "
            "wanted_key w JOIN machine_key k ON k.value = w.value; ANALYZE wanted_machine");

        const std::string join = " FROM wanted_machine w JOIN ";
        database_.Query("SELECT t.machine, name, maker, model, serial, uuid, installation, " +
                            Time("first_seen") + ", " + Time("last_seen") + join +
                            "machine t ON t.machine = w.machine ORDER BY 1",
                        [&](std::span<const Value> row) {
                            MachineState state;
                            state.known.machine = NumberIn(row[0]);
                            Identity& identity = state.known.identity;
                            std::size_t at = 0;
                            for (std::string* const text :
                                 {&identity.name, &identity.maker, &identity.model,
                                  &identity.serial, &identity.uuid, &identity.installation})
                                *text = TextIn(row[++at]);
                            state.first = SecondsOf(TextIn(row[7])).value_or(0);
                            state.last = SecondsOf(TextIn(row[8])).value_or(0);
                            machines_.emplace(state.known.machine, std::move(state));
                        });
        database_.Query(
            "SELECT t.machine, value" + join +
                "machine_key t ON t.machine = w.machine WHERE kind = 'address' ORDER BY 1, 2",
            [&](std::span<const Value> row) {
                machines_.at(NumberIn(row[0]))
                    .known.identity.addresses.emplace_back(TextIn(row[1]));
            });
        database_.Query(
            "SELECT t.machine, section, digest, " + Time("since") + ", " + Time("seen") +
                ", complete, rights, empty" + join + "collected_section t ON t.machine = w.machine",
            [&](std::span<const Value> row) {
                Collected& collected =
                    machines_.at(NumberIn(row[0])).collected[std::string{TextIn(row[1])}];
                collected.digest = TextIn(row[2]);
                collected.since = SecondsOf(TextIn(row[3])).value_or(0);
                collected.seen = SecondsOf(TextIn(row[4]));
                collected.isComplete = NumberIn(row[5]) != 0;
                collected.rights = TextIn(row[6]);
                collected.empty = TextIn(row[7]);
            });
        database_.Query(
            "SELECT t.machine, section, digest" + join + "latest_digest t ON t.machine = w.machine",
            [&](std::span<const Value> row) {
                machines_.at(NumberIn(row[0])).latestDigests[std::string{TextIn(row[1])}] =
                    TextIn(row[2]);
            });
        database_.Query("SELECT t.machine" + join +
                            "elapsed t ON t.machine = w.machine WHERE place = 0 AND complete",
                        [&](std::span<const Value> row) {
                            machines_.at(NumberIn(row[0])).hasCompleteTimes = true;
                        });
        for (const auto& [machine, state] : machines_)
            Index(state.known);
    }

    void Index(const KnownMachine& known)
    {
        for (auto& [kind, value] : KeysOf(known.identity))
            byKey_.emplace(std::move(value), known.machine);
    }

    void Store(StoredReport& report)
    {
        MachineState* state = MachineOf(report);
        // What an earlier report of this batch wrote has to be there to be compared with.
        current_ = state->known.machine;
        if (touched_.contains(current_))
            Flush();
        touched_.insert(current_);
        KeepLacking(*state, report);
        if (!state->isNew && IsKnownTime(*state, report)) {
            if (report.time == state->last && !IsSame(*state, report)) {
                refusals_->push_back({report.file.path,
                                      "another report of this machine has the same "
                                      "time, " +
                                          FormatIsoTime(report.time) + ", and other facts"});
                return;
            }
            AddFile(*state, report);
            return;
        }
        ++counts_.reports;
        AddFile(*state, report);
        Add("report_time", "machine, at, complete",
            {state->known.machine, FormatIsoTime(report.time), std::int64_t{report.isComplete}});
        const bool isLate = !state->isNew && report.time < state->last;
        if (isLate) {
            StoreLate(*state, report);
            return;
        }
        const std::uint64_t before = counts_.changes;
        StoreGaps(*state, report);
        for (SectionRows& section : report.sections) {
            StoreHistory(*state, report, section);
            StoreLatest(*state, report, section.section, section.latest);
            StorePlaceholders(*state, report, section.section);
        }
        StoreElapsed(*state, report);
        state->last = report.time;
        state->isChanged = true;
        if (counts_.changes != before)
            ++counts_.changed;
    }

    /// The machine that a report is of, made where there is none yet.
    MachineState* MachineOf(const StoredReport& report)
    {
        std::vector<KnownMachine> known;
        std::set<std::int64_t> ids;
        for (const auto& [kind, value] : KeysOf(report.identity)) {
            const auto [first, last] = byKey_.equal_range(value);
            for (auto found = first; found != last; ++found)
                ids.insert(found->second);
        }
        for (const std::int64_t id : ids)
            known.push_back(machines_.at(id).known);
        const Decision decision = Identify(report.identity, known);
        MachineState* state = nullptr;
        if (decision.machine) {
            state = &machines_.at(*decision.machine);
            if (decision.isReimaged && report.time > state->last)
                AddEvent(*state, FormatIsoTime(report.time), "re-imaged",
                         state->known.identity.installation + std::string{kTo} +
                             report.identity.installation);
            if (report.time > state->last)
                UpdateIdentity(*state, report.identity, [](std::string_view) { return true; });
        } else {
            const std::int64_t id = ++lastMachine_;
            state = &machines_[id];
            state->known = {id, report.identity};
            state->first = state->last = report.time;
            state->isNew = state->isChanged = state->areKeysChanged = true;
            Index(state->known);
            ++counts_.machines;
            if (decision.formerHolder) {
                // The later one of the two reuses it.
                const MachineState& holder = machines_.at(*decision.formerHolder);
                const bool isLater = report.time >= holder.first;
                AddEvent(isLater ? *state : holder,
                         FormatIsoTime(isLater ? report.time : holder.first), "reused name",
                         std::to_string(isLater ? holder.known.machine : id));
            }
        }
        for (const Conflict& conflict : decision.conflicts) {
            const auto [one, other] = std::minmax(state->known.machine, conflict.other);
            conflicts_.insert({one, other, std::string{conflict.reason}});
        }
        return state;
    }

    void AddEvent(const MachineState& state, std::string time, const char* event,
                  std::string detail)
    {
        events_[{state.known.machine, std::move(time), event}] = std::move(detail);
    }

    /// What a report does not tell stays as it was.
    /// @param isLatest tells of a section whether no later report has it; where one has, only what nobody
    ///                 told is taken
    template <class IsLatest>
    void UpdateIdentity(MachineState& state, const Identity& told, const IsLatest& isLatest)
    {
        Identity& identity = state.known.identity;
        const auto keys = KeysOf(identity);
        const auto take = [&](const char* section, auto member) {
            if (!(told.*member).empty() && ((identity.*member).empty() || isLatest(section)))
                identity.*member = told.*member;
        };
        take("ComputerSystem", &Identity::name);
        for (const auto text : {&Identity::maker, &Identity::model, &Identity::serial})
            take("BIOS", text);
        // These come from beside the report.
        for (const auto text : {&Identity::uuid, &Identity::installation})
            take("", text);
        take("NetworkAdapter", &Identity::addresses);
        if (KeysOf(identity) != keys) {
            state.areKeysChanged = true;
            Index(state.known);
        }
    }

    /// Gives the sections of which only some categories were collected what the others told before.
    void KeepLacking(const MachineState& state, StoredReport& report)
    {
        if (state.isNew || report.lacking.empty())
            return;
        const auto isLacking = [&](const report::Term& term) {
            return std::ranges::find(report.lacking, term.category) != report.lacking.end();
        };
        for (SectionRows& section : report.sections)
            if (const auto known = state.collected.find(section.section);
                known != state.collected.end() &&
                std::ranges::any_of(report::TermsOf(section.section), isLacking))
                section.history =
                    history_.WithKept(state.known.machine, section.section, section.history,
                                      known->second.empty, report.time, isLacking);
    }

    bool IsKnownTime(const MachineState& state, const StoredReport& report)
    {
        if (report.time >= state.last)
            return report.time == state.last;
        bool isKnown = false;
        const std::string time = FormatIsoTime(report.time);
        database_.Query("SELECT 1 FROM report_time WHERE machine = $1 AND at = $2",
                        std::array<Value, 2>{state.known.machine, time},
                        [&](std::span<const Value>) { isKnown = true; });
        return isKnown;
    }

    /// Whether a machine's latest facts are those of a report.
    static bool IsSame(const MachineState& state, const StoredReport& report)
    {
        return std::ranges::all_of(report.sections, [&](const SectionRows& section) {
            const auto found = state.collected.find(section.section);
            return found != state.collected.end() && found->second.digest == section.history.digest;
        });
    }

    void AddFile(const MachineState& state, const StoredReport& report)
    {
        files_.push_back({host_, report.file.path, static_cast<std::int64_t>(report.file.size),
                          report.file.modified, report.file.sidecarModified, state.known.machine});
    }

    /// Keeps in mind which sections of its machine a report does not have, and which one it has that none
    /// of the others had: one that was not collected says nothing about what comes after it.
    void StoreGaps(MachineState& state, const StoredReport& report)
    {
        if (state.isNew)
            return;
        for (auto& [name, collected] : state.collected) {
            if (std::ranges::find(report.sections, name, &SectionRows::section) !=
                report.sections.end())
                continue;
            Add("report_gap", "machine, section, at",
                {state.known.machine, name, FormatIsoTime(report.time)});
            if (report.time > state.last && !collected.seen) {
                collected.seen = state.last;
                state.changedSections.insert(name);
            }
        }
        for (const SectionRows& section : report.sections)
            if (!state.collected.contains(section.section))
                database_.Query(
                    "INSERT INTO report_gap (machine, section, at) SELECT machine, CAST($1 AS "
                    "TEXT), at "
                    "FROM report_time WHERE machine = $2",
                    std::array<Value, 2>{section.section, state.known.machine},
                    [](std::span<const Value>) {});
    }

    void StoreHistory(MachineState& state, const StoredReport& report, SectionRows& section)
    {
        auto found = state.collected.find(section.section);
        const std::string empty = JoinedEmpty(section);
        if (found == state.collected.end()) {
            found = state.collected.emplace(section.section, Collected{}).first;
            found->second.since = report.time;
            found->second.digest = section.history.digest;
            AddRows(state, report, section);
        } else if (found->second.digest != section.history.digest) {
            counts_.changes += history_.Change(state.known.machine, section.section,
                                               section.history, found->second.empty, report.time);
            found->second.since = report.time;
            found->second.digest = section.history.digest;
        } else if (!found->second.seen && found->second.isComplete == report.isComplete &&
                   found->second.rights == report.rights && found->second.empty == empty) {
            return;
        }
        found->second.seen.reset();
        found->second.isComplete = report.isComplete;
        found->second.rights = report.rights;
        found->second.empty = empty;
        state.changedSections.insert(section.section);
    }

    void AddRows(const MachineState& state, const StoredReport& report, SectionRows& section)
    {
        const std::string time = FormatIsoTime(report.time);
        const SectionPart& part = section.history;
        for (const Row& row : part.rows) {
            std::vector<Cell> cells{state.known.machine, std::int64_t{row.instance}, time,
                                    std::monostate{}};
            cells.insert(cells.end(), row.cells.begin(), row.cells.end());
            Add(part.table->name,
                "machine, instance, valid_from, valid_to, " + part.table->ColumnList(),
                std::move(cells));
        }
        AddOthers(state, report, section.section, part, false);
    }

    void AddOthers(const MachineState& state, const StoredReport& report,
                   const std::string& section, const SectionPart& part, bool isLatest)
    {
        for (const OtherFact& fact : part.others)
            Add("other_fact", "machine, section, property, instance, latest, valid_from, value",
                {state.known.machine, section, fact.property, std::int64_t{fact.instance},
                 std::int64_t{isLatest}, FormatIsoTime(report.time), fact.value});
    }

    void StoreLatest(MachineState& state, const StoredReport& report, const std::string& section,
                     const SectionPart& part)
    {
        if (!IsNewDigest(state, section, part.digest,
                         part.rows.empty() && part.others.empty() && part.empty.empty()))
            return;
        if (!state.isNew) {
            const std::array<Value, 2> key{state.known.machine, section};
            if (part.table != nullptr)
                database_.Query("DELETE FROM " + part.table->name + " WHERE machine = $1",
                                std::span{key}.first(1), [](std::span<const Value>) {});
            database_.Query("DELETE FROM other_fact WHERE machine = $1 AND section = $2 AND latest",
                            key, [](std::span<const Value>) {});
        }
        for (const Row& row : part.rows) {
            std::vector<Cell> cells{state.known.machine, std::int64_t{row.instance}};
            cells.insert(cells.end(), row.cells.begin(), row.cells.end());
            Add(part.table->name, "machine, instance, " + part.table->ColumnList(),
                std::move(cells));
        }
        AddOthers(state, report, section, part, true);
    }

    /// Whether what only the latest is kept of differs from what is stored; from now on it is the same.
    bool IsNewDigest(MachineState& state, const std::string& section, const std::string& digest,
                     bool isEmpty)
    {
        const auto found = state.latestDigests.find(section);
        if (found == state.latestDigests.end() ? isEmpty : found->second == digest)
            return false;
        state.latestDigests[section] = digest;
        if (state.isNew)
            Add("latest_digest", "machine, section, digest",
                {state.known.machine, section, digest});
        else
            digests_.push_back({state.known.machine, section, digest});
        return true;
    }

    static std::string ElapsedDigest(const StoredReport& report)
    {
        std::string digest = report.isComplete ? "whole" : "part";
        for (const std::string& time : report.elapsedTimes)
            digest += '|' + time;
        return digest;
    }

    void StoreElapsed(MachineState& state, const StoredReport& report)
    {
        if (state.hasCompleteTimes && !report.isComplete)
            return;
        if (!IsNewDigest(state, kElapsed, ElapsedDigest(report), report.elapsedTimes.empty()))
            return;
        if (!state.isNew) {
            database_.Query("DELETE FROM elapsed WHERE machine = $1",
                            std::array<Value, 1>{state.known.machine},
                            [](std::span<const Value>) {});
        }
        state.hasCompleteTimes = report.isComplete;
        for (std::size_t i = 0; i < report.elapsedTimes.size(); ++i) {
            const auto number = report::ExactNumber(report.elapsedTimes[i]);
            Add("elapsed", "machine, place, category, milliseconds, value, at, complete",
                {state.known.machine, static_cast<std::int64_t>(i), report.elapsedCategories[i],
                 number ? Cell{*number} : Cell{}, number ? Cell{} : Cell{report.elapsedTimes[i]},
                 FormatIsoTime(report.time), std::int64_t{report.isComplete}});
        }
    }

    /// Elapsed times of which only the latest ones count, and those of a whole report before others.
    void StoreLateElapsed(MachineState& state, const StoredReport& report)
    {
        if (state.hasCompleteTimes != report.isComplete) {
            if (report.isComplete)
                StoreElapsed(state, report);
            return;
        }
        const std::string time = FormatIsoTime(report.time);
        std::string next;
        database_.Query(
            "SELECT " + Time("MIN(at)") +
                " FROM report_time WHERE machine = $1 AND at > $2 AND (complete OR NOT EXISTS "
                "(SELECT 1 FROM elapsed e WHERE e.machine = $3 AND e.complete))",
            std::array<Value, 3>{state.known.machine, time, state.known.machine},
            [&](std::span<const Value> row) { next = TextIn(row[0]); });
        if (next.empty()) {
            StoreElapsed(state, report);
            return;
        }
        // The time is that of the first one in a row that took as long.
        const auto known = state.latestDigests.find(kElapsed);
        const bool isSame =
            known != state.latestDigests.end() && known->second == ElapsedDigest(report);
        database_.Query(
            std::string{"UPDATE elapsed SET at = $1 WHERE machine = $2 AND at "} +
                (isSame ? "= $3" : "< $3"),
            std::array<Value, 3>{isSame ? time : next, state.known.machine, isSame ? next : time},
            [](std::span<const Value>) {});
    }

    /// The installation of a machine at a time, as its events tell.
    std::string InstallationAt(const MachineState& state, const std::string& time)
    {
        std::string installation = state.known.identity.installation;
        for (const char* const part : {"at > $2 ORDER BY at DESC", "at <= $2 ORDER BY at"})
            database_.Query(
                std::string{"SELECT detail FROM machine_event WHERE machine = $1 AND event = "
                            "'re-imaged' AND "} +
                    part,
                std::array<Value, 2>{state.known.machine, time}, [&](std::span<const Value> row) {
                    const std::string detail{TextIn(row[0])};
                    installation = part[3] == '>' ? detail.substr(0, detail.find(kTo))
                                                  : detail.substr(detail.find(kTo) + kTo.size());
                });
        return installation;
    }

    /// Tells of other installations as if the report had come in time.
    void StoreLateInstallation(MachineState& state, const StoredReport& report)
    {
        const std::string& told = report.identity.installation;
        if (told.empty() || state.known.identity.installation.empty())
            return;
        const std::string time = FormatIsoTime(report.time);
        std::string next;
        database_.Query(
            "SELECT " + Time("MIN(at)") + " FROM report_time WHERE machine = $1 AND at > $2",
            std::array<Value, 2>{state.known.machine, time},
            [&](std::span<const Value> row) { next = TextIn(row[0]); });
        const std::string before = report.time > state.first ? InstallationAt(state, time) : told,
                          after = InstallationAt(state, next);
        database_.Query(
            "DELETE FROM machine_event WHERE machine = $1 AND at = $2 AND event = 're-imaged'",
            std::array<Value, 2>{state.known.machine, next}, [](std::span<const Value>) {});
        if (before != told)
            AddEvent(state, time, "re-imaged", before + std::string{kTo} + told);
        if (told != after)
            AddEvent(state, next, "re-imaged", told + std::string{kTo} + after);
    }

    void StorePlaceholders(MachineState& state, const StoredReport& report,
                           const std::string& section)
    {
        if (std::ranges::find(kFilledInByMakers, section,
                              [](const auto& row) { return row.first; }) == kFilledInByMakers.end())
            return;
        const std::string prefix = section + '.';
        std::string digest;
        for (const auto& [property, value] : report.placeholders)
            if (property.starts_with(prefix))
                digest += property + '\t' + value + '\n';
        // No section is called so.
        if (!IsNewDigest(state, section + " placeholders", digest, digest.empty()))
            return;
        if (!state.isNew) {
            database_.Query(
                "DELETE FROM machine_placeholder WHERE machine = $1 AND property LIKE $2",
                std::array<Value, 2>{state.known.machine, prefix + '%'},
                [](std::span<const Value>) {});
        }
        for (const auto& [property, value] : report.placeholders)
            if (property.starts_with(prefix))
                Add("machine_placeholder", "machine, property, value",
                    {state.known.machine, property, value});
    }

    /// Puts a report where it belongs among later ones, as if it had come in time.
    void StoreLate(MachineState& state, StoredReport& report)
    {
        StoreGaps(state, report);
        std::set<std::string_view> latest;  // sections that no later report has
        for (SectionRows& section : report.sections) {
            const auto found = state.collected.find(section.section);
            const bool isLatest = found == state.collected.end() ||
                                  (found->second.seen && *found->second.seen < report.time);
            const auto next =
                isLatest ? std::nullopt
                         : history_.NextReport(state.known.machine, section.section, report.time);
            if (!next) {
                latest.insert(section.section);
                StoreHistory(state, report, section);
                state.collected.at(section.section).seen = report.time;
                state.changedSections.insert(section.section);
                StoreLatest(state, report, section.section, section.latest);
                StorePlaceholders(state, report, section.section);
                continue;
            }
            Collected& collected = found->second;
            counts_.changes +=
                history_.Insert(state.known.machine, section.section, section.history,
                                collected.empty, report.time, *next);
            const bool isSame = collected.digest == section.history.digest;
            if (isSame ? collected.since == *next : collected.since < report.time) {
                collected.since = isSame ? report.time : *next;
                state.changedSections.insert(section.section);
            }
        }
        StoreLateElapsed(state, report);
        StoreLateInstallation(state, report);
        UpdateIdentity(state, report.identity,
                       [&](std::string_view section) { return latest.contains(section); });
        state.first = std::min(state.first, report.time);
        state.isChanged = true;
    }

    void Add(const std::string& table, const std::string& columns, std::vector<Cell> row)
    {
        Pending& pending = pending_[table];
        if (pending.columns.empty())
            pending.columns = columns;
        pending.rows.push_back(std::move(row));
    }

    /// Writes everything that waits.
    void Flush()
    {
        std::vector<std::vector<Cell>> changedMachines, changedCollected;
        for (const std::int64_t id : touched_) {
            MachineState& state = machines_.at(id);
            if (state.isChanged) {
                const Identity& identity = state.known.identity;
                std::vector<Cell> row{id,
                                      identity.name,
                                      identity.maker,
                                      identity.model,
                                      identity.serial,
                                      identity.uuid,
                                      identity.installation,
                                      std::string{identity.Kind()},
                                      FormatIsoTime(state.first),
                                      FormatIsoTime(state.last)};
                if (state.isNew)
                    Add("machine", kMachineColumns, std::move(row));
                else
                    changedMachines.push_back(std::move(row));
            }
            if (state.areKeysChanged) {
                if (!state.isNew)
                    database_.Query("DELETE FROM machine_key WHERE machine = $1",
                                    std::array<Value, 1>{id}, [](std::span<const Value>) {});
                for (auto& [kind, value] : KeysOf(state.known.identity))
                    Add("machine_key", "machine, kind, value",
                        {id, std::string{kind}, std::move(value)});
            }
            for (const std::string& section : state.changedSections) {
                const Collected& collected = state.collected.at(section);
                std::vector<Cell> row{
                    id,
                    section,
                    collected.digest,
                    FormatIsoTime(collected.since),
                    collected.seen ? Cell{FormatIsoTime(*collected.seen)} : Cell{},
                    std::int64_t{collected.isComplete},
                    collected.rights,
                    collected.empty};
                if (state.isNew)
                    Add("collected_section", kCollectedColumns, std::move(row));
                else
                    changedCollected.push_back(std::move(row));
            }
            state.isNew = state.isChanged = state.areKeysChanged = false;
            state.changedSections.clear();
        }
        touched_ = {current_};
        for (auto& [table, pending] : pending_)
            Write(table, pending.columns, std::exchange(pending.rows, {}));
        Upsert("machine", kMachineColumns, "machine", std::move(changedMachines));
        Upsert("collected_section", kCollectedColumns, "machine, section",
               std::move(changedCollected));
        Upsert("latest_digest", "machine, section, digest", "machine, section",
               std::exchange(digests_, {}));
        Upsert("report_file", "host, path, size, modified, sidecar, machine", "host, path",
               std::exchange(files_, {}));
        std::vector<std::vector<Cell>> events;
        for (const auto& [key, detail] : std::exchange(events_, {}))
            events.push_back({std::get<0>(key), std::get<1>(key), std::get<2>(key), detail});
        Upsert("machine_event", "machine, at, event, detail", "machine, at, event",
               std::move(events));
        std::vector<std::vector<Cell>> conflicts;
        for (const auto& [one, other, reason] : std::exchange(conflicts_, {}))
            conflicts.push_back({one, other, reason});
        Upsert("machine_conflict", "machine, other, reason", "machine, other, reason",
               std::move(conflicts));
    }

    void Write(const std::string& table, const std::string& columns,
               const std::vector<std::vector<Cell>>& rows)
    {
        if (rows.empty())
            return;
        const auto writer = database_.Insert(table, columns);
        std::vector<Value> values;
        for (const auto& row : rows) {
            values.clear();
            for (const Cell& cell : row)
                values.push_back(AsValue(cell));
            writer->Add(values);
        }
        writer->Finish();
    }

    /// Adds rows, or puts them in place of those with the same key.
    void Upsert(const std::string& table, const std::string& columns, const std::string& key,
                std::vector<std::vector<Cell>> rows)
    {
        if (rows.empty())
            return;
        database_.Run("CREATE TEMPORARY TABLE IF NOT EXISTS new_" + table + " AS SELECT " +
                      columns + " FROM " + table + " WHERE 1 = 0; DELETE FROM new_" + table);
        Write("new_" + table, columns, rows);
        std::string set;
        for (std::size_t begin = 0; begin < columns.size();) {
            const std::size_t end = std::min(columns.find(", ", begin), columns.size());
            const std::string column = columns.substr(begin, end - begin);
            if ((", " + key + ", ").find(", " + column + ", ") == std::string::npos)
                set += (set.empty() ? "" : ", ") + column + " = excluded." + column;
            begin = end + 2;
        }
        database_.Run("INSERT INTO " + table + " (" + columns + ") SELECT " + columns +
                      " FROM new_" + table + " WHERE 1 = 1 ON CONFLICT (" + key + ") DO " +
                      (set.empty() ? "NOTHING" : "UPDATE SET " + set));
    }

    std::string Time(const std::string& column) const
    {
        return TimeText(database_.engine(), column);
    }

    static constexpr char kMachineColumns[] =
        "machine, name, maker, model, serial, uuid, installation, identity, first_seen, last_seen";
    static constexpr char kCollectedColumns[] =
        "machine, section, digest, since, seen, complete, rights, empty";

    CDatabase& database_;
    CHistory history_;
    const std::string host_;
    std::vector<Refusal>* const refusals_;
    StoreCounts counts_;
    std::int64_t lastMachine_ = 0;
    std::int64_t current_ = 0;  ///< the machine whose report is being stored
    std::map<std::int64_t, MachineState> machines_;
    std::unordered_multimap<std::string, std::int64_t> byKey_;
    std::set<std::int64_t> touched_;  ///< since the last Flush
    std::map<std::string, Pending> pending_;
    std::vector<std::vector<Cell>> files_, digests_;
    std::set<std::tuple<std::int64_t, std::int64_t, std::string>> conflicts_;
    std::map<std::tuple<std::int64_t, std::string, std::string>, std::string> events_;
};

}  // namespace

StoredReport StoredReport::From(const report::Report& report, SourceFile file, std::int64_t time,
                                std::string_view rights, std::string_view uuid,
                                std::string_view installation)
{
    // What no database holds must not look like a change when it is read back.
    if (HasNulls(report))
        return From(WithoutNulls(report), std::move(file), time, rights, uuid, installation);
    StoredReport stored;
    stored.file = std::move(file);
    stored.time = time;
    stored.isComplete = report.completeness.state == report::Completeness::State::kWhole;
    if (!stored.isComplete)
        stored.lacking = report.completeness.lacking;
    stored.rights = rights;
    stored.identity = IdentityOf(report, uuid, installation);
    stored.sections = RowsOf(report);
    stored.elapsedTimes = report.elapsedTimes;
    for (std::size_t i = 0; i < report.elapsedTimes.size(); ++i)
        stored.elapsedCategories.emplace_back(report::ElapsedCategory(report, i));
    for (const auto& [section, property] : kFilledInByMakers)
        for (const report::Instance& instance : report::InstancesOf(report, section))
            if (const std::string* const value = instance.Find(property);
                value != nullptr &&
                report::IsPlaceholder(*report::FindTerm(section, property), *value)) {
                stored.placeholders.emplace_back(std::string{section} + '.' + std::string{property},
                                                 *value);
                break;
            }
    return stored;
}

StoreCounts& StoreCounts::operator+=(const StoreCounts& other) noexcept
{
    reports += other.reports;
    machines += other.machines;
    changed += other.changed;
    changes += other.changes;
    return *this;
}

StoreCounts StoreReports(CDatabase& database, const std::string& host,
                         std::vector<StoredReport> reports, std::vector<Refusal>* refusals)
{
    CTransaction transaction{database};
    std::vector<Refusal> refused;
    const StoreCounts counts = CBatch{database, host, &refused}.Store(std::move(reports));
    transaction.Commit();
    refusals->insert(refusals->end(), refused.begin(), refused.end());
    return counts;
}

}  // namespace orrery::fleet
