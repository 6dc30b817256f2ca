#include <gtest/gtest.h>

#include <string>

#include "case_file.h"
#include "client/report/csv.h"
#include "client/report/json.h"
#include "client/report/ordered_json.h"
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

Source MadeSource()
{
    return {"pc.tsv", 1'707'116'889, false, "1.2"};
}

std::string Csv(const Report& report, CsvReader reader, const Source& source = MadeSource())
{
    return Written([&](const TextSink& sink) {
        WriteCsvHead(reader, sink);
        WriteCsv(report, source, reader, sink);
    });
}

TEST(Forms, HoldTheWholeReport)
{
    for (const Case& row : Cases("convert", {"report", "csv", "json"})) {
        const Report report = MadeReport(row["report"]);
        EXPECT_EQ(Lines(Csv(report, CsvReader::kDatabase)), row["csv"]) << row.what;
        const std::string json = Written(WriteJson, report, MadeSource());
        EXPECT_EQ(json, row["json"]) << row.what;
        EXPECT_EQ(Written(WriteJsonLine, report, MadeSource()), Dump(ParseJson(json), -1) + '\n')
            << row.what;
    }
}

TEST(Forms, KeepASpreadsheetFromComputing)
{
    const Report report = MadeReport(
        "=S/0/-P/=1,1/Q/\t1/R/007\nComputerSystem/0/Name/@x\nDiskDrive/0/Caption/Disk 5/Size/9\n");
    EXPECT_EQ(Lines(Csv(report, CsvReader::kSpreadsheet, {"+.tsv", {}, false, "1"})),
              "\xEF\xBB\xBFmachine,section,index,property,value,report\n"
              "'@x,'=S,0,'-P,\"'=1,1\",'+.tsv\n'@x,'=S,0,Q,'\t1,'+.tsv\n"
              "'@x,'=S,0,R,'007,'+.tsv\n'@x,ComputerSystem,0,Name,'@x,'+.tsv\n"
              "'@x,DiskDrive,0,Caption,Disk 5,'+.tsv\n'@x,DiskDrive,0,Size,9,'+.tsv\n");
}

TEST(Forms, KeepLinesInAValueAndTellWarnings)
{
    Report report = MadeReport("S/0/A/\n");
    report.sections.front().instances.front().properties.front().value = "a\nb";
    report.warnings = {{7, "odd"}};
    EXPECT_TRUE(Csv(report, CsvReader::kDatabase).ends_with("\r\n,S,0,A,\"a\nb\",pc.tsv\r\n"));
    const std::string json = Written(WriteJson, report, MadeSource());
    EXPECT_NE(json.find("\"A\": \"a\\nb\""), std::string::npos) << json;
    EXPECT_NE(json.find("\"line\": 7,\n      \"text\": \"odd\""), std::string::npos) << json;
}

}  // namespace
}  // namespace orrery::report
