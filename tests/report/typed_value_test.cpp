#include "client/report/typed_value.h"

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <sstream>

#include "client/report/typed_json.h"
#include "parsed_json.h"

namespace orrery::report {
namespace {

TEST(TypedValue, IsNothingForATextThatTheLibraryDoesNotWriteSo)
{
    EXPECT_EQ(ExactNumber("-7"), -7);
    EXPECT_EQ(ExactNumber("9223372036854775807"), 9223372036854775807);
    for (const char* const text : {"", "007", "-0", "+1", "1 ", "1.5", "9223372036854775808"})
        EXPECT_FALSE(ExactNumber(text)) << text;

    const Term* const counted = FindTerm("OperatingSystem", "Is64x");
    const Term* const spelled = FindTerm("NetworkAdapter", "DHCPEnabled");
    EXPECT_EQ(ExactTruth(*counted, "1"), true);
    EXPECT_EQ(ExactTruth(*spelled, "false"), false);
    EXPECT_FALSE(ExactTruth(*counted, "true"));
    EXPECT_FALSE(ExactTruth(*spelled, "True"));

    EXPECT_EQ(IsoDate("02/29/24"), "2024-02-29");
    EXPECT_EQ(IsoDate("12/31/70"), "1970-12-31");
    for (const char* const text : {"", "00/00/70", "02/29/23", "2/3/24", "31/12/20"})
        EXPECT_FALSE(IsoDate(text)) << text;

    EXPECT_EQ(SecondsOf("1970-01-02T00:00:01Z"), 86'401);
    EXPECT_EQ(FormatIsoTime(*SecondsOf("2024-02-29T23:59:58Z")), "2024-02-29T23:59:58Z");
    for (const char* const text :
         {"", "2024-02-30T00:00:00Z", "2024-02-05T24:00:00Z", "2024-02-05T07:08:09"})
        EXPECT_FALSE(IsIsoTime(text)) << text;
}

TEST(TypedJson, MarksWhatIsNotToBeReliedOn)
{
    const struct {
        const char *section, *property, *text, *value, *mark;
    } rows[] = {
        {"DiskDrive", "Size", "476937", "476937", ""},
        {"DiskDrive", "Size", "", "null", ""},
        {"DiskDrive", "Size", "1e3", R"("1e3")", "unfit"},
        {"DiskDrive", "Size", "-5", R"("-5")", "unfit"},
        {"LogicalDisk", "Size", "0", "null", "unknown"},
        {"LogicalDisk", "FreeSpace", "0", "0", ""},
        {"NetworkAdapter", "Speed", "1000000000", "1000000000", ""},
        {"NetworkAdapter", "Speed", "9223372036854775807", "null", "unknown"},
        {"NetworkAdapter", "DHCPEnabled", "true", "true", ""},
        {"NetworkAdapter", "DHCPEnabled", "1", R"("1")", "unfit"},
        {"NetworkAdapter", "DHCPLeaseExpires", "1970-01-01T00:00:00Z", "null", "none"},
        {"NetworkAdapter", "DHCPLeaseExpires", "2038-01-19T03:14:07Z", R"("2038-01-19T03:14:07Z")",
         "endless"},
        {"NetworkAdapter", "DHCPLeaseExpires", "05.02.2024", R"("05.02.2024")", "unfit"},
        {"NetworkAdapter", "Name", "A \\\"x\\\"", R"("A \\\"x\\\"")", ""},
        {"BIOS", "InstallDate", "03/04/19", R"("2019-03-04")", ""},
        {"BIOS", "InstallDate", "00/00/70", "null", "unknown"},
        {"BIOS", "InstallDate", "01/01/70", "null", "unknown"},
        {"BIOS", "InstallDate", "31/12/20", R"("31/12/20")", "unfit"},
        {"BIOS", "SerialNumber", "To be filled by O.E.M.", R"("To be filled by O.E.M.")",
         "placeholder"},
        {"BIOS", "Version", "1.1", R"("1.1")", ""},
        {"BaseBoard", "Version", "x.x", R"("x.x")", "placeholder"},
        {"ComputerSystem", "Name", "NONE", R"("NONE")", ""},
        {"DiskDrive", "Caption", R"(a \"b\" \\ c\)", R"("a \"b\" \\ c\"")", ""},
        {"DiskDrive", "Caption", R"(a\b\\c)", R"("a\\b\\\\c")", ""},
        {"PhysicalMemoryLocation", "MemoryType", "Unknown", "null", "unknown"},
        {"ET", "BIOS", "16", "16", ""},
        {"Printer", "Unheard", "5", R"("5")", ""},
    };
    for (const auto& row : rows) {
        const TypedJson typed = TypedJsonOf(row.section, row.property, row.text);
        EXPECT_EQ(Dump(typed.value, -1), row.value) << row.property << ' ' << row.text;
        EXPECT_EQ(typed.mark, row.mark) << row.property << ' ' << row.text;
    }
}

TEST(TypedJson, HasATypeForEveryPropertyInTheSchema)
{
    const std::map<Kind, std::string> names = {{Kind::kText, "text"},
                                               {Kind::kWord, "word"},
                                               {Kind::kFlag, "truth"},
                                               {Kind::kCode, "code"},
                                               {Kind::kCount, "count"},
                                               {Kind::kMebibytes, "mebibytes"},
                                               {Kind::kBitsPerSecond, "bitsPerSecond"},
                                               {Kind::kKilohertz, "kilohertz"},
                                               {Kind::kMegahertz, "megahertz"},
                                               {Kind::kMilliseconds, "milliseconds"},
                                               {Kind::kDate, "date"},
                                               {Kind::kTime, "time"}};
    std::ifstream file{ORRERY_TEST_DATA "/../../docs/report.schema.json"};
    std::ostringstream text;
    text << file.rdbuf();
    const CParsedJson schema{text.str()};
    for (const Term& term : Vocabulary()) {
        if (!term.section.empty() && term.section != "ET") {
            EXPECT_EQ(schema.At("/properties/sections/properties/" + std::string{term.section} +
                                "/items/properties/properties/properties/" +
                                std::string{term.property} + "/$ref"),
                      "\"#/$defs/" + names.at(term.kind) + '"')
                << term.section << '.' << term.property;
        }
    }
}

}  // namespace
}  // namespace orrery::report
