#include <gtest/gtest.h>

#include <string>

#include "case_file.h"
#include "client/report/csv.h"
#include "client/report/json.h"
#include "made_report.h"

namespace orrery::report {
namespace {

/// CSV with the line ends of every other text; a row has no line feed of its own here.
std::string Lines(const std::string& csv)
{
    std::string lines;
    for (std::size_t start = 0, end; (end = csv.find("\r\n", start)) != std::string::npos;
         start = end + 2)
        lines.append(csv, start, end - start).append(1, '\n');
    return lines;
}

TEST(Forms, HoldTheWholeReport)
{
    for (const Case& row : Cases("convert", {"report", "csv", "json"})) {
        const Report report = MadeReport(row["report"]);
        EXPECT_EQ(Lines(Written(WriteCsv, report)), row["csv"]) << row.what;
        EXPECT_EQ(Written(WriteJson, report), row["json"]) << row.what;
    }
}

TEST(Forms, KeepLinesInAValueAndTellWarnings)
{
    Report report = MadeReport("S/0/A/\n");
    report.sections.front().instances.front().properties.front().value = "a\nb";
    report.warnings = {{7, "odd"}};
    EXPECT_TRUE(Written(WriteCsv, report).ends_with("\r\n,S,0,A,\"a\nb\"\r\n"));
    const std::string json = Written(WriteJson, report);
    EXPECT_NE(json.find("\"A\": \"a\\nb\""), std::string::npos) << json;
    EXPECT_NE(json.find("\"line\": 7,\n      \"text\": \"odd\""), std::string::npos) << json;
}

}  // namespace
}  // namespace orrery::report
