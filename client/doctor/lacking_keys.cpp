#include "client/doctor/lacking_keys.h"

#include <algorithm>
#include <array>
#include <set>

#include "client/report/vocabulary.h"

namespace orrery::doctor {
namespace {

/// What a key is, where there are several reasons the first row that fits.
struct ReasonRow {
    std::string_view start;  ///< of the key
    LackReason reason;
};

constexpr LackReason kNoWireless{
    "An adapter is not connected to a wireless network",
    "Nothing, for an adapter with a cable or one that is not to be connected."};
constexpr LackReason kNoRecord{
    "WMI has no adapter of an adapter's name, or does not tell this of it",
    "Nothing, for virtual adapters; else update the adapter's driver."};
constexpr LackReason kNoAddress{"Windows has no such address or time for an adapter",
                                "Nothing, for an adapter that is not connected or does without."};

constexpr auto kReasons = std::to_array<ReasonRow>({
    {"ComputerSystem.", {"Windows does not tell the name of the computer", ""}},
    {"DiskDrive.DiskType",
     {"Neither the storage namespace nor the drive itself tells what kind of drive it is",
      "Run the inventory as administrator: a drive is asked only then."}},
    {"DiskDrive.LogicalDisks",
     {"WMI ties no volume to a drive",
      "Nothing, for a drive without volumes that have a letter, on dynamic disks and in storage "
      "pools."}},
    {"DiskDrive.MediaType",
     {"WMI has no kind of medium for the caption of a drive",
      "Nothing, for an empty card reader or a drive without a caption."}},
    {"LogicalDisk.Description",
     {"A volume has no label", "Nothing, unless it is to be named: label C: NAME."}},
    {"LogicalDisk.",
     {"A volume cannot be read, or none has a letter from C: on",
      "Unlock the volume or insert the medium, then collect again."}},
    {"NetworkAdapter.Manufacturer", kNoRecord},
    {"NetworkAdapter.NetConnectionStatus", kNoRecord},
    {"NetworkAdapter.NetworkBand", kNoWireless},
    {"NetworkAdapter.NetworkChannel", kNoWireless},
    {"NetworkAdapter.PhysicalAdapter", kNoRecord},
    {"NetworkAdapter.Protocol", kNoWireless},
    {"NetworkAdapter.SSID", kNoWireless},
    {"NetworkAdapter.SecurityType", kNoWireless},
    {"NetworkAdapter.Speed", kNoRecord},
    {"NetworkAdapter.", kNoAddress},
    {"OperatingSystem.Is64x", {"This is no x64 system from Vista on", "Nothing."}},
    {"OperatingSystem.LoggedOnUser",
     {"No user's desktop is to be seen from here", "Run the inventory in the user's session."}},
    {"OperatingSystem.", {"Windows does not tell this program so much of its version", "Nothing."}},
    {"SystemEnclosure.",
     {"The report has no word for the type of chassis that the firmware tells", "Nothing."}},
    {"SystemOverview.AverageBootTime",
     {"Windows keeps no time that the firmware took to start",
      "Nothing: firmware without UEFI and virtual machines do not tell it."}},
    {"SystemSlot.CurrentUsage", {"The report has no word for the state of a slot", "Nothing."}},
    {"USBDevice.", {"Neither WMI nor the registry has a USB device", "Nothing, if that is so."}},
    {"VideoController.",
     {"No display adapter shows the desktop, or its driver does not tell this of it",
      "Collect at the console, in a session with a screen; else update the display driver."}},
    {"",
     {"What was asked has no value for it",
      "Nothing, if the maker left it blank; else collect again, and update the firmware or the "
      "driver."}},
});

}  // namespace

std::vector<LackingKey> LackingKeys(const Rehearsal& rehearsal)
{
    std::vector<LackingKey> lacking;
    for (const report::Term& term : report::Vocabulary()) {
        const auto& open = rehearsal.unfinished;
        if (term.category.empty() ||
            std::find(open.begin(), open.end(), term.category) != open.end())
            continue;
        std::set<std::int32_t> instances;  // that the property's category has written
        std::size_t lines = 0, values = 0;
        for (const Fact& fact : rehearsal.facts) {
            if (fact.section != term.section)
                continue;
            const report::Term* const other = report::FindTerm(fact.section, fact.property);
            if (other != nullptr && other->category == term.category)
                instances.insert(fact.index);
            if (fact.property == term.property) {
                ++lines;
                values += fact.isEmpty ? 0 : 1;
            }
        }
        const bool isLeftOut = lines < std::max<std::size_t>(instances.size(), 1);
        if (isLeftOut || values < lines)
            lacking.push_back({std::string{term.section}.append(1, '.').append(term.property),
                               isLeftOut ? Without::kLeftOut : Without::kEmpty});
    }
    return lacking;
}

LackReason ReasonOf(std::string_view key) noexcept
{
    return std::find_if(kReasons.begin(), kReasons.end(),
                        [key](const ReasonRow& row) { return key.starts_with(row.start); })
        ->reason;
}

}  // namespace orrery::doctor
