#include <winsock2.h>
#include <windows.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <functional>
#include <memory>
#include <set>
#include <span>

#include "client/system/console.h"
#include "client/machine/ask_within.h"
#include "client/machine/questions.h"
#include "client/machine/record.h"
#include "native/adapter_lists.h"
#include "native/computer_system.h"
#include "native/devices.h"
#include "native/local_drive.h"
#include "native/seek_penalty.h"
#include "native/user_context.h"
#include "native/video_adapter.h"
#include "support/library.h"
#include "support/number_of.h"
#include "support/registry.h"
#include "support/text.h"
#include "support/winsock.h"
#include "wmi/hardware_collector.h"

namespace orrery::machine {
namespace {

constexpr std::chrono::seconds kLimit{30};

std::wstring FormatBytes(const std::uint8_t* bytes, std::size_t count, wchar_t separator)
{
    std::wstring text;
    for (std::size_t at = 0; at < count; ++at) {
        std::array<wchar_t, 4> byte{};
        std::swprintf(byte.data(), byte.size(), L"%02X", bytes[at]);
        if (at != 0)
            text += separator;
        text += byte.data();
    }
    return text;
}

/// A text of the system's ANSI code page, unless it is empty.
void AddAnsi(std::string_view name, std::span<const char> field, Item* item)
{
    if (const std::wstring text = FromAnsi(field); !text.empty())
        item->values.push_back(TextValue(name, text));
}

Value FlagValue(std::string_view name, bool flag)
{
    return WordValue(name, flag ? "TRUE" : "FALSE");
}

void AddVersion(Item* item)
{
    OSVERSIONINFOEXW version{};
    version.dwOSVersionInfoSize = sizeof version;
    if (!GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&version)))
        return;
    item->values.push_back(TextValue("Version", std::to_wstring(version.dwMajorVersion) + L'.' +
                                                    std::to_wstring(version.dwMinorVersion) + L'.' +
                                                    std::to_wstring(version.dwBuildNumber)));
    item->values.push_back(NumberValue("PlatformId", version.dwPlatformId));
    item->values.push_back(NumberValue("ProductType", version.wProductType));
    item->values.push_back(NumberValue("SuiteMask", version.wSuiteMask));
    if (version.szCSDVersion[0] != L'\0')
        item->values.push_back(TextValue("ServicePack", version.szCSDVersion));
    const auto getProductInfo = FindFunction<decltype(&GetProductInfo)>(
        GetModuleHandleW(L"kernel32.dll"), "GetProductInfo");
    DWORD edition = 0;
    if (getProductInfo != nullptr && getProductInfo(6, 0, 0, 0, &edition))
        item->values.push_back(NumberValue("Edition", edition));
}

void AddZone(Item* item)
{
    TIME_ZONE_INFORMATION zone{};
    const DWORD result = GetTimeZoneInformation(&zone);
    if (result == TIME_ZONE_ID_INVALID)
        return;
    item->values.push_back(NumberValue("ZoneResult", result));
    item->values.push_back(NumberValue("Bias", zone.Bias));
    item->values.push_back(NumberValue("StandardBias", zone.StandardBias));
    item->values.push_back(NumberValue("DaylightBias", zone.DaylightBias));
    item->values.push_back(TextValue("StandardName", zone.StandardName));
    item->values.push_back(TextValue("DaylightName", zone.DaylightName));
}

/// The user at the console, as the library finds one.
void AddUser(Item* item)
{
    CUserContext user;
    user.BeginImpersonation();
    std::array<wchar_t, 1024> name{};
    DWORD size = static_cast<DWORD>(name.size());
    if (GetUserNameW(name.data(), &size))
        item->values.push_back(TextValue("UserName", name.data()));
    user.EndImpersonation();
}

