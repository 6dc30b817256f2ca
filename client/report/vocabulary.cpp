#include "client/report/vocabulary.h"

#include <algorithm>
#include <functional>
#include <tuple>

namespace orrery::report {
namespace {

constexpr auto kYesOrNo = std::to_array<ValueWord>({{"0", "no"}, {"1", "yes"}});
constexpr auto kOnOrOff =
    std::to_array<ValueWord>({{"0", "off"}, {"1", "on"}, {"2", "not supported"}});
constexpr auto kProtection = std::to_array<ValueWord>(
    {{"0", "not known"}, {"1", "not protected"}, {"3", "locked"}, {"7", "protected"}});
constexpr auto kLease = std::to_array<ValueWord>({{"1970-01-01T00:00:00Z", "no lease yet"}});

using enum Kind;
using enum Secret;
using enum Role;
using enum Label;

constexpr auto kTerms = std::to_array<Term>({
    // clang-format off
    // What may well come one day: properties of sections that are not below.
    {"", "Caption", "", kText, kNothing, kFallback, kName},
    {"", "DeviceID", "", kWord, kNothing, kIdentity, kName},
    {"", "MACAddress", "", kText, kMac, kFallback},
    {"", "Name", "", kText, kNothing, kFallback, kName},

    {"BIOS", "AssetTag", "BIOS", kText, kSerial},
    {"BIOS", "InstallDate", "BIOS", kDate},
    {"BIOS", "Manufacturer", "BIOS"},
    {"BIOS", "Mode", "SystemOverview", kWord},
    {"BIOS", "SerialNumber", "BIOS", kText, kSerial},
    {"BIOS", "SystemMan", "BIOS"},
    {"BIOS", "SystemMod", "BIOS"},
    {"BIOS", "Version", "BIOS"},

    {"BaseBoard", "Manufacturer", "BaseBoard", kText, kNothing, kFallback, kAddition},
    {"BaseBoard", "Product", "BaseBoard", kText, kNothing, kIdentity, kModel},
    {"BaseBoard", "Version", "BaseBoard", kText, kNothing, kBeside},

    {"CDROMDrive", "Drive", "", kWord},
    {"CDROMDrive", "Name", "", kText, kNothing, kIdentity, kName},

    {"ComputerSystem", "Domain", "", kText, kDomain},
    {"ComputerSystem", "Manufacturer", ""},
    {"ComputerSystem", "Name", "CompSys", kText, kHost},
    {"ComputerSystem", "Workgroup", "", kText, kDomain},

    {"DesktopMonitor", "CurrentRefreshRate", "", kCount},
    {"DesktopMonitor", "Name", "", kText, kNothing, kIdentity, kName},
    {"DesktopMonitor", "VideoModeDescription", ""},

    {"DirectX", "DXVersion", ""},

    {"DiskDrive", "Caption", "PhysicalDrive", kText, kNothing, kIdentity, kName},
    {"DiskDrive", "DeviceID", "", kWord},
    {"DiskDrive", "DiskType", "PhysicalDrive", kWord},
    {"DiskDrive", "LogicalDisks", "PhysicalDrive", kWord},
    {"DiskDrive", "MediaType", "PhysicalDrive"},
    {"DiskDrive", "SerialNumber", "", kText, kSerial},
    {"DiskDrive", "Size", "PhysicalDrive", kMebibytes, kNothing, kBeside},

    // One line for each category, with nothing but its place to tell which.
    {"ET", "", "", kMilliseconds, kNothing, kPassing},

    {"FloppyDrive", "Name", "", kText, kNothing, kIdentity, kName},

    {"InfraredDevice", "Name", "", kText, kNothing, kIdentity, kName},

    {"InventoryTime", "Time", "", kText, kNothing, kPassing},

    {"Keyboard", "Name", "", kText, kNothing, kIdentity, kName},

    {"LogicalDisk", "BitLockerStatus", "PhysicalDrive", kCode, kNothing, kFact, kNone, kProtection},
    {"LogicalDisk", "Description", "PhysicalDrive", kText, kNothing, kFact, kAddition},
    {"LogicalDisk", "DeviceID", "PhysicalDrive", kWord, kNothing, kIdentity, kName},
    {"LogicalDisk", "FileSystem", "PhysicalDrive", kWord},
    {"LogicalDisk", "FreeSpace", "PhysicalDrive", kMebibytes, kNothing, kPassing},
    {"LogicalDisk", "Size", "PhysicalDrive", kMebibytes},
    {"LogicalDisk", "VolumeSerialNumber", "PhysicalDrive", kText, kSerial, kFallback},

    {"NetworkAdapter", "AdapterType", "Network", kWord},
    {"NetworkAdapter", "DHCPEnabled", "Network", kFlag},
    {"NetworkAdapter", "DHCPLeaseExpires", "Network", kTime, kNothing, kPassing, kNone, kLease},
    {"NetworkAdapter", "DHCPLeaseObtained", "Network", kTime, kNothing, kPassing, kNone, kLease},
    {"NetworkAdapter", "DHCPServer", "Network", kText, kAddresses, kMoving},
    {"NetworkAdapter", "DNSServer", "Network", kText, kAddresses, kMoving},
    {"NetworkAdapter", "DefaultIPGateway", "Network", kText, kAddresses, kMoving},
    {"NetworkAdapter", "IPAddress", "Network", kText, kAddresses, kMoving},
    {"NetworkAdapter", "IPSubnet", "Network", kText, kNothing, kMoving},
    {"NetworkAdapter", "IPV6Address", "Network", kText, kAddresses, kMoving},
    {"NetworkAdapter", "MACAddress", "Network", kText, kMac, kIdentity, kAddition},
    {"NetworkAdapter", "Manufacturer", "Network"},
    {"NetworkAdapter", "Name", "Network", kText, kNothing, kFallback, kName},
    {"NetworkAdapter", "NetConnectionStatus", "Network", kWord},
    {"NetworkAdapter", "NetworkBand", "Network", kKilohertz, kNothing, kMoving},
    {"NetworkAdapter", "NetworkChannel", "Network", kCode, kNothing, kMoving},
    {"NetworkAdapter", "PhysicalAdapter", "Network", kWord},
    {"NetworkAdapter", "Protocol", "Network", kWord},
    {"NetworkAdapter", "SSID", "Network", kText, kNetwork, kMoving},
    {"NetworkAdapter", "SecurityType", "Network", kWord},
    {"NetworkAdapter", "Speed", "Network", kBitsPerSecond},
    {"NetworkAdapter", "WINSPrimaryServer", "Network", kText, kAddresses, kMoving},

    {"NetworkConnections", "LocalName", "", kWord, kNothing, kIdentity, kName},
    {"NetworkConnections", "RemotePath", "", kText, kHost},

    {"OperatingSystem", "BuildNumber", "", kCode},
    {"OperatingSystem", "CSDVersion", ""},
    {"OperatingSystem", "Caption", "OS"},
    {"OperatingSystem", "InstallDate", "", kDate},
    {"OperatingSystem", "Is64x", "OS", kFlag, kNothing, kFact, kNone, kYesOrNo},
    {"OperatingSystem", "Language", ""},
    {"OperatingSystem", "LoggedOnUser", "OS", kText, kUser, kMoving},
    {"OperatingSystem", "MinorBuildNumber", "", kCode},
    {"OperatingSystem", "Organization", "", kText, kDomain},
    {"OperatingSystem", "RegisteredUser", "", kText, kUser},
    {"OperatingSystem", "SerialNumber", "", kText, kSerial},
    {"OperatingSystem", "TimeZone", "OS"},
    {"OperatingSystem", "Version", "OS"},
    {"OperatingSystem", "Windows10Version", "OS"},
    {"OperatingSystem", "WindowsKey", "", kText, kSerial},

    {"PCMCIAController", "Name", "", kText, kNothing, kIdentity, kName},

    {"POTSModem", "Name", "", kText, kNothing, kIdentity, kName},

    {"ParallelPort", "Name", "", kText, kNothing, kIdentity, kName},

    {"PhysicalMemory", "Capacity", "Memory", kMebibytes},

    {"PhysicalMemoryLocation", "Capacity", "BIOS", kMebibytes},
    {"PhysicalMemoryLocation", "DeviceLocator", "BIOS", kText, kNothing, kIdentity, kName},
    {"PhysicalMemoryLocation", "MemorySlots", "SystemOverview", kCount, kNothing, kWholeSection},
    {"PhysicalMemoryLocation", "MemoryType", "BIOS", kWord},
    {"PhysicalMemoryLocation", "Speed", "BIOS", kMegahertz},

    {"PointingDevice", "Name", "", kText, kNothing, kIdentity, kName},

    {"Printer", "Caption", "", kText, kNothing, kIdentity, kName},
    {"Printer", "IsLocal", "", kFlag},
    {"Printer", "PortName", "", kText, kHost},

    {"Processor", "CurrentClockSpeed", "CPU", kMegahertz, kNothing, kPassing},
    {"Processor", "Manufacturer", "CPU"},
    {"Processor", "Name", "CPU", kText, kNothing, kIdentity, kName},
    {"Processor", "NumberOfCores", "CPU", kCount},
    {"Processor", "NumberOfLogicalProcessors", "CPU", kCount},

    {"SerialPort", "Name", "", kText, kNothing, kIdentity, kName},

    {"SoundDevice", "Name", "", kText, kNothing, kIdentity, kName},

    {"SystemEnclosure", "ChassisTypes", "Enclosure", kWord},

    {"SystemOverview", "AverageBootTime", "SystemOverview", kMilliseconds, kNothing, kPassing},
    {"SystemOverview", "SecureBoot", "SystemOverview", kCode, kNothing, kFact, kNone, kOnOrOff},
    {"SystemOverview", "TpmActivated", "SystemOverview", kFlag, kNothing, kFact, kNone, kYesOrNo},
    {"SystemOverview", "TpmChip", "SystemOverview"},
    {"SystemOverview", "TpmEnabled", "SystemOverview", kFlag, kNothing, kFact, kNone, kYesOrNo},

    {"SystemSlot", "CurrentUsage", "SystemSlot", kWord},
    {"SystemSlot", "SlotDesignation", "SystemSlot", kText, kNothing, kIdentity, kName},

    {"TouchSupport", "MaxTouchPoints", "", kCount},

    {"USBDevice", "Name", "USB", kText, kNothing, kIdentity, kName},

    {"VideoController", "AdapterRAM", "Video", kMebibytes},
    {"VideoController", "DACType", "Video"},
    {"VideoController", "Name", "Video", kText, kNothing, kIdentity, kName},
    // clang-format on
});

constexpr bool IsBefore(const Term& one, const Term& other)
{
    return std::tie(one.section, one.property) < std::tie(other.section, other.property);
}

static_assert(std::is_sorted(kTerms.begin(), kTerms.end(), &IsBefore));
static_assert(std::all_of(kTerms.begin(), kTerms.end(), [](const Term& term) {
    return term.category.empty() ||
           std::find(kCategories.begin(), kCategories.end(), term.category) != kCategories.end();
}));

/// What a property is in a column of the table: that of its own row, else what all rows of its name
/// have in common.
template <class Column, class ColumnOf>
Column InColumn(std::string_view section, std::string_view property, Column other,
                const ColumnOf& columnOf) noexcept
{
    if (const Term* const term = FindTerm(section, property))
        return columnOf(*term);
    const Term* first = nullptr;
    for (const Term& term : kTerms) {
        if (term.property != property)
            continue;
        if (first != nullptr && columnOf(*first) != columnOf(term))
            return other;
        first = &term;
    }
    return first != nullptr ? columnOf(*first) : other;
}

}  // namespace

std::span<const Term> Vocabulary() noexcept
{
    return kTerms;
}

std::span<const Term> TermsOf(std::string_view section) noexcept
{
    // Not equal_range, whose answer Clang 14 cannot make with the library of GCC 12.
    const auto first = std::ranges::lower_bound(kTerms, section, {}, &Term::section);
    return {first, std::ranges::upper_bound(first, kTerms.end(), section, {}, &Term::section)};
}

std::vector<std::string> KnownSections()
{
    std::vector<std::string> sections;
    for (const Term& term : kTerms)
        if (!term.section.empty() && (sections.empty() || sections.back() != term.section))
            sections.emplace_back(term.section);
    return sections;
}

const Term* FindTerm(std::string_view section, std::string_view property) noexcept
{
    const Term sought{section, property, ""};
    const auto found = std::lower_bound(kTerms.begin(), kTerms.end(), sought, &IsBefore);
    return found != kTerms.end() && !IsBefore(sought, *found) ? &*found : nullptr;
}

Secret SecretOf(std::string_view section, std::string_view property) noexcept
{
    return InColumn(section, property, Secret::kNothing,
                    [](const Term& term) { return term.secret; });
}

bool HasFixedValues(std::string_view section, std::string_view property) noexcept
{
    return InColumn(section, property, false, [](const Term& term) {
        return term.kind == Kind::kWord || term.kind == Kind::kFlag;
    });
}

Role RoleOf(std::string_view section, std::string_view property) noexcept
{
    const Term* const term = FindTerm(section, property);
    return term != nullptr ? term->role : Role::kFact;
}

}  // namespace orrery::report
