#include "sim/whole_machine.h"

#include <winioctl.h>

#include <orrery/inventory.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <stdexcept>

#include "client/machine/form_words.h"
#include "support/library.h"
#include "support/text.h"

namespace orrery::sim {
namespace {

namespace form = machine::form;

/// Reads all of a text as a number.
bool ParseNumber(std::wstring_view text, int base, std::uint64_t* number)
{
    const std::string digits = ToBytes(text);
    const char* const end = digits.data() + digits.size();
    const auto [stopped, error] = std::from_chars(digits.data(), end, *number, base);
    return error == std::errc{} && stopped == end;
}

/// Reads bytes such as "02-1B-FF" or "02 1B FF".
bool ParseBytes(std::wstring_view text, std::vector<std::uint8_t>* bytes)
{
    for (std::size_t at = 0; at < text.size(); at += 3) {
        std::uint64_t number = 0;
        if (!ParseNumber(text.substr(at, 2), 16, &number) || at + 1 == text.size() ||
            (at + 2 < text.size() && text[at + 2] != L'-' && text[at + 2] != L' '))
            return false;
        bytes->push_back(static_cast<std::uint8_t>(number));
    }
    return text.size() % 3 != 0 || text.empty();
}

/// Hands out what an item states. A value of the wrong form is refused, and so is in the end one
/// that nobody asked for.
class Fields {
public:
    explicit Fields(const NativeItem& item) : item_(item) {}

    /// The value of a text; null when the item does not state it, or states NULL.
    const wchar_t* Text(std::string_view name)
    {
        const Property* const property = Find(name);
        if (property == nullptr || property->value->isMissing())
            return nullptr;
        Expect(*property, property->value->type() == VT_BSTR, "a text in quotes");
        return property->text.c_str();
    }
    std::wstring TextOr(std::string_view name) { return Text(name) ? Text(name) : L""; }

    bool Flag(std::string_view name)
    {
        const Property* const property = Find(name);
        if (property == nullptr)
            return false;
        Expect(*property, property->value->type() == VT_BOOL, "TRUE or FALSE");
        return property->value->get().boolVal != VARIANT_FALSE;
    }

    /// A number, in quotes when it takes more than 32 bits.
    template <class T = std::uint32_t>
    T Number(std::string_view name, T otherwise = T{}, int base = 10)
    {
        const Property* const property = Find(name);
        if (property == nullptr)
            return otherwise;
        std::wstring_view digits = property->text;
        const bool isNegative = digits.starts_with(L'-');
        digits.remove_prefix(isNegative ? 1 : 0);
        std::uint64_t number = 0;
        Expect(*property, ParseNumber(digits, base, &number), "a number");
        return static_cast<T>(isNegative ? 0 - number : number);
    }

    std::vector<std::uint8_t> Bytes(std::string_view name)
    {
        std::vector<std::uint8_t> bytes;
        if (const Property* const property = Find(name))
            Expect(*property, ParseBytes(property->text, &bytes), "bytes such as \"02-1B\"");
        return bytes;
    }

    std::vector<std::wstring> Texts(std::string_view name)
    {
        const Property* const property = Find(name);
        return property == nullptr ? std::vector<std::wstring>{} : TextsOf(*property);
    }

    static std::vector<std::wstring> TextsOf(const Property& property)
    {
        Expect(property, property.value->type() == (VT_ARRAY | VT_BSTR), "texts in braces");
        std::vector<std::wstring> texts;
        SAFEARRAY* const list = property.value->get().parray;
        for (LONG at = 0; at < static_cast<LONG>(list->rgsabound[0].cElements); ++at) {
            UniqueBstr text;
            SafeArrayGetElement(list, &at, text.put());
            texts.emplace_back(TextOf(text.get()));
        }
        return texts;
    }

    void ExpectNoOther() const
    {
        for (const Property& property : item_.properties)
            Expect(property, asked_.contains(ToBytes(property.name)),
                   "a property that items of this kind have");
    }