Record AskSystem()
{
    Item item{.heading = "system"};
    SYSTEM_INFO system{};
    GetSystemInfo(&system);
    item.values.push_back(NumberValue("Processors", system.dwNumberOfProcessors));
    GetNativeSystemInfo(&system);
    item.values.push_back(NumberValue("Architecture", system.wProcessorArchitecture));
    AddVersion(&item);
    if (const WideString host = GetPhysicalHostName(); !host.empty())
        item.values.push_back(TextValue("HostName", host.view()));
    AddUser(&item);
    MEMORYSTATUSEX memory{};
    memory.dwLength = sizeof memory;
    if (GlobalMemoryStatusEx(&memory))
        item.values.push_back(
            NumberValue("Memory", static_cast<std::int64_t>(memory.ullTotalPhys)));
    AddZone(&item);
    return {.items = {item}, .problems = {}};
}

Record AskVolume(wchar_t letter)
{
    const std::wstring root = letter + std::wstring{L":\\"};
    const UINT type = GetDriveTypeW(root.c_str());
    Item item{.heading = "volume " + ToUtf8(root.substr(0, 2))};
    item.values.push_back(NumberValue("Type", type));
    if (!IsListedDrive(type, false))
        return {.items = {item}, .problems = {}};  // the report does not ask more of it
    std::array<wchar_t, MAX_PATH + 1> label{}, fileSystem{};
    DWORD serial = 0;
    if (!GetVolumeInformationW(root.c_str(), label.data(), static_cast<DWORD>(label.size()),
                               &serial, nullptr, nullptr, fileSystem.data(),
                               static_cast<DWORD>(fileSystem.size())))
        return {.items = {item}, .problems = {}};
    const VolumeSpace space = ReadVolumeSpace(root.c_str(), &GetDiskFreeSpaceExW);
    std::array<wchar_t, 9> digits{};
    std::swprintf(digits.data(), digits.size(), L"%08lX", serial);
    item.values.push_back(TextValue("FileSystem", fileSystem.data()));
    item.values.push_back(TextValue("Label", label.data()));
    item.values.push_back(TextValue("Serial", digits.data()));
    item.values.push_back(NumberValue("Size", static_cast<std::int64_t>(space.total)));
    item.values.push_back(NumberValue("FreeSpace", static_cast<std::int64_t>(space.free)));
    return {.items = {item}, .problems = {}};
}

Record AskDrive(int number)
{
    const std::wstring path = L"\\\\.\\PHYSICALDRIVE" + std::to_wstring(number);
    const UniqueFile drive = OpenDrive(path.c_str());
    if (!drive)
        return {};
    Item item{.heading = "drive " + ToUtf8(path)};
    if (const auto penalty = ReadSeekPenalty(drive.get()))
        item.values.push_back(FlagValue("IncursSeekPenalty", *penalty));
    return {.items = {item}, .problems = {}};
}

Item ItemOf(const IP_ADAPTER_INFO& adapter, const WideString& dnsServer)
{
    Item item{.heading = "adapter"};
    AddAnsi("Description", adapter.Description, &item);
    item.values.push_back(TextValue("Address", FormatBytes(adapter.Address, 6, L'-')));
    item.values.push_back(NumberValue("Type", adapter.Type));
    AddAnsi("IPAddress", adapter.IpAddressList.IpAddress.String, &item);
    AddAnsi("IPSubnet", adapter.IpAddressList.IpMask.String, &item);
    AddAnsi("Gateway", adapter.GatewayList.IpAddress.String, &item);
    AddAnsi("DHCPServer", adapter.DhcpServer.IpAddress.String, &item);
    AddAnsi("WINSServer", adapter.PrimaryWinsServer.IpAddress.String, &item);
    if (!dnsServer.empty())
        item.values.push_back(TextValue("DNSServer", dnsServer.view()));
    item.values.push_back(FlagValue("DHCPEnabled", adapter.DhcpEnabled != 0));
    if (adapter.DhcpEnabled != 0) {
        item.values.push_back(NumberValue("LeaseObtained", adapter.LeaseObtained));
        item.values.push_back(NumberValue("LeaseExpires", adapter.LeaseExpires));
    }
    return item;
}

