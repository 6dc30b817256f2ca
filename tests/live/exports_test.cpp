#include <windows.h>

#include <orrery/inventory.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <tuple>
#include <vector>

#include "client/report/report.h"
#include "client/report/vocabulary.h"
#include "sim/detour.h"
#include "sim/interposer.h"
#include "sim/simulation.h"
#include "support/library.h"
#include "support/unique.h"
#include "tests/report/made_report.h"

namespace orrery {
namespace {

constexpr const wchar_t* kLibraryPath = L"orrery.dll";

/// One load of the library; a cancel lasts until it is unloaded.
struct LoadedLibrary {
    LoadedLibrary() : module(LoadLibraryW(kLibraryPath))
    {
        getInventory = FindFunction<decltype(getInventory)>(module.get(), "GetInventory");
        getInventoryEx = FindFunction<decltype(getInventoryEx)>(module.get(), "GetInventoryEx");
        cancel = FindFunction<decltype(cancel)>(module.get(), "Cancel");
    }

    UniqueModule module;
    decltype(&GetInventory) getInventory;
    decltype(&GetInventoryEx) getInventoryEx;
    decltype(&Cancel) cancel;
};

class Exports : public testing::Test {
protected:
    void SetUp() override
    {
        folder = std::filesystem::temp_directory_path() /
                 (L"orrery-t\x00E9st " + std::to_wstring(GetCurrentProcessId()));
        std::filesystem::create_directories(folder);
    }
    void TearDown() override { std::filesystem::remove_all(folder); }

    std::wstring Path(const wchar_t* name) const { return (folder / name).wstring(); }
    report::Report Read(const wchar_t* name) const { return report::ReadReport(folder / name); }
    bool Exists(const wchar_t* name) const { return std::filesystem::exists(folder / name); }
    void Write(const wchar_t* name, const char* content) const
    {
        std::ofstream{folder / name, std::ios::binary} << content;
    }

