#include "client/report/show.h"

#include <gtest/gtest.h>

#include <string>

#include "case_file.h"
#include "client/system/exit_codes.h"
#include "client/report/units.h"
#include "client/text/suggestion.h"
#include "made_report.h"

namespace orrery::report {
namespace {

TEST(ShowReport, MakesTablesThatFitInTheTerminal)
{
    for (const Case& row : Cases("show", {"report", "columns", "charset", "tables"})) {
        ShowStyle style;
        if (const std::string columns = row["columns"]; !columns.empty()) {
            style.columns = std::stoul(columns);
            style.shorten = true;
            style.charset = style.values =
                row["charset"].starts_with("ascii") ? Charset::kAscii : Charset::kUnicode;
            style.colours = row["charset"].ends_with("coloured\n");
        }
        const Report report = MadeReport(row["report"]);
        EXPECT_EQ(Written(WriteTables, report, SelectSections(report, {}), style), row["tables"])
            << row.what;
    }
}

TEST(ShowReport, SaysWhyValuesLookOddWhenAsked)
{
    const Report report = MadeReport(
        "BIOS/0/SerialNumber/Default string/Version/1\n"
        "NetworkAdapter/0/Name/N/Speed/9223372036854775807\n"
        "NetworkAdapter/1/Name/N/Speed/9223372036854775807\n");
    ShowStyle style;
    style.explain = true;
    EXPECT_EQ(
        Written(WriteTables, report, SelectSections(report, {}), style),
        "BIOS\n"
        "  SerialNumber  Default string\n"
        "  Version       1\n\n"
        "  SerialNumber is \"Default string\": the maker filled in nothing; take it for "
        "unknown\n\n"
        "NetworkAdapter  2 instances\n"
        "  #  Name  Speed\n"
        "  0  N     9223372036854775807\n"
        "  1  N     9223372036854775807\n\n"
        "  Speed is \"9223372036854775807\": WMI's answer for an adapter without a link; take "
        "it for unknown\n");
}

TEST(ShowReport, NamesTheSectionsThereAre)
{
    const Report report = MadeReport("BIOS/0/A/1\nLogicalDisk/0/B/2\nET/0//3\n");
    const Selection selection = SelectSections(report, {"logicaldisk", "et"});
    ASSERT_EQ(selection.sections.size(), 1U);
    EXPECT_EQ(selection.sections.front()->name, "LogicalDisk");
    EXPECT_TRUE(selection.elapsedTimes);
    EXPECT_FALSE(SelectSections(report, {"bios"}).elapsedTimes);
    EXPECT_EQ(SelectSections(report, {"printer", "BIOS"}).missing,
              std::vector<std::string>{"Printer"});
    try {
        SelectSections(report, {"BIOS", "Disk"});
        FAIL();
    } catch (const CommandError& error) {
        EXPECT_STREQ(error.what(),
                     "there is no section \"Disk\"; did you mean \"DiskDrive\"?\n"
                     "The report has: BIOS, LogicalDisk, ET");
        EXPECT_EQ(error.code(), ExitCode::kInput);
    }
    EXPECT_EQ(SelectSections({}, {"ET"}).missing, std::vector<std::string>{"ET"});
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

TEST(Suggestion, NamesTheNearestWordWhereOneIsNear)
{
    const struct {
        const char *word, *expected;
    } rows[] = {
        {"SHWO", "; did you mean \"show\"?"},  // two letters swapped, in any case
        {"sho", "; did you mean \"shown\"?"},  // the start of a word; the first one counts
        {"convrte", "; did you mean \"convert\"?"},
        {"x", ""},  // as far from everything as from nothing
        {"print", ""},
    };
    for (const auto& row : rows)
        EXPECT_EQ(Suggestion(row.word, {"shown", "show", "shows", "convert", "a"}), row.expected)
            << row.word;
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
