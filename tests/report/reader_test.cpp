#include "client/report/reader.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "client/system/exit_codes.h"
#include "client/report/find_value.h"
#include "client/report/section_digests.h"
#include "client/report/show.h"
#include "client/text/utf8.h"
#include "made_report.h"
#include "report_text.h"
#include "test_folder.h"

namespace orrery::report {
namespace {

namespace fs = std::filesystem;

Report Read(std::u16string_view text)
{
    return ReadReport(CTestFolder{}.Write("\u00FC.tsv", Bytes(text)));
}

/// "line: text" for each warning.
std::string Warnings(const std::vector<Warning>& warnings)
{
    std::string text;
    for (const Warning& warning : warnings)
        text += std::to_string(warning.line) + ": " + warning.text + '\n';
    return text;
}

TEST(ReportReader, OrdersInstancesByIndexAndKeepsTheRestInOrder)
{
    std::u16string many;
    std::string expectedMany = "Many/0";
    for (int property = 0; property < 40; ++property) {
        many += u"Many\t0\tP" + Wide(std::to_string(property)) + u"\tv\n";
        expectedMany += "/P" + std::to_string(property) + "/v";
    }
    const struct {
        std::u16string text;
        std::string facts;
        const char* warnings;
    } rows[] = {
        {u"", "", "0: the report is empty\n"},
        {u"S\t0\tB\t1\nS\t1\tB\t2\nS\t10\tB\t3\nS\t2\tB\t4\nA\t0\tX\t\nS\t0\tC\t5\nET\t0\t\t7\n",
         "S/0/B/1/C/5\nS/1/B/2\nS/2/B/4\nS/10/B/3\nA/0/X/\nET/0//7\n", ""},
        {u"ET\t1\t\t7\nET\t0\tA\t8\nET\t0\t\t9\n", "ET/0/A/8\nET/1//7\nET/0//9\n", ""},
        {u"S\t0\tB\t1\nS\t0\tC\t2\nS\t0\tB\t3\n", "S/0/B/3/C/2\n",
         "3: the fact was there before; this later value counts\n"},
        {many + u"Many\t0\tP35\tv\n", expectedMany + '\n',
         "41: the fact was there before; this later value counts\n"},
        {u"S\t0\tB\t\u00FC \u65E5 \U0001F600\t\n", "S/0/B/\u00FC \u65E5 \U0001F600\t\n", ""},
        {u"S\t0\tA\t" + std::u16string{0xD83D, u'x', 0xDE00} + u"\nS\t1\tA\t" +
             std::u16string{0xDE00, 0xD83D} + u'\n',
         "S/0/A/\uFFFDx\uFFFD\nS/1/A/\uFFFD\uFFFD\n",
         "1: the text is no valid UTF-16; what cannot be spelled became U+FFFD\n"
         "2: the text is no valid UTF-16; what cannot be spelled became U+FFFD\n"},
        {u"S\t0\tA\t1\r\nS\t1\tA\t1\r\nS\t2\tA\t1\r\nS\t3\tA\t1\r\nS\t4\tA\t1\r\nS\t5\tA\t1\r\n"
         u"S\t6\tA\t1\r\nS\t-1\tA\t1\n",
         "S/0/A/1\nS/1/A/1\nS/2/A/1\nS/3/A/1\nS/4/A/1\nS/5/A/1\nS/6/A/1\n",
         "1: the line ends in a carriage return, which was left out\n"
         "2: the line ends in a carriage return, which was left out\n"
         "3: the line ends in a carriage return, which was left out\n"
         "4: the line ends in a carriage return, which was left out\n"
         "5: the line ends in a carriage return, which was left out\n"
         "8: the index is not from 0 to 2147483647; the fact was left out\n"
         "0: 2 further lines: the line ends in a carriage return, which was left out\n"},
    };
    for (const auto& row : rows) {
        const Report report = Read(row.text);
        EXPECT_EQ(FactsOf(report), row.facts);
        EXPECT_EQ(Warnings(report.warnings), row.warnings) << row.facts;
    }
}

TEST(ReportReader, KeepsOnlyWhatIsWanted)
{
    const CTestFolder folder;
    const auto path =
        folder.Write("x.tsv", Bytes(u"ComputerSystem\t0\tName\tpc\nDisk\t0\tSerialNumber\ts\n"
                                    u"Disk\t0\tSize\t1\nET\t0\t\t5\nOS\t0\tA\tpc\nOS\t0\tA\tPC\n"));
    const auto kept = [&path](const std::vector<std::string>& names, bool withSecrets) {
        return FactsOf(ReadReport(path, KeepSelected(names, withSecrets)));
    };
    EXPECT_EQ(kept({"disk"}, false), "Disk/0/SerialNumber/s/Size/1\nET/0//5\n");
    EXPECT_EQ(kept({"os", "none"}, true),
              "ComputerSystem/0/Name/pc\nDisk/0/SerialNumber/s\nOS/0/A/PC\nET/0//5\n");
    const Report report = ReadReport(path, KeepSelected({"ET"}, false));
    EXPECT_EQ(report.sections.size(), 3U);
    EXPECT_TRUE(report.warnings.empty());
}

TEST(ReportReader, LeavesOutSectionsThatAreTheSameInBothReports)
{
    const struct {
        std::u16string before, after;
        bool withPassing;
        const char* kept;  // of the first one
    } rows[] = {
        {u"A\t0\tX\t1\n", u"A\t0\tX\t1\n", true, ""},
        {u"A\t0\tX\t1\n", u"A\t0\tX\t2\n", false, "A/0/X/1\n"},
        {u"A\t0\tX\t1\n", u"A\t1\tX\t1\n", false, "A/0/X/1\n"},
        {u"A\t0\tXY\tZ\n", u"A\t0\tX\tYZ\n", false, "A/0/XY/Z\n"},
        {u"A\t0\tX\t1\nA\t0\tX\t2\n", u"A\t0\tX\t2\nA\t0\tX\t1\n", false, "A/0/X/2\n"},
        {u"A\t0\tX\t1\nB\t0\tX\t1\n", u"B\t0\tX\t2\nC\t0\tX\t1\n", false, "B/0/X/1\n"},
        {u"LogicalDisk\t0\tFreeSpace\t1\n", u"LogicalDisk\t0\tFreeSpace\t2\n", false, ""},
        {u"LogicalDisk\t0\tFreeSpace\t1\n", u"LogicalDisk\t0\tFreeSpace\t2\n", true,
         "LogicalDisk/0/FreeSpace/1\n"},
    };
    const CTestFolder folder;
    for (const auto& row : rows) {
        const auto before = folder.Write("a.tsv", Bytes(row.before));
        const auto after = folder.Write("b.tsv", Bytes(row.after));
        const auto isKept = KeepDifferingSections(before, after, row.withPassing);
        EXPECT_EQ(FactsOf(ReadReport(before, isKept)), row.kept);
    }
}

TEST(ReportReader, FindsSectionsAndPropertiesByName)
{
    const Report report = Read(u"S\t3\tB\t\n");
    ASSERT_NE(report.Find("S"), nullptr);
    EXPECT_EQ(report.Find("s"), nullptr);
    const Instance& instance = report.Find("S")->instances.at(0);
    ASSERT_NE(instance.Find("B"), nullptr);
    EXPECT_EQ(*instance.Find("B"), "");
    EXPECT_EQ(instance.Find("C"), nullptr);
}

TEST(ReportReader, RefusesWhatIsNoReportAndSaysWhy)
{
    const auto message = [](const fs::path& path) -> std::string {
        try {
            ReadReport(path);
        } catch (const CommandError& error) {
            EXPECT_EQ(error.code(), ExitCode::kInput);
            return error.what();
        }
        return "read";
    };
    const CTestFolder folder;
    std::string noise;
    for (unsigned seed = 1; noise.size() < 300'000;)
        noise += static_cast<char>((seed = seed * 1664525u + 1013904223u) >> 24);
    const std::string text = "BIOS\t0\tVersion\t1.0\nBIOS\t0\tName\tx\n";
    std::string bigEndian;
    for (const char c : text)
        bigEndian.append(1, '\0').append(1, c);
    const struct {
        std::string bytes;
        const char* reason;
    } rows[] = {
        {text, "it is not UTF-16, but perhaps text in UTF-8"},
        {"\xEF\xBB\xBF" + text, "it is not UTF-16, but perhaps text in UTF-8"},
        {bigEndian, "it is text in big-endian UTF-16"},
        {"\xFE\xFF" + bigEndian, "it is text in big-endian UTF-16"},
        {std::string{"\xFF\xFE\0\0B\0\0\0", 8}, "it is text in UTF-32"},
        {noise, "none of its lines begins with a section"},
        {std::string(5000, '\0'), "none of its lines begins with a section"},
        {Bytes(u"Hello\nworld\n"), "none of its lines begins with a section"},
        {"B", "it is not UTF-16"},
    };
    for (const auto& row : rows)
        EXPECT_NE(message(folder.Write("x.tsv", row.bytes)).find(row.reason), std::string::npos)
            << message(folder.Write("x.tsv", row.bytes));
    EXPECT_NE(message(PathFromUtf8(folder.Path("folder"))).find("it is a folder"),
              std::string::npos);
}

TEST(ReportReader, KeepsAMillionCharactersOfAValueThatHasMore)
{
    std::u16string text = u"S\t0\tA\t";
    text += std::u16string(3'000'000, u'x') + u"\ny\nS\t1\tA\tz\n";
    const Report report = Read(text);
    ASSERT_EQ(FactsOf(report).size(), std::size_t{(1 << 20) + 9});
    EXPECT_EQ(report.sections[0].instances[1].properties[0].value, "z");
    EXPECT_EQ(Warnings(report.warnings),
              "1: the line is longer than the library writes; it may hold more than one fact\n"
              "1: the value is longer than 1048576 characters; its end was left out\n"
              "2: no fact begins here; the line was taken as part of the value before it\n");
}

TEST(FindValue, GivesOneValueByItsName)
{
    std::u16string text = u"BIOS\t0\tVersion\t1.0\nDisk\t1\tName\t\u00FC\t2\nDisk\t0\tEmpty\t\n";
    for (int category = 1; category <= 13; ++category)
        text += u"ET\t0\t\t" + Wide(std::to_string(category)) + u'\n';
    const CTestFolder folder;
    const auto whole = folder.Write("x.tsv", Bytes(text + u"Disk\t1\tName\tlast\n"));
    const struct {
        const char *name, *value;
    } rows[] = {
        {"BIOS.Version", "1.0"},   {"BIOS.Version.0", "1.0"}, {"BIOS.Version.1", nullptr},
        {"bios.Version", nullptr}, {"Disk.Name.1", "last"},   {"Disk.Empty", ""},
        {"Disk.Name", nullptr},    {"ET.BIOS", "1"},          {"ET.Video", "13"},
        {"ET.Network", "7"},       {"ET.Other", nullptr},     {"ET.BIOS.1", nullptr},
    };
    for (const auto& row : rows) {
        const auto found = FindValue(whole, ParseValueName(row.name)).value;
        EXPECT_EQ(found.value_or("(none)"), row.value != nullptr ? row.value : "(none)")
            << row.name;
    }
    EXPECT_EQ(FindValue(whole, ParseValueName("disk.NAME.1")).alike,
              std::vector<std::string>{"Disk.Name.1"});
    EXPECT_EQ(FindValue(whole, ParseValueName("disk.NAME")).alike, std::vector<std::string>{});
    EXPECT_EQ(FindValue(whole, ParseValueName("et.bios")).alike.front(), "ET.BIOS");
    EXPECT_EQ(Warnings(FindValue(whole, ParseValueName("Disk.Name.1")).warnings),
              "17: the fact was there before; this later value counts\n");
}

TEST(FindValue, DoesNotGuessTheCategoriesOfAShortReport)
{
    const CTestFolder folder;
    const auto report = folder.Write("x.tsv", Bytes(u"ET\t0\t\t5\nET\t0\t\t6\n"));
    EXPECT_EQ(FindValue(report, ParseValueName("ET.BIOS")).value, std::nullopt);
}

TEST(FindValue, RefusesNamesOfAnotherForm)
{
    for (const char* name : {"", "BIOS", ".Version", "BIOS.Version.x", "BIOS.Version.-1",
                             "BIOS.Version.", "BIOS.Version.99999999999"})
        EXPECT_THROW(ParseValueName(name), CommandError) << name;
}

}  // namespace
}  // namespace orrery::report
