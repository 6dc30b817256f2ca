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
