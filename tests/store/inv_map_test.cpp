#include "store/inv_map.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace orrery {
namespace {

struct CountedObject : CHardwareObject {
    explicit CountedObject(int* counter) : CHardwareObject(L"counted"), alive(counter) { ++*alive; }
    ~CountedObject() override { --*alive; }
    int* alive;
};

std::wstring ValueAt(CInvMap& map, const wchar_t* key)
{
    CHardwareObject* object = nullptr;
    return map.Lookup(key, &object) == 1 ? std::wstring{object->value.view()} : L"(absent)";
}

TEST(InvMap, TheLastWriterWinsAndLookupIsExact)
{
    CInvMap map;
    StoreValue(nullptr, L"Name", L"x", &map, 0, L"Processor");
    StoreValue(nullptr, L"Name", L"y", &map, 0, L"Processor");
    StoreValue(nullptr, L"Name", L"", &map, -1, L"Processor");
    EXPECT_EQ(map.entries().size(), 2U);
    EXPECT_EQ(ValueAt(map, L"Processor\\Name\\0"), L"y");
    EXPECT_EQ(ValueAt(map, L"Processor\\Name\\-1"), L"");
    EXPECT_EQ(ValueAt(map, L"processor\\Name\\0"), L"(absent)");

    auto* untouched = reinterpret_cast<CHardwareObject*>(std::uintptr_t{0x10});
    EXPECT_EQ(map.Lookup(L"Processor\\Name", &untouched), 0);
    EXPECT_EQ(untouched, reinterpret_cast<CHardwareObject*>(std::uintptr_t{0x10}));
}

TEST(InvMap, WalksKeysByCodeUnit)
{
    CInvMap map;
    for (const wchar_t* key : {L"Slot\\Name\\10", L"BaseBoard\\Product\\0", L"Slot\\Name\\2",
                               L"Disk\\Name\\0", L"BIOS\\Version\\0", L"Slot\\Name\\1",
                               L"DiskDrive\\Name\\0", L"DiskA\\Name\\0", L"ET\\CPU"})
        map.Insert(key, new CHardwareObject);
    std::vector<std::wstring> walked;
    for (const auto& [key, object] : map.entries())
        walked.push_back(key);
    EXPECT_EQ(walked, (std::vector<std::wstring>{L"BIOS\\Version\\0", L"BaseBoard\\Product\\0",
                                                 L"DiskA\\Name\\0", L"DiskDrive\\Name\\0",
                                                 L"Disk\\Name\\0", L"ET\\CPU", L"Slot\\Name\\1",
                                                 L"Slot\\Name\\10", L"Slot\\Name\\2"}));
}

TEST(InvMap, AReplacedObjectLivesAsLongAsTheMap)
{
    int alive = 0;
    {
        CInvMap map;
        map.Insert(L"A\\B\\0", new CountedObject{&alive});
        CHardwareObject* first = nullptr;
        ASSERT_EQ(map.Lookup(L"A\\B\\0", &first), 1);
        map.Insert(L"A\\B\\0", new CountedObject{&alive});
        map.Insert(L"A\\B\\0", new CountedObject{&alive});
        map.Insert(L"A\\B\\0", first);  // back again, and still owned once
        EXPECT_EQ(alive, 3);
        first->value = L"still mine to write";
    }
    EXPECT_EQ(alive, 0);
}

TEST(InvMap, LosesNothingToThirteenThreads)
{
    constexpr int kWriters = 13;
    constexpr int kFacts = 2000;
    CInvMap map;
    std::vector<std::thread> writers;
    for (int writer = 0; writer < kWriters; ++writer)
        writers.emplace_back([&map, writer] {
            const WideString section = L"S" + std::to_wstring(writer);
            for (int fact = 0; fact < kFacts; ++fact) {
                StoreValue(nullptr, L"P", std::to_wstring(fact), &map, fact, section);
                StoreValue(nullptr, L"Shared", section, &map, fact, L"All");
            }
        });
    for (auto& writer : writers)
        writer.join();
    EXPECT_EQ(map.entries().size(), static_cast<std::size_t>((kWriters + 1) * kFacts));
    EXPECT_EQ(ValueAt(map, L"S12\\P\\1999"), L"1999");
    EXPECT_TRUE(ValueAt(map, L"All\\Shared\\7").starts_with(L"S"));
}

}  // namespace
}  // namespace orrery
