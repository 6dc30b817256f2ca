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
        {"", "Section  Facts  Empty\nTotal        0      0\n"},
        {many,
         "Section    Facts  Empty\n"
         "OS             1      0\n"
         "BaseBoard     12      0\n"
         "Total         13      0\n"},
        {"OS|0|A|1\nX|0|B|\nOS|1|A|\nOs|0|A|1\nX|0|C| \t\nY|0|A|\n",
         "Section  Facts  Empty\n"
         "OS           1      1\n"
         "X            0      2\n"
         "Os           1      0\n"
         "Y            0      1\n"
         "Total        2      4\n"
         "\nX, Y say nothing: \"orreryctl doctor\" tells why.\n"},
        {"ET|0||" + std::string(1017, 'x'),  // the last line was cut
         "Section             Facts  Empty\n"
         "ET (elapsed times)      1      0\n"
         "Total                   1      0\n"},
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
