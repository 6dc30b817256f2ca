#pragma once

#include <windows.h>
#include <wtypes.h>

#include <array>
#include <string>
#include <string_view>

// The words of a machine file, for who writes and who reads one. docs/machines.md tells what they mean.
namespace orrery::machine::form {

// What a line begins with; the lines of WMI, then those of Windows itself.
inline constexpr std::string_view kNamespace = "namespace";
inline constexpr std::string_view kClass = "class";
inline constexpr std::string_view kInstance = "instance of";
inline constexpr std::string_view kUnreadable = "unreadable";
inline constexpr std::string_view kEmptySlot = "empty slot of";
inline constexpr std::string_view kAfter = "after";
inline constexpr std::string_view kMilliseconds = "ms";
inline constexpr std::string_view kQuery = "query";
inline constexpr std::string_view kMethod = "method";
inline constexpr std::string_view kOf = " of ";  ///< between a method and its object
inline constexpr std::string_view kTakesInput = " takes input";
inline constexpr std::string_view kNoWmi = "no wmi";
inline constexpr std::string_view kSystemItem = "system";
inline constexpr std::string_view kVolumeItem = "volume";
inline constexpr std::string_view kDriveItem = "drive";
inline constexpr std::string_view kDisplayItem = "display";
inline constexpr std::string_view kAdapterItem = "adapter";
inline constexpr std::string_view kIPv6AdapterItem = "ipv6 adapter";
inline constexpr std::string_view kWirelessInterfaceItem = "wireless interface";
inline constexpr std::string_view kWirelessNetworkItem = "wireless network";
inline constexpr std::string_view kKeyItem = "key";

inline constexpr std::string_view kOpen = "{";
inline constexpr std::string_view kClose = "};";
inline constexpr std::string_view kObjectText =
    "text";  ///< the object text's line for the property above

// Values.
inline constexpr std::string_view kTrue = "TRUE";
inline constexpr std::string_view kFalse = "FALSE";
inline constexpr std::string_view kNull = "NULL";
inline constexpr std::string_view kEmpty = "EMPTY";

// Types of registry values, and those of WMI's, that a value's spelling does not tell.
inline constexpr std::string_view kRegSz = "REG_SZ";
inline constexpr std::string_view kRegExpandSz = "REG_EXPAND_SZ";
inline constexpr std::string_view kRegBinary = "REG_BINARY";
inline constexpr std::string_view kRegDword = "REG_DWORD";
inline constexpr std::string_view kRegMultiSz = "REG_MULTI_SZ";
inline constexpr std::string_view kRegQword = "REG_QWORD";

struct TypeWord {
    VARTYPE type;
    std::string_view word;
};
inline constexpr auto kTypeWords = std::to_array<TypeWord>({
    {VT_BSTR, "VT_BSTR"},
    {VT_BOOL, "VT_BOOL"},
    {VT_I1, "VT_I1"},
    {VT_I2, "VT_I2"},
    {VT_I4, "VT_I4"},
    {VT_I8, "VT_I8"},
    {VT_R4, "VT_R4"},
    {VT_R8, "VT_R8"},
    {VT_UI1, "VT_UI1"},
    {VT_UI2, "VT_UI2"},
    {VT_UI4, "VT_UI4"},
    {VT_UI8, "VT_UI8"},
});

// Of an item that begins with "system".
inline constexpr std::string_view kProcessors = "Processors";
inline constexpr std::string_view kArchitecture = "Architecture";
inline constexpr std::string_view kVersion = "Version";
inline constexpr std::string_view kPlatformId = "PlatformId";
inline constexpr std::string_view kProductType = "ProductType";
inline constexpr std::string_view kSuiteMask = "SuiteMask";
inline constexpr std::string_view kServicePack = "ServicePack";
inline constexpr std::string_view kEdition = "Edition";
inline constexpr std::string_view kHostName = "HostName";
inline constexpr std::string_view kUserName = "UserName";
inline constexpr std::string_view kMemory = "Memory";
inline constexpr std::string_view kZoneResult = "ZoneResult";
inline constexpr std::string_view kBias = "Bias";
inline constexpr std::string_view kStandardBias = "StandardBias";
inline constexpr std::string_view kStandardName = "StandardName";
inline constexpr std::string_view kDaylightBias = "DaylightBias";
inline constexpr std::string_view kDaylightName = "DaylightName";

// Of an item that begins with "volume".
inline constexpr std::string_view kType = "Type";
inline constexpr std::string_view kFileSystem = "FileSystem";
inline constexpr std::string_view kLabel = "Label";
inline constexpr std::string_view kSerial = "Serial";
inline constexpr std::string_view kSize = "Size";
inline constexpr std::string_view kFreeSpace = "FreeSpace";

// Of an item that begins with "drive".
inline constexpr std::string_view kTrimEnabled = "TrimEnabled";

// Of an item that begins with "display".
inline constexpr std::string_view kName = "Name";
inline constexpr std::string_view kId = "Id";
inline constexpr std::string_view kKey = "Key";
inline constexpr std::string_view kFlags = "Flags";

// Of an item that begins with "adapter".
inline constexpr std::string_view kDescription = "Description";
inline constexpr std::string_view kAddress = "Address";
inline constexpr std::string_view kIPAddress = "IPAddress";
inline constexpr std::string_view kIPSubnet = "IPSubnet";
inline constexpr std::string_view kGateway = "Gateway";
inline constexpr std::string_view kDHCPServer = "DHCPServer";
inline constexpr std::string_view kWINSServer = "WINSServer";
inline constexpr std::string_view kDNSServer = "DNSServer";
inline constexpr std::string_view kDHCPEnabled = "DHCPEnabled";
inline constexpr std::string_view kLeaseObtained = "LeaseObtained";
inline constexpr std::string_view kLeaseExpires = "LeaseExpires";

// Of an item that begins with "ipv6 adapter".
inline constexpr std::string_view kAddresses = "Addresses";

// Of an item that begins with "wireless interface".
inline constexpr std::string_view kState = "State";
inline constexpr std::string_view kSSID = "SSID";
inline constexpr std::string_view kAuthentication = "Authentication";
inline constexpr std::string_view kCipher = "Cipher";
inline constexpr std::string_view kPhyType = "PhyType";
inline constexpr std::string_view kChannel = "Channel";

// Of an item that begins with "wireless network".
inline constexpr std::string_view kFrequency = "Frequency";

// The roots of keys.
inline constexpr std::string_view kLocalMachine = "HKEY_LOCAL_MACHINE";
inline constexpr std::string_view kDynamicData = "HKEY_DYN_DATA";

/// A line that begins something of a name.
inline std::string Heading(std::string_view kind, std::string_view name)
{
    return std::string{kind}.append(1, ' ').append(name);
}

}  // namespace orrery::machine::form
