#include "client/fleet/pages.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <exception>
#include <fstream>
#include <map>
#include <mutex>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "client/fleet/machine_report.h"
#include "client/fleet/views.h"
#include "client/page/markup.h"
#include "client/page/page.h"
#include "client/report/typed_value.h"
#include "client/report/units.h"
#include "client/system/exit_codes.h"
#include "client/system/new_file.h"
#include "fleet_assets.h"
#include "page_style.h"

namespace orrery::fleet {
namespace {

using page::Bar;
using page::CMarkup;
using page::Element;
using page::Link;
using page::Text;

/// A PC as the list shows it.
struct Listed {
    std::string name, serial, model, system, version, seen;
    std::int64_t memory = 0;
    std::set<std::string> tags;  ///< the numbers of the page that count it
};

/// A number of the page: what is counted, and the tag of the PCs that are.
struct Count {
    std::string label, tag;
    const char* kind = "";  ///< of its bar: "", "warn" or "bad"
};

constexpr std::int64_t kDay = 86'400;
constexpr std::int64_t kWeek = 7, kMonth = 30;
/// A report may invent systems and sections, which are not to fill the page.
constexpr std::size_t kMostSystems = 8, kMostSections = 24;

std::int64_t Now()
{
    return std::chrono::duration_cast<std::chrono::seconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

std::string Counted(std::size_t count, const char* one, const char* many)
{
    return std::to_string(count) + ' ' + (count == 1 ? one : many);
}

class CPages {
public:
    explicit CPages(CDatabase& database) : database_(database)
    {
        ReadList();
        for (const std::string kind : {"system", "version"})
            TagOthers(kind);
        Tag("windows11", "machine, verdict, tpm, secure_boot, memory, firmware",
            [](std::span<const Value> row, Listed& pc) {
                pc.tags.insert("windows11=" + std::string{TextIn(row[1])});
                const char* const names[] = {"tpm", "secure_boot", "memory", "firmware"};
                for (std::size_t i = 0; i < std::size(names); ++i)
                    if (const auto state = TextIn(row[i + 2]); state == "no" || state == "off")
                        pc.tags.insert(std::string{names[i]} + '=' + std::string{state});
            });
        Tag("bitlocker_off", "machine, status", [](std::span<const Value> row, Listed& pc) {
            pc.tags.insert("bitlocker=" + std::string{TextIn(row[1])});
        });
        for (const auto& [view, tag] :
             {std::pair{"disk_low", "disk=low"}, std::pair{"memory_slots_free", "slots=free"},
              std::pair{"placeholder_serials", "placeholder"}, std::pair{"conflicts", "conflict"}})
            Tag(view, "machine",
                [tag = tag](std::span<const Value>, Listed& pc) { pc.tags.insert(tag); });
        TagChanges();
    }

    std::size_t size() const noexcept { return machines_.size(); }

    std::string Index() const
    {
        // Only this page's own script may run: whatever a report says does not know the word.
        std::random_device chance;
        std::string nonce;
        for (int i = 0; i < 4; ++i)
            nonce += std::to_string(chance());
        std::string html =
            "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
            "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src "
            "'unsafe-inline'; script-src 'nonce-" +
            nonce +
            "'; base-uri 'none'; form-action 'none'\">\n"
            "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
            "<meta name=\"color-scheme\" content=\"light dark\">\n"
            "<meta name=\"referrer\" content=\"no-referrer\">\n<title>Fleet of " +
            Counted(size(), "PC", "PCs") + "</title>\n<style>\n";
        html += page::kStyle;
        html += kFleetStyle;
        html += "</style>\n</head>\n<body>\n<main>\n";
        html += Header().html();
        html += Element("div", "flow", Cards()).html();
        html += R"(
<h2>PCs</h2>
<section id="list" class="card" aria-label="List of PCs">
<div class="tools"><label for="search">Search by name, serial number, model, system or day
<input id="search" type="search" autocomplete="off" spellcheck="false"></label>
<p id="count" role="status"></p><button id="every" type="button" hidden>Show all</button></div>
<div class="scroll" tabindex="0" role="region" aria-label="PCs"><table class="list"><thead><tr>)";
        for (const auto& [column, head] :
             {std::pair{"name", "Name"}, std::pair{"model", "Model"}, std::pair{"system", "System"},
              std::pair{"version", "Version"}, std::pair{"memory", "Memory"},
              std::pair{"seen", "Last seen (UTC)"}})
            html += std::string{"<th scope=\"col\" data-column=\""} + column +
                    "\"><button type=\"button\">" + head + "</button></th>";
        html +=
            "</tr></thead><tbody></tbody></table></div>\n<button id=\"more\" type=\"button\" "
            "hidden>Show more</button>\n</section>\n</main>\n<script id=\"data\" "
            "type=\"application/json\" nonce=\"" +
            nonce + "\">" + Data() + "</script>\n<script nonce=\"" + nonce + "\">\n";
        html += kFleetScript;
        html += "</script>\n</body>\n</html>\n";
        return html;
    }

private:
    void ReadList()
    {
        const std::int64_t now = Now();
        database_.Query(
            "SELECT machine, name, maker, model, system, version, memory_mib, last_seen, serial "
            "FROM pc",
            [&](std::span<const Value> row) {
                Listed& pc = machines_[NumberIn(row[0])];
                pc.name = TextIn(row[1]);
                pc.model = TextIn(row[2]);
                pc.model += (pc.model.empty() || TextIn(row[3]).empty() ? "" : " ") +
                            std::string{TextIn(row[3])};
                pc.system = TextIn(row[4]);
                pc.version = TextIn(row[5]);
                pc.memory = NumberIn(row[6]);
                pc.seen = TextIn(row[7]);
                pc.serial = TextIn(row[8]);
                pc.tags.insert("system=" + pc.system);
                pc.tags.insert("version=" + pc.version);
                pc.tags.insert("memory=" + std::to_string(MemoryClass(pc.memory)));
                const std::int64_t days = (now - report::SecondsOf(pc.seen).value_or(0)) / kDay;
                pc.tags.insert(days < 1        ? "seen=day"
                               : days < kWeek  ? "seen=week"
                               : days < kMonth ? "seen=month"
                                               : "seen=longer");
            });
    }

    /// Marks the PCs of which a card does not show what they have, as it shows the most frequent only.
    void TagOthers(const std::string& kind)
    {
        std::set<std::string> shown;
        for (const auto& [label, count] : Most(kind + '=', kMostSystems))
            shown.insert(kind + '=' + label);
        for (auto& [number, pc] : machines_)
            if (std::ranges::none_of(pc.tags,
                                     [&](const std::string& tag) { return shown.contains(tag); }))
                pc.tags.insert("other_" + kind);
    }

    void Tag(const std::string& view, const std::string& columns,
             const std::function<void(std::span<const Value>, Listed&)>& onRow)
    {
        database_.Query("SELECT " + columns + " FROM " + view, [&](std::span<const Value> row) {
            if (const auto found = machines_.find(NumberIn(row[0])); found != machines_.end())
                onRow(row, found->second);
        });
    }

    void TagChanges()
    {
        const std::string since = report::FormatIsoTime(Now() - kWeek * kDay).substr(0, 10);
        const Value parameters[] = {std::string_view{since}};
        database_.Query("SELECT machine, section FROM changed_since WHERE day >= $1", parameters,
                        [&](std::span<const Value> row) {
                            if (const auto found = machines_.find(NumberIn(row[0]));
                                found != machines_.end()) {
                                const std::string section{TextIn(row[1])};
                                found->second.tags.insert("changed");
                                found->second.tags.insert("changed=" + section);
                            }
                        });
    }

    std::size_t CountOf(const std::string& tag) const
    {
        return static_cast<std::size_t>(std::ranges::count_if(
            machines_, [&](const auto& pc) { return pc.second.tags.contains(tag); }));
    }

    CMarkup Header() const
    {
        std::string latest;
        for (const auto& [number, pc] : machines_)
            latest = std::max(latest, pc.seen);
        return Element(
            "header", "",
            Element("p", "label", CMarkup{"Fleet"}) +
                Element("h1", "", Link("#all", Text(Counted(size(), "PC", "PCs")))) +
                Element("p", "muted",
                        Text(latest.empty() ? "No report yet" : "Latest report " + latest)));
    }

    /// A card of numbers, each of which leads to its PCs.
    CMarkup Card(const char* heading, const std::vector<Count>& counts) const
    {
        CMarkup rows;
        for (const Count& count : counts) {
            const std::size_t number = CountOf(count.tag);
            const std::string words = std::to_string(number);
            const double share =
                machines_.empty() ? 0 : static_cast<double>(number) / static_cast<double>(size());
            const std::string fill = std::string{"fill "} + count.kind;
            const CMarkup amount =
                number == 0
                    ? Text(words)
                    : Link('#' + Encoded(count.tag), Text(words),
                           Counted(number, "PC", "PCs") + ": " + heading + ", " + count.label);
            rows += Element("div", "row",
                            Element("span", "", Text(count.label)) +
                                Element("div", "track", Bar(fill.c_str(), share)) +
                                Element("span", "number", amount));
        }
        return Element("section", "card",
                       Element("h2", "", Text(heading)) + Element("div", "rows", rows));
    }

    CMarkup Cards() const
    {
        std::vector<Count> changes{{"anything", "changed"}}, memory;
        for (const auto& [section, count] : Most("changed=", kMostSections))
            changes.push_back({section, "changed=" + section});
        for (const std::int64_t gibibytes : {2, 4, 8, 16, 32, 64}) {
            const std::string least = std::to_string(gibibytes);
            memory.push_back({gibibytes == 2 ? "under 4 GiB"
                              : gibibytes == 64
                                  ? "64 GiB and more"
                                  : least + " to " + std::to_string(gibibytes * 2) + " GiB",
                              "memory=" + least, gibibytes == 2 ? "warn" : ""});
        }
        if (CountOf("memory=0") != 0)
            memory.push_back({"not known", "memory=0"});
        return Card("How fresh", {{"within a day", "seen=day"},
                                  {"1 to 7 days ago", "seen=week"},
                                  {"7 to 30 days ago", "seen=month"},
                                  {"longer ago", "seen=longer", "bad"}}) +
               Card("Systems", Kinds("system")) + Card("Versions", Kinds("version")) +
               Card("Windows 11", {{"ready", "windows11=yes"},
                                   {"after a setting", "windows11=off", "warn"},
                                   {"not known", "windows11=unknown"},
                                   {"not ready", "windows11=no", "bad"},
                                   {"TPM missing or old", "tpm=no", "bad"},
                                   {"TPM switched off", "tpm=off", "warn"},
                                   {"no Secure Boot", "secure_boot=no", "bad"},
                                   {"Secure Boot off", "secure_boot=off", "warn"},
                                   {"too little memory", "memory=no", "bad"}}) +
               Card("Encryption", {{"a volume not protected", "bitlocker=off", "bad"},
                                   {"a volume not known", "bitlocker=unknown", "warn"}}) +
               Card("Disks and memory slots", {{"a disk nearly full", "disk=low", "bad"},
                                               {"free memory slots", "slots=free"}}) +
               Card("Memory", memory) + Card("Changed in the last week", changes) +
               Card("To be looked at", {{"placeholder serials", "placeholder", "warn"},
                                        {"hard to tell apart", "conflict", "warn"}}) +
               SlowCategories();
    }

    /// What there is of a kind, the most frequent by name.
    std::vector<Count> Kinds(const std::string& kind) const
    {
        std::vector<Count> counts;
        for (const auto& [label, count] : Most(kind + '=', kMostSystems))
            counts.push_back({label.empty() ? "not known" : label, kind + '=' + label});
        if (CountOf("other_" + kind) != 0)
            counts.push_back({"others", "other_" + kind});
        return counts;
    }

    CMarkup SlowCategories() const
    {
        CMarkup rows;
        std::map<std::string, std::int64_t> byName;
        for (const auto& [number, pc] : machines_)
            byName.emplace(pc.name, number);
        database_.Query(
            "SELECT category, median_ms, p95_ms, slowest FROM slow_categories ORDER BY p95_ms "
            "DESC, "
            "category",
            [&](std::span<const Value> row) {
                const std::string slowest{TextIn(row[3])};
                const auto found = byName.find(slowest);
                const CMarkup name =
                    found == byName.end()
                        ? Text(slowest)
                        : Link("pc/" + std::to_string(found->second) + ".html", Text(slowest));
                rows +=
                    Element("tr", "",
                            Element("td", "", Text(TextIn(row[0]))) +
                                Element("td", "number", Text(std::to_string(NumberIn(row[1])))) +
                                Element("td", "number", Text(std::to_string(NumberIn(row[2])))) +
                                Element("td", "", name));
            });
        return Element(
            "section", "card",
            Element("h2", "", CMarkup{"Slow categories, in milliseconds"}) +
                Element("table", "list slow",
                        CMarkup{"<thead><tr><th scope=\"col\">Category</th><th "
                                "scope=\"col\" class=\"number\">Median</th><th scope=\"col\" "
                                "class=\"number\">95 %</th><th "
                                "scope=\"col\">Slowest</th></tr></thead>"} +
                            Element("tbody", "", rows)));
    }

    /// The most frequent tags of a kind, the most frequent first.
    std::vector<std::pair<std::string, std::size_t>> Most(std::string_view kind,
                                                          std::size_t limit) const
    {
        std::map<std::string, std::size_t> counts;
        for (const auto& [number, pc] : machines_)
            for (const std::string& tag : pc.tags)
                if (tag.starts_with(kind))
                    ++counts[tag.substr(kind.size())];
        std::vector<std::pair<std::string, std::size_t>> most{counts.begin(), counts.end()};
        std::ranges::stable_sort(most, std::greater<>{},
                                 [](const auto& each) { return each.second; });
        most.resize(std::min(most.size(), limit));
        return most;
    }

    /// The size of the class that some memory is in, in GiB: half of what the next class begins with, or 0
    /// where it is not known.
    static std::int64_t MemoryClass(std::int64_t mebibytes)
    {
        std::int64_t gibibytes = mebibytes == 0 ? 0 : 64;
        while (gibibytes > 2 && mebibytes < gibibytes * 1024)
            gibibytes /= 2;
        return gibibytes;
    }

    /// A text as the part of an address after "#".
    static std::string Encoded(std::string_view text)
    {
        constexpr char kDigits[] = "0123456789ABCDEF";
        std::string encoded;
        for (const char unit : text) {
            const auto byte = static_cast<unsigned char>(unit);
            const bool isPlain = (byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'Z') ||
                                 (byte >= 'a' && byte <= 'z') || byte == '=' || byte == '_';
            if (isPlain)
                encoded += unit;
            else
                encoded += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
        }
        return encoded;
    }

    std::string Data() const
    {
        auto list = nlohmann::ordered_json::array();
        for (const auto& [number, pc] : machines_)
            list.push_back({{"id", number},
                            {"name", pc.name},
                            {"serial", pc.serial},
                            {"model", pc.model},
                            {"system", pc.system},
                            {"version", pc.version},
                            {"memory", pc.memory},
                            {"seen", pc.seen},
                            {"tags", pc.tags}});
        // In a script no text may look like the end of one.
        std::string text = list.dump(-1, ' ', true, nlohmann::json::error_handler_t::replace);
        std::string safe;
        for (const char unit : text)
            if (unit == '<')
                safe += "\\u003c";
            else
                safe += unit;
        return safe;
    }

    CDatabase& database_;
    std::map<std::int64_t, Listed> machines_;
};

[[noreturn]] void FailToWrite(const std::filesystem::path& path, const std::string& reason)
{
    throw CommandError(ExitCode::kReport, "cannot write " + path.string() + ": " + reason);
}

/// Writes the pages of machines on threads of their own.
class CPageWriters {
public:
    explicit CPageWriters(std::filesystem::path folder) : folder_(std::move(folder))
    {
        for (unsigned i = 0; i < std::max(1U, std::thread::hardware_concurrency()); ++i)
            threads_.emplace_back([this] { Work(); });
    }
    ~CPageWriters() { Join(); }
    CPageWriters(const CPageWriters&) = delete;
    CPageWriters& operator=(const CPageWriters&) = delete;

