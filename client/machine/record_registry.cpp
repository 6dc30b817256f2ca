#include <windows.h>

#include <algorithm>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "client/machine/form_words.h"
#include "client/machine/record.h"
#include "client/system/console.h"
#include "collect/overview.h"
#include "native/computer_bios.h"
#include "native/devices.h"
#include "native/os_version.h"
#include "native/video_adapter.h"
#include "support/registry.h"
#include "support/text.h"

namespace orrery::machine {
namespace {

using Names = std::vector<const wchar_t*>;

/// @return nothing for a type that the form does not have
std::optional<Value> ValueOf(const wchar_t* name, const RegistryValue& stored)
{
    const auto* const number = stored.bytes.data();
    if (stored.type == REG_DWORD && stored.bytes.size() == 4)
        return NamedNumber(ToUtf8(name), *reinterpret_cast<const std::uint32_t*>(number));
    if (stored.type == REG_SZ || stored.type == REG_EXPAND_SZ) {
        Value value = NamedText(ToUtf8(name), TextOfBytes(stored.bytes));
        value.typeWord = stored.type == REG_SZ ? std::string_view{} : form::kRegExpandSz;
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
    Value value = NamedText(ToUtf8(name), FormatBytes(stored.bytes, L' '));
    value.typeWord = form::kRegBinary;
    if (stored.type == REG_QWORD && stored.bytes.size() == 8) {
        value = NamedNumber(value.name, *reinterpret_cast<const std::int64_t*>(number));
        value.typeWord = form::kRegQword;
    }
    return value;
}

/// The registry's keys, each recorded once.
class CRegistryRecorder {
public:
    explicit CRegistryRecorder(Record* record) : record_(record) {}

    /// The values that the library reads on the systems of today.
    void RecordAll()
    {
        RecordKey(kFirmwareTimeKey, {L"FwPOSTTime"});
        RecordKey(kSecureBootKey, {L"UEFISecureBootEnabled"});
        RecordKey(kCurrentVersionKey, {L"CurrentVersion", L"CurrentBuildNumber", L"CSDVersion",
                                       L"ProductName", L"DisplayVersion", L"ReleaseId", L"UBR",
                                       L"CurrentMajorVersionNumber", L"CurrentMinorVersionNumber"});
        RecordDevices();
        RecordDisplays();
        RecordKey(kClientKey, {L"ForceWMI", L"DisableXBios"});
    }

private:
    void RecordKey(const std::wstring& path, const Names& names)
    {
        const UniqueKey key = OpenKey(HKEY_LOCAL_MACHINE, path.c_str());
        if (!key || !recorded_.insert(ToLower(path)).second)
            return;
        Item item{.heading = form::Heading(form::kKeyItem,
                                           std::string{form::kLocalMachine} + '\\' + ToUtf8(path))};
        for (const wchar_t* const name : names) {
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

    /// The present devices of the one class that reports name, and the names of their classes.
    void RecordDevices()
    {
        const CDevices devices;
        std::set<std::wstring> classes;
        for (std::size_t at = 0; at < devices.Count(L"USB"); ++at) {
            const DeviceRecord& device = *devices.Find(at, L"USB");
            const std::wstring path{device.path.view()};
            RecordKey(path, {L"ClassGUID", L"FriendlyName", L"DeviceDesc", L"Mfg", L"Service",
                             L"Class", L"StatusFlags"});
            RecordKey(path + L'\\' + kPresenceKey, {});
            classes.emplace(device.classGuid.view());
        }
        for (const std::wstring& guid : classes)
            RecordKey(kDeviceClassesKey + guid, {L"Class"});
    }

    void RecordDisplays()
    {
        for (const DisplayDevice& device : EnumerateDisplayDevices(&EnumDisplayDevicesW)) {
            record_->items.push_back({.heading = std::string{form::kDisplayItem},
                                      .values = {NamedText(form::kName, device.deviceString),
                                                 NamedText(form::kId, device.deviceId),
                                                 NamedText(form::kKey, device.deviceKey),
                                                 NamedNumber(form::kFlags, device.stateFlags)}});
            if (const std::wstring key = DriverKeyPath(device.deviceKey); !key.empty())
                RecordKey(key,
                          {L"InstalledDisplayDrivers", L"HardwareInformation.MemorySize",
                           L"HardwareInformation.DacType", L"HardwareInformation.qwMemorySize"});
        }
    }

    Record* record_;
    std::set<std::wstring> recorded_;
};

}  // namespace

void RecordRegistry(Record* record)
{
    CRegistryRecorder{record}.RecordAll();
}

}  // namespace orrery::machine
