#include "client/machine/questions.h"

#include "client/system/console.h"
#include "collect/bitlocker.h"
#include "collect/drive_tables.h"
#include "collect/network.h"
#include "collect/overview.h"
#include "native/local_drive.h"
#include "wmi/class_descriptors.h"

namespace orrery::machine {
namespace {

using doctor::Asking;
using doctor::FedKey;
using doctor::Feed;
using doctor::Without;

// In the order of WmiNamespaces.
enum : std::size_t { kClasses, kAdapters, kDrives, kStorage, kTpm, kVolumeEncryption };

constexpr std::uint32_t kMany = 100;

/// The keys of a descriptor, which the report names like the class does.
std::vector<FedKey> KeysOf(ClassDescriptor descriptor)
{
    const std::string section = ToUtf8(SectionOf(descriptor)) + '.';
    std::vector<FedKey> keys;
    for (PropertyList at = PropertiesOf(descriptor); *at != nullptr; ++at)
        keys.push_back({ToUtf8(*at), section + ToUtf8(*at)});
    return keys;
}

/// A feed whose facts fare without a value as they do without the whole answer.
Feed Alike(Feed feed)
{
    for (FedKey& key : feed.keys) {
        key.blank = feed.without;
        key.blankStandIn = feed.standIn;
    }
    return feed;
}

/// A class that is enumerated.
WmiQuestion Class(const wchar_t* className, std::vector<Feed> feeds, bool mayBeEmpty = false)
{
    return {.wmiNamespace = kClasses,
            .className = className,
            .asking = Asking::kClass,
            .maxInstances = kMany,
            .mayBeEmpty = mayBeEmpty,
            .feeds = std::move(feeds)};
}

/// A class that is written property by property.
WmiQuestion Class(ClassDescriptor descriptor, Without without, const char* standIn = "",
                  bool mayBeEmpty = false)
{
    return Class(descriptor[0], {{KeysOf(descriptor), without, standIn}}, mayBeEmpty);
}

WmiQuestion Query(std::size_t wmiNamespace, const WqlQuery& query, bool mayBeEmpty,
                  std::vector<Feed> feeds)
{
    return {.wmiNamespace = wmiNamespace,
            .className = query.className,
            .asking = Asking::kQuery,
            .text = query.text,
            .mayBeEmpty = mayBeEmpty,
            .feeds = std::move(feeds)};
}

/// A question about each volume, or each object of another one.
WmiQuestion About(std::size_t what, const wchar_t* identity, WmiQuestion question)
{
    question.about = what;
    question.identity = identity;
    return question;
}

std::vector<WmiQuestion> ClassQuestions()
{
    using enum Without;
    namespace of = descriptors;
    return {
        Class(of::kBios[0], {{{{"PrimaryBIOS", ""},
                               {"Manufacturer", "BIOS.Manufacturer"},
                               {"ReleaseDate", "BIOS.InstallDate"},
                               {"SMBIOSBIOSVersion", "BIOS.Version"},
                               {"SerialNumber", "BIOS.SerialNumber"}},
                              kEmpty}}),
        Class(of::kSystemEnclosure[0], {{{{"SMBIOSAssetTag", "BIOS.AssetTag"}}, kEmpty},
                                        {KeysOf(of::kSystemEnclosure), kLeftOut}}),
        Class(of::kComputerSystem[0],
              {{{{"Manufacturer", "BIOS.SystemMan"}, {"Model", "BIOS.SystemMod"}}, kEmpty}}),
        Class(of::kPhysicalMemory[0],
              {{KeysOf(of::kPhysicalMemoryLocation), kLeftOut},
               Alike({KeysOf(of::kPhysicalMemory), kStandIn,
                      "an estimate from the memory that Windows can use"})}),
        Class(kMemoryArrayClass,
              {{{{"MemoryDevices", "PhysicalMemoryLocation.MemorySlots"}}, kLeftOut}}),
        Class(of::kProcessor, kLeftOut),
        Class(of::kDiskDrive[0], {{{{"DeviceID", ""},
                                    {"Caption", "DiskDrive.Caption"},
                                    {"Size", "DiskDrive.Size"},
                                    {"SerialNumber", ""}},
                                   kStandIn,
                                   "the drives that answer on SCSI ports 0 and 1"}}),
        Class(of::kUsbController, kStandIn, "the USB devices listed in the registry", true),
        Class(of::kBaseBoard, kLeftOut),
        Class(of::kSystemSlot, kLeftOut, "", true),
    };
}

std::vector<Feed> AdapterFeeds()
{
    return {
        {{{"MACAddress", ""},
          {"Name", ""},
          {"Manufacturer", "NetworkAdapter.Manufacturer"},
          {"PhysicalAdapter", "NetworkAdapter.PhysicalAdapter", Without::kStandIn, "\"Logical\""},
          {"Speed", "NetworkAdapter.Speed"},
          {"NetConnectionStatus", "NetworkAdapter.NetConnectionStatus", Without::kStandIn,
           "\"Disconnected\""},
          // Only adapters that are known here are looked for at the WLAN service.
          {"", "NetworkAdapter.SSID"},
          {"", "NetworkAdapter.Protocol"},
          {"", "NetworkAdapter.SecurityType"},
          {"", "NetworkAdapter.NetworkBand"},
          {"", "NetworkAdapter.NetworkChannel"}},
         Without::kEmpty}};
}

std::vector<Feed> DriveFeed(std::vector<FedKey> keys)
{
    return {Alike({std::move(keys), Without::kLeftOut})};
}

std::vector<Feed> TpmFeeds()
{
    return {{{{"SpecVersion", "SystemOverview.TpmChip"}}, Without::kEmpty},
            Alike({{{"IsActivated_InitialValue", "SystemOverview.TpmActivated"},
                    {"IsEnabled_InitialValue", "SystemOverview.TpmEnabled"}},
                   Without::kZero})};
}

std::vector<Feed> VolumeFeed(const char* reads, const char* blankStandIn)
{
    return {{{{reads, "LogicalDisk.BitLockerStatus", Without::kStandIn, blankStandIn}},
             Without::kZero}};
}

std::vector<WmiQuestion> AllWmiQuestions()
{
    std::vector<WmiQuestion> all = ClassQuestions();
    const auto add = [&all](WmiQuestion question) {
        all.push_back(std::move(question));
        return all.size() - 1;
    };
    add(Query(kAdapters, kAdapterQuery, false, AdapterFeeds()));
    const auto drives = add(Query(kDrives, kDriveQuery, false,
                                  DriveFeed({{"DeviceID", ""},
                                             {"Caption", ""},
                                             {"MediaType", "DiskDrive.MediaType"},
                                             {"", "DiskDrive.LogicalDisks"}})));
    const auto partitions = add(About(drives, L"DeviceID",
                                      Query(kDrives, kPartitionQuery, false,
                                            DriveFeed({{"DeviceID", "DiskDrive.LogicalDisks"}}))));
    add(About(partitions, L"DeviceID",
              Query(kDrives, kPartitionVolumeQuery, false,
                    DriveFeed({{"DeviceID", "DiskDrive.LogicalDisks"}}))));
    add(Query(kStorage, kPhysicalDiskQuery, false,
              {Alike({{{"SerialNumber", ""}, {"MediaType", "DiskDrive.DiskType"}},
                      Without::kStandIn,
                      "whether the drive takes TRIM"})}));
    add(Query(kTpm, kTpmQuery, true, TpmFeeds()));
    const auto volumes =
        add(About(kVolumes, nullptr,
                  Query(kVolumeEncryption, kEncryptableVolumeQuery, true,
                        VolumeFeed("ProtectionStatus",
                                   "\"1\" or \"3\", as if not protected; \"0\" if the class has no "
                                   "such property"))));
    add(About(volumes, L"__PATH",
              {.wmiNamespace = kVolumeEncryption,
               .className = kEncryptableVolumeQuery.className,
               .asking = Asking::kMethod,
               .text = kLockMethod,
               .mayBeEmpty = true,
               .feeds = VolumeFeed("LockStatus",
                                   "\"1\" or \"7\", as if not locked; \"0\" if the method gives no "
                                   "such property")}));
    return all;
}

WmiNamespace NamespaceOf(const WqlQuery& query, const char* use = "")
{
    return {query.wmiNamespace, query.refused, use};
}

}  // namespace

// The lists are never freed: a thread whose question hangs may still read them when the process
// ends.

const std::vector<WmiNamespace>& WmiNamespaces()
{
    static const auto& kNamespaces = *new std::vector<WmiNamespace>{
        {kDefaultNamespace, std::nullopt, "classes"},
        NamespaceOf(kAdapterQuery, "network adapters"),
        NamespaceOf(kDriveQuery, "drives"),
        NamespaceOf(kPhysicalDiskQuery),
        NamespaceOf(kTpmQuery),
        NamespaceOf(kEncryptableVolumeQuery),
    };
    return kNamespaces;
}

WmiResult<IWbemServices> OpenNamespace(const WmiNamespace& wanted)
{
    return wanted.refused ? OpenSession(wanted.path, *wanted.refused) : OpenDefaultSession();
}

const std::vector<WmiQuestion>& WmiQuestions()
{
    static const auto& kQuestions = *new std::vector<WmiQuestion>{AllWmiQuestions()};
    return kQuestions;
}

std::optional<std::wstring> QuestionText(const WmiQuestion& question, const std::wstring& name)
{
    if (question.about == kNothing)
        return question.text != nullptr ? question.text : L"";
    if (question.asking == Asking::kMethod)
        return name;
    const auto called = question.text == kPartitionQuery.text ? DrivePathInQuery(name) : name;
    return called ? std::optional{TextAbout(question.text, *called)} : std::nullopt;
}

std::vector<std::wstring> ListedVolumes()
{
    CLocalDrive drives;
    const std::size_t count = drives.Enumerate(false);
    std::vector<std::wstring> volumes;
    for (std::size_t at = 0; at < count; ++at)
        volumes.emplace_back(drives.DeviceId(at).view());
    return volumes;
}

}  // namespace orrery::machine
