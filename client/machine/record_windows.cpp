#include <winsock2.h>
#include <windows.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <functional>
#include <span>

#include "client/system/console.h"
#include "client/machine/ask_within.h"
#include "client/machine/form_words.h"
#include "client/machine/record.h"
#include "native/adapter_lists.h"
#include "native/computer_system.h"
#include "native/drive_trim.h"
#include "native/local_drive.h"
#include "native/user_context.h"
#include "support/library.h"
#include "support/text.h"
#include "support/winsock.h"

namespace orrery::machine {
namespace {

constexpr std::chrono::seconds kLimit{30};

/// A text of the system's ANSI code page, unless it is empty.
void AddAnsi(std::string_view name, std::span<const char> field, Item* item)
{
    if (const std::wstring text = FromAnsi(field); !text.empty())
        item->values.push_back(NamedText(name, text));
}

Value FlagValue(std::string_view name, bool flag)
{
    return NamedWord(name, flag ? form::kTrue : form::kFalse);
}

void AddVersion(Item* item)
{
    OSVERSIONINFOEXW version{};
    version.dwOSVersionInfoSize = sizeof version;
    if (!GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&version)))
        return;
    item->values.push_back(
        NamedText(form::kVersion, std::to_wstring(version.dwMajorVersion) + L'.' +
                                      std::to_wstring(version.dwMinorVersion) + L'.' +
                                      std::to_wstring(version.dwBuildNumber)));
    item->values.push_back(NamedNumber(form::kPlatformId, version.dwPlatformId));
    item->values.push_back(NamedNumber(form::kProductType, version.wProductType));
    item->values.push_back(NamedNumber(form::kSuiteMask, version.wSuiteMask));
    if (version.szCSDVersion[0] != L'\0')
        item->values.push_back(NamedText(form::kServicePack, version.szCSDVersion));
    const auto getProductInfo = FindFunction<decltype(&GetProductInfo)>(
        GetModuleHandleW(L"kernel32.dll"), "GetProductInfo");
    DWORD edition = 0;
    if (getProductInfo != nullptr && getProductInfo(6, 0, 0, 0, &edition))
        item->values.push_back(NamedNumber(form::kEdition, edition));
}

void AddZone(Item* item)
{
    TIME_ZONE_INFORMATION zone{};
    const DWORD result = GetTimeZoneInformation(&zone);
    if (result == TIME_ZONE_ID_INVALID)
        return;
    item->values.push_back(NamedNumber(form::kZoneResult, result));
    item->values.push_back(NamedNumber(form::kBias, zone.Bias));
    item->values.push_back(NamedNumber(form::kStandardBias, zone.StandardBias));
    item->values.push_back(NamedNumber(form::kDaylightBias, zone.DaylightBias));
    item->values.push_back(NamedText(form::kStandardName, zone.StandardName));
    item->values.push_back(NamedText(form::kDaylightName, zone.DaylightName));
}

/// The user at the console, as the library finds one.
void AddUser(Item* item)
{
    CUserContext user;
    user.BeginImpersonation();
    std::array<wchar_t, 1024> name{};
    DWORD size = static_cast<DWORD>(name.size());
    if (GetUserNameW(name.data(), &size))
        item->values.push_back(NamedText(form::kUserName, name.data()));
    user.EndImpersonation();
}

Record ReadSystem()
{
    Item item{.heading = std::string{form::kSystemItem}};
    SYSTEM_INFO system{};
    GetSystemInfo(&system);
    item.values.push_back(NamedNumber(form::kProcessors, system.dwNumberOfProcessors));
    GetNativeSystemInfo(&system);
    item.values.push_back(NamedNumber(form::kArchitecture, system.wProcessorArchitecture));
    AddVersion(&item);
    if (const WideString host = GetPhysicalHostName(); !host.empty())
        item.values.push_back(NamedText(form::kHostName, host.view()));
    AddUser(&item);
    MEMORYSTATUSEX memory{};
    memory.dwLength = sizeof memory;
    if (GlobalMemoryStatusEx(&memory))
        item.values.push_back(
            NamedNumber(form::kMemory, static_cast<std::int64_t>(memory.ullTotalPhys)));
    AddZone(&item);
    return {.items = {item}, .problems = {}};
}

