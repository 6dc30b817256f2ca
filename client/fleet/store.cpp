#include "client/fleet/store.h"

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <set>
#include <unordered_map>
#include <utility>

#include "client/fleet/history.h"
#include "client/fleet/rows.h"
#include "client/fleet/schema.h"
#include "client/report/facts.h"
#include "client/report/machine.h"
#include "client/report/placeholders.h"
#include "client/report/typed_value.h"
#include "client/text/fold_case.h"

namespace orrery::fleet {
namespace {

using report::FormatIsoTime;
using Section = CReportFacts::Section;

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

struct Collected {
    std::string section, digest, rights, empty;
    std::int64_t since = 0;
    std::optional<std::int64_t> seen;
    bool isComplete = true;
    bool isChanged = false;  ///< and not written yet
};

struct LatestDigest {
    std::string section, digest;
};

/// A machine has a few sections only.
template <class Each>
Each* Find(std::vector<Each>& all, std::string_view section)
{
    const auto found = std::ranges::find(all, section, &Each::section);
    return found != all.end() ? &*found : nullptr;
}

struct MachineState {
    KnownMachine known;
    std::int64_t first = 0, last = 0;
    bool isNew = false;  ///< and not written yet
    bool isChanged = false, isSeen = false, areKeysChanged = false, hasCompleteTimes = false;
    std::vector<Collected> collected;
    std::vector<LatestDigest> latestDigests;
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

std::string JoinedEmpty(const CSectionRows& section)
{
    const bool both = !section.history.empty.empty() && !section.latest.empty.empty();
    return section.history.empty + (both ? "|" : "") + section.latest.empty;
}

/// These, and what else identifies a machine.
constexpr auto kNaming = [] {
    std::array<std::pair<std::string_view, std::string_view>, kFilledInByMakers.size() + 3> all{};
    std::ranges::copy(kFilledInByMakers, all.begin());
    std::ranges::copy(std::to_array<std::pair<std::string_view, std::string_view>>(
                          {{"ComputerSystem", "Name"},
                           {"NetworkAdapter", "MACAddress"},
                           {"NetworkAdapter", "PhysicalAdapter"}}),
                      all.begin() + kFilledInByMakers.size());
    return all;
}();

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
                            Seconds("first_seen") + ", " + Seconds("last_seen") + join +
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
                            state.first = SecondsIn(row[7]).value_or(0);
                            state.last = SecondsIn(row[8]).value_or(0);
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
            "SELECT t.machine, section, digest, " + Seconds("since") + ", " + Seconds("seen") +
                ", complete, rights, empty" + join + "collected_section t ON t.machine = w.machine",
            [&](std::span<const Value> row) {
                Collected& collected = machines_.at(NumberIn(row[0])).collected.emplace_back();
                collected.section = TextIn(row[1]);
                collected.digest = TextIn(row[2]);
                collected.since = SecondsIn(row[3]).value_or(0);
                collected.seen = SecondsIn(row[4]);
                collected.isComplete = NumberIn(row[5]) != 0;
                collected.rights = TextIn(row[6]);
                collected.empty = TextIn(row[7]);
            });
        database_.Query(
            "SELECT t.machine, section, digest" + join + "latest_digest t ON t.machine = w.machine",
            [&](std::span<const Value> row) {
                machines_.at(NumberIn(row[0]))
                    .latestDigests.push_back(
                        {std::string{TextIn(row[1])}, std::string{TextIn(row[2])}});
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
        // Times are whole seconds: what a file says now, it says later than what it said before.
        const auto isKnown = [&] { return !state->isNew && IsKnownTime(*state, report); };
        bool isTimeKnown = isKnown();
        while (report.file.wasLoaded && isTimeKnown && !IsSame(*state, report)) {
            ++report.time;
            isTimeKnown = isKnown();
        }
        time_ = FormatIsoTime(report.time);
        if (isTimeKnown) {
            if (!report.file.wasLoaded && !IsSame(*state, report)) {
                refusals_->push_back({report.file.path,
                                      "another report of this machine has the same "
                                      "time, " +
                                          time_ + ", and other facts"});
                return;
            }
            AddFile(*state, report);
            return;
        }
        ++counts_.reports;
        AddFile(*state, report);
        const bool isLate = !state->isNew && report.time < state->last;
        if (isLate)
            StoreLate(*state, report);
        else
            StoreLatestReport(*state, report);
        Add("report_time", "machine, at, complete",
            {state->known.machine, time_, std::int64_t{report.isComplete()}});
    }

    void StoreLatestReport(MachineState& state, const StoredReport& report)
    {
        StoreGaps(state, report);
        for (const Section& section : report.facts.sections())
            StoreSection(state, report, section);
        StoreElapsed(state, report);
        state.last = report.time;
        state.isSeen = true;
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
        if (told == identity)
            return;
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
        state.isChanged = true;
        if (KeysOf(identity) != keys) {
            state.areKeysChanged = true;
            Index(state.known);
        }
    }

    /// Gives the sections of which only some categories were collected what the others told before.
    void KeepLacking(const MachineState& state, StoredReport& report)
    {
        const auto& lacking = report.facts.completeness().lacking;
        if (state.isNew || lacking.empty())
            return;
        const auto isLacking = [&](const report::Term& term) {
            return std::ranges::find(lacking, term.category) != lacking.end();
        };
        report::Report whole =
            report.facts.Pick([](std::string_view, std::string_view) { return true; });
        for (report::Section& section : whole.sections)
            if (const auto known =
                    std::ranges::find(state.collected, section.name, &Collected::section);
                known != state.collected.end() &&
                std::ranges::any_of(report::TermsOf(section.name), isLacking))
                history_.Keep(state.known.machine, known->empty, report.time, isLacking, &section);
        report.facts = CReportFacts::Of(whole);
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

    /// Whether a machine's facts of a time that is known are those of a report.
    bool IsSame(MachineState& state, const StoredReport& report)
    {
        return std::ranges::all_of(report.facts.sections(), [&](const Section& section) {
            const Collected* const found = Find(state.collected, section.name);
            if (found == nullptr || report.time == state.last)
                return found != nullptr && found->digest == section.historyDigest;
            rows_.Make(report.facts, section);
            return history_.Holds(state.known.machine, found->section, rows_.history.Copy(),
                                  report.time);
        });
    }

    void AddFile(const MachineState& state, const StoredReport& report)
    {
        AddInPlace(files_,
                   {host_, report.file.path, static_cast<std::int64_t>(report.file.size),
                    report.file.modified, report.file.sidecarModified, state.known.machine});
    }

    /// Keeps in mind which sections of its machine a report does not have, and which one it has that none
    /// of the others had: one that was not collected says nothing about what comes after it.
    void StoreGaps(MachineState& state, const StoredReport& report)
    {
        if (state.isNew)
            return;
        const auto sections = report.facts.sections();
        for (Collected& collected : state.collected) {
            if (std::ranges::find(sections, collected.section, &Section::name) != sections.end())
                continue;
            Add("report_gap", "machine, section, at",
                {state.known.machine, collected.section, time_});
            if (report.time > state.last && !collected.seen) {
                collected.seen = state.last;
                collected.isChanged = true;
            }
        }
        for (const Section& section : sections)
            if (Find(state.collected, section.name) == nullptr)
                database_.Query(
                    "INSERT INTO report_gap (machine, section, at) SELECT machine, CAST($1 AS "
                    "TEXT), at FROM report_time WHERE machine = $2",
                    std::array<Value, 2>{section.name, state.known.machine},
                    [](std::span<const Value>) {});
    }

    /// Stores a section that no later report has.
    void StoreSection(MachineState& state, const StoredReport& report, const Section& section)
    {
        const LatestDigest* const latest = Find(state.latestDigests, section.name);
        const bool isLatestNew =
            latest == nullptr ? section.hasLatest : latest->digest != section.latestDigest;
        StoreHistory(state, report, section, isLatestNew);
        if (isLatestNew)
            StoreLatest(state, section);
        StorePlaceholders(state, report, section.name);
    }

    /// @param isLatestNew whether what only the latest is kept of is not what it was
    void StoreHistory(MachineState& state, const StoredReport& report, const Section& section,
                      bool isLatestNew)
    {
        Collected* found = Find(state.collected, section.name);
        const bool isKnown = found != nullptr;
        const bool isSame = isKnown && found->digest == section.historyDigest && !found->seen;
        if (isSame && !isLatestNew && found->isComplete == report.isComplete() &&
            found->rights == report.rights)
            return;
        rows_.Make(report.facts, section);
        std::string empty = JoinedEmpty(rows_);
        if (isSame && found->isComplete == report.isComplete() && found->rights == report.rights &&
            found->empty == empty)
            return;
        if (!isKnown) {
            found = &state.collected.emplace_back();
            found->section = section.name;
            AddRows(state, section.name);
        } else if (found->digest != section.historyDigest) {
            history_.Change(state.known.machine, found->section, rows_.history.Copy(), found->empty,
                            report.time);
        }
        if (found->digest != section.historyDigest) {
            found->since = report.time;
            found->digest = section.historyDigest;
        }
        found->seen.reset();
        found->isComplete = report.isComplete();
        found->rights = report.rights;
        found->empty = std::move(empty);
        found->isChanged = true;
    }

    /// Adds the rows of a section that has none yet.
    void AddRows(const MachineState& state, std::string_view section)
    {
        const PartRows& part = rows_.history;
        if (part.table != nullptr && !part.instances.empty()) {
            CRowWriter& writer = WriterOf(*part.table);
            for (std::size_t i = 0; i < part.instances.size(); ++i) {
                row_ = {state.known.machine, std::int64_t{part.instances[i]}, time_,
                        std::monostate{}};
                const auto cells = part.CellsOf(i);
                row_.insert(row_.end(), cells.begin(), cells.end());
                writer.Add(row_);
            }
        }
        AddOthers(state, section, part, false);
    }

    /// Since when a fact holds of which only the latest is kept depends on the reports that were
    /// loaded, so that nobody is told.
    void AddOthers(const MachineState& state, std::string_view section, const PartRows& part,
                   bool isLatest)
    {
        for (const PartRows::Other& fact : part.others)
            Add("other_fact", "machine, section, property, instance, latest, valid_from, value",
                {state.known.machine, section, fact.property, std::int64_t{fact.instance},
                 std::int64_t{isLatest}, isLatest ? Value{} : Value{time_}, fact.value});
    }

    /// Puts a section's rows of rows_ in place of the latest ones.
    void StoreLatest(MachineState& state, const Section& section)
    {
        SetDigest(state, section.name, section.latestDigest);
        const PartRows& part = rows_.latest;
        if (!state.isNew) {
            const std::array<Value, 2> key{state.known.machine, section.name};
            if (part.table != nullptr)
                database_.Query("DELETE FROM " + part.table->name + " WHERE machine = $1",
                                std::span{key}.first(1), [](std::span<const Value>) {});
            database_.Query("DELETE FROM other_fact WHERE machine = $1 AND section = $2 AND latest",
                            key, [](std::span<const Value>) {});
        }
        if (part.table != nullptr && !part.instances.empty()) {
            CRowWriter& writer = WriterOf(*part.table);
            for (std::size_t i = 0; i < part.instances.size(); ++i) {
                row_ = {state.known.machine, std::int64_t{part.instances[i]}};
                const auto cells = part.CellsOf(i);
                row_.insert(row_.end(), cells.begin(), cells.end());
                writer.Add(row_);
            }
        }
        AddOthers(state, section.name, part, true);
    }

    /// Whether what only the latest is kept of differs from what is stored; from now on it is the same.
    bool IsNewDigest(MachineState& state, std::string_view section, const std::string& digest,
                     bool isEmpty)
    {
        const LatestDigest* const found = Find(state.latestDigests, section);
        if (found == nullptr ? isEmpty : found->digest == digest)
            return false;
        SetDigest(state, section, digest);
        return true;
    }

    void SetDigest(MachineState& state, std::string_view section, const std::string& digest)
    {
        if (LatestDigest* const found = Find(state.latestDigests, section))
            found->digest = digest;
        else
            state.latestDigests.push_back({std::string{section}, digest});
        if (state.isNew)
            Add("latest_digest", "machine, section, digest",
                {state.known.machine, section, digest});
        else
            AddInPlace(digests_, {state.known.machine, section, digest});
    }

    static std::string ElapsedDigest(const StoredReport& report)
    {
        std::string digest = report.isComplete() ? "whole" : "part";
        for (const std::string& time : report.facts.elapsedTimes())
            digest += '|' + time;
        return digest;
    }

    void StoreElapsed(MachineState& state, const StoredReport& report)
    {
        if (state.hasCompleteTimes && !report.isComplete())
            return;
        const auto& times = report.facts.elapsedTimes();
        if (!IsNewDigest(state, kElapsed, ElapsedDigest(report), times.empty()))
            return;
        if (!state.isNew) {
            database_.Query("DELETE FROM elapsed WHERE machine = $1",
                            std::array<Value, 1>{state.known.machine},
                            [](std::span<const Value>) {});
        }
        state.hasCompleteTimes = report.isComplete();
        for (std::size_t i = 0; i < times.size(); ++i) {
            const auto number = report::ExactNumber(times[i]);
            Add("elapsed", "machine, place, category, milliseconds, value, at, complete",
                {state.known.machine, static_cast<std::int64_t>(i),
                 report::ElapsedCategory(times.size(), i), number ? Value{*number} : Value{},
                 number ? Value{} : Value{times[i]}, time_, std::int64_t{report.isComplete()}});
        }
    }

    /// Elapsed times of which only the latest ones count, and those of a whole report before others.
    void StoreLateElapsed(MachineState& state, const StoredReport& report)
    {
        if (state.hasCompleteTimes != report.isComplete()) {
            if (report.isComplete())
                StoreElapsed(state, report);
            return;
        }
        std::string next;
        database_.Query(
            "SELECT " + Time("MIN(at)") +
                " FROM report_time WHERE machine = $1 AND at > $2 AND (complete OR NOT EXISTS "
                "(SELECT 1 FROM elapsed e WHERE e.machine = $3 AND e.complete))",
            std::array<Value, 3>{state.known.machine, time_, state.known.machine},
            [&](std::span<const Value> row) { next = TextIn(row[0]); });
        if (next.empty()) {
            StoreElapsed(state, report);
            return;
        }
        // The time is that of the first one in a row that took as long.
        const LatestDigest* const known = Find(state.latestDigests, kElapsed);
        const bool isSame = known != nullptr && known->digest == ElapsedDigest(report);
        database_.Query(
            std::string{"UPDATE elapsed SET at = $1 WHERE machine = $2 AND at "} +
                (isSame ? "= $3" : "< $3"),
            std::array<Value, 3>{isSame ? time_ : next, state.known.machine, isSame ? next : time_},
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
        std::string next;
        database_.Query(
            "SELECT " + Time("MIN(at)") + " FROM report_time WHERE machine = $1 AND at > $2",
            std::array<Value, 2>{state.known.machine, time_},
            [&](std::span<const Value> row) { next = TextIn(row[0]); });
        const std::string before = report.time > state.first ? InstallationAt(state, time_) : told,
                          after = InstallationAt(state, next);
        database_.Query(
            "DELETE FROM machine_event WHERE machine = $1 AND at = $2 AND event = 're-imaged'",
            std::array<Value, 2>{state.known.machine, next}, [](std::span<const Value>) {});
        if (before != told)
            AddEvent(state, time_, "re-imaged", before + std::string{kTo} + told);
        if (told != after)
            AddEvent(state, next, "re-imaged", told + std::string{kTo} + after);
    }

    void StorePlaceholders(MachineState& state, const StoredReport& report,
                           std::string_view section)
    {
        if (std::ranges::find(kFilledInByMakers, section,
                              [](const auto& row) { return row.first; }) == kFilledInByMakers.end())
            return;
        const std::string prefix = std::string{section} + '.';
        std::string digest;
        for (const auto& [property, value] : report.placeholders)
            if (property.starts_with(prefix))
                digest.append(property).append(1, '\t').append(value).append(1, '\n');
        // No section is called so.
        if (!IsNewDigest(state, std::string{section} + " placeholders", digest, digest.empty()))
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
    void StoreLate(MachineState& state, const StoredReport& report)
    {
        StoreGaps(state, report);
        std::set<std::string_view> latest;  // sections that no later report has
        for (const Section& section : report.facts.sections()) {
            Collected* found = Find(state.collected, section.name);
            const bool isLatest = found == nullptr || (found->seen && *found->seen < report.time);
            const auto next =
                isLatest ? std::nullopt
                         : history_.NextReport(state.known.machine, found->section, report.time);
            if (!next) {
                latest.insert(section.name);
                StoreSection(state, report, section);
                found = Find(state.collected, section.name);
                found->seen = report.time;
                found->isChanged = true;
                continue;
            }
            rows_.Make(report.facts, section);
            counts_.changes +=
                history_.Insert(state.known.machine, found->section, rows_.history.Copy(),
                                found->empty, report.time, *next);
            const bool isSame = found->digest == section.historyDigest;
            if (isSame ? found->since == *next : found->since < report.time) {
                found->since = isSame ? report.time : *next;
                found->isChanged = true;
            }
        }
        StoreLateElapsed(state, report);
        StoreLateInstallation(state, report);
        UpdateIdentity(state, report.identity,
                       [&](std::string_view section) { return latest.contains(section); });
        state.first = std::min(state.first, report.time);
        state.isChanged = true;
    }

    void Add(const char* table, const char* columns, std::initializer_list<Value> row)
    {
        WriterOf(table, columns).Add({row.begin(), row.size()});
    }

    CRowWriter& WriterOf(const SectionTable& table)
    {
        auto& writer = writers_[table.name];
        if (writer == nullptr)
            writer = database_.Insert(
                table.name, (table.isLatestOnly ? "machine, instance, "
                                                : "machine, instance, valid_from, valid_to, ") +
                                table.ColumnList());
        return *writer;
    }

    CRowWriter& WriterOf(const char* table, const char* columns)
    {
        auto& writer = writers_[table];
        if (writer == nullptr)
            writer = database_.Insert(table, columns);
        return *writer;
    }

    /// Writes everything that waits.
    void Flush()
    {
        std::set<std::int64_t> changed;
        history_.MakeChanges([&](std::int64_t machine, std::uint64_t changes) {
            counts_.changes += changes;
            if (changes != 0)
                changed.insert(machine);
        });
        counts_.changed += changed.size();
        for (const std::int64_t id : touched_) {
            MachineState& state = machines_.at(id);
            const std::string first = FormatIsoTime(state.first), last = FormatIsoTime(state.last);
            if (state.isNew || state.isChanged) {
                const Identity& identity = state.known.identity;
                const std::initializer_list<Value> row{id,
                                                       identity.name,
                                                       identity.maker,
                                                       identity.model,
                                                       identity.serial,
                                                       identity.uuid,
                                                       identity.installation,
                                                       identity.Kind(),
                                                       first,
                                                       last};
                if (state.isNew)
                    Add("machine", kMachineColumns, row);
                else
                    AddInPlace(changedMachines_, row);
            } else if (state.isSeen) {
                AddInPlace(seenMachines_, {id, last});
            }
            if (state.areKeysChanged) {
                if (!state.isNew)
                    database_.Query("DELETE FROM machine_key WHERE machine = $1",
                                    std::array<Value, 1>{id}, [](std::span<const Value>) {});
                for (const auto& [kind, value] : KeysOf(state.known.identity))
                    Add("machine_key", "machine, kind, value", {id, kind, value});
            }
            for (Collected& collected : state.collected) {
                if (!std::exchange(collected.isChanged, false))
                    continue;
                const std::string since = FormatIsoTime(collected.since),
                                  seen = FormatIsoTime(collected.seen.value_or(0));
                const std::initializer_list<Value> row{id,
                                                       collected.section,
                                                       collected.digest,
                                                       since,
                                                       collected.seen ? Value{seen} : Value{},
                                                       std::int64_t{collected.isComplete},
                                                       collected.rights,
                                                       collected.empty};
                if (state.isNew)
                    Add("collected_section", kCollectedColumns, row);
                else
                    AddInPlace(changedCollected_, row);
            }
            state.isNew = state.isChanged = state.isSeen = state.areKeysChanged = false;
        }
        touched_ = {current_};
        counts_.conflicts += conflicts_.size();
        for (const auto& [one, other, reason] : std::exchange(conflicts_, {}))
            AddInPlace(newConflicts_, {one, other, reason});
        for (const auto& [key, detail] : std::exchange(events_, {}))
            AddInPlace(newEvents_, {std::get<0>(key), std::get<1>(key), std::get<2>(key), detail});
        for (const auto& [table, writer] : writers_)
            writer->Finish();
        for (InPlace* const rows : {&changedMachines_, &seenMachines_, &changedCollected_,
                                    &digests_, &files_, &newConflicts_, &newEvents_})
            PutInPlace(rows);
    }

    /// Rows that take the place of those with the same key, or are added where there is none.
    struct InPlace {
        const char* table;
        const char* columns;
        const char* key;
        bool mayBeNew = true;
        std::unique_ptr<CRowWriter> writer = {};
        bool hasRows = false;

        std::string Waiting() const
        {
            return std::string{"new_"} + table + (mayBeNew ? "" : "_seen");
        }
    };

    void AddInPlace(InPlace& rows, std::initializer_list<Value> row)
    {
        if (rows.writer == nullptr) {
            database_.Run("CREATE TEMPORARY TABLE IF NOT EXISTS " + rows.Waiting() + " AS SELECT " +
                          rows.columns + " FROM " + rows.table + " WHERE 1 = 0; DELETE FROM " +
                          rows.Waiting());
            rows.writer = database_.Insert(rows.Waiting(), rows.columns);
        }
        rows.hasRows = true;
        rows.writer->Add({row.begin(), row.size()});
    }

    void PutInPlace(InPlace* rows)
    {
        if (!std::exchange(rows->hasRows, false))
            return;
        rows->writer->Finish();
        const std::string table = rows->table, columns = rows->columns, key = rows->key;
        std::string set;
        for (std::size_t begin = 0; begin < columns.size();) {
            const std::size_t end = std::min(columns.find(", ", begin), columns.size());
            const std::string column = columns.substr(begin, end - begin);
            if ((", " + key + ", ").find(", " + column + ", ") == std::string::npos)
                set.append(set.empty() ? "" : ", ")
                    .append(column)
                    .append(" = ")
                    .append(rows->mayBeNew ? "excluded." : "n.")
                    .append(column);
            begin = end + 2;
        }
        if (rows->mayBeNew)
            database_.Run("INSERT INTO " + table + " (" + columns + ") SELECT " + columns +
                          " FROM " + rows->Waiting() + " WHERE 1 = 1 ON CONFLICT (" + key +
                          ") DO " + (set.empty() ? "NOTHING" : "UPDATE SET " + set));
        else
            database_.Run("UPDATE " + table + " SET " + set + " FROM " + rows->Waiting() +
                          " n WHERE n." + key + " = " + table + '.' + key);
        database_.Run("DELETE FROM " + rows->Waiting());
    }

    std::string Time(const std::string& column) const
    {
        return TimeText(database_.engine(), column);
    }

    std::string Seconds(const std::string& column) const
    {
        return TimeSeconds(database_.engine(), column);
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
    std::string time_;                ///< of the report that is being stored
    CSectionRows rows_;               ///< of its section that was looked at last
    std::vector<Value> row_;          // kept for its memory
    std::map<std::string_view, std::unique_ptr<CRowWriter>> writers_;  ///< by table
    std::set<std::tuple<std::int64_t, std::int64_t, std::string>> conflicts_;
    std::map<std::tuple<std::int64_t, std::string, std::string>, std::string> events_;
    InPlace changedMachines_{"machine", kMachineColumns, "machine"};
    InPlace seenMachines_{"machine", "machine, last_seen", "machine", false};
    InPlace changedCollected_{"collected_section", kCollectedColumns, "machine, section"};
    InPlace digests_{"latest_digest", "machine, section, digest", "machine, section"};
    InPlace files_{"report_file", "host, path, size, modified, sidecar, machine", "host, path"};
    InPlace newEvents_{"machine_event", "machine, at, event, detail", "machine, at, event"};
    InPlace newConflicts_{"machine_conflict", "machine, other, reason", "machine, other, reason"};
};

}  // namespace

StoredReport StoredReport::From(CReportFacts facts, SourceFile file, std::int64_t time,
                                std::string_view rights, std::string_view uuid,
                                std::string_view installation)
{
    const report::Report named =
        facts.Pick([](std::string_view section, std::string_view property) {
            return std::ranges::find(kNaming, std::pair{section, property}) != kNaming.end();
        });
    StoredReport stored{std::move(file),     time,
                        std::string{rights}, IdentityOf(named, uuid, installation),
                        std::move(facts),    {}};
    for (const auto& [section, property] : kFilledInByMakers)
        for (const report::Instance& instance : report::InstancesOf(named, section))
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
    conflicts += other.conflicts;
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
