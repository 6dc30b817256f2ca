#include "client/report/redact.h"

#include <gtest/gtest.h>

#include "case_file.h"
#include "client/text/fold_case.h"
#include "made_report.h"

namespace orrery::report {
namespace {

TEST(Redact, ReplacesWhatIdentifiesAndNothingElse)
{
    for (const Case& row : Cases("redact", {"report", "redacted"})) {
        Report report = MadeReport(row["report"]);
        Redact(&report);
        EXPECT_EQ(FactsOf(report), row["redacted"]) << row.what;
        Redact(&report);
        EXPECT_EQ(FactsOf(report), row["redacted"]) << row.what << ", redacted again";
    }
}

TEST(Redact, KeepsTwoReportsComparableAndIsSeen)
{
    const std::string first = "BIOS/0/SerialNumber/A\nNetworkAdapter/0/DHCPServer/0.0.0.0\n";
    Report one = MadeReport(first), other = MadeReport("BIOS/0/SerialNumber/B/AssetTag/A\n");
    EXPECT_FALSE(IsRedacted(one));
    RedactTogether(&one, &other);
    EXPECT_EQ(FactsOf(one), "BIOS/0/SerialNumber/serial-1\nNetworkAdapter/0/DHCPServer/0.0.0.0\n");
    EXPECT_EQ(FactsOf(other), "BIOS/0/SerialNumber/serial-2/AssetTag/serial-1\n");
    EXPECT_TRUE(IsRedacted(one));
    EXPECT_FALSE(IsRedacted(MadeReport("BIOS/0/SerialNumber/serial-1/AssetTag/7\n")));
    EXPECT_FALSE(IsRedacted(MadeReport("BIOS/0/SerialNumber//Version/host-1\n")));
}

TEST(Redact, LeavesTimesAndCoversWarnings)
{
    Report report = MadeReport("ComputerSystem/0/Name/desk\nET/0//1\n");
    report.warnings = {{3, "desk is cut"}};
    Redact(&report);
    EXPECT_EQ(report.warnings.front().text, "host-1 is cut");
    EXPECT_EQ(report.elapsedTimes.front(), "1");
}

TEST(FoldCase, MakesSmallLettersWithoutMovingABytes)
{
    EXPECT_EQ(FoldCase("AZ[az ÀÞ×ÿß ĀĹŽŸ"), "az[az àþ×ÿß āĺžŸ");
    EXPECT_EQ(FoldCase("ΆΈΌΏΑΣΫ ЀЏАЯ 太\xC3"), "άέόώασϋ ѐџая 太\xC3");
}

}  // namespace
}  // namespace orrery::report
