#include <gtest/gtest.h>

#include "case_file.h"
#include "client/report/profile_text.h"
#include "made_report.h"
#include "parsed_json.h"

namespace orrery::report {
namespace {

TEST(Summary, TellsWhatAPcIs)
{
    for (const Case& row :
         Cases("summary", {"report", "second report", "text", "narrow text", "json"})) {
        SCOPED_TRACE(row.what);
        std::vector<NamedReport> reports{{"a.tsv", MadeReport(row["report"])}};
        if (row.texts.contains("second report"))
            reports.push_back({"b.tsv", MadeReport(row["second report"])});
        EXPECT_EQ(Written(WriteProfiles, reports, ShowStyle{}), row["text"]);
        if (row.texts.contains("narrow text")) {
            const ShowStyle narrow{44, true, false, Charset::kUnicode, Charset::kUnicode};
            EXPECT_EQ(Written(WriteProfiles, reports, narrow), row["narrow text"]);
        }
        const CParsedJson json{FormatProfilesJson(reports)};
        EXPECT_NE(json.At("/machines/" + std::to_string(reports.size() - 1)), "null");
        EXPECT_EQ(json.At("/machines/" + std::to_string(reports.size())), "null");
        if (row.texts.contains("json")) {
            EXPECT_EQ(json.At("/machines/0"), InOrder(row["json"]));
        }
    }
}

}  // namespace
}  // namespace orrery::report
