#include "client/machine/questions.h"

#include "wmi/class_descriptors.h"

namespace orrery::machine {
namespace {

enum : std::size_t { kClasses, kAdapters, kDrives, kStorage, kTpm, kVolumeEncryption };

constexpr std::uint32_t kMany = 100;

/// The keys of a descriptor, which the report names like the class does.
std::vector<KeySource> KeysOf(ClassDescriptor descriptor)
{
    std::vector<KeySource> keys;
    for (PropertyList at = PropertiesOf(descriptor); *at != nullptr; ++at)
        keys.push_back({*at, *at});
    return keys;
}

/// A feed whose facts fare without a value as they do without the whole answer.
Feed Alike(Feed feed)
{
    for (KeySource& key : feed.keys) {
        key.blank = feed.without;
        key.blankStandIn = feed.standIn;
    }
    return feed;
}

/// A class that is enumerated.
WmiQuestion Batch(const wchar_t* className, std::vector<Feed> feeds,
                  std::uint32_t maxInstances = kMany, bool mayBeEmpty = false)
{
    return {.wmiNamespace = kClasses,
            .className = className,
            .asking = Asking::kBatch,
            .text = nullptr,
            .source = kNoQuestion,
            .sourceProperty = nullptr,
            .maxInstances = maxInstances,
            .mayBeEmpty = mayBeEmpty,
            .feeds = std::move(feeds)};
}

/// A category that is the instances of one class, written property by property.
WmiQuestion Batch(const wchar_t* category, ClassDescriptor descriptor, Without without,
                  const wchar_t* standIn = nullptr, bool mayBeEmpty = false)
{
    return Batch(descriptor[0],
                 {{category, SectionOf(descriptor), KeysOf(descriptor), without, standIn}}, kMany,
                 mayBeEmpty);
}

WmiQuestion Query(std::size_t wmiNamespace, const wchar_t* className, const wchar_t* text,
                  bool mayBeEmpty, std::vector<Feed> feeds)
{
    return {.wmiNamespace = wmiNamespace,
            .className = className,
            .asking = Asking::kQuery,
            .text = text,
            .source = kNoQuestion,
            .sourceProperty = nullptr,
            .maxInstances = 0,
            .mayBeEmpty = mayBeEmpty,
            .feeds = std::move(feeds)};
}

/// A question about each object of another one.
WmiQuestion About(std::size_t source, const wchar_t* sourceProperty, Asking asking,
                  WmiQuestion question)
{
    question.source = source;
    question.sourceProperty = sourceProperty;
    question.asking = asking;
    return question;
}

std::size_t IndexOf(const std::vector<WmiQuestion>& questions, std::size_t wmiNamespace,
                    std::wstring_view className)
{
    std::size_t at = 0;
    while (questions[at].wmiNamespace != wmiNamespace || questions[at].className != className)
        ++at;
    return at;
}

std::vector<WmiQuestion> ClassQuestions()
{
    using enum Without;
    namespace of = descriptors;
    return {
        Batch(L"Win32_BIOS", {{L"BIOS",
                               L"BIOS",
                               {{L"PrimaryBIOS", nullptr},
                                {L"Manufacturer", L"Manufacturer"},
                                {L"ReleaseDate", L"InstallDate"},
                                {L"SMBIOSBIOSVersion", L"Version"},
                                {L"SerialNumber", L"SerialNumber"}},
                               kEmpty}}),
        Batch(L"Win32_SystemEnclosure",
              {{L"BIOS", L"BIOS", {{L"SMBIOSAssetTag", L"AssetTag"}}, kEmpty},
               {L"Enclosure", L"SystemEnclosure", KeysOf(of::kSystemEnclosure), kLeftOut}}),
        Batch(L"Win32_ComputerSystem",
              {{L"BIOS",
                L"BIOS",
                {{L"Manufacturer", L"SystemMan"}, {L"Model", L"SystemMod"}},
                kEmpty}}),
        Batch(L"Win32_PhysicalMemory",
              {{L"BIOS", L"PhysicalMemoryLocation", KeysOf(of::kPhysicalMemoryLocation), kLeftOut},
               Alike({L"Memory", L"PhysicalMemory", KeysOf(of::kPhysicalMemory), kStandIn,
                      L"an estimate from the memory that Windows can use"})}),
        Batch(L"Win32_PhysicalMemoryArray", {{L"SystemOverview",
                                              L"PhysicalMemoryLocation",
                                              {{L"MemoryDevices", L"MemorySlots"}},
                                              kLeftOut}}),
        Batch(L"CPU", of::kProcessor, kLeftOut),
        Batch(L"Win32_DiskDrive", {{L"PhysicalDrive",
                                    L"DiskDrive",
                                    {{L"DeviceID", nullptr},
                                     {L"Caption", L"Caption"},
                                     {L"Size", L"Size"},
                                     {L"SerialNumber", nullptr}},
                                    kStandIn,
                                    L"the drives that answer on SCSI ports 0 and 1"}}),
        Batch(L"USB", of::kUsbController, kStandIn, L"the USB devices listed in the registry",
              true),
        Batch(L"BaseBoard", of::kBaseBoard, kLeftOut),
        Batch(L"SystemSlot", of::kSystemSlot, kLeftOut, nullptr, true),
    };
}

std::vector<Feed> DriveFeed(std::vector<KeySource> keys, Without without = Without::kLeftOut,
                            const wchar_t* standIn = nullptr)
{
    return {Alike({L"PhysicalDrive", L"DiskDrive", std::move(keys), without, standIn})};
}

std::vector<Feed> AdapterFeeds()
{
    return {
        {L"Network",
         L"NetworkAdapter",
         {{L"MACAddress", nullptr},
          {L"Name", nullptr},
          {L"Manufacturer", L"Manufacturer"},
          {L"PhysicalAdapter", L"PhysicalAdapter", Without::kStandIn, L"\"Logical\""},
          {L"Speed", L"Speed"},
          {L"NetConnectionStatus", L"NetConnectionStatus", Without::kStandIn, L"\"Disconnected\""},
          // Only adapters that are known here are looked for at the WLAN service.
          {nullptr, L"SSID"},
          {nullptr, L"Protocol"},
          {nullptr, L"SecurityType"},
          {nullptr, L"NetworkBand"},
          {nullptr, L"NetworkChannel"}},
         Without::kEmpty}};
}

std::vector<Feed> TpmFeeds()
{
    return {{L"SystemOverview", L"SystemOverview", {{L"SpecVersion", L"TpmChip"}}, Without::kEmpty},
            Alike({L"SystemOverview",
                   L"SystemOverview",
                   {{L"IsActivated_InitialValue", L"TpmActivated"},
                    {L"IsEnabled_InitialValue", L"TpmEnabled"}},
                   Without::kZero})};
}

std::vector<Feed> VolumeFeed(const wchar_t* reads, const wchar_t* blankStandIn)
{
    return {{L"PhysicalDrive",
             L"LogicalDisk",
             {{reads, L"BitLockerStatus", Without::kStandIn, blankStandIn}},
             Without::kZero}};
}

std::vector<WmiQuestion> AllWmiQuestions()
{
    std::vector<WmiQuestion> all = ClassQuestions();
    all.push_back(Query(kAdapters, L"Win32_NetworkAdapter",
                        L"SELECT MACAddress, Name, Manufacturer, PhysicalAdapter, Speed, "
                        L"NetConnectionStatus FROM Win32_NetworkAdapter",
                        false, AdapterFeeds()));
    all.push_back(Query(kDrives, L"Win32_DiskDrive",
                        L"SELECT DeviceID, Caption, MediaType FROM Win32_DiskDrive", false,
                        DriveFeed({{L"DeviceID", nullptr},
                                   {L"Caption", nullptr},
                                   {L"MediaType", L"MediaType"},
                                   {nullptr, L"LogicalDisks"}})));
    all.push_back(About(IndexOf(all, kDrives, L"Win32_DiskDrive"), L"DeviceID", Asking::kQueryEach,
                        Query(kDrives, L"Win32_DiskPartition",
                              L"Associators of {Win32_DiskDrive.DeviceID='%'} where "
                              L"AssocClass=Win32_DiskDriveToDiskPartition",
                              false, DriveFeed({{L"DeviceID", L"LogicalDisks"}}))));
    all.push_back(About(IndexOf(all, kDrives, L"Win32_DiskPartition"), L"DeviceID",
                        Asking::kQueryEach,
                        Query(kDrives, L"Win32_LogicalDisk",
                              L"Associators of {Win32_DiskPartition.DeviceID='%'} where "
                              L"AssocClass=Win32_LogicalDiskToPartition",
                              false, DriveFeed({{L"DeviceID", L"LogicalDisks"}}))));
    all.push_back(Query(kStorage, L"MSFT_PhysicalDisk",
                        L"SELECT SerialNumber, MediaType FROM MSFT_PhysicalDisk", false,
                        DriveFeed({{L"SerialNumber", nullptr}, {L"MediaType", L"DiskType"}},
                                  Without::kStandIn, L"whether the drive has a seek penalty")));
    all.push_back(Query(kTpm, L"Win32_Tpm",
                        L"SELECT IsActivated_InitialValue, IsEnabled_InitialValue, SpecVersion "
                        L"FROM Win32_Tpm",
                        true, TpmFeeds()));
    // The blank at the end is part of the query.
    all.push_back(About(kNoQuestion, nullptr, Asking::kQueryEach,
                        Query(kVolumeEncryption, L"Win32_EncryptableVolume",
                              L"SELECT * FROM Win32_EncryptableVolume Where DriveLetter='%' ", true,
                              VolumeFeed(L"ProtectionStatus",
                                         L"\"1\" or \"3\", as if not protected; \"0\" if the "
                                         L"class has no such property"))));
    all.push_back(About(IndexOf(all, kVolumeEncryption, L"Win32_EncryptableVolume"), L"__PATH",
                        Asking::kMethod,
                        Query(kVolumeEncryption, L"Win32_EncryptableVolume", L"GetLockStatus", true,
                              VolumeFeed(L"LockStatus",
                                         L"\"1\" or \"7\", as if not locked; \"0\" if the method "
                                         L"gives no such property"))));
    return all;
}

RegistryQuestion MachineKey(const wchar_t* path, std::vector<const wchar_t*> values,
                            std::vector<Feed> feeds, const wchar_t* mark = nullptr,
                            System system = System::kEvery)
{
    return {.root = HKEY_LOCAL_MACHINE,
            .place = KeyPlace::kFixed,
            .path = path,
            .system = system,
            .mark = mark,
            .values = std::move(values),
            .feeds = std::move(feeds)};
}

Feed OverviewFeed(const wchar_t* value, const wchar_t* property, Without without,
                  const wchar_t* standIn = nullptr)
{
    return {L"SystemOverview", L"SystemOverview", {{value, property}}, without, standIn};
}

std::vector<Feed> SystemFeed()
{
    return {{L"OS",
             L"OperatingSystem",
             {{L"ProductName", L"Caption"},
              {L"CurrentVersion", L"Version"},
              {L"DisplayVersion", L"Windows10Version"},
              {L"ReleaseId", L"Windows10Version"}},
             Without::kStandIn,
             L"the version that Windows tells programs without a manifest"}};
}

std::vector<Feed> VideoFeed()
{
    return {{L"Video",
             L"VideoController",
             {{nullptr, L"Name"},
              {L"HardwareInformation.qwMemorySize", L"AdapterRAM"},
              {L"HardwareInformation.MemorySize", L"AdapterRAM"},
              {L"HardwareInformation.DacType", L"DACType"}},
             Without::kEmpty}};
}

std::vector<Feed> UsbFeed()
{
    return {{L"USB",
             L"USBDevice",
             {{L"FriendlyName", L"Name"}, {L"DeviceDesc", L"Name"}},
             Without::kLeftOut}};
}

std::vector<const wchar_t*> DeviceValues()
{
    return {L"ClassGUID", L"FriendlyName", L"DeviceDesc", L"Mfg",
            L"Service",   L"Class",        L"StatusFlags"};
}

/// A list of display drivers' keys.
RegistryQuestion DriverKeys(KeyPlace place, const wchar_t* path, System system,
                            std::vector<const wchar_t*> more)
{
    std::vector<const wchar_t*> values{L"InstalledDisplayDrivers",
                                       L"HardwareInformation.MemorySize",
                                       L"HardwareInformation.DacType"};
    values.insert(values.end(), more.begin(), more.end());
    return {.root = HKEY_LOCAL_MACHINE,
            .place = place,
            .path = path,
            .system = system,
            .mark = nullptr,
            .values = std::move(values),
            .feeds = VideoFeed()};
}

std::vector<RegistryQuestion> CurrentSystemKeys()
{
    return {
        MachineKey(L"SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Power", {L"FwPOSTTime"},
                   {OverviewFeed(L"FwPOSTTime", L"AverageBootTime", Without::kEmpty)}),
        MachineKey(L"SYSTEM\\CurrentControlSet\\Control\\SecureBoot\\State",
                   {L"UEFISecureBootEnabled"},
                   {OverviewFeed(L"UEFISecureBootEnabled", L"SecureBoot", Without::kStandIn,
                                 L"\"2\", not supported"),
                    {L"SystemOverview",
                     L"BIOS",
                     {{L"UEFISecureBootEnabled", L"Mode"}},
                     Without::kStandIn,
                     L"\"Legacy\""}}),
        MachineKey(L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion",
                   {L"CurrentVersion", L"CurrentBuildNumber", L"CSDVersion", L"ProductName",
                    L"DisplayVersion", L"ReleaseId", L"UBR", L"CurrentMajorVersionNumber",
                    L"CurrentMinorVersionNumber"},
                   SystemFeed()),
        MachineKey(L"SYSTEM\\CurrentControlSet\\Enum\\*\\*\\*", DeviceValues(), UsbFeed(),
                   L"Control"),
        MachineKey(L"SYSTEM\\CurrentControlSet\\Control\\Class\\*", {L"Class"}, UsbFeed()),
        DriverKeys(KeyPlace::kEachDisplay, nullptr, System::kEvery,
                   {L"HardwareInformation.qwMemorySize"}),
        MachineKey(L"SOFTWARE\\Veltrane Ltd\\Veltrane Orrery\\Client",
                   {L"ForceWMI", L"DisableXBios"}, {}),
    };
}

std::vector<RegistryQuestion> AllRegistryQuestions()
{
    std::vector<RegistryQuestion> all = CurrentSystemKeys();
    all.push_back(MachineKey(L"SYSTEM\\CurrentControlSet\\Control\\ProductOptions",
                             {L"ProductType"}, SystemFeed(), nullptr, System::kPreNt4));
    all.push_back(DriverKeys(KeyPlace::kEachValue, L"HARDWARE\\DEVICEMAP\\VIDEO", System::kNt4,
                             {L"MirrorDriver", L"HardwareInformation.AdapterString"}));
    all.push_back(
        MachineKey(L"Enum\\*\\*\\*", DeviceValues(), UsbFeed(), L"Control", System::kWin9x));
    all.push_back(MachineKey(L"SYSTEM\\CurrentControlSet\\Services\\Class\\*", {L"Class"},
                             UsbFeed(), nullptr, System::kWin9x));
    // The hardware key names a device below "Enum", the device's driver a key below "Class".
    RegistryQuestion nodes = MachineKey(L"Config Manager\\Enum\\*", {L"HardwareKey"}, VideoFeed(),
                                        nullptr, System::kWin9x);
    nodes.root = HKEY_DYN_DATA;
    all.push_back(std::move(nodes));
    all.push_back(MachineKey(L"Enum\\*\\*\\*", {L"Class", L"DeviceDesc", L"Driver"}, VideoFeed(),
                             nullptr, System::kWin9x));
    all.push_back(MachineKey(L"System\\CurrentControlSet\\Services\\Class\\*\\*\\INFO",
                             {L"VideoMemory", L"DacType"}, VideoFeed(), nullptr, System::kWin9x));
    return all;
}

}  // namespace

// The tables are never freed: a thread whose question hangs may still read them when the process
// ends.

const std::vector<WmiNamespace>& WmiNamespaces()
{
    // One namespace in two spellings and for three kinds of session: the adapters do without a
    // session whose security is refused, the drives make do with it.
    static const auto& kNamespaces = *new std::vector<WmiNamespace>{
        {L"root\\cimv2", Session::kDefault, RefusedBlanket::kKeepsSession},
        {L"ROOT\\CIMV2", Session::kOwn, RefusedBlanket::kEndsSession},
        {L"ROOT\\CIMV2", Session::kOwn, RefusedBlanket::kKeepsSession},
        {L"\\\\.\\ROOT\\microsoft\\windows\\storage", Session::kOwn, RefusedBlanket::kKeepsSession},
        {L"\\\\.\\root\\CIMV2\\Security\\MicrosoftTpm", Session::kOwn,
         RefusedBlanket::kEndsSession},
        {L"\\\\.\\root\\CIMV2\\Security\\MicrosoftVolumeEncryption", Session::kOwn,
         RefusedBlanket::kKeepsSession},
    };
    return kNamespaces;
}

WmiResult<IWbemServices> OpenNamespace(const WmiNamespace& wanted)
{
    return wanted.session == Session::kDefault ? OpenDefaultSession()
                                               : OpenSession(wanted.path, wanted.refused);
}

const std::vector<WmiQuestion>& WmiQuestions()
{
    static const auto& kQuestions = *new std::vector<WmiQuestion>{AllWmiQuestions()};
    return kQuestions;
}

const std::vector<RegistryQuestion>& RegistryQuestions()
{
    static const auto& kQuestions = *new std::vector<RegistryQuestion>{AllRegistryQuestions()};
    return kQuestions;
}

}  // namespace orrery::machine
