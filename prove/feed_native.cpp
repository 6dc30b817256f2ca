#include "prove/feeds.h"

#include <winsock2.h>
#include <windows.h>
#include <winioctl.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <span>
#include <string>
#include <vector>

#include "collect/bios.h"
#include "collect/devices.h"
#include "collect/drives.h"
#include "collect/memory.h"
#include "collect/network.h"
#include "collect/operating_system.h"
#include "collect/overview.h"
#include "native/computer_bios.h"
#include "native/drive_trim.h"
#include "native/nic_card.h"
#include "native/operating_system.h"
#include "native/physical_drive.h"
#include "native/token_class.h"
#include "native/user_window.h"
#include "native/video_adapter.h"
#include "sim/devices.h"
#include "sim/ip_helper.h"
#include "sim/registry_tree.h"
#include "sim/simulation.h"
#include "sim/wlan.h"
#include "store/report_writer.h"
#include "support/com.h"
#include "support/text.h"
#include "wmi/class_collector.h"
#include "wmi/class_descriptors.h"

namespace orrery::prove {
namespace {

template <class Record>
Record RecordOf(Dice& dice)
{
    Record record{};
    const auto bytes = dice.Bytes(sizeof record);
    std::memcpy(static_cast<void*>(&record), bytes.data(), sizeof record);
    return record;
}

/// Writes all that a map holds, to nowhere.
void WriteOut(const CInvMap& map)
{
    const UniqueStream nowhere{std::fopen("NUL", "wb")};
    WideString text;
    WriteReport(nullptr, &map, nowhere.get(), &text);
    Demand(text.size() <= map.entries().size() * 1023, "a line has at most 1023 characters");
    Demand(text.empty() == map.entries().empty(), "each fact has a line");
}

/// The text of an instance of a class, with hostile values for what the report takes from it.
std::wstring InstanceText(Dice& dice, ClassDescriptor descriptor)
{
    std::vector<std::wstring_view> names{L"LastBootUpTime"};
    for (auto property = PropertiesOf(descriptor); *property != nullptr; ++property)
        if (!dice.OneIn(8))
            names.emplace_back(*property);
    std::wstring text = ObjectText(dice, names);
    return dice.OneIn(2) ? text : dice.Mutated(std::move(text));
}

constexpr const wchar_t* kBootProperties[] = {L"LastBootUpTime", L"Caption", nullptr};

}  // namespace

void FeedInstances(Dice& dice)
{
    FeedObjectText(dice);
    FeedWords(dice);
    CInvMap map;
    const ClassDescriptor all[] = {
        descriptors::kBaseBoard,     descriptors::kProcessor,
        descriptors::kSystemSlot,    descriptors::kSystemEnclosure,
        descriptors::kUsbController, descriptors::kPhysicalMemoryLocation,
        descriptors::kDiskDrive};
    for (std::int32_t index = 0; index < 3; ++index)
        for (const ClassDescriptor descriptor : all)
            WriteInstance(nullptr, PropertiesOf(descriptor), InstanceText(dice, descriptor), &map,
                          index, SectionOf(descriptor));
    WriteOperatingSystemInstance(nullptr, kBootProperties,
                                 InstanceText(dice, descriptors::kOperatingSystem), &map, 0,
                                 L"OperatingSystem");
    Demand(FormatReleaseDate(dice.OneIn(2) ? dice.NumberText() : dice.Text()).size() <= 39,
           "a release date fits its field");
    static_cast<void>(UnescapedPath(dice.Text()));
    WriteOut(map);
}

void FeedDevices(Dice& dice)
{
    auto block = dice.Bytes(512);
    if (dice.OneIn(2))
        block[0] &= 0x7F;
    if (const auto drive = ParseIdentify(std::span{block}.first<512>())) {
        Demand(drive->model.size() <= 40 && drive->serialNumber.size() <= 20 &&
                   drive->firmwareRevision.size() <= 8,
               "a drive's text is no longer than its field");
        Demand(drive->model.view().find(L'\0') == drive->model.view().npos,
               "a drive's text ends at its zero");
    }
    static_cast<void>(AtaText(dice.Bytes(dice.Below(64))));
    static_cast<void>(RoundInstalledMemory(dice.Number() >> dice.Below(64)));

    UserWindowSearch search;
    search.targetWidth = static_cast<std::int32_t>(dice.Number());
    search.targetHeight = static_cast<std::int32_t>(dice.Number());
    const std::wstring name = dice.Text(dice.Below(80));
    for (int window = 0; window < 4; ++window)
        static_cast<void>(
            ConsiderWindow(search,
                           {.width = static_cast<std::int32_t>(dice.Number()),
                            .height = static_cast<std::int32_t>(dice.Number()),
                            .isVisible = !dice.OneIn(4),
                            .className = name},
                           [&] { return std::optional{static_cast<TokenClass>(dice.Below(4))}; }));

    const auto answer = [&dice](const sim::DeviceCall& call) {
        const auto bytes = dice.Bytes(call.output.size());
        std::copy(bytes.begin(), bytes.end(), call.output.begin());
        *call.returned = static_cast<DWORD>(dice.OneIn(2) ? call.output.size() : dice.Number());
        return !dice.OneIn(4);
    };
    const sim::Devices devices{{{L"\\\\.\\Scsi0:", answer},
                                {L"\\\\.\\Scsi1:", answer},
                                {L"\\\\.\\PHYSICALDRIVE0", answer}}};
    const CPhysicalDrive drives;
    for (std::size_t at = 0; at <= drives.Count(); ++at)
        static_cast<void>(drives.SizeInMebibytes(at));
    static_cast<void>(ReadDiskType(L"\\\\.\\PHYSICALDRIVE0"));
}

void FeedNetwork(Dice& dice)
{
    std::vector<IP_ADAPTER_INFO> adapters(dice.OneIn(50) ? 200 : dice.Below(6));
    for (auto& adapter : adapters) {
        adapter = RecordOf<IP_ADAPTER_INFO>(dice);
        if (dice.OneIn(2))
            std::memcpy(adapter.Description, "One", 4);
    }
    sim::IpHelper ipHelper{adapters};
    ipHelper.ipv6Adapters = {{L"One", {L"::1", L"fe80::1%7", L""}},
                             {nullptr, {L"::1"}},
                             {L"", {L"::2"}},
                             {L"One", {dice.Text(dice.Below(60))}}};
    ipHelper.growths = static_cast<int>(dice.Below(5));

    std::vector<std::string> names;
    names.reserve(8);
    const auto ssid = [&]() -> const char* {
        const auto bytes = dice.Bytes(dice.Below(33));
        names.emplace_back(bytes.begin(), bytes.end());
        return names.back().c_str();
    };
    sim::Wlan::Interface wireless{.description = L"One"};
    wireless.connection = RecordOf<WLAN_CONNECTION_ATTRIBUTES>(dice);
    if (dice.OneIn(2))
        wireless.connection = sim::MakeConnection(ssid());
    wireless.connection->isState = wlan_interface_state_connected;
    wireless.channel = static_cast<ULONG>(dice.Number());
    wireless.networks = {{ssid(), static_cast<ULONG>(dice.Number())},
                         {ssid(), 1, static_cast<ULONG>(dice.Number())}};
    sim::Wlan wlan{{wireless, wireless}};
    wlan.hiddenNetworks = static_cast<DWORD>(dice.OneIn(2) ? dice.Number() : dice.Below(3));
    wlan.connectionSize = static_cast<DWORD>(dice.Below(sizeof(WLAN_CONNECTION_ATTRIBUTES) + 1));
    if (dice.OneIn(2))
        wlan.connectionSize = sizeof(WLAN_CONNECTION_ATTRIBUTES);

    CInvMap map;
    {
        CHardwareCollector collector;
        collector.adapterDetails[L"One"] = {};
        CollectNetwork(&collector, 100, &map);
    }
    WriteOut(map);
    Demand(wlan.blocks.empty(), "every buffer of the WLAN service is given back");
    static_cast<void>(FormatLease(static_cast<std::time_t>(dice.Number()),
                                  static_cast<std::time_t>(dice.Number() >> dice.Below(64)),
                                  [](const SYSTEMTIME&) { return WideString{L"x"}; }));
}

namespace {

RegistryValue ValueOf(Dice& dice)
{
    constexpr DWORD kTypes[] = {REG_NONE,  REG_SZ,       REG_EXPAND_SZ, REG_BINARY,
                                REG_DWORD, REG_MULTI_SZ, REG_QWORD,     0x1234};
    if (dice.OneIn(4))
        return TextValue(L"\\Registry\\Machine\\System\\Video\\0000");
    std::size_t size = dice.OneIn(3) ? dice.Length() * 2 : dice.Below(10);
    if (dice.OneIn(8))
        size = 510 + dice.Below(6);  // around the first guess of a reader
    return BytesValue(dice.Bytes(size), dice.Pick(kTypes));
}

}  // namespace

void FeedRegistry(Dice& dice)
{
    static const sim::Scenario places{
        sim::LoadScenario(L"" ORRERY_TEST_DATA "/cases/registry.machine")};
    RegistryTree tree{HKEY_LOCAL_MACHINE};
    for (const sim::NativeItem& key : places.nativeItems()) {
        const std::wstring path = key.name.substr(key.name.find(L'\\') + 1);
        tree.AddKey(path);
        for (const sim::Property& property : key.properties)
            if (!dice.OneIn(3))
                tree.Set(path, property.name.c_str(), ValueOf(dice));
    }

    const PlatformVersion platforms[] = {{2, 10, 0}, {2, 4, 0}, {1, 4, 10}};
    for (const auto& platform : platforms) {
        const CDevices devices{platform};
        Demand(devices.Count(L"") <= 1, "there is at most one device");
        WideString name, memory, dacType;
        for (std::int32_t index = -1; index < 2; ++index)
            static_cast<void>(devices.GetVideoAdapter(index, &name, &memory, &dacType));
    }
    static_cast<void>(ReadDisplayDevices(
        {{dice.Text(), dice.Text(), L"\\Registry\\Machine\\System\\Video\\0000",
          DISPLAY_DEVICE_ATTACHED_TO_DESKTOP},
         {dice.Text(), dice.Text(), dice.Text(), static_cast<std::uint32_t>(dice.Number())}},
        0, std::make_unique<VideoAdapter>().get()));
    CInvMap map;
    CHardwareCollector collector;
    const sim::Simulation noWmi{L""};
    CollectOverview(&collector, &map);
    CollectUsb(&collector, 100, &map);
    WriteOut(map);
    OsVersion version{.platformId = 2, .major = 6, .minor = 2, .isExtended = dice.OneIn(2)};
    ApplyRegistryVersion({.currentVersion = dice.NumberText(),
                          .currentBuildNumber = dice.NumberText(),
                          .csdVersion = dice.Text(),
                          .productName = dice.Text()},
                         &version);
    const COperatingSystem described{version};
    const CComputerBios firmware;
}

}  // namespace orrery::prove