Record AskAdapters()
{
    Record record;
    const UniqueModule ipHelper{LoadLibraryW(L"iphlpapi.dll")};
    const auto adapters = ReadAdapterList(ipHelper.get());
    for (const auto* each = adapters.get(); each != nullptr; each = each->Next)
        record.items.push_back(ItemOf(*each, ReadDnsServer(ipHelper.get(), each->Index)));
    const WinsockSession sockets;
    const auto addressed =
        sockets ? ReadIPv6AdapterList(ipHelper.get()) : UniqueHeapBlock<IP_ADAPTER_ADDRESSES>{};
    for (const auto* each = addressed.get(); each != nullptr; each = each->Next) {
        Value addresses{.name = "Addresses", .isList = true};
        for (const auto* unicast = each->FirstUnicastAddress; unicast != nullptr;
             unicast = unicast->Next)
            addresses.parts.push_back(ToUtf8(HostText(unicast->Address)));
        if (each->Description != nullptr && !addresses.parts.empty())
            record.items.push_back(
                {.heading = "ipv6 adapter",
                 .values = {TextValue("Description", each->Description), addresses}});
    }
    return record;
}

/// The bytes of a network's name, which mostly are UTF-8.
std::string NameOf(const DOT11_SSID& ssid)
{
    const auto* const first = reinterpret_cast<const char*>(ssid.ucSSID);
    return {first, std::find(first, first + sizeof ssid.ucSSID, '\0')};
}

/// Owner of a block of the WLAN service.
template <class T>
using WlanBlock = std::unique_ptr<T, decltype(&WlanFreeMemory)>;

/// Asks an interface; null when it does not tell.
template <class T>
WlanBlock<T> AskInterface(const CHardwareCollector& wlan, HANDLE client, const GUID& id,
                          WLAN_INTF_OPCODE opcode)
{
    DWORD size = 0;
    void* answer = nullptr;
    WLAN_OPCODE_VALUE_TYPE origin = wlan_opcode_value_type_invalid;
    if (wlan.wlanQueryInterface(client, &id, opcode, nullptr, &size, &answer, &origin) !=
        ERROR_SUCCESS)
        answer = nullptr;
    return {static_cast<T*>(answer), wlan.wlanFreeMemory};
}

/// The networks of the connection's name alone: those of the neighbours are none of the report's.
void AddNetworks(const CHardwareCollector& wlan, HANDLE client, const GUID& id,
                 const DOT11_SSID& ssid, DOT11_BSS_TYPE type, Record* record)
{
    WLAN_BSS_LIST* list = nullptr;
    if (wlan.wlanGetNetworkBssList(client, &id, nullptr, type, FALSE, nullptr, &list) !=
            ERROR_SUCCESS ||
        list == nullptr)
        return;
    const WlanBlock<WLAN_BSS_LIST> owner{list, wlan.wlanFreeMemory};
    for (const auto& entry : std::span{&list->wlanBssEntries[0], list->dwNumberOfItems})
        if (NameOf(entry.dot11Ssid) == NameOf(ssid))
            record->items.push_back(
                {.heading = "wireless network",
                 .values = {TextValue("SSID", FromUtf8(NameOf(ssid))),
                            NumberValue("Frequency", entry.ulChCenterFrequency)}});
}

