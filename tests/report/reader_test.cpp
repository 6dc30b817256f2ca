#include "client/report/reader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <span>
#include <string>

#include "case_file.h"
#include "client/system/exit_codes.h"
#include "client/report/section_digests.h"
#include "client/report/show.h"
#include "client/text/utf8.h"
#include "made_report.h"
#include "test_folder.h"

namespace orrery::report {
namespace {

namespace fs = std::filesystem;

/// "line: text" for each warning.
std::string Warnings(const std::vector<Warning>& warnings)
{
    std::string text;
    for (const Warning& warning : warnings)
        text += (std::to_string(warning.line) + ": ").append(warning.text).append(1, '\n');
    return text;
}

Report Parsed(const std::string& bytes, std::size_t blockSize)
{
    CReportBuilder builder;
    CReportParser parser{builder};
    for (auto rest = std::as_bytes(std::span{bytes}); !rest.empty();) {
        const auto block = rest.first(std::min(blockSize, rest.size()));
        parser.Add(block);
        rest = rest.subspan(block.size());
    }
    parser.Finish();
    return builder.Take();
}

TEST(ReportReader, FindsFactsAndWarnsOfWhatIsOdd)
{
    for (const Case& row : Cases("reader", {"report", "facts", "warnings"}))
        for (const std::size_t blockSize : {1, 3, 16384}) {
            const Report report = Parsed(ReportBytes(row["report"]), blockSize);
            std::string facts = FactsOf(report);
            std::replace(facts.begin(), facts.end(), '\t', '|');
            EXPECT_EQ(facts, row["facts"]) << row.what << ", blocks of " << blockSize;
            EXPECT_EQ(Warnings(report.warnings), row["warnings"]) << row.what;
        }
}

TEST(ReportReader, SpellsWhatIsNoText)
{
    // A half of a pair before a letter, after one, and both halves the wrong way round.
    std::string bytes = ReportBytes("S|0|A|?x?\nS|1|A|??\n");
    for (const std::string_view half : {"\x3D\xD8", "\0\xDE", "\0\xDE", "\x3D\xD8"})
        bytes.replace(bytes.find('?'), 2, half.data(), 2);
    const Report report = Parsed(bytes, 3);
    EXPECT_EQ(FactsOf(report), "S/0/A/\uFFFDx\uFFFD\nS/1/A/\uFFFD\uFFFD\n");
    EXPECT_EQ(Warnings(report.warnings),
              "1: the text is no valid Unicode; what cannot be spelled became U+FFFD\n"
              "2: the text is no valid Unicode; what cannot be spelled became U+FFFD\n");
}

TEST(ReportReader, KeepsOnlyWhatIsWanted)
{
    const CTestFolder folder;
    const auto path =
        folder.Write("x.tsv", ReportBytes("ComputerSystem|0|Name|pc\nDisk|0|SerialNumber|s\n"
                                          "Disk|0|Size|1\nET|0||5\nOS|0|A|pc\nOS|0|A|PC\n"));
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
        const char* what;
        std::string before, after;
        const char *kept, *keptWithPassing;  // of the first one
    } rows[] = {
        {"the same", "A|0|X|1\n", "A|0|X|1\n", "", ""},
        {"another value", "A|0|X|1\n", "A|0|X|2\n", "A/0/X/1\n", "A/0/X/1\n"},
        {"another index", "A|0|X|1\n", "A|1|X|1\n", "A/0/X/1\n", "A/0/X/1\n"},
        {"the same letters", "A|0|XY|Z\n", "A|0|X|YZ\n", "A/0/XY/Z\n", "A/0/XY/Z\n"},
        {"another last value", "A|0|X|1\nA|0|X|2\n", "A|0|X|2\nA|0|X|1\n", "A/0/X/2\n",
         "A/0/X/2\n"},
        {"sections of one report", "A|0|X|1\nB|0|X|1\n", "B|0|X|2\nC|0|X|1\n", "B/0/X/1\n",
         "B/0/X/1\n"},
        {"what passes", "LogicalDisk|0|FreeSpace|1\n", "LogicalDisk|0|FreeSpace|2\n", "",
         "LogicalDisk/0/FreeSpace/1\n"},
    };
    const CTestFolder folder;
    for (const auto& row : rows) {
        const auto before = folder.Write("a.tsv", ReportBytes(row.before));
        const auto after = folder.Write("b.tsv", ReportBytes(row.after));
        const auto kept = [&](bool withPassing) {
            return FactsOf(ReadReport(before, KeepDifferingSections(before, after, withPassing)));
        };
        EXPECT_EQ(kept(false), row.kept) << row.what;
        EXPECT_EQ(kept(true), row.keptWithPassing) << row.what;
    }
}

TEST(ReportReader, ReadsWhatAProgramSavedAsUtf8)
{
    const CTestFolder folder;
    const std::string note =
        "0: the report is text in UTF-8, not the UTF-16LE that the library writes; it was read all "
        "the same\n";
    // Characters of all sizes across the ends of all blocks.
    std::string text = "S\t0\tA\t";
    for (int at = 0; at < 40'000; ++at)
        text +=
            (at % 100 == 99 ? "\nS\t" + std::to_string(at) + "\tA\t" : "x\u00E4\u20AC\U0001D11E");
    text += '\n';
    std::string bytes;
    AppendUtf16(text, &bytes);
    const std::string expected = FactsOf(ReadReport(folder.Write("16.tsv", bytes)));
    for (const char* mark : {"", "\xEF\xBB\xBF"})
        for (const char* before : {"", "a", "ab", "abc"}) {
            const std::string first = std::string{"R\t0\tA\t"} + before + '\n';
            const Report report = ReadReport(folder.Write("8.tsv", (mark + first).append(text)));
            EXPECT_EQ(FactsOf(report), std::string{"R/0/A/"}.append(before) + '\n' + expected);
            EXPECT_EQ(Warnings(report.warnings), note);
        }
    const Report ansi = ReadReport(folder.Write("8.tsv", "S\t0\tA\tCaf\xE9\n"));
    EXPECT_EQ(ansi.sections.at(0).instances.at(0).properties.at(0).value, "Caf\uFFFD");
    EXPECT_EQ(Warnings(ansi.warnings),
              note + "0: the text is no valid Unicode; what cannot be spelled became U+FFFD\n");
}

TEST(ReportReader, FindsSectionsAndPropertiesByName)
{
    const Report report = MadeReport("S/3/B/\n");
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
        {"Hello\t\n" + text, "it is not UTF-16, but perhaps text in UTF-8"},
        {"\xEF\xBB\xBFHello\n", "it is not UTF-16, but perhaps text in UTF-8"},
        {bigEndian, "it is text in big-endian UTF-16"},
        {"\xFE\xFF" + bigEndian, "it is text in big-endian UTF-16"},
        {std::string{"\xFF\xFE\0\0B\0\0\0", 8}, "it is text in UTF-32"},
        {noise, "none of its lines begins with a section"},
        {std::string(5000, '\0'), "none of its lines begins with a section"},
        {ReportBytes("Hello\nworld\n"), "none of its lines begins with a section"},
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
    const std::string value(3'000'000, 'x');
    const Report report = Parsed(ReportBytes("S|0|A|" + value + "\ny\nS|1|A|z\n"), 1 << 18);
    ASSERT_EQ(FactsOf(report).size(), std::size_t{(1 << 20) + 9});
    EXPECT_EQ(report.sections[0].instances[1].properties[0].value, "z");
    EXPECT_EQ(Warnings(report.warnings),
              "1: the line is longer than the library writes; it may hold more than one fact\n"
              "1: the value is longer than 1048576 characters; its end was left out\n"
              "2: no fact begins here; the line was taken as part of the value before it\n");
}

}  // namespace
}  // namespace orrery::report
