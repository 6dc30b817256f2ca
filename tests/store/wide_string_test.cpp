#include "store/wide_string.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cwchar>
#include <thread>
#include <vector>

namespace orrery {
namespace {

const wchar_t* Resource(std::uintptr_t identifier)
{
    return reinterpret_cast<const wchar_t*>(identifier);
}

TEST(WideString, CopiesShareUntilOneIsWrittenTo)
{
    WideString original = L"disk";
    WideString copy = original;
    EXPECT_EQ(original.c_str(), copy.c_str());

    copy += L" 0";
    EXPECT_EQ(original, L"disk");
    EXPECT_EQ(copy, L"disk 0");

    original = copy;
    EXPECT_EQ(original.c_str(), copy.c_str());
    WideString& itself = original;
    original = itself;
    EXPECT_EQ(original, L"disk 0");
}

TEST(WideString, EmptyTextsAreOneInstance)
{
    const WideString empty;
    const WideString fromText = L"";
    WideString moved = L"x";
    const WideString taken = std::move(moved);
    EXPECT_EQ(empty.c_str(), fromText.c_str());
    // A text that was moved from is empty, not broken.
    EXPECT_EQ(empty.c_str(), moved.c_str());  // NOLINT(bugprone-use-after-move,clang-analyzer-*)
    EXPECT_STREQ(empty.c_str(), L"");
    EXPECT_EQ(taken, L"x");
}

TEST(WideString, GrowsAndTakesPiecesOfItself)
{
    WideString text = L"abc";
    for (int round = 0; round < 10; ++round)
        text += text.view();
    EXPECT_EQ(text.size(), 3U * 1024);
    text += text.view().substr(0, 2);
    EXPECT_EQ(text.view().substr(3 * 1024 - 1), L"cab");
    EXPECT_EQ(text.c_str()[text.size()], L'\0');
}

TEST(WideString, KeepsZerosInsideAndOrdersByCodeUnit)
{
    const WideString withZero = std::wstring_view{L"a\0b", 3};
    EXPECT_EQ(withZero.size(), 3U);
    EXPECT_LT(WideString{L"BIOS"}, WideString{L"BaseBoard"});
    EXPECT_LT(WideString{L"1"}, WideString{L"10"});
    EXPECT_LT(WideString{L"z"}, WideString{L"\xE000"});  // unsigned
}

TEST(WideString, ReadsAnArgumentAsTextOrAsResource)
{
    // Bits 16 to 31 of the wider address are zero, as an identifier's are.
    constexpr std::uint64_t kPlace = sizeof(void*) == 8 ? 0x0000000700000000 : 0x7F000000;
    auto* const high = static_cast<wchar_t*>(
        VirtualAlloc(reinterpret_cast<void*>(static_cast<std::uintptr_t>(kPlace)), 4096,
                     MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
    ASSERT_NE(high, nullptr);
    std::wcscpy(high, L"r.tsv");
    const struct {
        const wchar_t* argument;
        std::size_t size;
        std::wstring_view end;
    } rows[] = {
        {nullptr, 0, L""},
        {L"C:\\r.tsv", 8, L".tsv"},
        {Resource(1), 16, L"test text"},
        {Resource(254), 254, L"123"},
        {Resource(255), 255, L"234"},  // exactly the first buffer
        {Resource(256), 256, L"345"},
        {Resource(700), 700, L"789"},
        {Resource(9999), 0, L""},  // no such text
        {high, 5, L"r.tsv"},
    };
    for (const auto& row : rows) {
        const WideString text = WideString::FromArgument(row.argument);
        EXPECT_EQ(text.size(), row.size) << static_cast<const void*>(row.argument);
        EXPECT_TRUE(text.view().ends_with(row.end)) << static_cast<const void*>(row.argument);
    }
    VirtualFree(high, 0, MEM_RELEASE);
}

TEST(WideString, CopiesMayLiveAndDieInManyThreads)
{
    const WideString shared = L"shared by all";
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 8; ++thread)
        threads.emplace_back([&shared] {
            for (int round = 0; round < 5000; ++round) {
                WideString copy = shared;
                const WideString second = copy;
                copy += L"!";
                ASSERT_EQ(second, L"shared by all");
            }
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(shared, L"shared by all");
}

}  // namespace
}  // namespace orrery
