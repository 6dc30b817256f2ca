#include "wmi/property_text.h"

#include <gtest/gtest.h>

namespace orrery {
namespace {

TEST(PropertyText, LosesItsFraming)
{
    const struct {
        const wchar_t *property, *text, *expected;
    } rows[] = {
        {L"Name", L"\ninstance of X\n{\n\tName = \"Disk 0\";\n};\n", L"Disk 0"},
        {L"Name", L"\tName = \"\";", L""},
        {L"Name", L"\tNames = \"b\";\n\tName = \"a\";", L"a"},
        {L"Name", L"\tFullName = \"b\";\n\tName = \"a\";", L"a"},
        {L"Name", L"\tname = \"a\";", L""},    // case counts
        {L"Name", L"    Name = \"a\";", L""},  // a line begins with a tab
        {L"Name", L"\tName=\"a\";", L""},      // and has blanks around "="
        {L"Name", L"\tName = \"a\"", L""},     // unfinished line
        {L"Name", L"\tName = \"a\nb", L""},
        {L"Name", L"", L""},
        {L"Name", L"\tName = \"one; two\";", L"one"},           // cut at the first ";"
        {L"Name", L"\tName = \"\"\"quoted\"\"\";", L"quoted"},  // every quote at the ends
        {L"Name", L"\tName = \"{\"x\"}\";", L"x"},
        {L"Name", L"\tName = \"}a{\";", L"}a{"},                        // only the fitting side
        {L"Name", L"\tName = \"C:\\\\dir\\\"q\";", L"C:\\\\dir\\\"q"},  // escapes stay
        {L"Names", L"\tNames = {\"a\", \"b\"};", L"a\", \"b"},
        {L"Name", L"\tText = \"\tName = x;\tName = y;", L"x"},  // the first occurrence, wherever
    };
    for (const auto& row : rows)
        EXPECT_EQ(GetPropertyFromText(nullptr, row.property, row.text), row.expected) << row.text;
}

TEST(PropertyText, TakesTheReportsUnitsAndNames)
{
    const struct {
        const wchar_t *property, *value, *expected;
    } rows[] = {
        {L"Size", L"\"1048575\"", L"0"},
        {L"Size", L"\"\"", L"0"},
        {L"Size", L"\"4503599627370496\"", L"0"},           // 2^32 MiB: the low 32 bits
        {L"Size", L"\"4503598553628672\"", L"4294966272"},  // printed without a sign
        {L"Size", L"\"-1048576\"", L"4294967295"},
        {L"Capacity", L"\"4503598553628672\"", L"-1024"},  // the same bits, printed with a sign
        {L"size", L"\"1048576\"", L"1048576"},             // names compare with their case
        {L"ChassisTypes", L"{10, 9}", L"Laptop"},          // the first element decides
        {L"ChassisTypes", L"{}", L""},
        {L"CurrentUsage", L"4", L"In use"},
        {L"CurrentUsage", L"-1", L""},
        {L"MemoryType", L"26", L"DDR4"},
        {L"MemoryType", L"65562", L"DDR4"},         // 26 in the low 16 bits
        {L"MemoryType", L"\"LPDDR4\"", L"LPDDR4"},  // no digit first: as it stands
        {L"MemoryType", L"-1", L"-1"},
        {L"MemoryType", L"\"\"", L""},
    };
    for (const auto& row : rows) {
        const std::wstring text = L"\t" + std::wstring{row.property} + L" = " + row.value + L";";
        EXPECT_EQ(GetPropertyFromText(nullptr, row.property, text), row.expected) << text;
    }
    EXPECT_EQ(GetPropertyFromText(nullptr, L"Size", L"\tOther = 1;"), L"");  // absent is not 0
}

}  // namespace
}  // namespace orrery
