#include "wmi/class_descriptors.h"

#include <array>
#include <string_view>

namespace orrery {
namespace {

// Source of the class and property names: the CIMV2 namespace. Rows that no collector asks for keep
// their place, since the order is part of the table. "SystemMan" and "SystemMod" are no properties
// of Win32_BIOS: the BIOS collector finds their values elsewhere.
constexpr auto kTable = std::to_array<const wchar_t*>({
    // clang-format off
    L"Win32_NetworkAdapter", L"NetworkAdapter",
        L"Name", L"MACAddress", L"AdapterType", nullptr,
    L"Win32_NetworkAdapterConfiguration", L"NetworkAdapter",
        L"IPAddress", L"IPSubnet", L"DefaultIPGateway", L"WINSPrimaryServer", L"DNSServer",
        L"DHCPServer", L"IPV6Address", L"DHCPEnabled", L"DHCPLeaseObtained", L"DHCPLeaseExpires",
        nullptr,
    L"Win32_VideoController", L"VideoController",
        L"Name", L"AdapterRAM", L"DACType", nullptr,
    L"Win32_CDROMDrive", L"CDROMDrive",
        L"Name", L"Drive", nullptr,
    L"Win32_SoundDevice", L"SoundDevice",
        L"Name", nullptr,
    L"Win32_DesktopMonitor", L"DesktopMonitor",
        L"Name", L"VideoModeDescription", L"CurrentRefreshRate", nullptr,
    L"Win32_Keyboard", L"Keyboard",
        L"Name", nullptr,
    L"Win32_FloppyDrive", L"FloppyDrive",
        L"Name", nullptr,
    L"Win32_BIOS", L"BIOS",
        L"Manufacturer", L"InstallDate", L"Version", L"AssetTag", L"SystemMan", L"SystemMod",
        L"SerialNumber", nullptr,
    L"Win32_Processor", L"Processor",
        L"CurrentClockSpeed", L"Name", L"Manufacturer", L"NumberOfCores",
        L"NumberOfLogicalProcessors", nullptr,
    L"Win32_PointingDevice", L"PointingDevice",
        L"Name", nullptr,
    L"Win32_OperatingSystem", L"OperatingSystem",
        L"Caption", L"Version", L"CSDVersion", L"Organization", L"BuildNumber", L"RegisteredUser",
        L"SerialNumber", L"Language", L"TimeZone", L"LoggedOnUser", L"Is64x", L"WindowsKey",
        L"InstallDate", L"MinorBuildNumber", L"Windows10Version", nullptr,
    L"Win32_PhysicalMemory", L"PhysicalMemory",
        L"Capacity", nullptr,
    L"Win32_ComputerSystem", L"ComputerSystem",
        L"Name", L"Domain", L"Workgroup", L"Manufacturer", nullptr,
    L"Win32_DiskDrive", L"DiskDrive",
        L"DeviceID", L"Caption", L"Size", L"SerialNumber", nullptr,
    L"Win32_LogicalDisk", L"LogicalDisk",
        L"DeviceID", L"Size", L"FreeSpace", L"FileSystem", L"Description", L"VolumeSerialNumber",
        L"BitLockerStatus", nullptr,
    L"Win32_NetworkConnection", L"NetworkConnections",
        L"LocalName", L"RemotePath", nullptr,
    L"Win32_Printer", L"Printer",
        L"Caption", L"PortName", L"IsLocal", nullptr,
    L"Win32_POTSModem", L"POTSModem",
        L"Name", nullptr,
    L"Win32_USBController", L"USBDevice",
        L"Name", nullptr,
    L"None", L"InventoryTime",
        L"Time", nullptr,
    L"None", L"DirectX",
        L"DXVersion", nullptr,
    L"Win32_BaseBoard", L"BaseBoard",
        L"Manufacturer", L"Product", L"Version", nullptr,
    L"Win32_InfraredDevice", L"InfraredDevice",
        L"Name", nullptr,
    L"Win32_ParallelPort", L"ParallelPort",
        L"Name", nullptr,
    L"Win32_PCMCIAController", L"PCMCIAController",
        L"Name", nullptr,
    L"Win32_SerialPort", L"SerialPort",
        L"Name", nullptr,
    L"Win32_SystemEnclosure", L"SystemEnclosure",
        L"ChassisTypes", nullptr,
    L"Win32_SystemSlot", L"SystemSlot",
        L"SlotDesignation", L"CurrentUsage", nullptr,
    L"Win32_PhysicalMemory", L"PhysicalMemoryLocation",
        L"Capacity", L"DeviceLocator", L"MemoryType", L"Speed", nullptr,
    L"None", L"TouchSupport",
        L"MaxTouchPoints", nullptr,
    // clang-format on
});

/// Two descriptors may share a class or a section, but not both. An unknown pair does not compile.
consteval std::size_t PlaceOf(std::wstring_view className, std::wstring_view section)
{
    std::size_t at = 0;
    while (className != kTable[at] || section != kTable[at + 1]) {
        while (kTable[at] != nullptr)
            ++at;
        ++at;
    }
    return at;
}

constexpr ClassDescriptor At(std::size_t place)
{
    return kTable.data() + place;
}

}  // namespace

DescriptorTable AllDescriptors() noexcept
{
    return {kTable.data(), kTable.size()};
}

namespace descriptors {
constinit const ClassDescriptor kNetworkAdapter =
    At(PlaceOf(L"Win32_NetworkAdapter", L"NetworkAdapter"));
constinit const ClassDescriptor kNetworkAdapterConfiguration =
    At(PlaceOf(L"Win32_NetworkAdapterConfiguration", L"NetworkAdapter"));
constinit const ClassDescriptor kVideoController =
    At(PlaceOf(L"Win32_VideoController", L"VideoController"));
constinit const ClassDescriptor kBios = At(PlaceOf(L"Win32_BIOS", L"BIOS"));
constinit const ClassDescriptor kProcessor = At(PlaceOf(L"Win32_Processor", L"Processor"));
constinit const ClassDescriptor kOperatingSystem =
    At(PlaceOf(L"Win32_OperatingSystem", L"OperatingSystem"));
constinit const ClassDescriptor kPhysicalMemory =
    At(PlaceOf(L"Win32_PhysicalMemory", L"PhysicalMemory"));
constinit const ClassDescriptor kPhysicalMemoryLocation =
    At(PlaceOf(L"Win32_PhysicalMemory", L"PhysicalMemoryLocation"));
constinit const ClassDescriptor kComputerSystem =
    At(PlaceOf(L"Win32_ComputerSystem", L"ComputerSystem"));
constinit const ClassDescriptor kDiskDrive = At(PlaceOf(L"Win32_DiskDrive", L"DiskDrive"));
constinit const ClassDescriptor kLogicalDisk = At(PlaceOf(L"Win32_LogicalDisk", L"LogicalDisk"));
constinit const ClassDescriptor kUsbController = At(PlaceOf(L"Win32_USBController", L"USBDevice"));
constinit const ClassDescriptor kBaseBoard = At(PlaceOf(L"Win32_BaseBoard", L"BaseBoard"));
constinit const ClassDescriptor kSystemEnclosure =
    At(PlaceOf(L"Win32_SystemEnclosure", L"SystemEnclosure"));
constinit const ClassDescriptor kSystemSlot = At(PlaceOf(L"Win32_SystemSlot", L"SystemSlot"));
}  // namespace descriptors

}  // namespace orrery
