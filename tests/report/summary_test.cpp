#include "client/report/summary.h"

#include <gtest/gtest.h>

#include <span>

#include "report_text.h"

namespace orrery {
namespace {

TEST(SummaryTable, CountsFactsBySectionInTheOrderOfTheReport)
{
    std::u16string many = u"OS\t0\tA\t1\n";
    for (int fact = 0; fact < 12; ++fact)
        many += u"BaseBoard\t0\tA\t1\n";
    const struct {
        std::u16string text;
        const char* expected;
        bool endsWhole;
    } rows[] = {
        {u"", "Section  Facts\nTotal        0\n", true},
        {many, "Section    Facts\nOS             1\nBaseBoard     12\nTotal         13\n", true},
        {u"OS\t0\tA\t1\nX\t0\tB\t2\nOS\t1\tA\t3\nOs\t0\tA\t1\n",
         "Section  Facts\nOS           2\nX            1\nOs           1\nTotal        4\n", true},
        {Filled(u"ET\t0\t\t", 1023),  // the last line was cut
         "Section             Facts\nET (elapsed times)      1\nTotal                   1\n", true},
        {u"X\t0\tA\t1\nX\t0\tB", "Section  Facts\nX            2\nTotal        2\n", false},
    };
    for (const auto& row : rows) {
        CFactCounter counter;
        const std::string bytes = Bytes(row.text);
        counter.Add(std::as_bytes(std::span{bytes}));
        counter.Finish();
        EXPECT_EQ(SummaryTable(counter), row.expected);
        EXPECT_EQ(counter.endsWhole(), row.endsWhole) << row.expected;
    }
}

}  // namespace
}  // namespace orrery