    static void Expect(const Property& property, bool condition, const char* what)
    {
        if (!condition)
            FailLine(property.number, what);
    }

private:
    const Property* Find(std::string_view name)
    {
        asked_.emplace(name);
        const auto found =
            std::find_if(item_.properties.begin(), item_.properties.end(),
                         [&](const Property& property) { return Equals(property.name, name); });
        if (found == item_.properties.end())
            return nullptr;
        Expect(*found, found->typeWord.empty(), "no word before the name");
        return &*found;
    }

    const NativeItem& item_;
    std::set<std::string> asked_;
};

void CopyName(wchar_t (&field)[32], const std::wstring& name)
{
    std::copy_n(name.begin(), std::min<std::size_t>(name.size(), 31), field);
}

void ReadSystem(Fields& fields, PlatformFacts* facts)
{
    facts->processors = fields.Number<DWORD>(form::kProcessors, 2);
    facts->architecture = fields.Number<WORD>(form::kArchitecture);
    facts->edition = fields.Number<DWORD>(form::kEdition, PRODUCT_UNDEFINED);
    facts->hostName = fields.Text(form::kHostName);
    facts->userName = fields.Text(form::kUserName);
    facts->memory = fields.Number<std::uint64_t>(form::kMemory);
    facts->zoneResult = fields.Number<DWORD>(form::kZoneResult, TIME_ZONE_ID_INVALID);
    facts->zone.Bias = fields.Number<LONG>(form::kBias);
    facts->zone.StandardBias = fields.Number<LONG>(form::kStandardBias);
    facts->zone.DaylightBias = fields.Number<LONG>(form::kDaylightBias);
    CopyName(facts->zone.StandardName, fields.TextOr(form::kStandardName));
    CopyName(facts->zone.DaylightName, fields.TextOr(form::kDaylightName));
    OSVERSIONINFOEXW version{};
    version.dwPlatformId = fields.Number<DWORD>(form::kPlatformId, VER_PLATFORM_WIN32_NT);
    version.wProductType = fields.Number<BYTE>(form::kProductType, VER_NT_WORKSTATION);
    version.wSuiteMask = fields.Number<WORD>(form::kSuiteMask);
    const std::wstring servicePack = fields.TextOr(form::kServicePack);
    std::copy_n(servicePack.begin(), std::min<std::size_t>(servicePack.size(), 127),
                version.szCSDVersion);
    if (const wchar_t* const text = fields.Text(form::kVersion)) {
        std::swscanf(text, L"%lu.%lu.%lu", &version.dwMajorVersion, &version.dwMinorVersion,
                     &version.dwBuildNumber);
        facts->version = version;
    }
}

Volume ReadVolume(Fields& fields)
{
    return {.type = fields.Number<UINT>(form::kType, DRIVE_FIXED),
            .total = fields.Number<std::uint64_t>(form::kSize),
            .free = fields.Number<std::uint64_t>(form::kFreeSpace),
            .fileSystem = fields.Text(form::kFileSystem),
            .label = fields.Text(form::kLabel) ? fields.Text(form::kLabel) : L"",
            .serial = fields.Number<DWORD>(form::kSerial, 0, 16)};
}

Display ReadDisplay(Fields& fields)
{
    return {.name = fields.Text(form::kName),
            .id = fields.Text(form::kId),
            .key = fields.Text(form::kKey),
            .flags = fields.Number<DWORD>(form::kFlags)};
}

IP_ADAPTER_INFO ReadAdapter(Fields& fields)
{
    const std::string description = ToBytes(fields.TextOr(form::kDescription), CP_ACP);
    std::array<std::uint8_t, 6> address{};
    const auto bytes = fields.Bytes(form::kAddress);
    std::copy_n(bytes.begin(), std::min(bytes.size(), address.size()), address.begin());
    IP_ADAPTER_INFO adapter = MakeAdapter(description.c_str(), address, fields.Number(form::kType));
    const auto set = [&fields](IP_ADDRESS_STRING& field, std::string_view name) {
        const std::string text = ToBytes(fields.TextOr(name));
        std::copy_n(text.begin(), std::min(text.size(), sizeof field.String - 1), field.String);
    };
    set(adapter.IpAddressList.IpAddress, form::kIPAddress);
    set(adapter.IpAddressList.IpMask, form::kIPSubnet);
    set(adapter.GatewayList.IpAddress, form::kGateway);
    set(adapter.DhcpServer.IpAddress, form::kDHCPServer);
    set(adapter.PrimaryWinsServer.IpAddress, form::kWINSServer);
    adapter.DhcpEnabled = fields.Flag(form::kDHCPEnabled) ? 1 : 0;
    adapter.LeaseObtained = fields.Number<time_t>(form::kLeaseObtained);
    adapter.LeaseExpires = fields.Number<time_t>(form::kLeaseExpires);
    return adapter;
}

Wlan::Interface ReadWireless(Fields& fields)
{
    Wlan::Interface wireless{
        .description = fields.Text(form::kDescription),
        .state = fields.Number<WLAN_INTERFACE_STATE>(form::kState, wlan_interface_state_connected)};
    const auto authentication = fields.Number<DOT11_AUTH_ALGORITHM>(form::kAuthentication);
    const auto cipher =
        fields.Number<DOT11_CIPHER_ALGORITHM>(form::kCipher, DOT11_CIPHER_ALGO_CCMP);
    const int phyType = fields.Number<int>(form::kPhyType);
    if (const wchar_t* const ssid = fields.Text(form::kSSID)) {
        wireless.connection = MakeConnection(ToBytes(ssid).c_str(), authentication, phyType);
        wireless.connection->wlanSecurityAttributes.dot11CipherAlgorithm = cipher;
    }
    if (const ULONG channel = fields.Number<ULONG>(form::kChannel))
        wireless.channel = channel;
    return wireless;
}

/// A drive that tells or denies that it takes TRIM, or that cannot be asked.
Devices::Answer ReadDrive(Fields& fields, bool canBeAsked)
{
    const bool takesTrim = fields.Flag(form::kTrimEnabled);
    return [=](const DeviceCall& call) {
        if (call.code != IOCTL_STORAGE_QUERY_PROPERTY || call.output.size() != 12 || !canBeAsked)
            return false;
        call.output[8] = takesTrim ? 1 : 0;
        return true;
    };
}

RegistryValue ReadRegistryValue(const Property& property)
{
    const std::string_view type = property.typeWord;
    if (type == form::kRegMultiSz || (type.empty() && (property.value->type() & VT_ARRAY) != 0))
        return TextsValue(Fields::TextsOf(property));
    if (type == form::kRegBinary) {
        RegistryValue value{REG_BINARY, {}};
        Fields::Expect(property, ParseBytes(property.text, &value.bytes),
                       "bytes such as \"02 1B\"");
        return value;
    }
    const bool isText = property.value->type() == VT_BSTR;
    if (type == form::kRegQword || type == form::kRegDword || (type.empty() && !isText)) {
        std::uint64_t number = 0;
        Fields::Expect(property, ParseNumber(property.text, 10, &number), "a number");
        if (type == form::kRegQword)
            return NumberValue(number);
        return NumberValue(static_cast<std::uint32_t>(number));
    }
    Fields::Expect(property, isText && !type.starts_with("VT_"), "a registry value");
    return TextValue(property.text, type == form::kRegExpandSz ? REG_EXPAND_SZ : REG_SZ);
}

void AddKey(const NativeItem& item, RegistryTree* localMachine, RegistryTree* dynamicData)
{
    const std::wstring root = item.name.substr(0, item.name.find(L'\\'));
    RegistryTree* const tree = Equals(root, form::kLocalMachine)  ? localMachine
                               : Equals(root, form::kDynamicData) ? dynamicData
                                                                  : nullptr;
    if (tree == nullptr || root.size() == item.name.size())
        FailLine(item.number, "a key of HKEY_LOCAL_MACHINE or HKEY_DYN_DATA");
    const std::wstring path = item.name.substr(root.size() + 1);
    tree->AddKey(path);
    for (const Property& property : item.properties)
        tree->Set(path, property.name.c_str(), ReadRegistryValue(property));
}

}  // namespace

WholeMachine::WholeMachine(const std::wstring& path)
{
    const std::wstring text = LoadScenario(path.c_str());
    try {
        scenario_ = Scenario{text};
        for (const NativeItem& item : scenario_.nativeItems())
            ReadItem(item);
        Install(text);
    } catch (const ScenarioError& error) {
        throw ScenarioError(std::filesystem::path{path}.filename().string() + ", " + error.what());
    }
}

void WholeMachine::ReadItem(const NativeItem& item)
{
    Fields fields{item};
    if (item.kind == form::kSystemItem) {
        ReadSystem(fields, &platform);
    } else if (item.kind == form::kVolumeItem) {
        if (item.name.size() != 2 || item.name[0] < L'A' || item.name[0] > L'Z')
            FailLine(item.number, "a volume such as C:");
        platform.volumes[item.name[0]] = ReadVolume(fields);
    } else if (item.kind == form::kDisplayItem) {
        platform.displays.push_back(ReadDisplay(fields));
    } else if (item.kind == form::kAdapterItem) {
        adapters_.push_back(ReadAdapter(fields));
        const auto index = static_cast<DWORD>(adapters_.size());
        adapters_.back().Index = index;
        if (const wchar_t* const server = fields.Text(form::kDNSServer))
            dnsServers_[index] = texts_.emplace_back(ToBytes(server)).c_str();
    } else if (item.kind == form::kIPv6AdapterItem) {
        ipv6Adapters_.push_back({fields.Text(form::kDescription), fields.Texts(form::kAddresses)});
    } else if (item.kind == form::kWirelessInterfaceItem) {
        wireless_.push_back(ReadWireless(fields));
    } else if (item.kind == form::kWirelessNetworkItem) {
        if (wireless_.empty())
            FailLine(item.number, "the interface that sees the network first");
        auto& networks = wireless_.back().networks;
        if (!networks)
            networks.emplace();
        networks->push_back({texts_.emplace_back(ToBytes(fields.TextOr(form::kSSID))).c_str(),
                             fields.Number<ULONG>(form::kFrequency)});
    } else if (item.kind == form::kDriveItem) {
        devices[item.name] = ReadDrive(fields, !item.properties.empty());
    } else {
        AddKey(item, &localMachine_, &dynamicData_);
        return;
    }
    fields.ExpectNoOther();
}

void WholeMachine::Install(const std::wstring& text)
{
    ipHelper_.emplace(adapters_);
    ipHelper_->dnsServers = dnsServers_;
    ipHelper_->ipv6Adapters = ipv6Adapters_;
    wlan_.emplace(wireless_);
    wmi_.emplace(text);
}

void WholeMachine::Run(DWORD processors, const std::function<void()>& action) const
{
    PlatformFacts facts = platform;
    facts.processors = processors;
    const Platform installed{facts};
    const Devices answering{devices};
    action();
}

std::wstring CollectFrom(const WholeMachine& machine, DWORD processors, std::int32_t* result)
{
    const UniqueModule library{LoadLibraryW(L"orrery.dll")};
    const auto run = FindFunction<decltype(&GetInventoryEx)>(library.get(), "GetInventoryEx");
    if (run == nullptr)
        throw std::runtime_error("there is no orrery.dll beside this program");
    const auto path = std::filesystem::temp_directory_path() /
                      (L"orrery-made-" + std::to_wstring(GetCurrentProcessId()) + L".tsv");
    machine.Run(processors, [&] {
        const std::int32_t returned = run(path.c_str(), 0x10);
        if (result != nullptr)
            *result = returned;
    });
    std::wstring report;
    std::ifstream stream{path, std::ios::binary};
    for (wchar_t unit = 0; stream.read(reinterpret_cast<char*>(&unit), sizeof unit);)
        report += unit;
    stream.close();
    std::filesystem::remove(path);
    return report;
}

}  // namespace orrery::sim
