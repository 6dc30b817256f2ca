#include <string>

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "client/report/csv.h"
#include "client/report/json.h"
#include "made_report.h"

namespace orrery {
namespace {

TEST(Csv, HasOneFactARowAndQuotesWhatWouldBreakIt)
{
    auto report = MadeReport(
        "BIOS/0/AssetTag//Version/1.0 \"beta\", x\nComputerSystem/0/Name/DESK,1\n"
        "DiskDrive/3/Caption/\nET/0//5\nET/0//-\n");
    report.sections.back().instances.front().properties.front().value = "a\tb\nc\rd";
    EXPECT_EQ(Written(report::WriteCsv, report),
              "machine,section,index,property,value\r\n"
              "\"DESK,1\",BIOS,0,AssetTag,\"\"\r\n"
              "\"DESK,1\",BIOS,0,Version,\"1.0 \"\"beta\"\", x\"\r\n"
              "\"DESK,1\",ComputerSystem,0,Name,\"DESK,1\"\r\n"
              "\"DESK,1\",DiskDrive,3,Caption,\"a\tb\nc\rd\"\r\n"
              "\"DESK,1\",ET,0,\"\",5\r\n"
              "\"DESK,1\",ET,1,\"\",-\r\n");
}

TEST(Csv, LeavesTheNameOfAMachineWithoutOneOut)
{
    constexpr char kHeader[] = "machine,section,index,property,value\r\n";
    EXPECT_EQ(Written(report::WriteCsv, report::Report{}), kHeader);
    EXPECT_EQ(Written(report::WriteCsv, MadeReport("ComputerSystem/0/Name/\n")),
              std::string{kHeader} + ",ComputerSystem,0,Name,\"\"\r\n");
    EXPECT_EQ(Written(report::WriteCsv, MadeReport("ComputerSystem/1/Name/B\n")),
              std::string{kHeader} + ",ComputerSystem,1,Name,B\r\n");
}

TEST(Csv, NamesTheCategoriesOfACompleteRun)
{
    report::Report report;
    report.elapsedTimes.assign(13, "1");
    const std::string csv = Written(report::WriteCsv, report);
    EXPECT_NE(csv.find(",ET,0,BIOS,1\r\n"), std::string::npos) << csv;
    EXPECT_NE(csv.find(",ET,12,Video,1\r\n"), std::string::npos) << csv;
}

TEST(Json, GroupsBySectionAndInstance)
{
    auto report = MadeReport(
        "ComputerSystem/0/Name/DESK\nDiskDrive/0/Caption/A \"1\"\t\\ <\x01\xC3\xA9>/Size/\n"
        "DiskDrive/2/Caption/B\nET/0//18\nET/0//1e3\nET/0//99999999999999999999\n");
    report.warnings.push_back({7, "odd"});
    const auto expected = nlohmann::ordered_json::parse(R"({
        "format": "orrery-report", "formatVersion": 1, "machine": "DESK",
        "sections": {
            "ComputerSystem": [{"index": 0, "properties": {"Name": "DESK"}}],
            "DiskDrive": [
                {"index": 0,
                 "properties": {"Caption": "A \"1\"\t\\ <\u0001\u00e9>", "Size": ""}},
                {"index": 2, "properties": {"Caption": "B"}}]},
        "elapsedTimes": [{"category": null, "milliseconds": 18},
                         {"category": null, "milliseconds": "1e3"},
                         {"category": null, "milliseconds": "99999999999999999999"}],
        "warnings": [{"line": 7, "text": "odd"}]})");
    EXPECT_EQ(Written(report::WriteJson, report), expected.dump(2) + '\n');
    EXPECT_EQ(Written(report::WriteJson, report::Report{}),
              "{\n  \"format\": \"orrery-report\",\n  \"formatVersion\": 1,\n  \"machine\": null,\n"
              "  \"sections\": {},\n  \"elapsedTimes\": [],\n  \"warnings\": []\n}\n");
}

}  // namespace
}  // namespace orrery
