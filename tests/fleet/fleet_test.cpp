#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "client/fleet/ask.h"
#include "client/fleet/export.h"
#include "client/fleet/load.h"
#include "client/fleet/machine_report.h"
#include "client/fleet/schema.h"
#include "client/report/typed_value.h"
#include "report/case_file.h"
#include "report/made_report.h"

namespace orrery::fleet {
namespace {

struct Told {
    std::int64_t time;
    std::string facts;
    std::string uuid{}, installation{}, rights{};
};

/// The same tests for either engine; a server's address comes from outside.
class Fleet : public testing::TestWithParam<Engine> {
protected:
    void SetUp() override { Renew(); }
    void TearDown() override { std::filesystem::remove_all(folder); }

    /// An empty database in place of the one before.
    void Renew()
    {
        database.reset();
        if (GetParam() == Engine::kSqlite) {
            database = OpenDatabase("", true);
        } else {
            const char* const address = std::getenv("ORRERY_TEST_POSTGRES");
            if (address == nullptr)
                GTEST_SKIP() << "no server to test with";
            database = OpenDatabase(address, true);
            database->Run("DROP SCHEMA IF EXISTS public CASCADE; CREATE SCHEMA public");
        }
        PrepareSchema(*database);
    }

    StoreCounts Store(const std::vector<Told>& reports)
    {
        std::vector<StoredReport> stored;
        for (const Told& told : reports)
            stored.push_back(StoredReport::From(CReportFacts::Of(MadeReport(told.facts)),
                                                {"/" + std::to_string(++files), 1, 1, 0}, told.time,
                                                told.rights, told.uuid, told.installation));
        return StoreReports(*database, "here", std::move(stored), &refusals);
    }

    void StoreOne(const report::Report& report, std::int64_t time)
    {
        std::vector<StoredReport> stored;
        stored.push_back(
            StoredReport::From(CReportFacts::Of(report), {"/1", 1, time, 0}, time, "", "", ""));
        StoreReports(*database, "here", std::move(stored), &refusals);
    }

    std::string Answer(const std::string& view, const std::optional<std::string>& bound = {})
    {
        return Written(&WriteAnswer, *FindView(view), bound, AnswerForm::kCsv);
    }
    template <class Write>
    std::string Written(Write write, const View& view, const std::optional<std::string>& bound,
                        AnswerForm form)
    {
        std::string text;
        write(*database, view, bound, form, [&](std::string_view part) { text += part; });
        std::erase(text, '\r');
        return text;
    }

    /// All tables as text.
    std::string Dump()
    {
        Export(*database, folder, ExportForm::kCsv);
        std::map<std::string, std::string> texts;
        for (const auto& file : std::filesystem::directory_iterator{folder})
            if (file.path().extension() == ".csv") {
                std::ifstream text{file.path()};
                texts[file.path().filename().string()] =
                    std::string{std::istreambuf_iterator<char>{text}, {}};
            }
        std::string dump;
        for (const auto& [name, text] : texts)
            dump.append("# ").append(name).append(1, '\n').append(text);
        return dump;
    }

    std::int64_t Count(const std::string& from)
    {
        std::int64_t count = -1;
        database->Query("SELECT COUNT(*) FROM " + from,
                        [&](std::span<const Value> row) { count = NumberIn(row[0]); });
        return count;
    }