    std::filesystem::path folder;
    LoadedLibrary library;
};

/// The report's facts apart from free space, which differs from run to run.
std::string SteadyFactsOf(report::Report report)
{
    EXPECT_TRUE(report.warnings.empty()) << report.warnings.front().text;
    for (auto& section : report.sections)
        for (auto& instance : section.instances)
            std::erase_if(instance.properties,
                          [](const auto& property) { return property.name == "FreeSpace"; });
    report.elapsedTimes.clear();
    return FactsOf(report);
}

std::wstring Desktop()
{
    return sim::LoadScenario(L"" ORRERY_TEST_DATA "/machines/desktop.machine");
}

TEST_F(Exports, WriteTheReportOfARealMachine)
{
    EXPECT_EQ(library.getInventory(Path(L"r.tsv").c_str()), 1);
    const auto report = Read(L"r.tsv");
    EXPECT_EQ(report.elapsedTimes.size(), 13U);
    EXPECT_NE(SteadyFactsOf(report), "");
}

TEST_F(Exports, TreatFlagsAsGroups)
{
    const sim::Simulation simulation{Desktop()};
    const struct {
        std::uint32_t flags;
        bool collects;
    } rows[] = {{0x10, true},       {0, true},     {0x18, true},  {0x08, true}, {0x70, true},
                {0xFF000001, true}, {0x20, false}, {0x40, false}, {0x68, false}};
    std::string first;
    for (const auto& row : rows) {
        EXPECT_EQ(library.getInventoryEx(Path(L"r.tsv").c_str(), row.flags), 1);
        ASSERT_TRUE(Exists(L"r.tsv"));
        if (!row.collects) {
            EXPECT_EQ(std::filesystem::file_size(folder / L"r.tsv"), 0U) << row.flags;
            continue;
        }
        const auto report = Read(L"r.tsv");
        EXPECT_EQ(report.elapsedTimes.size(), 13U) << row.flags;
        if (first.empty())
            first = SteadyFactsOf(report);
        EXPECT_EQ(SteadyFactsOf(report), first) << row.flags;
    }
}

TEST_F(Exports, WriteOnlyWhatEndsInTsv)
{
    const struct {
        const wchar_t* name;
        bool written;
    } rows[] = {{L"report.tsv", true},       {L".tsv", true},    {L"r.TSV", false},
                {L"r.tsv.bak", false},       {L"r.tsv ", false}, {L"tsv", false},
                {L"no folder\\r.tsv", false}};
    for (const auto& row : rows) {
        EXPECT_EQ(library.getInventoryEx(Path(row.name).c_str(), 0x20), 1);
        EXPECT_EQ(Exists(row.name), row.written) << row.name;
    }
    EXPECT_EQ(library.getInventoryEx(nullptr, 0x20), 1);
    EXPECT_EQ(library.getInventoryEx(L"tsv", 0x20), 1);
    EXPECT_EQ(library.getInventoryEx(reinterpret_cast<const wchar_t*>(std::uintptr_t{1}), 0x20), 1);
}

TEST_F(Exports, LeaveFilesAloneOnceCancelled)
{
    const sim::Simulation simulation{Desktop()};
    Write(L"old.tsv", "kept");
    library.cancel();
    for (const wchar_t* name : {L"old.tsv", L"new.tsv"})
        EXPECT_EQ(library.getInventory(Path(name).c_str()), 0);
    EXPECT_EQ(std::filesystem::file_size(folder / L"old.tsv"), 4U);
    EXPECT_FALSE(Exists(L"new.tsv"));
    EXPECT_EQ(simulation.CallCount(), 0);

    library.module.reset();
    library = LoadedLibrary{};  // a new load is not cancelled
    EXPECT_EQ(library.getInventory(Path(L"new.tsv").c_str()), 1);
    EXPECT_TRUE(Exists(L"new.tsv"));
}

TEST_F(Exports, FinishTheReportWhenCancelledDuringTheWait)
{
    sim::Simulation simulation{Desktop()};
    simulation.DelayCall("IWbemLocator::ConnectServer", 1500);
    std::thread canceller{[this] {
        Sleep(700);  // all workers are started within a few milliseconds, none with WMI has ended
        library.cancel();
    }};
    EXPECT_EQ(library.getInventory(Path(L"r.tsv").c_str()), 1);
    canceller.join();
    const auto report = Read(L"r.tsv");
    EXPECT_EQ(report.elapsedTimes.size(), 13U);
    EXPECT_NE(report.Find("BaseBoard"), nullptr);
}

TEST_F(Exports, DropTheCategoriesThatFollowACancel)
{
    // On one processor the categories run one after another on the caller's thread.
    const sim::Detour oneProcessor{L"kernel32.dll", "GetSystemInfo",
                                   [](SYSTEM_INFO* system) { system->dwNumberOfProcessors = 1; }};
    sim::Simulation simulation{Desktop()};
    std::set<std::thread::id> threads;
    simulation.OnCall([&](const std::string& call) {
        threads.insert(std::this_thread::get_id());
        if (call.find("CreateInstanceEnum(Win32_SystemEnclosure") != std::string::npos)
            library.cancel();
    });
    EXPECT_EQ(library.getInventory(Path(L"r.tsv").c_str()), 0);
    EXPECT_FALSE(Exists(L"r.tsv"));
    EXPECT_EQ(threads, std::set{std::this_thread::get_id()});
    for (const auto& call : simulation.Trace())
        EXPECT_EQ(call.find("Win32_BaseBoard"), std::string::npos) << call;
}

using Fact = std::tuple<std::string, std::int32_t, std::string, std::string>;

/// All facts but free space, which differs from run to run.
std::set<Fact> FactsIn(const report::Report& report)
{
    std::set<Fact> facts;
    for (const auto& section : report.sections)
        for (const auto& instance : section.instances)
            for (const auto& property : instance.properties)
                if (property.name != "FreeSpace")
                    facts.emplace(section.name, instance.index, property.name, property.value);
    return facts;
}

/// The categories of the facts that one of two reports has and the other has not.
std::set<std::string_view> Disagreeing(const std::set<Fact>& one, const std::set<Fact>& other)
{
    std::vector<Fact> facts;
    std::ranges::set_symmetric_difference(one, other, std::back_inserter(facts));
    std::set<std::string_view> categories;
    for (const auto& [section, index, property, value] : facts) {
        const auto* const term = report::FindTerm(section, property);
        categories.insert(term == nullptr ? "none" : term->category);
    }
    return categories;
}

TEST_F(Exports, LoseOneCategorysFactsAtMostWhereMemoryIsShort)
{
#if defined(_MSC_VER) && !defined(_DLL)
    GTEST_SKIP() << "the C runtime is linked into the library, which imports no malloc";
#endif
    const sim::Simulation simulation{Desktop()};
    library.getInventory(Path(L"r.tsv").c_str());  // what is kept for the process is made
    const auto place = [](const char* name) {
        return static_cast<std::size_t>(sim::KnownCalls().Find(name));
    };
    const auto whole = FactsIn(Read(L"r.tsv"));
    static DWORD processors = 0;
    for (const DWORD count : {1, 2}) {
        processors = count;
        const sim::Detour detour{L"kernel32.dll", "GetSystemInfo", [](SYSTEM_INFO* system) {
                                     system->dwNumberOfProcessors = processors;
                                 }};
        std::atomic<int> asked = 0, held = 0, entered = 0, left = 0;  // blocks, apartments
        std::atomic<bool> isCategorys = false;                        // what is not given
        int refused = 0;  // the number of the block that is not given
        sim::Interposer* standing = nullptr;
        sim::Interposer memory{
            library.module.get(), [&](std::size_t call, sim::Words& words) -> sim::Word {
                const bool isNew = call == place("malloc") || call == place("calloc") ||
                                   (call == place("realloc") && words[0] == 0);
                entered += call == place("CoInitialize") ? 1 : 0;
                left += call == place("CoUninitialize") ? 1 : 0;
                if (isNew && ++asked == refused) {
                    isCategorys = entered > 1 && left < 13;
                    return 0;
                }
                if (call == place("free") && words[0] != 0)
                    --held;
                const sim::Word result = standing->CallOriginal(call, words);
                if (isNew && result != 0)
                    ++held;
                return result;
            }};
        standing = &memory;
        library.getInventory(Path(L"r.tsv").c_str());
        const int blocks = asked;
        ASSERT_GT(blocks, 100);
        // All of the beginning, where the run itself is set up, and samples of the rest.
        for (refused = 1; refused <= blocks; refused += refused < 40 ? 1 : blocks / 40) {
            // Once more where blocks were kept: the first exception makes what the run time of the
            // compiler keeps for the process.
            for (int turn = 0; turn == 0 || (turn == 1 && held != 0); ++turn) {
                std::filesystem::remove(folder / L"r.tsv");
                asked = held = entered = left = 0;
                isCategorys = false;
                EXPECT_EQ(library.getInventory(Path(L"r.tsv").c_str()), 1);
            }
            SCOPED_TRACE(std::to_string(refused) + " of " + std::to_string(blocks) +
                         (count > 1 ? ", threads" : ", inline"));
            EXPECT_EQ(held, 0);
            EXPECT_EQ(simulation.LiveObjects(), 0);
            // A shortage of the run's own costs the report, or its end.
            if (isCategorys) {
                const auto report = Read(L"r.tsv");
                EXPECT_LE(Disagreeing(whole, FactsIn(report)).size(), 1U);
                EXPECT_GE(report.elapsedTimes.size(), 12U);
            }
        }
    }
}

}  // namespace
}  // namespace orrery