Record ReadVolume(wchar_t letter)
{
    const std::wstring root = letter + std::wstring{L":\\"};
    const UINT type = GetDriveTypeW(root.c_str());
    Item item{.heading = form::Heading(form::kVolumeItem, ToUtf8(root.substr(0, 2)))};
    item.values.push_back(NamedNumber(form::kType, type));
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
    item.values.push_back(NamedText(form::kFileSystem, fileSystem.data()));
    item.values.push_back(NamedText(form::kLabel, label.data()));
    item.values.push_back(NamedText(form::kSerial, digits.data()));
    item.values.push_back(NamedNumber(form::kSize, static_cast<std::int64_t>(space.total)));
    item.values.push_back(NamedNumber(form::kFreeSpace, static_cast<std::int64_t>(space.free)));
    return {.items = {item}, .problems = {}};
}

Record ReadDrive(int number)
{
    const std::wstring path = L"\\\\.\\PHYSICALDRIVE" + std::to_wstring(number);
    const UniqueFile drive = OpenDrive(path.c_str());
    if (!drive)
        return {};
    Item item{.heading = form::Heading(form::kDriveItem, ToUtf8(path))};
    if (const auto takesTrim = ReadTrim(drive.get()))
        item.values.push_back(FlagValue(form::kTrimEnabled, *takesTrim));
    return {.items = {item}, .problems = {}};
}

Item ItemOf(const IP_ADAPTER_INFO& adapter, const WideString& dnsServer)
{
    Item item{.heading = std::string{form::kAdapterItem}};
    AddAnsi(form::kDescription, adapter.Description, &item);
    item.values.push_back(
        NamedText(form::kAddress, FormatBytes(std::span{adapter.Address}.first(6), L'-')));
    item.values.push_back(NamedNumber(form::kType, adapter.Type));
    AddAnsi(form::kIPAddress, adapter.IpAddressList.IpAddress.String, &item);
    AddAnsi(form::kIPSubnet, adapter.IpAddressList.IpMask.String, &item);
    AddAnsi(form::kGateway, adapter.GatewayList.IpAddress.String, &item);
    AddAnsi(form::kDHCPServer, adapter.DhcpServer.IpAddress.String, &item);
    AddAnsi(form::kWINSServer, adapter.PrimaryWinsServer.IpAddress.String, &item);
    if (!dnsServer.empty())
        item.values.push_back(NamedText(form::kDNSServer, dnsServer.view()));
    item.values.push_back(FlagValue(form::kDHCPEnabled, adapter.DhcpEnabled != 0));
    if (adapter.DhcpEnabled != 0) {
        item.values.push_back(NamedNumber(form::kLeaseObtained, adapter.LeaseObtained));
        item.values.push_back(NamedNumber(form::kLeaseExpires, adapter.LeaseExpires));
    }
    return item;
}

Record ReadAdapters()
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
        Value addresses{.name = std::string{form::kAddresses}, .isList = true};
        for (const auto* unicast = each->FirstUnicastAddress; unicast != nullptr;
             unicast = unicast->Next)
            addresses.parts.push_back(ToUtf8(HostText(unicast->Address)));
        if (each->Description != nullptr && !addresses.parts.empty())
            record.items.push_back(
                {.heading = std::string{form::kIPv6AdapterItem},
                 .values = {NamedText(form::kDescription, each->Description), addresses}});
    }
    return record;
}

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
    Add("the facts of the system", ReadSystem, record);
    const DWORD letters = GetLogicalDrives();
    for (wchar_t letter = L'C'; letter <= L'Z'; ++letter)
        if ((letters >> (letter - L'A') & 1) != 0)
            Add(
                "the facts of a volume", [letter] { return ReadVolume(letter); }, record);
    constexpr int kMaxDrives = 100;
    for (int number = 0; number < kMaxDrives; ++number)
        Add(
            "the facts of a drive", [number] { return ReadDrive(number); }, record);
    Add("the network adapters", ReadAdapters, record);
    Add("the wireless interfaces", ReadWireless, record);
    RecordRegistry(record);
}

}  // namespace orrery::machine
