#include "client/report/summary.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace orrery {
namespace {

/// The text as UTF-16LE bytes; the test rows hold no surrogates or byte-order marks.
std::string Bytes(std::u16string_view text)
{
    std::string bytes;
    for (const char16_t unit : text) {
        bytes += static_cast<char>(unit & 0xFF);
        bytes += static_cast<char>(unit >> 8);
    }
    return bytes;
}

/// "Section=facts" for each section, from bytes that arrive in blocks of the given size.
std::string Counts(const std::string& bytes, std::size_t blockSize)
{
    CFactCounter counter;
    for (std::size_t at = 0; at < bytes.size(); at += blockSize)
        counter.Add(std::as_bytes(
            std::span{bytes}.subspan(at).first(std::min(blockSize, bytes.size() - at))));
    std::string counts;
    for (const SectionCount& count : counter.sections())
        counts += count.section + '=' + std::to_string(count.facts) + ' ';
    return counts;
}

std::u16string Filled(std::u16string_view start, std::size_t units)
{
    return std::u16string{start}.append(units - start.size(), u'x');
}

TEST(FactCounter, CountsTheLinesThatBeginAFact)
{
    const std::u16string cut = Filled(u"OS\t0\tName\t", 1023);
    const struct {
        const char* what;
        std::u16string text;
        const char* expected;
    } rows[] = {
        {"an empty report", u"", ""},
        {"report order, not sorted", u"OS\t0\tA\t1\nBIOS\t0\tB\t2\nOS\t1\tA\t3\n", "OS=2 BIOS=1 "},
        {"an empty property and value", u"ET\t0\t\t\nET\t0\t\t7\n", "ET=2 "},
        {"sections differ by case", u"BIOS\t0\tA\t1\nBios\t0\tA\t1\n", "BIOS=1 Bios=1 "},
        {"an index of several digits", u"Processor\t120\tName\tx\n", "Processor=1 "},
        {"no index, index no number", u"OS\nOS\t\tA\t1\nOS\tx1\tA\t1\nOS\t1x\tA\t1\n", ""},
        {"no section", u"\t0\tA\t1\n", ""},
        {"the last line has no line feed", u"OS\t0\tA\t1\nOS\t0\tB", "OS=2 "},
        {"the last line ends before the tab", u"OS\t0\tA\t1\nOS\t0", "OS=1 "},
        {"a value of several lines", u"OS\t0\tA\tone\ntwo\tthree\n\nfour 4\t5\t6\n", "OS=1 "},
        {"letters beyond ASCII", u"OS\t0\tA\t\u0416\u090A\u0A09\nOS\t1\tA\t1\n", "OS=2 "},
        {"a cut line", cut + u"ET\t0\t\t12\n", "OS=1 ET=1 "},
        {"two cut lines", cut + cut + u"ET\t0\t\t12\n", "OS=2 ET=1 "},
        {"cut in the middle of a value's second line",
         Filled(u"OS\t0\tName\tone\ntwo ", 1023) + u"ET\t0\t\t12\n", "OS=1 ET=1 "},
        {"the longest line that is not cut", Filled(u"OS\t0\tName\t", 1022) + u"\nET\t0\t\t12\n",
         "OS=1 ET=1 "},
        {"a fact across the place of a cut",
         Filled(u"OS\t0\tName\t", 1019) + u"\nDevices\t0\tA\t1\n", "OS=1 Devices=1 "},
    };
    for (const auto& row : rows)
        for (const std::size_t blockSize : {1U, 3U, 16384U})
            EXPECT_EQ(Counts(Bytes(row.text), blockSize), row.expected)
                << row.what << ", blocks of " << blockSize;
}

TEST(FactCounter, TakesAnOddLastByte)
{
    EXPECT_EQ(Counts(Bytes(u"OS\t0\tA\t1\nET\t0\t") + "1", 4), "OS=1 ET=1 ");
    EXPECT_EQ(Counts("O", 1), "");
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
