// What one more fact costs as a machine grows: instances of WMI classes, and entries of the map.

#include <winsock2.h>
#include <windows.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "collect/drive_tables.h"
#include "collect/drives.h"
#include "collect/logical_disks.h"
#include "entry/categories.h"
#include "figures.h"
#include "sim/ip_helper.h"
#include "sim/simulation.h"
#include "store/report_writer.h"
#include "support/com.h"
#include "wmi/class_collector.h"

namespace orrery::bench {
namespace {

constexpr double kFlat = 1.2;
constexpr auto kInstances = std::to_array<int>({1, 10, 100});

/// A text in which every "#" stands for the number of an instance.
void AppendInstance(std::wstring* scenario, std::wstring_view form, int number)
{
    for (const wchar_t unit : form)
        unit == L'#' ? scenario->append(std::to_wstring(number)) : scenario->append(1, unit);
}

/// A machine with so many instances of each class.
std::wstring MachineWith(int instances)
{
    constexpr auto kForms = std::to_array<const wchar_t*>({
        L"instance of Win32_BIOS\n{\nManufacturer = \"Halvorsen #\";\nReleaseDate = "
        L"\"20230914000000.000000+000\";\nSMBIOSBIOSVersion = \"P1.0#\";\nSerialNumber = "
        L"\"PF-#\";\n};\n",
        L"instance of Win32_SystemEnclosure\n{\nChassisTypes = {9};\nSMBIOSAssetTag = "
        L"\"A-#\";\n};\n",
        L"instance of Win32_ComputerSystem\n{\nManufacturer = \"Halvorsen\";\nModel = "
        L"\"HX-#\";\n};\n",
        L"instance of Win32_BaseBoard\n{\nManufacturer = \"Halvorsen\";\nProduct = "
        L"\"HX-#\";\nVersion = \"Rev 1.02\";\n};\n",
        L"instance of Win32_SystemSlot\n{\nCurrentUsage = 4;\nSlotDesignation = "
        L"\"PCIEX16_#\";\n};\n",
        L"instance of Win32_PhysicalMemory\n{\nCapacity = \"17179869184\";\nDeviceLocator = "
        L"\"DIMM_#\";\nMemoryType = 26;\nSpeed = 3200;\n};\n",
        L"instance of Win32_Processor\n{\nCurrentClockSpeed = 3600;\nManufacturer = "
        L"\"Korrigan\";\nName = \"Korrigan #\";\nNumberOfCores = 12;\nNumberOfLogicalProcessors = "
        L"24;\n};\n",
        L"instance of Win32_USBController\n{\nName = \"Brandvik USB 3.2 (xHCI) #\";\n};\n",
        L"instance of Win32_NetworkAdapter\n{\nMACAddress = \"02:1B:21:0A:0B:0C\";\nManufacturer = "
        L"\"Halvorsen\";\nName = \"Adapter #\";\nNetConnectionStatus = 2;\nPhysicalAdapter = "
        L"TRUE;\nSpeed = \"1000000000\";\n};\n",
        L"instance of Win32_DiskDrive\n{\nCaption = \"Brandvik BX#\";\nDeviceID = "
        L"\"\\\\\\\\.\\\\PHYSICALDRIVE#\";\nMediaType = \"Fixed hard disk media\";\nSerialNumber = "
        L"\"WX-#\";\nSize = \"4000784417280\";\n};\n",
    });
    constexpr auto kVolumes =
        L"query Associators of {Win32_DiskDrive.DeviceID='\\\\.\\PHYSICALDRIVE#'} where "
        L"AssocClass=Win32_DiskDriveToDiskPartition\ninstance of Win32_DiskPartition\n{\nDeviceID "
        L"= "
        L"\"Partition #\";\n};\nquery Associators of {Win32_DiskPartition.DeviceID='Partition #'} "
        L"where AssocClass=Win32_LogicalDiskToPartition\ninstance of "
        L"Win32_LogicalDisk\n{\nDeviceID = \"V#:\";\n};\n";
    std::wstring scenario = L"namespace root\\cimv2\n";
    for (const auto* const form : kForms)
        for (int number = 0; number < instances; ++number)
            AppendInstance(&scenario, form, number);
    for (int number = 0; number < instances; ++number)
        AppendInstance(&scenario, kVolumes, number);
    scenario += L"namespace root\\microsoft\\windows\\storage\n";
    for (int number = 0; number < instances; ++number)
        AppendInstance(&scenario,
                       L"instance of MSFT_PhysicalDisk\n{\nMediaType = 4;\nSerialNumber = "
                       L"\"WX-#\";\n};\n",
                       number);
    return scenario;
}

using Collect = void (*)(CHardwareCollector* collector, CInvMap* map);

template <std::int32_t Id>
void CollectCategory(CHardwareCollector* collector, CInvMap* map)
{
    RunCategory(Id, collector, map);
}

/// The drives that WMI knows, without asking the volumes of the machine at hand.
void CollectDrives(CHardwareCollector* collector, CInvMap* map)
{
    PrepareDriveTables(collector);
    CollectClass(collector, 100, map, descriptors::kDiskDrive, WriteDiskDrive);
    WriteVolumeLists(collector, map);
}

struct Cost {
    double seconds = 1e9;
    std::size_t facts = 0;
};

/// The least time that a category takes on a machine, with a collector that is connected already
/// and a map that is full already: that a search goes deeper as a map fills is measured on its own.
Cost CategoryCost(Collect collect, int instances, int rounds)
{
    sim::Simulation simulation{MachineWith(instances)};
    simulation.StopTrace();
    std::vector<IP_ADAPTER_INFO> adapters;
    for (int number = 0; number < instances; ++number)
        adapters.push_back(sim::MakeAdapter(("Adapter " + std::to_string(number)).c_str(),
                                            {2, 0x1B, 0x21, 0x0A, 0x0B, 0x0C}));
    const sim::IpHelper ipHelper{adapters};
    const ComApartment apartment;
    constexpr std::int32_t kOtherFacts = 3000;
    Cost cost;
    for (int round = 0; round < rounds; ++round) {
        CInvMap map;
        StoreFacts(&map, kOtherFacts);
        CHardwareCollector collector;
        collector.ConnectWmi();
        const double start = Now();
        collect(&collector, &map);
        cost.seconds = std::min(cost.seconds, Now() - start);
        cost.facts = map.entries().size() - kOtherFacts;
    }
    return cost;
}

/// Compares what one more fact costs on a small machine and on a large one: the difference of two
/// sizes leaves out what every run of the category costs.
void MeasureCategory(Collect collect, const char* name, int rounds)
{
    constexpr int kTurns = 5;
    std::array<Cost, kInstances.size()> costs;
    for (int turn = 0; turn < kTurns; ++turn)
        for (std::size_t at = 0; at < costs.size(); ++at) {
            const Cost cost = CategoryCost(collect, kInstances[at], rounds / kTurns);
            costs[at].seconds = std::min(costs[at].seconds, cost.seconds);
            costs[at].facts = cost.facts;
        }
    const auto marginal = [&costs](std::size_t at) {
        return (costs[at].seconds - costs[at - 1].seconds) /
               static_cast<double>(costs[at].facts - costs[at - 1].facts) * 1e9;
    };
    const double small = marginal(1), large = marginal(2);
    Print({"growth", std::string{name} + ": one more fact, 10 to 100 instances", "ns", large,
           "1 to 10 instances", small, large / small, kFlat});
}

constexpr auto kEntries = std::to_array<std::int32_t>({1000, 10000, 100000});

using Step = std::function<std::function<void()>(std::int32_t entries)>;

/// The least time per entry of a step, at each number of entries.
std::array<double, kEntries.size()> EntryCosts(int rounds, const Step& step)
{
    std::vector<std::function<void()>> runs;
    for (const auto entries : kEntries) {
        // Small maps are gone over several times, so that every size is measured for as long.
        auto run = step(entries);
        runs.emplace_back([run, times = kEntries.back() / entries] {
            for (int time = 0; time < times; ++time)
                run();
        });
    }
    const auto seconds = LeastTimes(rounds, runs);
    std::array<double, kEntries.size()> costs;
    std::transform(seconds.begin(), seconds.end(), costs.begin(),
                   [](double each) { return each / kEntries.back() * 1e9; });
    return costs;
}

void PrintGrowth(const char* what, int rounds, const Step& step, double aim)
{
    const auto costs = EntryCosts(rounds, step);
    const auto [least, most] = std::minmax_element(costs.begin(), costs.end());
    Print({"growth", std::string{what} + " of 1,000 to 100,000: dearest", "ns", *most, "cheapest",
           *least, *most / *least, aim});
}

/// A way to go over the plain keys that the map's facts have.
std::function<void()> PlainInserts(std::int32_t entries)
{
    auto facts = std::make_shared<CInvMap>();
    StoreFacts(facts.get(), entries);
    return [facts] {
        std::map<std::wstring, std::unique_ptr<std::wstring>> plain;
        for (const auto& [key, object] : facts->entries())
            plain.emplace(key, std::make_unique<std::wstring>(object->value.view()));
    };
}

void MeasureMap(int rounds)
{
    const Step store = [](std::int32_t entries) {
        return [entries] {
            CInvMap map;
            StoreFacts(&map, entries);
        };
    };
    const Step write = [](std::int32_t entries) {
        auto map = std::make_shared<CInvMap>();
        StoreFacts(map.get(), entries);
        return [map] {
            const UniqueStream file{_wfopen(L"NUL", L"wb")};
            WideString text;
            WriteReport(nullptr, map.get(), file.get(), &text);
        };
    };
    // What the memory of a large map costs whoever goes through it, whatever is done with it.
    const Step walk = [](std::int32_t entries) {
        auto map = std::make_shared<CInvMap>();
        StoreFacts(map.get(), entries);
        return [map] {
            std::size_t units = 0;
            for (const auto& [key, object] : map->entries())
                for (const std::wstring_view text : {std::wstring_view{key}, object->value.view()})
                    units += text.size() + static_cast<std::size_t>(text.back());
            if (units == 0)
                throw std::logic_error("a map without texts");
        };
    };
    PrintGrowth("store one fact", rounds, store, 0);
    PrintGrowth("for comparison, a plain ordered map", rounds, PlainInserts, 0);
    PrintGrowth("write one line of the report", rounds, write, kFlat);
    PrintGrowth("for comparison, only look at its key and value", rounds, walk, 0);
}

void Measure(const Options& options)
{
    const int rounds = options.quick ? 10 : 100;
    MeasureCategory(CollectCategory<20>, "BaseBoard", rounds);
    MeasureCategory(CollectCategory<7>, "Processor", rounds);
    MeasureCategory(CollectCategory<15>, "BIOS and modules", rounds);
    MeasureCategory(CollectDrives, "drives", rounds);
    MeasureCategory(CollectCategory<0>, "network", rounds);
    MeasureMap(options.quick ? 2 : 10);
}

}  // namespace
}  // namespace orrery::bench

int main(int argumentCount, char** arguments)
{
    return orrery::bench::Main(argumentCount, arguments, &orrery::bench::Measure);
}
