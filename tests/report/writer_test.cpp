#include "client/report/writer.h"

#include <gtest/gtest.h>

#include <span>

#include "client/report/reader.h"
#include "made_report.h"

namespace orrery::report {
namespace {

TEST(WriteReport, KeepsTheOrderAndFormOfTheLibrary)
{
    const struct {
        const char* facts;
        std::string expected;
    } rows[] = {
        {"", ""},
        {"PhysicalMemory/0/Capacity/1\nPhysicalMemoryLocation/0/Speed/2\n",
         "PhysicalMemoryLocation|0|Speed|2\nPhysicalMemory|0|Capacity|1\n"},
        {"X/0/B/1/A/2\nX/2/A/3\nX/1/A/4\nX/10/A/5\n",
         "X|0|A|2\nX|1|A|4\nX|10|A|5\nX|2|A|3\nX|0|B|1\n"},
        {"ET/0//9\nLogicalDisk/0/Size/1\nDiskDrive/0/Size/2\nET/0//8\n",
         "DiskDrive|0|Size|2\nET|0||9\nET|0||8\nLogicalDisk|0|Size|1\n"},
        {"X/0/A/\xC3\xA9 \xE5\xA4\xAA \xF0\x9F\x92\xBE\n", "X|0|A|\u00E9 \u592A \U0001F4BE\n"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(Written(WriteReport, MadeReport(row.facts)), ReportBytes(row.expected))
            << row.facts;
}

TEST(WriteReport, WritesWhatTheReaderReadsWhole)
{
    // Around the length at which the library cuts: section, index and property take 6 units.
    for (const std::size_t size : {1000, 1015, 1016, 1017, 1018, 3000}) {
        const std::string facts =
            "X/0/A/" + std::string(size, 'v') + "\nX/1/A/one\nX/2/A/two\nY/0/A/three\n";
        const std::string bytes = Written(WriteReport, MadeReport(facts));
        CReportBuilder builder;
        CReportParser parser{builder};
        parser.Add(std::as_bytes(std::span{bytes}));
        parser.Finish();
        EXPECT_EQ(FactsOf(builder.Take()), facts) << size;
    }
}

}  // namespace
}  // namespace orrery::report
