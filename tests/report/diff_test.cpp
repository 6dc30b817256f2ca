#include "client/report/diff.h"

#include <gtest/gtest.h>

#include "case_file.h"
#include "client/report/diff_text.h"
#include "made_report.h"
#include "parsed_json.h"

namespace orrery::report {
namespace {

const DiffNames kNames{"old", "new"};

TEST(CompareReports, TellsWhatChangedInTheMachine)
{
    for (const Case& row : Cases("diff", {"old", "new", "changes", "all changes", "json"})) {
        SCOPED_TRACE(row.what);
        const Report before = MadeReport(row["old"]), after = MadeReport(row["new"]);
        const auto all = CompareReports(before, after, true);
        const auto told = [](const std::vector<SectionChange>& changes) {
            return FormatDiff(changes, kNames, 0, Charset::kUnicode);
        };
        EXPECT_EQ(told(CompareReports(before, after, false)), row["changes"]);
        EXPECT_EQ(told(all), row[row.texts.contains("all changes") ? "all changes" : "changes"]);
        EXPECT_TRUE(CompareReports(after, after, true).empty());
        if (row.texts.contains("json")) {
            EXPECT_EQ(InOrder(FormatDiffJson(all, kNames, true)), InOrder(row["json"]));
        }
    }
}

TEST(FormatDiff, FoldsLinesThatAreTooLong)
{
    const auto changes = CompareReports(MadeReport("BIOS/0/Version/12345\n"),
                                        MadeReport("BIOS/0/Version/67890\n"), false);
    EXPECT_EQ(FormatDiff(changes, kNames, 25, Charset::kUnicode),
              "BIOS\n  Version  12345 -> 67890\n");
    EXPECT_EQ(FormatDiff(changes, kNames, 24, Charset::kUnicode),
              "BIOS\n  Version  12345\n        -> 67890\n");
}

TEST(FormatDiffJson, TellsThatReportsAreTheSameWhateverTheyAreCalled)
{
    const CParsedJson same{FormatDiffJson({}, {"a\xFF", "b"}, false)};
    EXPECT_EQ(same.At("/same"), "true");
    EXPECT_EQ(same.At("/sections"), "[]");
}

}  // namespace
}  // namespace orrery::report
