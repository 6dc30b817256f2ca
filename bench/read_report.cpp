// How fast a report is read, against a plain read of the same file: read_report_bench [REPORT.tsv]
// Without a report, one of 400 MB is made in the temporary folder and removed again.
//
// What ten times the report takes in time, for reports in which each thing may have to do with each
// other one: read_report_bench growth [MEGABYTES]

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "client/page/page.h"
#include "client/report/diff.h"
#include "client/report/find_value.h"
#include "client/report/reader.h"
#include "client/report/redact.h"
#include "client/report/section_digests.h"
#include "client/report/writer.h"

namespace {

namespace fs = std::filesystem;
using namespace orrery::report;
using orrery::TextSink;

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
    Measure("get", path, [&] { FindValues(path, {ParseValueName("BIOS.Version")}); });
    Measure("whole report", path, [&] { ReadReport(path); });
}

/// Writes lines of ASCII as a report until it has its size.
class CReportFile {
public:
    CReportFile(const fs::path& path, std::uintmax_t bytes)
        : file_{path, std::ios::binary}, units_(bytes / 2)
    {}
    bool isFull() const { return written_ >= units_; }
    std::uintmax_t units() const { return units_; }
    void Add(const std::string& section, std::uintmax_t index, const std::string& fact)
    {
        block_.clear();
        for (const char c : section + '\t' + std::to_string(index) + '\t' + fact + '\n')
            block_.append(1, c).append(1, '\0');
        file_ << block_;
        written_ += block_.size() / 2;
    }

private:
    std::ofstream file_;
    std::string block_;
    std::uintmax_t units_, written_ = 0;
};

/// Every drive names a volume of its own.
void MakeDrives(CReportFile file)
{
    for (std::uintmax_t index = 0; !file.isFull(); ++index) {
        const std::string name = 'V' + std::to_string(index) + ':';
        file.Add("DiskDrive", index, "LogicalDisks\t" + name + '|');
        file.Add("LogicalDisk", index, "DeviceID\t" + name);
        file.Add("LogicalDisk", index, "Size\t1000");
    }
}

/// Serial numbers that begin alike, each longer than the one before, others that have nothing in
/// common, and texts that could be any of them up to the last word.
void MakeSerials(CReportFile file)
{
    std::string serial = "a1", text;
    while (text.size() < 3000)
        text += "a1 ";
    std::uintmax_t index = 0;
    for (; serial.size() * serial.size() < 2 * file.units(); ++index) {
        file.Add("BIOS", index, "SerialNumber\t" + serial + " z");
        serial += " a1";
    }
    for (; !file.isFull(); ++index) {
        for (int unlike = 0; unlike < 20; ++unlike)
            file.Add(
                "Disk" + std::to_string(unlike), index,
                "SerialNumber\tS" + std::to_string(index * 7919 + static_cast<unsigned>(unlike)));
        file.Add("LogicalDisk", index, "Description\t" + text);
    }
}

void MakeSections(CReportFile file)
{
    for (std::uintmax_t index = 0; !file.isFull(); ++index)
        file.Add("Section" + std::to_string(index), 0, "Name\t" + std::to_string(index));
}

struct Growth {
    const char* what;
    void (*make)(CReportFile file);
    void (*run)(const fs::path& report, const fs::path& other);
};

const TextSink kNowhere = [](std::string_view) {};

const Growth kGrowths[] = {
    {"html, drives and volumes", &MakeDrives,
     [](const fs::path& report, const fs::path&) { WriteHtml(ReadReport(report), kNowhere); }},
    {"redact, serial numbers", &MakeSerials,
     [](const fs::path& path, const fs::path&) {
         Report report = ReadReport(path);
         Redact(&report);
         WriteReport(report, kNowhere);
     }},
    {"diff, sections", &MakeSections,
     [](const fs::path& path, const fs::path& other) {
         const auto isKept = KeepDifferingSections(path, other, false);
         CompareReports(ReadReport(path, isKept), ReadReport(other, isKept), false);
     }},
    {"diff, drives and volumes", &MakeDrives,
     [](const fs::path& path, const fs::path& other) {
         const auto isKept = KeepDifferingSections(path, other, false);
         CompareReports(ReadReport(path, isKept), ReadReport(other, isKept), false);
     }},
};

/// @param most in bytes, for the largest report
void MeasureGrowth(std::uintmax_t most)
{
    const fs::path path = fs::temp_directory_path() / "orrery_growth_bench.tsv";
    const fs::path other = fs::temp_directory_path() / "orrery_growth_bench_other.tsv";
    for (const Growth& growth : kGrowths) {
        double before = 0;
        for (const std::uintmax_t bytes : {most / 100, most / 10, most}) {
            growth.make(CReportFile{path, bytes});
            growth.make(CReportFile{other, bytes - bytes / 50});
            const auto start = std::clock();
            growth.run(path, other);
            const double taken = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
            std::printf("%-26s %6.0f MB %8.3f s", growth.what, static_cast<double>(bytes) / 1e6,
                        taken);
            if (before > 0)
                std::printf("  %5.1f times", taken / before);
            std::printf("\n");
            before = taken;
        }
    }
    fs::remove(path);
    fs::remove(other);
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    try {
        if (argumentCount > 1 && std::string{arguments[1]} == "growth") {
            MeasureGrowth(1'000'000 * (argumentCount > 2 ? std::stoull(arguments[2]) : 100));
            return EXIT_SUCCESS;
        }
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
