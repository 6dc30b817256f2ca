#include "client/report/show.h"

#include <gtest/gtest.h>

#include <string>

#include "client/system/exit_codes.h"
#include "client/report/units.h"
#include "made_report.h"

namespace orrery::report {
namespace {

Report Example()
{
    Report report = MadeReport(
        "BIOS/0/AssetTag//Version/\nLogicalDisk/0/DeviceID/C:/Description/System 日本/Size/486400\n"
        "LogicalDisk/1/Description//DeviceID/D:/FreeSpace/0/Size/1023\n"
        "USBDevice/2/Name/Controller\n");
    report.sections[0].instances[0].properties[1].value = "1.0\x1B[31m\n";
    return report;
}

std::string Show(const Report& report, const std::vector<std::string>& names,
                 const ShowStyle& style = {})
{
    return Written(WriteTables, report, SelectSections(report, names), style);
}

ShowStyle Terminal(std::size_t columns, Charset charset = Charset::kUnicode)
{
    return {columns, true, false, charset, charset};
}

TEST(ShowReport, PutsInstancesInRowsAndSinglePropertiesToo)
{
    EXPECT_EQ(Show(Example(), {}),
              "BIOS\n"
              "  AssetTag  -\n"
              "  Version   1.0\\x1B[31m\\n\n"
              "\n"
              "LogicalDisk  2 instances\n"
              "  #  DeviceID  Description      Size  FreeSpace\n"
              "  0  C:        System 日本   475 GiB\n"
              "  1  D:        -            1023 MiB      0 MiB\n"
              "\n"
              "USBDevice  1 instance\n"
              "  #  Name\n"
              "  2  Controller\n");
    EXPECT_EQ(Show(MadeReport("S/0/Name//Size/\nS/1/Name//Size/22\n"), {}),
              "S  2 instances\n  #  Name  Size\n  0  -        -\n  1  -       22\n");
}

TEST(ShowReport, FitsInTheTerminal)
{
    // A column less than the table takes; then too few for two parts of it.
    EXPECT_EQ(Show(Example(), {"logicaldisk"}, Terminal(46)),
              R"(LogicalDisk  2 instances
  #  DeviceID  Description      Size
  0  C:        System 日本   475 GiB
  1  D:        -            1023 MiB

  #  FreeSpace
  0
  1      0 MiB
)");
    EXPECT_EQ(Show(Example(), {"logicaldisk"}, Terminal(23)),
              R"(LogicalDisk  2 instances
  #0
  DeviceID     C:
  Description  System 日本
  Size         475 GiB

  #1
  DeviceID     D:
  Description  -
  FreeSpace    0 MiB
  Size         1023 MiB
)");

    const Report report =
        MadeReport("S/0/A/abcdefghijklmnop/B/1/C/日本日本日本日本日本\nS/1/A/x\nT/0/Name/" +
                   std::string(50, 'y') + '\n');
    EXPECT_EQ(Show(report, {}, Terminal(40)),
              R"(S  2 instances
  #  A                B  C
  0  abcdefghijklmn…  1  日本日本日本日…
  1  x

T
  Name  yyyyyyyyyyyyyyyyyyyyyyyyyyyyyyy…
)");
    EXPECT_EQ(Show(report, {}, Terminal(40, Charset::kAscii)),
              R"(S  2 instances
  #  A                B  C
  0  abcdefghijkl...  1  \u65E5\u672C...
  1  x

T
  Name  yyyyyyyyyyyyyyyyyyyyyyyyyyyyy...
)");
}

TEST(ShowReport, DrawsElapsedTimesSlowestFirst)
{
    Report report;
    report.elapsedTimes = {"5", "3", "5", "1", "2", "3", "100", "0", "0", "0", "2", "50", "x"};
    EXPECT_EQ(Show(report, {"et"}, Terminal(40)), R"(Elapsed times  slowest first
  Network         100 ms  ██████████████
  USB              50 ms  ███████
  BIOS              5 ms  ▊
  CPU               5 ms  ▊
  BaseBoard         3 ms  ▍
  Memory            3 ms  ▍
  Enclosure         2 ms  ▎
  SystemSlot        2 ms  ▎
  CompSys           1 ms  ▏
  OS                0 ms
  PhysicalDrive     0 ms
  SystemOverview    0 ms
  Video                x
)");
    report.elapsedTimes = {"10", "20"};
    EXPECT_EQ(Show(report, {}, Terminal(40, Charset::kAscii)), R"(Elapsed times  slowest first
  2 of 13 categories, numbered as in the report
  line 2  20 ms  #######################
  line 1  10 ms  ############
)");
}

TEST(ShowReport, ColoursHeadingsWhereTheTerminalTakesThem)
{
    const ShowStyle style{40, true, true, Charset::kAscii, Charset::kAscii};
    EXPECT_EQ(Show(Example(), {"BIOS"}, style),
              "\x1B[1mBIOS\x1B[0m\n"
              "  \x1B[2mAssetTag\x1B[0m  -\n"
              "  \x1B[2mVersion \x1B[0m  1.0\\x1B[31m\\n\n");
}

TEST(ShowReport, NamesTheSectionsThereAre)
{
    try {
        SelectSections(Example(), {"BIOS", "Disk"});
        FAIL();
    } catch (const CommandError& error) {
        EXPECT_STREQ(error.what(),
                     "the report has no section \"Disk\"\nIt has: BIOS, LogicalDisk, USBDevice");
        EXPECT_EQ(error.code(), ExitCode::kInput);
    }
    EXPECT_THROW(SelectSections({}, {"ET"}), CommandError);
}

TEST(Readable, PutsValuesIntoUnitsAndWords)
{
    const struct {
        const char *section, *property, *value, *expected;
    } rows[] = {
        {"LogicalDisk", "Size", "0", "0 MiB"},
        {"LogicalDisk", "Size", "1023", "1023 MiB"},
        {"LogicalDisk", "FreeSpace", "1024", "1 GiB"},
        {"DiskDrive", "Size", "953867", "931.5 GiB"},
        {"DiskDrive", "Size", "1048575", "1 TiB"},  // not 1024 GiB
        {"DiskDrive", "Size", "", ""},
        {"DiskDrive", "Size", "-5", "-5"},
        {"DiskDrive", "Size", "12x", "12x"},
        {"DiskDrive", "Caption", "1024", "1024"},
        {"PhysicalMemory", "Capacity", "24105", "23.5 GiB"},
        {"VideoController", "AdapterRAM", "128", "128 MiB"},
        {"NetworkAdapter", "Speed", "1000000000", "1 Gbit/s"},
        {"NetworkAdapter", "Speed", "866700000", "866.7 Mbit/s"},
        {"NetworkAdapter", "Speed", "9223372036854775807", "9223372036854775807"},
        {"PhysicalMemoryLocation", "Speed", "3200", "3200 MHz"},
        {"NetworkAdapter", "NetworkBand", "5180000", "5180 MHz"},
        {"SystemOverview", "AverageBootTime", "8412", "8.4 s"},
        {"LogicalDisk", "BitLockerStatus", "3", "locked"},
        {"LogicalDisk", "BitLockerStatus", "4", "4"},
        {"SystemOverview", "SecureBoot", "2", "not supported"},
        {"NetworkAdapter", "DHCPLeaseExpires", "1970-01-01T00:00:00Z", "no lease yet"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(Readable(row.section, row.property, row.value).text, row.expected)
            << row.property << ' ' << row.value;
}

TEST(TerminalText, EscapesWhatATerminalActsOn)
{
    const struct {
        std::string text;
        const char *unicode, *ascii;
        std::size_t columns;  // of the first
    } rows[] = {
        {"a\tb\r\n\x1B[0m\x7F", "a\\tb\\r\\n\\x1B[0m\\x7F", "a\\tb\\r\\n\\x1B[0m\\x7F", 19},
        {std::string("\0", 1), "\\x00", "\\x00", 4},
        {"\u0085\u202E\u200B\uFEFF", "\\u0085\\u202E\\u200B\\uFEFF", "\\u0085\\u202E\\u200B\\uFEFF",
         24},
        {"\u00FC\u65E5\U0001F600e\u0301", "\u00FC\u65E5\U0001F600e\u0301",
         "\\u00FC\\u65E5\\U0001F600e\\u0301", 6},
        {"\xFF\xC3", "\\xFF\\xC3", "\\xFF\\xC3", 8},  // no UTF-8
        {"\xC0\xAF\xED\xA0\x80", "\\xC0\\xAF\\xED\\xA0\\x80", "\\xC0\\xAF\\xED\\xA0\\x80", 20},
        {"C:\\x", "C:\\x", "C:\\x", 4},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Escaped(row.text, Charset::kUnicode), row.unicode);
        EXPECT_EQ(Escaped(row.text, Charset::kAscii), row.ascii);
        EXPECT_EQ(Columns(row.unicode), row.columns) << row.unicode;
    }
}

}  // namespace
}  // namespace orrery::report
