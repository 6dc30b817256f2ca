// How fast a report is read, against a plain read of the same file: read_report_bench [REPORT.tsv]
// Without a report, one of 400 MB is made in the temporary folder and removed again.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <system_error>
#include <vector>

#include "client/report/find_value.h"
#include "client/report/reader.h"

namespace {

namespace fs = std::filesystem;
using namespace orrery::report;

constexpr int kRounds = 5;

/// Takes facts and keeps none.
class CCounter : public FactSink {
public:
    void OnFact(const FactView& fact) override { units += fact.value.size(); }
    void OnOddity(Oddity /*oddity*/, std::uint64_t /*line*/) override {}
    std::size_t units = 0;
};

/// A report of many network adapters, whose lines have a usual length.
void MakeReport(const fs::path& path, std::uintmax_t bytes)
{
    const std::vector<std::string> lines{"IPAddress\t192.168.1.40", "MACAddress\t00-1A-2B-3C-4D-5E",
                                         "SSID\t", "Name\tIntel(R) Ethernet Connection (13) I219-V",
                                         "IPV6Address\tfe80::1c2d:3e4f:5a6b:7c8d%4,2001:db8::44"};
    std::ofstream file{path, std::ios::binary};
    std::string block;
    for (std::uintmax_t written = 0, index = 0; written < bytes; ++index) {
        for (const std::string& line : lines)
            for (const char c :
                 "NetworkAdapter\t" + std::to_string(index % 100) + '\t' + line + '\n')
                block.append(1, c).append(1, '\0');
        if (block.size() > 1'000'000) {
            file << block;
            written += block.size();
            block.clear();
        }
    }
}

void PlainRead(const fs::path& path)
{
    std::ifstream file{path, std::ios::binary};
    std::vector<char> block(std::size_t{256} * 1024);
    while (file)
        file.read(block.data(), static_cast<std::streamsize>(block.size()));
}

void Measure(const char* what, const fs::path& path, const std::function<void()>& run)
{
    double best = 1e9;
    for (int round = 0; round < kRounds; ++round) {
        const auto start = std::chrono::steady_clock::now();
        run();
        const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
        best = std::min(best, taken.count());
    }
    std::printf("%-12s %8.0f MB/s\n", what, static_cast<double>(fs::file_size(path)) / 1e6 / best);
}

void Run(const fs::path& path)
{
    Measure("plain read", path, [&] { PlainRead(path); });
    Measure("parser", path, [&] {
        CCounter counter;
        ParseReport(path, counter);
    });
    Measure("get", path, [&] { FindValue(path, {"BIOS", "Version", 0}); });
    Measure("whole report", path, [&] { ReadReport(path); });
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    try {
        if (argumentCount > 1) {
            Run(arguments[1]);
            return EXIT_SUCCESS;
        }
        const fs::path made = fs::temp_directory_path() / "orrery_read_report_bench.tsv";
        MakeReport(made, 400'000'000);
        Run(made);
        fs::remove(made);
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return EXIT_FAILURE;
    }
}
