#include "client/report/placeholders.h"

#include <gtest/gtest.h>

namespace orrery::report {
namespace {

TEST(Placeholder, IsWhatFirmwareSaysWhereNothingWasFilledIn)
{
    for (const char* const text :
         {" ", "....", "0", "00000000", "FFFFFFFF-FFFF-FFFF-FFFF-FFFFFFFFFFFF",
          "To Be Filled By O.E.M.", "to be filled by OEM  ", "Default string",
          "System Serial Number", "Not Specified", "None", "N/A", "0123456789", "123456789",
          "1234567890", "INVALID", "03000200-0400-0500-0006-000700080009", "No Asset Tag",
          "xxxxxxxxxx"})
        EXPECT_TRUE(IsPlaceholder(text)) << text;
    for (const char* const text :
         {"", "5CD1234XYZ", "PF0ABCDE", "VMware-56 4d 3f", "1234567890123456789012", "12",
          "8CG0123456", "4C4C4544-0042-3510-8051-B4C04F4E4D32", "Nonesuch 7"})
        EXPECT_FALSE(IsPlaceholder(text)) << text;
}

}  // namespace
}  // namespace orrery::report
