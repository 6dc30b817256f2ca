#include <string>

#include <gtest/gtest.h>

#include "client/report/csv.h"
#include "client/report/json.h"
#include "report/fact_list.h"

namespace orrery {
namespace {

TEST(Csv, HasOneFactARowAndQuotesWhatWouldBreakIt)
{
    const auto report = MakeReport({
        {"BIOS", 0, "AssetTag", ""},
        {"BIOS", 0, "Version", "1.0 \"beta\", x"},
        {"ComputerSystem", 0, "Name", "DESK,1"},
        {"DiskDrive", 3, "Caption", "a\tb\nc\rd"},
        {"ET", 0, "", "5"},
        {"ET", 0, "", "-"},
    });
    EXPECT_EQ(report::ToCsv(report),
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
    EXPECT_EQ(report::ToCsv({}), kHeader);
    EXPECT_EQ(report::ToCsv(MakeReport({{"ComputerSystem", 0, "Name", ""}})),
              std::string{kHeader} + ",ComputerSystem,0,Name,\"\"\r\n");
    EXPECT_EQ(report::ToCsv(MakeReport({{"ComputerSystem", 1, "Name", "B"}})),
              std::string{kHeader} + ",ComputerSystem,1,Name,B\r\n");
}

TEST(Csv, NamesTheCategoriesOfACompleteRun)
{
    report::Report report;
    report.elapsedTimes.assign(13, "1");
    const std::string csv = report::ToCsv(report);
    EXPECT_NE(csv.find(",ET,0,BIOS,1\r\n"), std::string::npos) << csv;
    EXPECT_NE(csv.find(",ET,12,Video,1\r\n"), std::string::npos) << csv;
}

TEST(Json, GroupsBySectionAndInstance)
{
    auto report = MakeReport({
        {"ComputerSystem", 0, "Name", "DESK"},
        {"DiskDrive", 0, "Caption", "A \"1\"\t\\ <\x01\xC3\xA9>"},
        {"DiskDrive", 0, "Size", ""},
        {"DiskDrive", 2, "Caption", "B"},
        {"ET", 0, "", "18"},
        {"ET", 0, "", "1e3"},
        {"ET", 0, "", "99999999999999999999"},
    });
    report.warnings.push_back({7, "odd"});
    EXPECT_EQ(report::ToJson(report), R"({
  "format": "orrery-report",
  "formatVersion": 1,
  "machine": "DESK",
  "sections": {
    "ComputerSystem": [
      {
        "index": 0,
        "properties": {
          "Name": "DESK"
        }
      }
    ],
    "DiskDrive": [
      {
        "index": 0,
        "properties": {
          "Caption": "A \"1\"\t\\ <\u0001)"
                                      "\xC3\xA9"
                                      R"(>",
          "Size": ""
        }
      },
      {
        "index": 2,
        "properties": {
          "Caption": "B"
        }
      }
    ]
  },
  "elapsedTimes": [
    {
      "category": null,
      "milliseconds": 18
    },
    {
      "category": null,
      "milliseconds": "1e3"
    },
    {
      "category": null,
      "milliseconds": "99999999999999999999"
    }
  ],
  "warnings": [
    {
      "line": 7,
      "text": "odd"
    }
  ]
}
)");
}

}  // namespace
}  // namespace orrery
