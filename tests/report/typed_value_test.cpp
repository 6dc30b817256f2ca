#include "client/report/typed_value.h"

#include <gtest/gtest.h>

namespace orrery::report {
namespace {

TEST(TypedValue, IsNothingForATextThatTheLibraryDoesNotWriteSo)
{
    EXPECT_EQ(ExactNumber("-7"), -7);
    EXPECT_EQ(ExactNumber("9223372036854775807"), 9223372036854775807);
    for (const char* const text : {"", "007", "-0", "+1", "1 ", "1.5", "9223372036854775808"})
        EXPECT_FALSE(ExactNumber(text)) << text;

    const Term* const counted = FindTerm("OperatingSystem", "Is64x");
    const Term* const spelled = FindTerm("NetworkAdapter", "DHCPEnabled");
    EXPECT_EQ(ExactTruth(*counted, "1"), true);
    EXPECT_EQ(ExactTruth(*spelled, "false"), false);
    EXPECT_FALSE(ExactTruth(*counted, "true"));
    EXPECT_FALSE(ExactTruth(*spelled, "True"));

    EXPECT_EQ(IsoDate("02/29/24"), "2024-02-29");
    EXPECT_EQ(IsoDate("12/31/70"), "1970-12-31");
    for (const char* const text : {"", "00/00/70", "02/29/23", "2/3/24", "31/12/20"})
        EXPECT_FALSE(IsoDate(text)) << text;

    EXPECT_EQ(SecondsOf("1970-01-02T00:00:01Z"), 86'401);
    EXPECT_EQ(FormatIsoTime(*SecondsOf("2024-02-29T23:59:58Z")), "2024-02-29T23:59:58Z");
    for (const char* const text :
         {"", "2024-02-30T00:00:00Z", "2024-02-05T24:00:00Z", "2024-02-05T07:08:09"})
        EXPECT_FALSE(IsIsoTime(text)) << text;
}

}  // namespace
}  // namespace orrery::report
