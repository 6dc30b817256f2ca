#include "client/report/summary.h"

#include <gtest/gtest.h>

#include <span>
#include <string>
#include <string_view>

#include "report_text.h"

namespace orrery {
namespace {

/// "Section=facts" for each section.
std::string Counts(const CFactCounter& counter)
{
    std::string counts;
    for (const SectionCount& count : counter.sections())
        counts += count.section + '=' + std::to_string(count.facts) + ' ';
    return counts;
}

TEST(FactCounter, CountsFactsBySection)
{
    const struct {
        const char* what;
        std::u16string text;
        const char* expected;
        bool endsWhole;
    } rows[] = {
        {"an empty report", u"", "", true},
        {"report order, not sorted", u"OS\t0\tA\t1\nBIOS\t0\tB\t2\nOS\t1\tA\t3\n", "OS=2 BIOS=1 ",
         true},
        {"sections differ by case", u"BIOS\t0\tA\t1\nBios\t0\tA\t1\n", "BIOS=1 Bios=1 ", true},
        {"the last line was cut", Filled(u"OS\t0\tA\t", 1023), "OS=1 ", true},
        {"the last line is not whole", u"OS\t0\tA\t1\nOS\t0\tB", "OS=2 ", false},
    };
    for (const auto& row : rows) {
        CFactCounter counter;
        const std::string bytes = Bytes(row.text);
        counter.Add(std::as_bytes(std::span{bytes}));
        counter.Finish();
        EXPECT_EQ(Counts(counter), row.expected) << row.what;
        EXPECT_EQ(counter.endsWhole(), row.endsWhole) << row.what;
    }
}

TEST(SummaryTable, AlignsNamesLeftAndNumbersRight)
{
    const auto table = [](std::string_view longSection) {
        CFactCounter counter;
        std::u16string text = u"OS\t0\tA\t1\n";
        for (int fact = 0; fact < 12; ++fact)
            text += std::u16string{longSection.begin(), longSection.end()} + u"\t0\tA\t1\n";
        const std::string bytes = Bytes(text);
        counter.Add(std::as_bytes(std::span{bytes}));
        counter.Finish();
        return SummaryTable(counter);
    };
    EXPECT_EQ(table("BaseBoard"),
              "Section    Facts\n"
              "OS             1\n"
              "BaseBoard     12\n"
              "Total         13\n");
    EXPECT_EQ(table("X"),
              "Section  Facts\n"
              "OS           1\n"
              "X           12\n"
              "Total       13\n");
}

}  // namespace
}  // namespace orrery
