#include "client/report/known_values.h"

#include <algorithm>
#include <array>

#include "client/report/placeholders.h"

namespace orrery::report {
namespace {

struct KnownValue {
    std::string_view section, property, value, why;
};

constexpr std::string_view kNoUefi =
    "it follows Secure Boot, so \"Legacy\" also stands for UEFI with Secure Boot off";
constexpr std::string_view kNoDate = "the firmware tells no date";
constexpr std::string_view kNoMedium = "there is no medium in the drive, or Windows cannot read it";
constexpr std::string_view kNoSize =
    "no medium, a locked volume, no right to read it, or less than 1 MiB";
constexpr std::string_view kNoLease = "there is no lease";
constexpr std::string_view kEndlessLease = "a lease without end";
constexpr std::string_view kNoServer = "there is none";
constexpr std::string_view kNoWmi =
    "WMI knows no adapter of this name with a hardware address, or is out of reach";
constexpr std::string_view kNoWireless =
    "not connected to a wireless network, no WLAN service, or no location access";
constexpr std::string_view kNoBootTime =
    "the firmware does not tell, as often without UEFI or in virtual machines";
constexpr std::string_view kNoTpm =
    "no TPM, or no administrator's rights: collect as an administrator to know";
constexpr std::string_view kNoDisplay =
    "no adapter shows the desktop: no screen, or the run was a service's";

// The values that docs/known-values.md tells of, as far as a value alone shows that it is meant.
constexpr auto kKnownValues = std::to_array<KnownValue>({
    {"BIOS", "InstallDate", "00/00/70", kNoDate},
    {"BIOS", "InstallDate", "01/01/70", kNoDate},
    {"BIOS", "Mode", "Legacy", kNoUefi},
    {"DiskDrive", "Size", "", kNoMedium},
    {"LogicalDisk", "BitLockerStatus", "0",
     "no administrator's rights, or an edition or volume without BitLocker"},
    {"LogicalDisk", "BitLockerStatus", "1",
     "also stands for an encrypted volume while protection is suspended or encryption under way"},
    {"LogicalDisk", "BitLockerStatus", "3", "the volume is locked, so Windows cannot read it"},
    {"LogicalDisk", "Description", "", "it is the volume's label, and most have none"},
    {"LogicalDisk", "FileSystem", "", kNoMedium},
    {"LogicalDisk", "Size", "0", kNoSize},
    {"NetworkAdapter", "DHCPLeaseExpires", "1970-01-01T00:00:00Z", kNoLease},
    {"NetworkAdapter", "DHCPLeaseExpires", "2038-01-19T03:14:07Z", kEndlessLease},
    {"NetworkAdapter", "DHCPLeaseObtained", "1970-01-01T00:00:00Z", kNoLease},
    {"NetworkAdapter", "DHCPServer", "0.0.0.0", kNoServer},
    {"NetworkAdapter", "DHCPServer", "255.255.255.255", "no server has answered yet"},
    {"NetworkAdapter", "NetConnectionStatus", "", kNoWmi},
    {"NetworkAdapter", "NetworkChannel", "0", "it could not be read"},
    {"NetworkAdapter", "Protocol", "unknown", "a kind newer than Wi-Fi 6"},
    {"NetworkAdapter", "SSID", "", kNoWireless},
    {"NetworkAdapter", "SecurityType", "Other",
     "WPA3, WPA2 with another cipher than CCMP, or an enhanced open network"},
    {"NetworkAdapter", "Speed", "9223372036854775807",
     "WMI's answer for an adapter without a link; take it for unknown"},
    {"NetworkAdapter", "WINSPrimaryServer", "0.0.0.0", kNoServer},
    {"OperatingSystem", "Is64x", "", "not an x64 system; there is no \"0\""},
    {"OperatingSystem", "LoggedOnUser", "",
     "no user is seen from a run as LocalSystem; run it in the user's session"},
    {"OperatingSystem", "Version", "6.2.9200",
     "on a newer system, Windows hides its version from a host without a manifest"},
    {"OperatingSystem", "Windows10Version", "",
     "before Windows 10, or a host with a compatibility manifest"},
    {"PhysicalMemoryLocation", "MemoryType", "Unknown",
     "Windows has no number for DDR4 and later on most machines; judge by Speed"},
    {"PhysicalMemoryLocation", "Speed", "", "the firmware does not tell"},
    {"PhysicalMemoryLocation", "Speed", "0", "the firmware does not tell"},
    {"SystemEnclosure", "ChassisTypes", "",
     "blades and other rare types have no word in the report"},
    {"SystemEnclosure", "ChassisTypes", "Unknown",
     "rack mounts are grouped so, and machines whose maker does not say"},
    {"SystemOverview", "AverageBootTime", "", kNoBootTime},
    {"SystemOverview", "AverageBootTime", "0", kNoBootTime},
    {"SystemOverview", "SecureBoot", "2",
     "firmware without UEFI, or a system older than Windows 8"},
    {"SystemOverview", "TpmChip", "", kNoTpm},
    {"SystemSlot", "CurrentUsage", "", "a state without a word"},
    {"VideoController", "AdapterRAM", "", "the driver tells no size"},
    {"VideoController", "Name", "", kNoDisplay},
});

/// Whether a maker fills in a value of this property, or not.
bool IsFilledIn(std::string_view section, std::string_view property)
{
    if (section == "BaseBoard")
        return property == "Manufacturer" || property == "Product";
    return section == "BIOS" && (property == "AssetTag" || property == "SerialNumber" ||
                                 property == "SystemMan" || property == "SystemMod");
}

}  // namespace

std::string_view ExplainValue(std::string_view section, std::string_view property,
                              std::string_view value) noexcept
{
    const auto found =
        std::find_if(kKnownValues.begin(), kKnownValues.end(), [&](const KnownValue& each) {
            return each.section == section && each.property == property && each.value == value;
        });
    if (found != kKnownValues.end())
        return found->why;
    if (IsFilledIn(section, property) && IsPlaceholder(value))
        return "the maker filled in nothing; take it for unknown";
    return {};
}

}  // namespace orrery::report
