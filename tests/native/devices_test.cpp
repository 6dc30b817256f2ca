#include "native/devices.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

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

TEST(DeviceList, HoldsStartedInstancesAndFindsThemByClass)
{
    const RegistryTree machine{HKEY_LOCAL_MACHINE,
                               {
                                   {kEnum + L"PCI\\A\\0\\Control"},
                                   {kEnum + L"PCI\\A\\0", L"Class", TextValue(L"USB")},
                                   {kEnum + L"PCI\\A\\0", L"FriendlyName", TextValue(L"first")},
                                   {kEnum + L"PCI\\A\\1", L"Class", TextValue(L"USB")},  // absent
                                   {kEnum + L"PCI\\A\\2\\Control"},
                                   {kEnum + L"PCI\\A\\2", L"Class", TextValue(L"Net")},
                                   {kEnum + L"PCI\\Control"},            // not of an instance
                                   {kEnum + L"PCI\\B\\Control\\below"},  // an instance so named
                                   {kEnum + L"USB\\C\\0\\control"},
                                   {kEnum + L"USB\\C\\0", L"Class", TextValue(L"Usb")},
                                   {kEnum + L"USB\\C\\0", L"FriendlyName", TextValue(L"second")},
                                   {L"Enum\\USB\\D\\0\\Control"},  // the 9x place
                               }};
    const CDevices devices{kWindows10};
    EXPECT_EQ(devices.Count(L""), 3U);
    EXPECT_EQ(devices.Count(L"uSB"), 2U);
    EXPECT_EQ(devices.Count(L"US"), 0U);
    ASSERT_NE(devices.Find(1, L"usb"), nullptr);
    EXPECT_EQ(devices.Find(0, L"usb")->friendlyName.view(), L"first");
    EXPECT_EQ(devices.Find(1, L"usb")->friendlyName.view(), L"second");
    EXPECT_EQ(devices.Find(1, L""), devices.Find(0, L"Net"));
    EXPECT_EQ(devices.Find(2, L"usb"), nullptr);
    EXPECT_EQ(devices.Find(3, L""), nullptr);
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

TEST(DeviceList, NamesADeviceByTheStartOfItsDescriptionWhenItHasNoName)
{
    const struct {
        std::size_t friendlyName, description, expected;
    } rows[] = {
        {0, 126, 126}, {0, 127, 127},   {0, 128, 127},   {0, 200, 127},
        {1, 200, 1},   {255, 200, 255}, {256, 200, 255},
    };
    const auto instance = kEnum + L"PCI\\A\\0";
    for (const auto& row : rows) {
        const RegistryTree machine{
            HKEY_LOCAL_MACHINE,
            {{instance + L"\\Control"},
             {instance, L"FriendlyName", TextValue(Repeat(row.friendlyName))},
             {instance, L"DeviceDesc", TextValue(Repeat(row.description))}}};
        const CDevices devices{kWindows10};
        ASSERT_EQ(devices.Count(L""), 1U);
        EXPECT_EQ(devices.Find(0, L"")->friendlyName.view(), Repeat(row.expected))
            << row.friendlyName << " " << row.description;
    }
}

TEST(DeviceList, TakesAMissingClassFromTheClassKeysOfThePlatform)
{
    const std::wstring services = L"SYSTEM\\CurrentControlSet\\Services\\Class\\";
    const std::wstring control = L"SYSTEM\\CurrentControlSet\\Control\\Class\\";
    RegistryTree machine{HKEY_LOCAL_MACHINE,
                         {
                             {services + L"{1}", L"Class", TextValue(L"Old")},
                             {control + L"{1}", L"Class", TextValue(L"New")},
                             {services + L"{2}"},
                             {control + L"{2}", L"Class", NumberValue(2)},
                         }};
    for (const auto& root : {std::wstring{L"Enum\\"}, kEnum}) {
        for (const auto* const guid : {L"{1}", L"{2}", L"{3}"}) {
            for (const auto* const instance : {L"\\0", L"\\1"}) {
                machine.AddKey(root + L"PCI\\" + guid + instance + L"\\Control");
                machine.Set(root + L"PCI\\" + guid + instance, L"ClassGUID", TextValue(guid));
            }
        }
        machine.Set(root + L"PCI\\{1}\\1", L"Class", TextValue(L"Own"));
    }
    const struct {
        PlatformVersion platform;
        const wchar_t* className;
    } rows[] = {{kWindows98, L"Old"}, {kWindowsNt4, L"New"}, {kWindows10, L"New"}};
    for (const auto& row : rows) {
        const CDevices devices{row.platform};
        const std::wstring expected[] = {row.className, L"Own", L"", L"", L"", L""};
        ASSERT_EQ(devices.Count(L""), 6U);
        for (std::size_t n = 0; n < 6; ++n)
            EXPECT_EQ(devices.Find(n, L"")->deviceClass.view(), expected[n]) << n;
    }
}

struct ProbeAnswer {
    WideString name{L"-"}, memory{L"-"}, dacType{L"-"};
    std::int32_t count;  // last, since counting fills the others

    ProbeAnswer(const PlatformVersion& platform, std::int32_t index)
        : count(CDevices{platform}.GetVideoAdapter(index, &name, &memory, &dacType))
    {}
    std::wstring Text() const
    {
        return std::to_wstring(count) + L"|" + name.c_str() + L"|" + memory.c_str() + L"|" +
               dacType.c_str();
    }
};

TEST(DeviceList, IsEmptyWithOneAdapterUnknownWhenTheRegistryHasNothing)
{
    const RegistryTree machine{HKEY_LOCAL_MACHINE};
    const RegistryTree running{HKEY_DYN_DATA};
    for (const auto& platform : {kWindows98, kWindowsNt4, kWindows10}) {
        EXPECT_EQ(CDevices{platform}.Count(L""), 0U);
        EXPECT_EQ(ProbeAnswer(platform, 0).Text(), L"1|-|-|-") << platform.platformId;
    }
}

TEST(VideoSources, FollowThePlatform)
{
    const struct {
        PlatformVersion platform;
        VideoSource expected;
    } rows[] = {
        {{2, 10, 0}, VideoSource::kDisplayDevices},
        {{2, 5, 0}, VideoSource::kDisplayDevices},
        {{2, 4, 0}, VideoSource::kDeviceMap},
        {{2, 3, 51}, VideoSource::kDeviceMap},
        {{1, 4, 10}, VideoSource::kConfigurationManager},
        {{1, 5, 0}, VideoSource::kConfigurationManager},
    };
    for (const auto& row : rows)
        EXPECT_EQ(ChooseVideoSource(row.platform), row.expected)
            << row.platform.platformId << " " << row.platform.major;
}

const std::wstring kVideo = L"System\\CurrentControlSet\\Control\\Video\\";

DisplayDevice Device(const wchar_t* name, const wchar_t* id, const wchar_t* key = L"good",
                     std::uint32_t flags = 0x05)
{
    return {name, id, L"\\REGISTRY\\Machine\\" + kVideo + key, flags};
}

TEST(DisplayDevices, CountOncePerAttachedAdapterWithADriver)
{
    const RegistryTree machine{
        HKEY_LOCAL_MACHINE,
        {
            {kVideo + L"good", L"InstalledDisplayDrivers", TextsValue({L"one", L"two"})},
            {kVideo + L"limit", L"InstalledDisplayDrivers", TextValue(Repeat(4095))},
            {kVideo + L"long", L"InstalledDisplayDrivers", TextValue(Repeat(4096))},
            {kVideo + L"number", L"InstalledDisplayDrivers", NumberValue(1)},
            {kVideo + L"bare"},
            {L"Software\\good", L"InstalledDisplayDrivers", TextValue(L"one")},
        }};
    auto elsewhere = Device(L"C", L"id3");
    elsewhere.deviceKey = L"\\Registry\\Machine\\Software\\good";
    const struct {
        const char* what;
        std::vector<DisplayDevice> devices;
        std::wstring expected;
    } rows[] = {
        {"none", {}, L""},
        {"no identifier", {Device(L"A", L"")}, L"A "},
        {"two heads", {Device(L"A", L"id"), Device(L"B", L"id"), Device(L"C", L"id2")}, L"A C "},
        {"apart", {Device(L"A", L"id"), Device(L"B", L"id2"), Device(L"C", L"id")}, L"A B C "},
        {"identifier in another case", {Device(L"A", L"id"), Device(L"B", L"ID")}, L"A B "},
        {"heads around a device not counted",
         {Device(L"A", L"id"), Device(L"B", L"id2", L"good", 0x04), Device(L"C", L"id")},
         L"A "},
        {"a head not counted does not hide the next",
         {Device(L"A", L"id", L"bare"), Device(L"B", L"id")},
         L"B "},
        {"not attached, with other flags", {Device(L"A", L"id", L"good", 0x14)}, L""},
        {"mirroring", {Device(L"A", L"id", L"good", 0x09), Device(L"B", L"id2")}, L"B "},
        {"driver lists",
         {Device(L"A", L"1", L"limit"), Device(L"B", L"2", L"long"), Device(L"C", L"3", L"number"),
          Device(L"D", L"4", L"bare"), Device(L"E", L"5", L"missing")},
         L"A C "},
        {"key outside System", {elsewhere, Device(L"D", L"id4")}, L"D "},
    };
    for (const auto& row : rows) {
        std::wstring names;
        VideoAdapter adapter;
        for (std::int32_t at = 0; at < ProbeDisplayDevices(row.devices, at, &adapter); ++at)
            names += adapter.name + L" ";
        EXPECT_EQ(names, row.expected) << row.what;
        adapter.name = L"kept";
        EXPECT_EQ(ProbeDisplayDevices(row.devices, -1, &adapter),
                  static_cast<std::int32_t>(row.expected.size() / 2))
            << row.what;
        EXPECT_EQ(adapter.name, L"kept") << row.what;
    }
}

TEST(DisplayDevices, TellMemoryInMebibytesAndTheDacType)
{
    const auto none = BytesValue({}, REG_NONE);
    const auto eightGib = BytesValue({0, 0, 0, 0, 2, 0, 0, 0}, REG_QWORD);
    const auto underOneMib = BytesValue({0xFF, 0xFF, 0x0F, 0, 0, 0, 0, 0}, REG_QWORD);
    const auto threeGib = NumberValue(0xC0000000);
    const auto sixtyFourMib = BytesValue({0xFF, 0xFF, 0x0F, 4});  // rounded down
    const auto fits = BytesValue(std::vector<std::uint8_t>(255, 'x'));
    const auto tooLong = BytesValue(std::vector<std::uint8_t>(256, 'x'));
    const struct {
        const char* what;
        RegistryValue quad, dword, dacType;
        std::wstring expectedMemory, expectedDacType;
    } rows[] = {
        {"both sizes", eightGib, sixtyFourMib, TextValue(L"RAMDAC"), L"8192", L"RAMDAC"},
        {"binary", none, sixtyFourMib, BytesValue({'D', 0, 'A', 0}), L"64", L"DA"},
        {"above 2 GiB", none, threeGib, none, L"3072", L""},
        {"comes to zero", underOneMib, threeGib, none, L"3072", L""},
        {"both come to zero", underOneMib, NumberValue(0xFFFFF), none, L"", L""},
        {"quad of four bytes", NumberValue(0x40000000), sixtyFourMib, none, L"64", L""},
        {"dword of eight bytes", none, eightGib, none, L"", L""},
        {"other text types", none, none, TextValue(L"x", REG_EXPAND_SZ), L"", L""},
        {"longest", none, none, fits, L"", std::wstring(127, L'\x7878')},
        {"too long", none, none, tooLong, L"", L""},
    };
    for (const auto& row : rows) {
        const RegistryTree machine{
            HKEY_LOCAL_MACHINE,
            {{kVideo + L"good", L"InstalledDisplayDrivers", TextsValue({L"one"})},
             {kVideo + L"good", L"HardwareInformation.qwMemorySize", row.quad},
             {kVideo + L"good", L"HardwareInformation.MemorySize", row.dword},
             {kVideo + L"good", L"HardwareInformation.DacType", row.dacType}}};
        VideoAdapter adapter;
        EXPECT_EQ(ProbeDisplayDevices({Device(L"A", L"id")}, 0, &adapter), 1);
        EXPECT_EQ(adapter.memory, row.expectedMemory) << row.what;
        EXPECT_EQ(adapter.dacType, row.expectedDacType) << row.what;
    }
    const RegistryTree bare{HKEY_LOCAL_MACHINE,
                            {{kVideo + L"good", L"InstalledDisplayDrivers", TextValue(L"one")}}};
    VideoAdapter adapter{L"old", L"old", L"old"};
    EXPECT_EQ(ProbeDisplayDevices({Device(L"A", L"id")}, 0, &adapter), 1);
    EXPECT_EQ(adapter.name + L"|" + adapter.memory + L"|" + adapter.dacType, L"A||");
}

TEST(DisplayDevices, AreThoseOfTheSession)
{
    EXPECT_TRUE(EnumerateDisplayDevices(nullptr).empty());
    RegistryTree machine{HKEY_LOCAL_MACHINE};
    std::vector<std::wstring> names;
    for (const auto& device : EnumerateDisplayDevices(&EnumDisplayDevicesW)) {
        const auto at = device.deviceKey.find(L"System\\");
        if ((device.stateFlags & 0x09) != 0x01 || at == std::wstring::npos)
            continue;
        names.push_back(device.deviceString);
        machine.Set(device.deviceKey.substr(at), L"InstalledDisplayDrivers", TextValue(L"one"));
        machine.Set(device.deviceKey.substr(at), L"HardwareInformation.MemorySize",
                    NumberValue(0x10000000));
    }
    if (names.empty())
        GTEST_SKIP() << "no display shows the desktop here";
    EXPECT_EQ(ProbeAnswer(kWindows10, 0).name.view(), names.front());
    EXPECT_EQ(ProbeAnswer(kWindows10, 0).memory.view(), L"256");
    EXPECT_EQ(ProbeAnswer(kWindows10, 1000).name.view(), L"-");
}

TEST(DeviceMap, ListsDriversUpToTheFirstMissingNumber)
{
    const std::wstring map = L"HARDWARE\\DEVICEMAP\\VIDEO";
    const std::wstring path = L"\\REGISTRY\\Machine\\";
    const std::wstring services = L"SYSTEM\\ControlSet001\\Services\\";
    const RegistryTree machine{
        HKEY_LOCAL_MACHINE,
        {
            {map, L"\\Device\\Video0", TextValue(path + services + L"VgaSave\\Device0")},
            {services + L"VgaSave\\Device0", L"InstalledDisplayDrivers", TextsValue({L"vga"})},
            {map, L"\\Device\\Video1", TextValue(path + services + L"mga\\Device0")},
            {services + L"mga\\Device0", L"InstalledDisplayDrivers", TextsValue({L"mga"})},
            {services + L"mga\\Device0", L"HardwareInformation.AdapterString",
             BytesValue({'M', 0, 'G', 0, 'A', 0, 0, 0})},
            {services + L"mga\\Device0", L"HardwareInformation.MemorySize", NumberValue(0x800000)},
            {services + L"mga\\Device0", L"HardwareInformation.DacType", TextValue(L"TVP3026")},
            {map, L"\\Device\\Video2", TextValue(path + services + L"mirror\\Device0")},
            {services + L"mirror\\Device0", L"InstalledDisplayDrivers", TextsValue({L"mirror"})},
            {services + L"mirror\\Device0", L"MirrorDriver", NumberValue(1)},
            {map, L"\\Device\\Video3", TextValue(path + services + L"bare\\Device0")},
            {services + L"bare\\Device0"},
            {map, L"\\Device\\Video4", TextValue(path + services + L"s3\\Device0")},
            {services + L"s3\\Device0", L"InstalledDisplayDrivers", TextsValue({L"s3"})},
            {services + L"s3\\Device0", L"MirrorDriver", NumberValue(0)},
            {services + L"s3\\Device0", L"HardwareInformation.AdapterString", TextValue(L"S3")},
            {map, L"\\Device\\Video6", TextValue(path + services + L"s3\\Device0")},
        }};
    EXPECT_EQ(ProbeAnswer(kWindowsNt4, 0).Text(), L"2|MGA|8|TVP3026");
    EXPECT_EQ(ProbeAnswer(kWindowsNt4, 1).Text(), L"2|S3||");
    EXPECT_EQ(ProbeAnswer(kWindowsNt4, 2).Text(), L"2|-|-|-");
    EXPECT_EQ(ProbeAnswer(kWindowsNt4, -1).Text(), L"2|-|-|-");
}

TEST(ConfigurationManager, ListsRunningDevicesOfTheDisplayClass)
{
    const std::wstring nodes = L"Config Manager\\Enum\\";
    const std::wstring classes = L"System\\CurrentControlSet\\Services\\Class\\";
    const RegistryTree running{HKEY_DYN_DATA,
                               {
                                   {nodes + L"C1", L"HardwareKey", TextValue(L"PCI\\A\\0")},
                                   {nodes + L"C2", L"HardwareKey", TextValue(L"PCI\\B\\0")},
                                   {nodes + L"C3", L"HardwareKey", TextValue(L"PCI\\GONE\\0")},
                                   {nodes + L"C4"},
                                   {nodes + L"C5", L"HardwareKey", TextValue(L"PCI\\C\\0")},
                               }};
    const RegistryTree machine{
        HKEY_LOCAL_MACHINE,
        {
            {L"Enum\\PCI\\A\\0", L"Class", TextValue(L"USB")},
            {L"Enum\\PCI\\B\\0", L"Class", TextValue(L"DISPLAY")},
            {L"Enum\\PCI\\B\\0", L"DeviceDesc", TextValue(L"Old card")},
            {L"Enum\\PCI\\B\\0", L"Driver", TextValue(L"Display\\0001")},
            {classes + L"Display\\0001\\INFO", L"VideoMemory", NumberValue(0x400000)},
            {classes + L"Display\\0001\\INFO", L"DacType", TextValue(L"Internal")},
            {L"Enum\\PCI\\C\\0", L"Class", TextValue(L"Display")},
            {L"Enum\\PCI\\C\\0", L"DeviceDesc", TextValue(L"Card without driver")},
        }};
    EXPECT_EQ(ProbeAnswer(kWindows98, 0).Text(), L"2|Old card|4|Internal");
    EXPECT_EQ(ProbeAnswer(kWindows98, 1).Text(), L"2|Card without driver||");
    EXPECT_EQ(ProbeAnswer(kWindows98, 2).Text(), L"2|-|-|-");
}

TEST(DeviceList, BuildsOnThisMachine)
{
    const auto version = ReadPlatformVersion();
    EXPECT_TRUE(version.IsNt());
    EXPECT_GE(version.major, 5U);
    const CDevices devices;
    EXPECT_LT(devices.Count(L""), 100000U);
    for (std::size_t n = 0; n < devices.Count(L""); ++n)
        EXPECT_TRUE(devices.Find(n, L"")->path.view().starts_with(kEnum)) << n;
    EXPECT_GE(ProbeAnswer(version, 0).count, 1);
}

}  // namespace
}  // namespace orrery