    void Add(std::int64_t machine, report::Report report)
    {
        std::unique_lock lock{mutex_};
        changed_.wait(lock, [&] { return waiting_.size() < kMostWaiting || failure_; });
        Rethrow();
        waiting_.emplace_back(machine, std::move(report));
        changed_.notify_all();
    }
    void Finish()
    {
        Join();
        Rethrow();
    }

private:
    /// So that memory does not grow with the number of machines.
    static constexpr std::size_t kMostWaiting = 64;

    void Join()
    {
        {
            const std::lock_guard lock{mutex_};
            isComplete_ = true;
        }
        changed_.notify_all();
        for (std::thread& thread : threads_)
            thread.join();
        threads_.clear();
    }
    void Rethrow() const
    {
        if (failure_)
            std::rethrow_exception(failure_);
    }
    void Work()
    {
        for (;;) {
            std::pair<std::int64_t, report::Report> next;
            {
                std::unique_lock lock{mutex_};
                changed_.wait(lock, [&] { return !waiting_.empty() || isComplete_ || failure_; });
                if (waiting_.empty() || failure_)
                    return;
                next = std::move(waiting_.front());
                waiting_.pop_front();
            }
            changed_.notify_all();
            try {
                Write(next.first, next.second);
            } catch (...) {
                const std::lock_guard lock{mutex_};
                failure_ = std::current_exception();
                changed_.notify_all();
                return;
            }
        }
    }
    void Write(std::int64_t machine, const report::Report& report) const
    {
        std::string page;
        report::WriteHtml(report, [&](std::string_view part) { page += part; });
        // Written in place: thousands of pages that can be made again need not survive a power cut.
        const auto path = folder_ / (std::to_string(machine) + ".html");
        std::ofstream file{path, std::ios::binary};
        if (!file.write(page.data(), static_cast<std::streamsize>(page.size())).flush())
            FailToWrite(path, "the disk may be full");
    }

    const std::filesystem::path folder_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::pair<std::int64_t, report::Report>> waiting_;
    bool isComplete_ = false;
    std::exception_ptr failure_;
    std::vector<std::thread> threads_;
};

}  // namespace

std::uint64_t WritePages(CDatabase& database, const std::filesystem::path& folder)
{
    std::error_code error;
    std::filesystem::create_directories(folder / "pc", error);
    if (error)
        throw CommandError(ExitCode::kReport, "the folder \"" + folder.string() +
                                                  "\" cannot be made: " + error.message() +
                                                  "; choose another one");
    const CPages pages{database};
    CPageWriters writers{folder / "pc"};
    ReadMachines(database, [&](std::int64_t machine, report::Report&& report) {
        writers.Add(machine, std::move(report));
    });
    writers.Finish();
    // The start page last: what it leads to is there.
    CNewFile index{folder / "index.html"};
    index.Write(pages.Index());
    if (const std::error_code failure = index.Publish())
        FailToWrite(folder / "index.html", failure.message());
    return pages.size();
}

}  // namespace orrery::fleet
