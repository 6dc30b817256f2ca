#include "client/report/fact_counts.h"

#include <gtest/gtest.h>

#include <span>

#include "made_report.h"

namespace orrery {
namespace {

TEST(FactCountTable, CountsFactsBySectionInTheOrderOfTheReport)
{
    std::string many = "OS|0|A|1\n";
    for (int fact = 0; fact < 12; ++fact)
        many += "BaseBoard|0|A|1\n";
    const struct {
        std::string text;
        const char* expected;
    } rows[] = {
        {"", "Section  Facts\nTotal        0\n"},
        {many, "Section    Facts\nOS             1\nBaseBoard     12\nTotal         13\n"},
        {"OS|0|A|1\nX|0|B|2\nOS|1|A|3\nOs|0|A|1\n",
         "Section  Facts\nOS           2\nX            1\nOs           1\nTotal        4\n"},
        {"ET|0||" + std::string(1017, 'x'),  // the last line was cut
         "Section             Facts\nET (elapsed times)      1\nTotal                   1\n"},
    };
    for (const auto& row : rows) {
        CFactCounter counter;
        const std::string bytes = ReportBytes(row.text);
        counter.Add(std::as_bytes(std::span{bytes}));
        counter.Finish();
        EXPECT_EQ(FactCountTable(counter), row.expected);
    }
}

}  // namespace
}  // namespace orrery
