#include "native/devices.h"

#include <gtest/gtest.h>

#include <new>
#include <string>
#include <vector>

#include "sim/detour.h"
#include "sim/registry_tree.h"

namespace orrery {
namespace {

constexpr PlatformVersion kWindows98{1, 4, 10};
constexpr PlatformVersion kWindowsNt4{2, 4, 0};
constexpr PlatformVersion kWindows10{2, 10, 0};

const std::wstring kEnum = L"SYSTEM\\CurrentControlSet\\Enum\\";

std::wstring Repeat(std::size_t count)
{
    return std::wstring(count, L'x');
}

TEST(DeviceList, FindsInstancesByClassFromWhenItIsFirstAsked)
{
    RegistryTree machine{HKEY_LOCAL_MACHINE,
                         {
                             {kEnum + L"PCI\\A\\0\\Control"},
                             {kEnum + L"PCI\\A\\0", L"Class", TextValue(L"USB")},
                             {kEnum + L"PCI\\A\\2\\Control"},
                         }};
    const CDevices devices{kWindows10};
    machine.Set(kEnum + L"PCI\\A\\2", L"Class", TextValue(L"Net"));
    EXPECT_EQ(devices.Count(L""), 2U);
    machine.Set(kEnum + L"PCI\\A\\2", L"Class", TextValue(L"USB"));
    EXPECT_EQ(devices.Count(L"uSB"), 1U);
    EXPECT_EQ(devices.Count(L"US"), 0U);
    ASSERT_NE(devices.Find(0, L"Net"), nullptr);
    EXPECT_EQ(devices.Find(1, L""), devices.Find(0, L"Net"));
    EXPECT_EQ(devices.Find(1, L"usb"), nullptr);
    EXPECT_EQ(devices.Find(2, L""), nullptr);
}

TEST(DeviceList, StaysEmptyWhereMemoryWasShort)
{
    const RegistryTree machine{HKEY_LOCAL_MACHINE, {{kEnum + L"PCI\\A\\0\\Control"}}};
    const CDevices devices{kWindows10};
    {
        const sim::Detour shortage{L"advapi32.dll", "RegEnumKeyExW",
                                   [](HKEY, DWORD, wchar_t*, DWORD*, DWORD*, wchar_t*, DWORD*,
                                      FILETIME*) -> LSTATUS { throw std::bad_alloc{}; }};
        EXPECT_EQ(devices.Count(L""), 0U);
    }
    EXPECT_EQ(devices.Find(0, L""), nullptr);
    EXPECT_EQ(CDevices{kWindows10}.Count(L""), 1U);
}

TEST(DeviceList, TakesEveryFieldFromTheInstanceKey)
{
    const auto instance = kEnum + L"ROOT\\" + Repeat(215) + L"\\0";  // 252 characters
    RegistryTree machine{HKEY_LOCAL_MACHINE,
                         {
                             {instance + L"123\\Control"},
                             {instance + L"123", L"Class", TextValue(Repeat(256))},
                             {instance + L"123", L"ClassGUID", TextValue(L"{guid}")},
                             {instance + L"123", L"FriendlyName", TextValue(L"name")},
                             {instance + L"123", L"DeviceDesc", TextValue(L"description")},
                             {instance + L"123", L"Mfg", TextValue(L"maker")},
                             {instance + L"123", L"Service", TextValue(L"driver")},
                             {instance + L"123", L"StatusFlags", NumberValue(0x80000001)},
                             {instance + L"4\\Control"},
                             {instance + L"4", L"Mfg", NumberValue(1)},
                             {instance + L"4", L"StatusFlags", TextValue(L"1")},
                         }};
    const CDevices devices{kWindows10};
    ASSERT_EQ(devices.Count(L""), 2U);
    const auto& full = *devices.Find(0, L"");
    EXPECT_EQ(full.deviceClass.view(), Repeat(255));
    EXPECT_EQ(full.classGuid.view(), L"{guid}");
    EXPECT_EQ(full.friendlyName.view(), L"name");
    EXPECT_EQ(full.deviceDesc.view(), L"description");
    EXPECT_EQ(full.mfg.view(), L"maker");
    EXPECT_EQ(full.service.view(), L"driver");
    EXPECT_EQ(full.statusFlags, 0x80000001U);
    EXPECT_EQ(full.path.c_str(), (instance + L"123").substr(0, 254));
    const auto& bare = *devices.Find(1, L"");
    EXPECT_EQ(bare.path.view(), instance + L"4");
    EXPECT_TRUE(bare.mfg.empty() && bare.deviceClass.empty() && bare.friendlyName.empty());
    EXPECT_EQ(bare.statusFlags, 0U);
}

TEST(VideoAdapters, AreAtLeastOneWhichLeavesItsFactsAlone)
{
    const RegistryTree machine{HKEY_LOCAL_MACHINE}, running{HKEY_DYN_DATA};
    for (const auto& platform : {kWindows98, kWindowsNt4, kWindows10})
        for (const std::int32_t index : {-1, 0, 1000}) {
            WideString name{L"-"}, memory{L"-"}, dacType{L"-"};
            const auto count = CDevices{platform}.GetVideoAdapter(index, &name, &memory, &dacType);
            EXPECT_EQ(count, 1) << platform.platformId;
            EXPECT_EQ(name + memory + dacType, L"---") << platform.platformId;
        }
}

TEST(DisplayDevices, HaveListsOfDriversAndDacTypesOfLimitedLength)
{
    const std::wstring key = L"System\\CurrentControlSet\\Control\\Video\\0";
    const struct {
        std::size_t drivers, dacBytes;
        std::int32_t count;
        std::size_t dacCharacters;
    } rows[] = {{4095, 255, 1, 127}, {4095, 256, 1, 0}, {4096, 255, 0, 0}};
    for (const auto& row : rows) {
        const RegistryTree machine{
            HKEY_LOCAL_MACHINE,
            {{key, L"InstalledDisplayDrivers", TextValue(Repeat(row.drivers))},
             {key, L"HardwareInformation.DacType",
              BytesValue(std::vector<std::uint8_t>(row.dacBytes, 'x'))}}};
        VideoAdapter adapter;
        EXPECT_EQ(
            ReadDisplayDevices({{L"Card", L"id", L"\\Registry\\Machine\\" + key, 1}}, 0, &adapter),
            row.count);
        EXPECT_EQ(adapter.dacType, std::wstring(row.dacCharacters, L'\x7878'));
    }
}

}  // namespace
}  // namespace orrery
