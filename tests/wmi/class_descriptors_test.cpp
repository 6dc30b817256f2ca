#include "wmi/class_descriptors.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "client/report/vocabulary.h"

namespace orrery {
namespace {

TEST(ClassDescriptors, StandInTheirOrder)
{
    std::vector<std::wstring> heads;
    std::size_t properties = 0;
    const auto table = AllDescriptors();
    for (std::size_t at = 0; at < table.count; ++at) {
        std::wstring head = std::wstring{table.slots[at]} + L"/" + table.slots[at + 1];
        for (at += 2; table.slots[at] != nullptr; ++at)
            ++properties;
        heads.push_back(std::move(head));
    }
    ASSERT_EQ(heads.size(), 31U);
    EXPECT_EQ(properties, 92U);
    EXPECT_EQ(heads.front(), L"Win32_NetworkAdapter/NetworkAdapter");
    EXPECT_EQ(heads[12], L"Win32_PhysicalMemory/PhysicalMemory");
    EXPECT_EQ(heads[20], L"None/InventoryTime");
    EXPECT_EQ(heads[29], L"Win32_PhysicalMemory/PhysicalMemoryLocation");
    EXPECT_EQ(heads.back(), L"None/TouchSupport");
    EXPECT_STREQ(PropertiesOf(descriptors::kPhysicalMemoryLocation)[1], L"DeviceLocator");
    EXPECT_STREQ(SectionOf(descriptors::kUsbController), L"USBDevice");
}

TEST(ClassDescriptors, HaveNoPropertyThatReadersOfReportsDoNotKnow)
{
    const auto narrow = [](const std::wstring& text) {
        return std::string(text.begin(), text.end());
    };
    const auto table = AllDescriptors();
    for (std::size_t at = 0; at < table.count; ++at) {
        const std::string section = narrow(table.slots[at + 1]);
        for (at += 2; table.slots[at] != nullptr; ++at)
            EXPECT_NE(report::FindTerm(section, narrow(table.slots[at])), nullptr)
                << section << ' ' << narrow(table.slots[at]);
    }
}

}  // namespace
}  // namespace orrery
