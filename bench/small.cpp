// The small parts that every fact goes through, each beside the plainest code that does the same.

#define CATCH_CONFIG_RUNNER
#define CATCH_CONFIG_ENABLE_BENCHMARKING
#include <catch2/catch.hpp>
// Last of the system's, since the benchmarks' header brings its own way to Windows' one.
#include <windows.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "figures.h"
#include "store/report_writer.h"
#include "wmi/property_text.h"

namespace orrery::bench {
namespace {

int rounds = 5;

/// The least median that each benchmark had in any round, in nanoseconds.
std::map<std::string, double> medians;

struct MedianKeeper : Catch::TestEventListenerBase {
    using TestEventListenerBase::TestEventListenerBase;

    void benchmarkEnded(const Catch::BenchmarkStats<>& stats) override
    {
        auto samples = stats.samples;
        const auto middle = samples.begin() + static_cast<std::ptrdiff_t>(samples.size() / 2);
        std::nth_element(samples.begin(), middle, samples.end());
        const auto [entry, isNew] = medians.try_emplace(stats.info.name, middle->count());
        if (!isNew)
            entry->second = std::min(entry->second, middle->count());
    }
};
CATCH_REGISTER_LISTENER(MedianKeeper)

void PrintPair(const char* what, const char* ours, const char* comparedWith, const char* theirs,
               double perCall = 1)
{
    const double our = medians.at(ours) / perCall, their = medians.at(theirs) / perCall;
    Print({"small", what, "ns", our, comparedWith, their, our / their});
}

/// Lets 13 threads do something at once, each with its number.
template <class Work>
void OnThreads(Work work)
{
    struct Job {
        Work* work;
        int number;
    };
    std::array<Job, 13> jobs;
    std::array<HANDLE, 13> threads{};
    const auto run = [](void* job) -> DWORD {
        (*static_cast<Job*>(job)->work)(static_cast<Job*>(job)->number);
        return 0;
    };
    for (std::size_t at = 0; at < jobs.size(); ++at) {
        jobs[at] = {&work, static_cast<int>(at)};
        threads[at] = CreateThread(nullptr, 0, run, &jobs[at], 0, nullptr);
    }
    WaitForMultipleObjects(static_cast<DWORD>(threads.size()), threads.data(), TRUE, INFINITE);
    for (const HANDLE thread : threads)
        CloseHandle(thread);
}

constexpr int kFactsPerThread = 1000;

/// What the threads store: keys that interleave in the map's order.
std::vector<std::vector<std::wstring>> KeysOfThreads()
{
    std::vector<std::vector<std::wstring>> keys(13);
    for (std::size_t thread = 0; thread < keys.size(); ++thread)
        for (int at = 0; at < kFactsPerThread; ++at)
            keys[thread].push_back(L"Section" + std::to_wstring(at % 10) + L"\\Property" +
                                   std::to_wstring(thread) + L"\\" + std::to_wstring(at));
    return keys;
}

TEST_CASE("map")
{
    const auto keys = KeysOfThreads();
    const WideString value = L"a value of usual length";
    const auto ofThread = [&keys](int number) -> const std::vector<std::wstring>& {
        return keys[static_cast<std::size_t>(number)];
    };
    for (int round = 0; round < rounds; ++round) {
        BENCHMARK("map, ours")
        {
            CInvMap map;
            OnThreads([&](int number) {
                for (const auto& key : ofThread(number))
                    map.Insert(key.c_str(), new CHardwareObject{value});
            });
            return map.entries().size();
        };
        BENCHMARK("map, plain")
        {
            std::map<std::wstring, std::unique_ptr<CHardwareObject>> map;
            CriticalSection lock;
            OnThreads([&](int number) {
                for (const auto& key : ofThread(number)) {
                    auto object = std::make_unique<CHardwareObject>(value);
                    const std::lock_guard guard{lock};
                    map.insert_or_assign(key, std::move(object));
                }
            });
            return map.size();
        };
    }
    PrintPair("map insert from 13 threads", "map, ours", "std::map under one critical section",
              "map, plain", 13.0 * kFactsPerThread);
}

TEST_CASE("property")
{
    std::wstring text = L"\ninstance of Win32_DiskDrive\n{\n";
    for (const auto* const name :
         {L"Availability", L"BytesPerSector", L"CapabilityDescriptions", L"ConfigManagerErrorCode",
          L"Description", L"InterfaceType", L"Manufacturer", L"Partitions", L"PNPDeviceID",
          L"SectorsPerTrack", L"Signature", L"Status", L"SystemName", L"TotalCylinders"})
        text.append(L"\t").append(name).append(L" = \"a value of usual length\";\n");
    text += L"\tSerialNumber = \"WX41-0077\";\n};\n";
    for (int round = 0; round < rounds; ++round) {
        BENCHMARK("property, ours")
        {
            return GetPropertyFromText(nullptr, L"SerialNumber", text).size();
        };
        BENCHMARK("property, plain")
        {
            const auto at = text.find(L"\tSerialNumber = ");
            return text.substr(at, text.find(L';', at) - at).size();
        };
    }
    PrintPair("property extraction", "property, ours", "std::wstring::find in the same text",
              "property, plain");
}

TEST_CASE("report")
{
    constexpr std::int32_t kFacts = 1000;
    CInvMap map;
    StoreFacts(&map, kFacts);
    const auto path = std::filesystem::temp_directory_path() /
                      (L"orrery-bench-" + std::to_wstring(GetCurrentProcessId()) + L".tsv");
    std::wstring text;
    {
        const UniqueStream file{_wfopen(path.c_str(), L"wb")};
        WideString copy;
        WriteReport(nullptr, &map, file.get(), &copy);
        text = copy.view();
    }
    for (int round = 0; round < rounds; ++round) {
        BENCHMARK("report, ours")
        {
            const UniqueStream file{_wfopen(path.c_str(), L"wb")};
            WideString copy;
            WriteReport(nullptr, &map, file.get(), &copy);
            return copy.size();
        };
        BENCHMARK("report, plain")
        {
            const UniqueStream file{_wfopen(path.c_str(), L"wb")};
            std::size_t written = 0;
            for (std::size_t at = 0, end = 0; at < text.size(); at = end) {
                end = text.find(L'\n', at) + 1;
                written += std::fwrite(&text[at], sizeof(wchar_t), end - at, file.get());
            }
            return written;
        };
    }
    std::filesystem::remove(path);
    PrintPair("report line", "report, ours", "the same bytes in as many writes", "report, plain",
              kFacts);
}

TEST_CASE("text")
{
    const WideString ours = L"a value of usual length";
    const std::wstring plain{ours.view()};
    for (int round = 0; round < rounds; ++round) {
        BENCHMARK("copy, ours")
        {
            return WideString{ours};
        };
        BENCHMARK("copy, plain")
        {
            return std::wstring{plain};
        };
        BENCHMARK("join, ours")
        {
            return ours + L"\\" + L"Name";
        };
        BENCHMARK("join, plain")
        {
            return plain + L"\\" + L"Name";
        };
    }
    PrintPair("wide string copy", "copy, ours", "std::wstring", "copy, plain");
    PrintPair("wide string concatenation of three", "join, ours", "std::wstring", "join, plain");
}

void Measure(const Options& options)
{
    Catch::Session session;
    auto& settings = session.configData();
    settings.outputFilename = "NUL";  // the table is ours
    settings.benchmarkNoAnalysis = true;
    settings.benchmarkSamples = options.quick ? 10 : 50;
    settings.benchmarkWarmupTime = options.quick ? 10 : 100;
    rounds = options.quick ? 1 : 5;
    if (session.run() != 0)
        throw std::runtime_error("a benchmark failed");
}

}  // namespace
}  // namespace orrery::bench

int main(int argumentCount, char** arguments)
{
    return orrery::bench::Main(argumentCount, arguments, &orrery::bench::Measure);
}
