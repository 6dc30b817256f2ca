#include "support/registry.h"

#include <gtest/gtest.h>

#include "sim/registry_tree.h"

namespace orrery {
namespace {

TEST(RegistryText, IsCutAtTheLimitAndOnlyReadFromTextTypes)
{
    const auto unterminated = BytesValue({'U', 0, 'S', 0, 'B', 0}, REG_SZ);
    const auto odd = BytesValue({'U', 0, 'S', 0, 'B'}, REG_SZ);
    const struct {
        const char* what;
        RegistryValue stored;
        std::size_t limit;
        std::optional<std::wstring> expected;
    } rows[] = {
        {"plain", TextValue(L"USB"), 255, L"USB"},
        {"not expanded", TextValue(L"%windir%", REG_EXPAND_SZ), 255, L"%windir%"},
        {"first of several", TextsValue({L"one", L"two"}), 255, L"one"},
        {"several, none there", TextsValue({}), 255, L""},
        {"no terminator", unterminated, 255, L"USB"},
        {"half a character at the end", odd, 255, L"US"},
        {"no bytes at all", BytesValue({}, REG_SZ), 255, L""},
        {"as long as the limit", TextValue(L"USB"), 3, L"USB"},
        {"one past the limit", TextValue(L"USBS"), 3, L"USB"},
        {"fills the first guess", TextValue(std::wstring(255, L'x')), 999, std::wstring(255, L'x')},
        {"past the first guess", TextValue(std::wstring(900, L'x')), 999, std::wstring(900, L'x')},
        {"long, and cut", TextValue(std::wstring(900, L'x')), 300, std::wstring(300, L'x')},
        {"number", NumberValue(7), 255, std::nullopt},
        {"bytes of a text", BytesValue({'U', 0, 0, 0}), 255, std::nullopt},
    };
    RegistryTree tree{nullptr};
    for (const auto& row : rows) {
        tree.Set(L"", L"Value", row.stored);
        EXPECT_EQ(ReadText(tree.key(), L"Value", row.limit), row.expected) << row.what;
    }
    EXPECT_EQ(ReadText(tree.key(), L"Other", 255), std::nullopt);
}

TEST(RegistryNumber, IsReadOnlyFromDwords)
{
    const struct {
        const char* what;
        RegistryValue stored;
        std::optional<std::uint32_t> expected;
    } rows[] = {
        {"largest", NumberValue(0xFFFFFFFF), 0xFFFFFFFF},
        {"zero", NumberValue(0), 0},
        {"four bytes of another type", BytesValue({1, 0, 0, 0}), std::nullopt},
        {"eight bytes", BytesValue({1, 0, 0, 0, 0, 0, 0, 0}, REG_QWORD), std::nullopt},
        {"text", TextValue(L"1"), std::nullopt},
    };
    RegistryTree tree{nullptr};
    for (const auto& row : rows) {
        tree.Set(L"", L"Value", row.stored);
        EXPECT_EQ(ReadDword(tree.key(), L"Value"), row.expected) << row.what;
    }
    EXPECT_EQ(ReadDword(tree.key(), L"Other"), std::nullopt);
}

TEST(RegistryValues, ComeWithTheirTypeAndAllTheirBytes)
{
    std::vector<std::uint8_t> bytes(5000, 0xA5);
    bytes.back() = 0x5A;
    const RegistryTree tree{nullptr, {{L"", L"Blob", BytesValue(bytes, REG_NONE)}}};
    const auto value = ReadValue(tree.key(), L"Blob");
    ASSERT_TRUE(value);
    EXPECT_EQ(value->type, static_cast<DWORD>(REG_NONE));
    EXPECT_EQ(value->bytes, bytes);
    EXPECT_FALSE(ReadValue(tree.key(), L"Other"));
}

TEST(RegistryKeys, AreListedByNameAndMissingOnesAreNoKeys)
{
    const std::wstring longest(255, L'n');
    const RegistryTree tree{nullptr, {{L"a\\below"}, {L"b"}, {longest}}};
    EXPECT_EQ(SubkeyNames(tree.key()), (std::vector<std::wstring>{L"a", L"b", longest}));
    EXPECT_TRUE(OpenKey(tree.key(), L"A\\Below"));
    EXPECT_FALSE(OpenKey(tree.key(), L"below"));
}

}  // namespace
}  // namespace orrery