void AddInterface(const CHardwareCollector& wlan, HANDLE client, const WLAN_INTERFACE_INFO& info,
                  Record* record)
{
    const std::span field{info.strInterfaceDescription};
    const std::wstring description{field.begin(), std::find(field.begin(), field.end(), L'\0')};
    record->items.push_back({.heading = "wireless interface",
                             .values = {TextValue("Description", description),
                                        NumberValue("State", NumberOf(info.isState))}});
    if (NumberOf(info.isState) != wlan_interface_state_connected)
        return;
    const auto connection = AskInterface<WLAN_CONNECTION_ATTRIBUTES>(
        wlan, client, info.InterfaceGuid, wlan_intf_opcode_current_connection);
    if (!connection || NumberOf(connection->isState) != wlan_interface_state_connected)
        return;
    const auto& association = connection->wlanAssociationAttributes;
    const auto& security = connection->wlanSecurityAttributes;
    const std::string name = NameOf(association.dot11Ssid);
    if (ToUtf8(FromUtf8(name)) != name) {
        record->problems.push_back("a wireless network whose name is no UTF-8");
        return;
    }
    auto& values = record->items.back().values;
    values.push_back(TextValue("SSID", FromUtf8(name)));
    values.push_back(NumberValue("Authentication", NumberOf(security.dot11AuthAlgorithm)));
    values.push_back(NumberValue("Cipher", NumberOf(security.dot11CipherAlgorithm)));
    values.push_back(NumberValue("PhyType", NumberOf(association.dot11PhyType)));
    if (const auto channel =
            AskInterface<ULONG>(wlan, client, info.InterfaceGuid, wlan_intf_opcode_channel_number))
        values.push_back(NumberValue("Channel", *channel));
    AddNetworks(wlan, client, info.InterfaceGuid, association.dot11Ssid, association.dot11BssType,
                record);
}

Record AskWireless()
{
    Record record;
    const CHardwareCollector wlan;
    HANDLE client = nullptr;
    DWORD negotiated = 0;
    if (!wlan.hasWlan() || wlan.wlanOpenHandle(2, nullptr, &negotiated, &client) != ERROR_SUCCESS)
        return record;
    WLAN_INTERFACE_INFO_LIST* list = nullptr;
    if (wlan.wlanEnumInterfaces(client, nullptr, &list) == ERROR_SUCCESS && list != nullptr) {
        const WlanBlock<WLAN_INTERFACE_INFO_LIST> owner{list, wlan.wlanFreeMemory};
        for (const auto& info : std::span{&list->InterfaceInfo[0], list->dwNumberOfItems})
            AddInterface(wlan, client, info, &record);
    }
    return record;  // the client ends with the program
}

/// @return nothing for a type that the form does not have
std::optional<Value> ValueOf(const wchar_t* name, const RegistryValue& stored)
{
    const auto* const number = stored.bytes.data();
    if (stored.type == REG_DWORD && stored.bytes.size() == 4)
        return NumberValue(ToUtf8(name), *reinterpret_cast<const std::uint32_t*>(number));
    if (stored.type == REG_SZ || stored.type == REG_EXPAND_SZ) {
        Value value = TextValue(ToUtf8(name), TextOfBytes(stored.bytes));
        value.typeWord = stored.type == REG_SZ ? "" : "REG_EXPAND_SZ";
        return value;
    }
    if (stored.type == REG_MULTI_SZ) {
        Value value{.name = ToUtf8(name), .isList = true};
        const auto* const text = reinterpret_cast<const wchar_t*>(number);
        std::wstring_view rest{text, stored.bytes.size() / sizeof *text};
        for (; !rest.empty() && rest[0] != L'\0';
             rest.remove_prefix(std::min(rest.find(L'\0'), rest.size() - 1) + 1))
            value.parts.push_back(ToUtf8(rest.substr(0, rest.find(L'\0'))));
        return value;
    }
    if (stored.type != REG_BINARY && stored.type != REG_QWORD)
        return std::nullopt;
    Value value = TextValue(ToUtf8(name), FormatBytes(number, stored.bytes.size(), L' '));
    value.typeWord = "REG_BINARY";
    if (stored.type == REG_QWORD && stored.bytes.size() == 8) {
        value = NumberValue(value.name, *reinterpret_cast<const std::int64_t*>(number));
        value.typeWord = "REG_QWORD";
    }
    return value;
}

/// The registry's keys, each recorded once.
class CRegistryRecorder {
public:
    explicit CRegistryRecorder(Record* record) : record_(record) {}