    std::unique_ptr<CDatabase> database;
    std::vector<Refusal> refusals;
    int files = 0;
    const std::filesystem::path folder = std::filesystem::temp_directory_path() /
                                         ("orrery-fleet-" + std::to_string(std::random_device{}()));
};

constexpr char kPc[] =
    "BIOS/0/SerialNumber/S1/SystemMan/Halvorsen/SystemMod/M1\nComputerSystem/0/Name/PC\n";

TEST_P(Fleet, ComesToTheSameInWhateverOrderReportsCome)
{
    const std::vector<Told> reports{
        {100, std::string{kPc} +
                  "LogicalDisk/0/DeviceID/C:/FreeSpace/5/Size/10\nUSBDevice/0/Name/A\n"
                  "USBDevice/1/Name/B\nUnheard/3/Of/x\nET/0//1\n"
                  "BaseBoard/0/Product/None\nNetworkAdapter/0/IPAddress/i/MACAddress/"
                  "00-1B-21-00-00-01/NetworkBand//PhysicalAdapter/Physical/Speed/\n"},
        {200, std::string{kPc} +
                  "LogicalDisk/0/DeviceID/C:/FreeSpace/6/Size/20\nUSBDevice/0/Name/B\n"
                  "Unheard/3/Of/x\nSystemEnclosure/0/ChassisTypes/Laptop\nET/0//2\n"
                  "NetworkAdapter/0/IPAddress/j/MACAddress/00-1B-21-00-00-01/NetworkBand//"
                  "PhysicalAdapter/Physical/Speed/7\n"},
        {300, std::string{kPc} +
                  "LogicalDisk/0/DeviceID/C:/FreeSpace/7/Size/10\nUSBDevice/0/Name/A\n"
                  "USBDevice/1/Name/B\nUnheard/3/Of/y\nET/0//3\n"},
        {400, std::string{kPc} +
                  "LogicalDisk/0/DeviceID/C:/FreeSpace/8/Size/010\n"
                  "LogicalDisk/1/DeviceID/D:/FreeSpace//Size/\nUSBDevice/0/Name/A\n"
                  "Unheard/3/Of/y\nSystemEnclosure/0/ChassisTypes/Desktop\nET/0//3\n"}};
    for (const Told& told : reports)
        Store({told});
    const std::string inOrder = Dump();
    // A disk that only moved to another index is no change.
    EXPECT_EQ(Count("change WHERE section = 'USBDevice'"), 3);
    EXPECT_EQ(Count("change WHERE section = 'LogicalDisk' AND property = 'Size' AND label = 'C:'"),
              3);
    // Facts of which only the latest are kept make no history, not even by being empty.
    EXPECT_EQ(Count("change WHERE section = 'NetworkAdapter' AND before = '' AND after = '7'"), 1);
    EXPECT_EQ(Count("change WHERE section = 'NetworkAdapter'"), 1);
    EXPECT_EQ(Count("placeholder_serials"), 1);
    EXPECT_EQ(Count("logical_disk"), 5);
    EXPECT_EQ(Count("logical_disk_now WHERE free_space = 8"), 1);

    std::vector<std::size_t> order{0, 1, 2, 3};
    int turn = 0;
    while (std::ranges::next_permutation(order).found) {
        // The server takes its time to begin anew.
        if (GetParam() == Engine::kPostgres && ++turn % 5 != 0)
            continue;
        Renew();
        std::vector<Told> shuffled;
        std::string name;
        for (const std::size_t at : order) {
            shuffled.push_back(reports[at]);
            name += std::to_string(at);
        }
        if (turn++ % 2 == 0)
            Store(shuffled);
        else
            for (const Told& told : shuffled)
                Store({told});
        if (Dump() != inOrder)
            ADD_FAILURE() << name;
    }
}

TEST_P(Fleet, WritesNoFactsForAReportThatSaysTheSame)
{
    const std::string facts = std::string{kPc} + "USBDevice/0/Name/A\nET/0//1\n";
    EXPECT_EQ(Store({{100, facts}}).machines, 1U);
    Store({{200, facts}});
    EXPECT_EQ(Count("usb_device"), 1);
    EXPECT_EQ(Count("change"), 0);
    EXPECT_EQ(Count("collected WHERE since <> seen"), 3);
    // The same report once more, under another name; and another one with its time.
    Store({{200, facts}});
    EXPECT_EQ(Count("report_time"), 2);
    EXPECT_TRUE(refusals.empty());
    Store({{200, std::string{kPc} + "USBDevice/0/Name/B\n"}});
    EXPECT_EQ(refusals.size(), 1U);
    // The same of a time before the latest one.
    Store({{100, std::string{kPc} + "USBDevice/0/Name/B\n"}, {100, facts}});
    EXPECT_EQ(refusals.size(), 2U);
    EXPECT_EQ(Count("usb_device WHERE name = 'B'"), 0);
    // What no database's text holds is no other machine and no change when it is read back.
    const std::string null(1, '\0');
    const std::string odd = "BIOS/0/SerialNumber/N" + null +
                            "\nComputerSystem/0/Name/odd\nUSBDevice/0/Name/A" + null + "\n";
    Store({{100, odd}});
    Store({{200, odd + "USBDevice/1/Name/B\n"}});
    EXPECT_EQ(Count("machine"), 2);
    EXPECT_EQ(Count("change"), 1);
}

TEST_P(Fleet, KeepsWhatALaterReportDoesNotTell)
{
    Store({{100, std::string{kPc} + "USBDevice/0/Name/A\n"}});
    Store({{200, kPc}});
    EXPECT_EQ(Count("change"), 0);
    EXPECT_EQ(Count("usb_device WHERE valid_to IS NULL"), 1);
    EXPECT_EQ(Count("collected WHERE section = 'USBDevice' AND seen LIKE '%00:01:40Z'"), 1);
    EXPECT_EQ(Count("collected WHERE section = 'BIOS' AND seen LIKE '%00:03:20Z'"), 1);
}

TEST_P(Fleet, KeepsWhatTheOtherCategoriesOfASectionToldBeforeACancelledRun)
{
    const auto store = [&](std::int64_t time, const std::string& facts,
                           std::vector<std::string_view> lacking) {
        report::Report report = MadeReport("ComputerSystem/0/Name/PC\n" + facts);
        if (!lacking.empty())
            report.completeness.state = report::Completeness::State::kLacksCategories;
        report.completeness.lacking = std::move(lacking);
        StoreOne(report, time);
    };
    store(100,
          "BIOS/0/AssetTag/A7/InstallDate/00-00-70/Mode/UEFI\n"
          "PhysicalMemoryLocation/0/Capacity/5/DeviceLocator/A/MemorySlots/4\n"
          "PhysicalMemoryLocation/1/Capacity//DeviceLocator/B\n",
          {});
    const std::string slots = Answer("memory_slots_free");
    store(200,
          "BIOS/0/AssetTag/A8/InstallDate/00-00-70\n"
          "PhysicalMemoryLocation/0/Capacity/5/DeviceLocator/A\n"
          "PhysicalMemoryLocation/1/Capacity//DeviceLocator/B\n",
          {"SystemOverview"});
    store(300, "BIOS/0/Mode/UEFI\nPhysicalMemoryLocation/0/MemorySlots/4\n", {"BIOS"});
    EXPECT_EQ(Count("change"), 1);
    EXPECT_EQ(Answer("memory_slots_free"), slots);
    EXPECT_EQ(Count("bios WHERE mode = 'UEFI' AND asset_tag = 'A8' AND valid_to IS NULL"), 1);
    EXPECT_TRUE(refusals.empty());
}

TEST_P(Fleet, MovesFactsToTheColumnsThatANewerVocabularyHas)
{
    const std::string facts = std::string{kPc} + "SystemEnclosure/0/ChassisTypes/Laptop\n";
    Store({{100, facts}});
    database->Run(
        "INSERT INTO other_fact (machine, section, property, instance, latest, valid_from, value) "
        "SELECT machine, 'SystemEnclosure', 'ChassisTypes', 0, 1 = 0, valid_from, 'Laptop' FROM "
        "system_enclosure; ALTER TABLE system_enclosure DROP COLUMN chassis_types");
    PrepareSchema(*database);
    Store({{200, facts}});
    EXPECT_EQ(Count("system_enclosure WHERE chassis_types = 'Laptop' AND valid_to IS NULL"), 1);
    EXPECT_EQ(Count("other_fact WHERE valid_to IS NULL"), 0);
    EXPECT_EQ(Count("change"), 0);
}

TEST_P(Fleet, LosesNoFact)
{
    report::Report report = MadeReport(
        "BIOS/0/InstallDate/00-00-70/SerialNumber/S1\n"
        "BIOS/1/SerialNumber//Size/7\n"
        "DiskDrive/0/Caption/a\tb\"c\\d'e/Size/007\n"
        "DiskDrive/3/Size/9223372036854775807/LogicalDisks/\n"
        "LogicalDisk/0/FreeSpace//Size/-5\n"
        "NetworkAdapter/0/DHCPEnabled/maybe/DHCPLeaseExpires/0000-01-01T00:00:00Z/IPAddress//SSID/"
        "\U0001F680\n"
        "OperatingSystem/0/Is64x/true\n"
        "Nobody/0/Knows/\nNobody/2147483647/Knows/1\n"
        "ET/0//12\nET/0//soon\n");
    const auto bios = std::ranges::find(report.sections, "BIOS", &report::Section::name);
    bios->instances[0].properties.push_back({"Version", "line\nfeed\r"});
    for (report::Section& section : report.sections)
        for (report::Instance& instance : section.instances)
            std::ranges::sort(instance.properties, &report::ComesFirst, &report::Property::name);
    std::ranges::sort(report.sections, &report::ComesFirst, &report::Section::name);
    StoreOne(report, 100);
    int machines = 0;
    ReadMachines(*database, [&](std::int64_t, const report::Report& read) {
        ++machines;
        EXPECT_EQ(FactsOf(read), FactsOf(report));
    });
    EXPECT_EQ(machines, 1);
}

TEST_P(Fleet, TellsMachinesOfOneSerialNumberApartInOneLoadOrTwo)
{
    const auto machine = [](const char* name, const char* address) {
        return "BIOS/0/SerialNumber/S1/SystemMan/H/SystemMod/M\nComputerSystem/0/Name/" +
               std::string{name} + "\nNetworkAdapter/0/MACAddress/00-1B-21-00-00-" + address +
               "/PhysicalAdapter/Physical\n";
    };
    for (const bool together : {false, true}) {
        Renew();
        if (together) {
            Store(
                {{100, machine("a", "01")}, {101, machine("b", "02")}, {102, machine("a", "01")}});
        } else {
            Store({{100, machine("a", "01")}});
            EXPECT_EQ(Store({{101, machine("b", "02")}}).conflicts, 1U);
            Store({{102, machine("a", "01")}});
        }
        EXPECT_EQ(Count("machine"), 2) << together;
        EXPECT_NE(Answer("conflicts").find("\n1,a,S1,2,serial,"), std::string::npos);
    }
    // A name on other hardware, and other software on the same.
    Store({{200, "BIOS/0/SerialNumber/S9/SystemMan/H/SystemMod/M\nComputerSystem/0/Name/b\n", "",
            "one"}});
    Store({{300, "BIOS/0/SerialNumber/S9/SystemMan/H/SystemMod/M\nComputerSystem/0/Name/b\n", "",
            "two"}});
    EXPECT_EQ(Count("machine"), 3);
    EXPECT_EQ(Count("machine_event WHERE machine = 3 AND event = 'reused name' AND detail = '2'"),
              1);
    EXPECT_EQ(Count("machine_event WHERE machine = 3 AND event = 're-imaged'"), 1);
    // What comes late is told as if it had come in time.
    Store({{250, "BIOS/0/SerialNumber/S9/SystemMan/H/SystemMod/M\nComputerSystem/0/Name/b\n", "",
            "three"}});
    EXPECT_EQ(Count("machine_event WHERE detail IN ('one to three', 'three to two')"), 2);
    EXPECT_EQ(Count("machine_event WHERE event = 're-imaged'"), 2);
    Store({{20, "BIOS/0/SerialNumber/S8/SystemMan/H/SystemMod/M\nComputerSystem/0/Name/a\n"}});
    EXPECT_EQ(Count("machine_event WHERE machine = 1 AND event = 'reused name' AND detail = '4'"),
              1);
}

TEST_P(Fleet, Answers)
{
    for (const Case& example :
         Cases("fleet", {"reports", "pc", "windows11", "disk_low", "below 50", "bitlocker_off",
                         "memory_slots_free", "placeholder_serials", "changed_since",
                         "since 1970-01-03", "slow_categories"})) {
        SCOPED_TRACE(example.what);
        Renew();
        // Each report begins with its time and the rights of its run.
        std::vector<Told> reports;
        std::istringstream lines{example["reports"]};
        for (std::string line; std::getline(lines, line);)
            if (line.starts_with("== ")) {
                const auto blank = line.find(' ', 3);
                reports.push_back({*report::SecondsOf(line.substr(3, blank - 3)), "", "", "",
                                   blank == std::string::npos ? "" : line.substr(blank + 1)});
            } else {
                reports.back().facts += line + '\n';
            }
        Store(reports);
        for (const auto& [name, expected] : example.texts) {
            const auto blank = name.find(' ');
            const std::string answer = name == "below 50" ? Answer("disk_low", "50")
                                       : blank != std::string::npos
                                           ? Answer("changed_since", name.substr(blank + 1))
                                       : name != "reports" ? Answer(name)
                                                           : expected;
            EXPECT_EQ(answer, expected) << name;
        }
        EXPECT_EQ(VolumesLeftOut(*database, *FindView("disk_low")), 1);
        // On a narrow terminal nothing is left out, and no line is too long.
        report::ShowStyle narrow;
        narrow.columns = 40;
        narrow.shorten = true;
        std::string table;
        WriteTable(*database, *FindView("pc"), {}, narrow,
                   [&](std::string_view part) { table += part; });
        std::istringstream shortLines{table};
        for (std::string line; std::getline(shortLines, line);)
            EXPECT_LE(line.size(), 40U) << line;
        for (const char* shown : {"serial", "memory_mib", "4095", "Windows 11", "identity", "weak"})
            EXPECT_NE(table.find(shown), std::string::npos) << shown << " in\n" << table;
    }
}

TEST_P(Fleet, TellsWhoHasNotReportedForSomeDays)
{
    const std::int64_t now = std::chrono::duration_cast<std::chrono::seconds>(
                                 std::chrono::system_clock::now().time_since_epoch())
                                 .count();
    constexpr std::int64_t kDay = 86'400, kHour = 3'600;
    Store({{now - 31 * kDay - kHour, "ComputerSystem/0/Name/old\n"},
           {now - 29 * kDay, "ComputerSystem/0/Name/newer\n"}});
    const auto names = [&](const std::optional<std::string>& days) {
        std::istringstream lines{Answer("stale", days)};
        std::string all;
        for (std::string line; std::getline(lines, line);)
            all += line.substr(line.find(',') + 1, 4) + line.substr(line.rfind(',')) + ' ';
        return all;
    };
    EXPECT_EQ(names({}), "name,days old,,31 ");
    EXPECT_EQ(names("20"), "name,days old,,31 newe,29 ");
}

TEST_P(Fleet, LoadsFoldersAndSaysWhatItRefuses)
{
    const auto write = [&](const std::string& name, const std::string& facts) {
        std::filesystem::create_directories((folder / name).parent_path());
        std::ofstream{folder / name, std::ios::binary} << ReportBytes(facts);
    };
    std::string whole = "ComputerSystem|0|Name|pc\n";
    for (int i = 0; i < 13; ++i)
        whole += "ET|0||5\n";
    whole += "VideoController|0|Name|Aurora\n";
    write("a/b/pc.TSV", whole);
    write("cut.tsv", whole.substr(0, whole.size() - 9));
    write("pc.77.partial/report.tsv", whole);
    write("foreign.tsv", "hello");
    write("notes.txt", whole);
    write("b\xE9.tsv", whole);
    write("nameless.tsv", whole.substr(whole.find("ET")));
    std::ofstream{folder / "nameless.json"}
        << R"({"format": "orrery-sidecar", "collected": "2026-01-02T03:04:05Z", "computerName": "told"})";
    std::ofstream{folder / "a/b/pc.json"}
        << R"({"format": "orrery-sidecar", "collected": "2026-01-02T03:04:05Z", "rights": "LocalSystem"})";
    std::vector<std::string> refused;
    const auto load = [&] {
        refused.clear();
        return Load(*database, {folder.string(), (folder / "a").string()}, "here",
                    {[](const LoadProgress&) {},
                     [&](const Refusal& refusal) {
                         refused.push_back(std::filesystem::path{refusal.path}.filename().string());
                     }});
    };
    const LoadResult first = load();
    EXPECT_EQ(first.stored.reports, 2U);
    std::ranges::sort(refused);
    EXPECT_EQ(refused, (std::vector<std::string>{"b\xEF\xBF\xBD.tsv", "cut.tsv", "foreign.tsv",
                                                 "report.tsv"}));
    EXPECT_EQ(Count("pc WHERE first_seen = '2026-01-02T03:04:05Z' AND name IN ('pc', 'told')"), 2);
    EXPECT_EQ(Count("collected WHERE rights = 'LocalSystem'"), 2);
    const LoadResult again = load();
    EXPECT_EQ(again.unchanged, 2U);
    EXPECT_EQ(again.stored.reports, 0U);
    // The sidecar's time stays; what a file says now, it says later than what it said before.
    for (const char* const name : {"Borealis", "Corona"}) {
        write("a/b/pc.TSV", whole.substr(0, whole.rfind('|') + 1) + name + '\n');
        EXPECT_EQ(load().stored.reports, 1U);
        EXPECT_EQ(refused.size(), 4U);
        EXPECT_EQ(
            Count("video_controller WHERE machine = (SELECT machine FROM pc WHERE name = 'pc') AND "
                  "valid_to IS NULL AND name = '" +
                  std::string{name} + '\''),
            1);
    }
    // But not what it says of another PC.
    write("a/b/pc.TSV", "ComputerSystem|0|Name|new\n" + whole.substr(whole.find("ET")));
    load();
    EXPECT_EQ(Count("pc WHERE last_seen = '2026-01-02T03:04:05Z' AND name IN ('new', 'told')"), 2);
    EXPECT_EQ(Count("report_time WHERE machine = (SELECT machine FROM pc WHERE name = 'new') AND "
                    "CAST(at AS TEXT) LIKE '%03:04:05%'"),
              1);
}

INSTANTIATE_TEST_SUITE_P(In, Fleet, testing::Values(Engine::kSqlite, Engine::kPostgres),
                         [](const auto& row) {
                             return row.param == Engine::kSqlite ? "Sqlite" : "Postgres";
                         });

}  // namespace
}  // namespace orrery::fleet
