#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "case_file.h"
#include "client/report/profile_text.h"
#include "made_report.h"

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
        const auto json = nlohmann::json::parse(FormatProfilesJson(reports));
        EXPECT_EQ(json["machines"].size(), reports.size());
        if (row.texts.contains("json")) {
            EXPECT_EQ(json["machines"][0], nlohmann::json::parse(row["json"]));
        }
    }
}

}  // namespace
}  // namespace orrery::report