    void RecordAll()
    {
        for (const RegistryQuestion& question : RegistryQuestions()) {
            if (question.system != System::kEvery)
                continue;
            if (question.place == KeyPlace::kEachDisplay)
                RecordDisplays(question);
            else if (question.mark != nullptr)
                RecordDevices(question);
            else if (std::wstring_view{question.path}.ends_with(L"\\*"))
                RecordClasses(question);
            else
                RecordKey(question.path, question);
        }
    }

private:
    void RecordKey(const std::wstring& path, const RegistryQuestion& question)
    {
        const UniqueKey key = OpenKey(HKEY_LOCAL_MACHINE, path.c_str());
        if (!key || !recorded_.insert(ToLower(path)).second)
            return;
        Item item{.heading = "key HKEY_LOCAL_MACHINE\\" + ToUtf8(path)};
        for (const wchar_t* const name : question.values) {
            const auto stored = ReadValue(key.get(), name);
            if (!stored)
                continue;
            auto value = ValueOf(name, *stored);
            if (value)
                item.values.push_back(*std::move(value));
            else
                record_->problems.push_back("a value of the registry, " + ToUtf8(name) +
                                            ", of registry type " + std::to_string(stored->type));
        }
        record_->items.push_back(std::move(item));
    }

    void RecordDisplays(const RegistryQuestion& question)
    {
        for (const DisplayDevice& device : EnumerateDisplayDevices(&EnumDisplayDevicesW)) {
            record_->items.push_back(
                {.heading = "display",
                 .values = {TextValue("Name", device.deviceString),
                            TextValue("Id", device.deviceId), TextValue("Key", device.deviceKey),
                            NumberValue("Flags", device.stateFlags)}});
            const std::wstring key = ToLower(device.deviceKey);
            if (const std::size_t at = key.find(L"system\\"); at != std::wstring::npos)
                RecordKey(key.substr(at), question);
        }
    }

    /// The present devices of the one class that reports name.
    void RecordDevices(const RegistryQuestion& question)
    {
        const CDevices devices;
        for (std::size_t at = 0; at < devices.Count(L"USB"); ++at) {
            const DeviceRecord& device = *devices.Find(at, L"USB");
            const std::wstring path{device.path.view()};
            RecordKey(path, question);
            RecordKey(path + L'\\' + question.mark, {});
            classes_.insert(std::wstring{device.classGuid.view()});
        }
    }

    void RecordClasses(const RegistryQuestion& question)
    {
        const std::wstring_view all = question.path;
        for (const std::wstring& guid : classes_)
            RecordKey(std::wstring{all.substr(0, all.size() - 1)} + guid, question);
    }

    Record* record_;
    std::set<std::wstring> recorded_, classes_;
};

/// Asks in time; what does not answer is left out.
void Add(const char* what, std::function<Record()> ask, Record* record)
{
    const auto answer = AskWithin(kLimit, std::move(ask));
    if (!answer) {
        record->problems.push_back(std::string{what} + ", which do not answer");
        return;
    }
    record->items.insert(record->items.end(), answer->items.begin(), answer->items.end());
    record->problems.insert(record->problems.end(), answer->problems.begin(),
                            answer->problems.end());
}

}  // namespace

void RecordWindows(Record* record)
{
    Add("the facts of the system", AskSystem, record);
    const DWORD letters = GetLogicalDrives();
    for (wchar_t letter = L'C'; letter <= L'Z'; ++letter)
        if ((letters >> (letter - L'A') & 1) != 0)
            Add(
                "the facts of a volume", [letter] { return AskVolume(letter); }, record);
    constexpr int kMaxDrives = 100;
    for (int number = 0; number < kMaxDrives; ++number)
        Add(
            "the facts of a drive", [number] { return AskDrive(number); }, record);
    Add("the network adapters", AskAdapters, record);
    Add("the wireless interfaces", AskWireless, record);
    CRegistryRecorder{record}.RecordAll();
}

}  // namespace orrery::machine
