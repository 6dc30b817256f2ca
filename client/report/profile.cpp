#include "client/report/profile.h"

#include <algorithm>

#include "client/report/facts.h"
#include "client/report/number.h"
#include "client/report/placeholders.h"
#include "client/report/vocabulary.h"

namespace orrery::report {
namespace {

constexpr std::string_view kModules = "PhysicalMemoryLocation";

/// Of all processors together; nothing unless each of them tells.
std::optional<std::int64_t> Sum(const std::vector<Instance>& processors, std::string_view property)
{
    constexpr std::int64_t kMost = 1'000'000;  // no processor has more; a report may say anything
    std::int64_t sum = 0;
    for (const Instance& processor : processors) {
        const auto number = Number(processor, property);
        if (!number || *number < 0 || *number > kMost)
            return std::nullopt;
        sum += *number;
    }
    return sum;
}

ProcessorProfile ReadProcessor(const Report& report)
{
    const auto& processors = InstancesOf(report, "Processor");
    if (processors.empty())
        return {};
    return {Value(processors.front(), "Name"), processors.size(), Sum(processors, "NumberOfCores"),
            Sum(processors, "NumberOfLogicalProcessors"),
            Number(processors.front(), "CurrentClockSpeed")};
}

/// The type that memory modules have in common, or the few that they have.
std::string TypeOf(const std::vector<const Instance*>& modules)
{
    constexpr std::size_t kMostNamed = 3;  // a report may say anything
    std::vector<std::string_view> types;
    for (const Instance* const module : modules)
        if (const auto type = Value(*module, "MemoryType");
            !type.empty() && type != "Unknown" && types.size() <= kMostNamed &&
            std::find(types.begin(), types.end(), type) == types.end())
            types.push_back(type);
    if (types.size() > kMostNamed)
        return "mixed types";
    std::string text = types.size() > 1 ? "mixed " : "";
    for (std::size_t at = 0; at < types.size(); ++at)
        text.append(at == 0 ? "" : " and ").append(types[at]);
    return text;
}

MemoryProfile ReadMemory(const Report& report)
{
    MemoryProfile memory;
    if (const auto& all = InstancesOf(report, "PhysicalMemory"); !all.empty())
        memory.mebibytes = Number(all.front(), "Capacity");
    // The line with the number of slots makes no module.
    const auto isOfModule = [](const Property& property) {
        return RoleOf(kModules, property.name) != Role::kWholeSection;
    };
    for (const Instance& instance : InstancesOf(report, kModules))
        if (std::any_of(instance.properties.begin(), instance.properties.end(), isOfModule))
            memory.modules.push_back(&instance);
    memory.slots = ParseNumber(FirstValue(report, kModules, "MemorySlots"));
    memory.type = TypeOf(memory.modules);
    return memory;
}

StorageProfile ReadStorage(const Report& report)
{
    StorageProfile storage;
    storage.drives = ReadDriveUse(report);
    for (const DriveUse& use : storage.drives) {
        storage.driveCount += use.drive != nullptr ? 1 : 0;
        storage.mebibytes += use.sizeMebibytes;
        storage.volumeCount += use.volumes.size();
        for (const VolumeUse& volume : use.volumes) {
            storage.volumeMebibytes += volume.sizeMebibytes;
            storage.freeMebibytes += volume.freeMebibytes;
        }
    }
    return storage;
}

NetworkProfile ReadNetwork(const Report& report)
{
    NetworkProfile network;
    bool isShownConnected = false;
    for (const Instance& adapter : InstancesOf(report, "NetworkAdapter")) {
        const bool isConnected = Value(adapter, "NetConnectionStatus") == "Connected";
        // An address that an adapter had when it was last connected says less.
        if (!AddressOf(adapter).empty() &&
            (network.shown == nullptr || (isConnected && !isShownConnected))) {
            network.shown = &adapter;
            isShownConnected = isConnected;
        }
        ++network.adapters;
        network.connected += isConnected ? 1 : 0;
    }
    return network;
}

SecurityProfile ReadSecurity(const Report& report, const StorageProfile& storage)
{
    SecurityProfile security;
    if (const auto boot = FirstValue(report, "SystemOverview", "SecureBoot"); !boot.empty())
        security.secureBoot = boot == "1"   ? SecureBoot::kOn
                              : boot == "0" ? SecureBoot::kOff
                                            : SecureBoot::kNotSupported;
    security.tpmVersion = FirstValue(report, "SystemOverview", "TpmChip");
    security.isTpmOn = FirstValue(report, "SystemOverview", "TpmEnabled") == "1";
    for (const DriveUse& use : storage.drives) {
        // A drive says only in words whether it is fixed.
        if (use.drive != nullptr && Value(*use.drive, "MediaType").starts_with("Removable"))
            continue;
        for (const VolumeUse& volume : use.volumes) {
            const auto status = Value(*volume.volume, "BitLockerStatus");
            const bool isProtected = status == "3" || status == "7";
            security.protectedVolumes += isProtected ? 1 : 0;
            (isProtected || status == "1" ? security.judgedVolumes : security.otherVolumes) += 1;
        }
    }
    return security;
}

/// The text, but nothing where the firmware's maker filled in nothing.
std::string_view FilledIn(std::string_view text)
{
    return IsPlaceholder(text) ? std::string_view{} : text;
}

}  // namespace

std::optional<std::int64_t> MemoryProfile::freeSlots() const noexcept
{
    const auto taken = static_cast<std::int64_t>(modules.size());
    return slots && taken != 0 && *slots >= taken ? std::optional{*slots - taken} : std::nullopt;
}

double StorageProfile::usedShare() const noexcept
{
    return volumeMebibytes == 0 ? 0
                                : static_cast<double>(volumeMebibytes - freeMebibytes) /
                                      static_cast<double>(volumeMebibytes);
}

std::optional<std::int64_t> SpeedOf(const Instance& adapter) noexcept
{
    // A disconnected adapter has the largest number there is.
    constexpr std::int64_t kTooFast = 1'000'000'000'000'000;
    const auto speed = Number(adapter, "Speed");
    return speed && *speed > 0 && *speed < kTooFast ? speed : std::nullopt;
}

std::string_view AddressOf(const Instance& adapter) noexcept
{
    const auto address = Value(adapter, "IPAddress");
    return address == "0.0.0.0" ? std::string_view{} : address;
}

Profile ReadProfile(const Report& report)
{
    Profile profile;
    const auto first = [&report](std::string_view section, std::string_view property) {
        return FirstValue(report, section, property);
    };
    profile.machine = first("ComputerSystem", "Name");
    profile.maker = FilledIn(first("BIOS", "SystemMan"));
    profile.model = FilledIn(first("BIOS", "SystemMod"));
    profile.form = first("SystemEnclosure", "ChassisTypes");
    profile.user = first("OperatingSystem", "LoggedOnUser");
    profile.system = first("OperatingSystem", "Caption");
    profile.release = first("OperatingSystem", "Windows10Version");
    profile.version = first("OperatingSystem", "Version");
    profile.processor = ReadProcessor(report);
    profile.memory = ReadMemory(report);
    profile.storage = ReadStorage(report);
    for (const Instance& adapter : InstancesOf(report, "VideoController"))
        if (const auto name = Value(adapter, "Name"); !name.empty())
            profile.graphics.push_back({name, Number(adapter, "AdapterRAM")});
    profile.network = ReadNetwork(report);
    profile.security = ReadSecurity(report, profile.storage);
    return profile;
}

}  // namespace orrery::report
