#include <algorithm>

#include "client/page/blocks.h"
#include "client/report/number.h"

namespace orrery::page {
namespace {

CMarkup Card(const char* label, std::string_view value, const CMarkup& more)
{
    if (value.empty() && more.empty())
        return {};
    return Element("article", "card fact",
                   Element("span", "label", Text(label)) +
                       Element("strong", "", Text(value.empty() ? "Not known" : value)) + more) +
           "\n";
}

CMarkup Note(std::string_view text)
{
    return text.empty() ? CMarkup{} : Element("p", "muted", Text(text));
}

CMarkup SystemCard(const report::Report& report)
{
    const auto caption = FirstValue(report, "OperatingSystem", "Caption");
    return Card("Operating system", caption,
                Note(Joined({std::string{FirstValue(report, "OperatingSystem", "Windows10Version")},
                             std::string{FirstValue(report, "OperatingSystem", "Version")}})));
}

/// "16 cores" in all processors together; empty unless each of them says how many.
std::string CountInAll(const std::vector<report::Instance>& processors, const char* property,
                       const char* noun)
{
    constexpr std::int64_t kMost = 1'000'000;  // no processor has more; a report may say anything
    std::int64_t sum = 0;
    for (const report::Instance& processor : processors) {
        const auto number = Number(processor, property);
        if (!number || *number < 0 || *number > kMost)
            return {};
        sum += *number;
    }
    return Count(static_cast<std::size_t>(sum), noun);
}

CMarkup ProcessorCard(const report::Report& report)
{
    const auto& processors = InstancesOf(report, "Processor");
    if (processors.empty())
        return {};
    const report::Instance& first = processors.front();
    const std::string more =
        Joined({processors.size() > 1 ? Count(processors.size(), "processor") : "",
                CountInAll(processors, "NumberOfCores", "core"),
                CountInAll(processors, "NumberOfLogicalProcessors", "thread"),
                Readable(first, "Processor", "CurrentClockSpeed")});
    return Card("Processor", Value(first, "Name"), Note(more));
}

CMarkup MemoryCard(const report::Report& report)
{
    const auto& memory = InstancesOf(report, "PhysicalMemory");
    if (memory.empty())
        return {};
    const auto slots = FirstValue(report, "PhysicalMemoryLocation", "MemorySlots");
    const auto type = FirstValue(report, "PhysicalMemoryLocation", "MemoryType");
    const std::size_t count = MemoryModules(report).size();
    std::string use = count == 0 ? "" : Count(count, "module");
    if (!use.empty() && report::ParseNumber(slots))
        use += " in " + std::string{slots} + (slots == "1" ? " slot" : " slots");
    return Card("Memory", Readable(memory.front(), "PhysicalMemory", "Capacity"),
                Note(Joined({use, std::string{type}})));
}

CMarkup StorageCard(const report::Report& report)
{
    std::int64_t size = 0, volumeSize = 0, freeSize = 0;
    std::size_t drives = 0, volumes = 0;
    for (const DriveUse& use : ReadDriveUse(report)) {
        drives += use.drive != nullptr ? 1 : 0;
        size += use.sizeMebibytes;
        volumes += use.volumes.size();
        for (const VolumeUse& volume : use.volumes) {
            volumeSize += volume.sizeMebibytes;
            freeSize += volume.freeMebibytes;
        }
    }
    if (size == 0)
        return {};
    const std::string more =
        Joined({drives != 0 ? Count(drives, "drive") : "", Count(volumes, "volume"),
                volumeSize != 0 ? SizeText(freeSize) + " free" : ""});
    const double share = volumeSize == 0 ? 0
                                         : static_cast<double>(volumeSize - freeSize) /
                                               static_cast<double>(volumeSize);
    return Card("Storage", SizeText(size), Note(more) + Element("div", "bar", Bar("fill", share)));
}

CMarkup NetworkCard(const report::Report& report)
{
    const report::Instance* shown = nullptr;
    bool isShownConnected = false;
    std::size_t connected = 0;
    const auto& adapters = InstancesOf(report, "NetworkAdapter");
    for (const report::Instance& adapter : adapters) {
        const auto address = Value(adapter, "IPAddress");
        const bool hasAddress = !address.empty() && address != "0.0.0.0";
        const bool isConnected = Value(adapter, "NetConnectionStatus") == "Connected";
        // An address that an adapter had when it was last connected says less.
        if (hasAddress && (shown == nullptr || (isConnected && !isShownConnected))) {
            shown = &adapter;
            isShownConnected = isConnected;
        }
        connected += isConnected ? 1 : 0;
    }
    if (adapters.empty())
        return {};
    const std::string use =
        std::to_string(connected) + " of " + Count(adapters.size(), "adapter") + " connected";
    if (shown == nullptr)
        return Card("Network", "No address", Note(use));
    return Card(
        "Network", Value(*shown, "IPAddress"),
        Note(Joined({std::string{Value(*shown, "AdapterType")}, SpeedOf(*shown)})) + Note(use));
}

CMarkup GraphicsCard(const report::Report& report)
{
    const auto& adapters = InstancesOf(report, "VideoController");
    if (adapters.empty() || Value(adapters.front(), "Name").empty())
        return {};
    const std::string memory = Readable(adapters.front(), "VideoController", "AdapterRAM");
    return Card(
        "Graphics", Value(adapters.front(), "Name"),
        Note(Joined({memory.empty() ? "" : memory + " memory",
                     adapters.size() > 1 ? Count(adapters.size() - 1, "further adapter") : ""})));
}

CMarkup TpmChip(const report::Report& report)
{
    const auto version = FirstValue(report, "SystemOverview", "TpmChip");
    if (version.empty())
        return Chip("", "No TPM seen");
    const bool isOn = FirstValue(report, "SystemOverview", "TpmEnabled") == "1";
    return Chip(isOn ? "good" : "warn", "TPM " + std::string{version} + (isOn ? "" : ", off"));
}

CMarkup BitLockerChip(const report::Report& report)
{
    std::size_t known = 0, isProtected = 0;
    for (const report::Instance& volume : InstancesOf(report, "LogicalDisk")) {
        const auto status = Value(volume, "BitLockerStatus");
        known += status == "1" || status == "3" || status == "7" ? 1 : 0;
        isProtected += status == "3" || status == "7" ? 1 : 0;
    }
    if (known == 0)
        return {};
    return Chip(isProtected != 0 ? "good" : "",
                "BitLocker on " + std::to_string(isProtected) + " of " + Count(known, "volume"));
}

CMarkup SecurityCard(const report::Report& report)
{
    const auto secureBoot = FirstValue(report, "SystemOverview", "SecureBoot");
    if (secureBoot.empty())
        return {};
    const CMarkup boot = secureBoot == "1"   ? Chip("good", "Secure Boot on")
                         : secureBoot == "0" ? Chip("warn", "Secure Boot off")
                                             : Chip("", "No Secure Boot");
    return Element("article", "card fact",
                   Element("span", "label", "Security") +
                       Element("div", "chips", boot + TpmChip(report) + BitLockerChip(report))) +
           "\n";
}

}  // namespace

CMarkup SummaryCards(const report::Report& report)
{
    const CMarkup cards = SystemCard(report) + ProcessorCard(report) + MemoryCard(report) +
                          StorageCard(report) + NetworkCard(report) + GraphicsCard(report) +
                          SecurityCard(report);
    return cards.empty() ? CMarkup{} : Element("div", "grid facts", cards);
}

}  // namespace orrery::page
