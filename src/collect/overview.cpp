#include "collect/overview.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "support/registry.h"
#include "wmi/class_collector.h"

namespace orrery {
namespace {

constexpr const wchar_t* kSection = L"SystemOverview";

/// Reads a number under HKEY_LOCAL_MACHINE; a value that is missing counts as 0.
/// @return nothing when the key cannot be opened
std::optional<std::uint32_t> ReadMachineNumber(const wchar_t* path, const wchar_t* name)
{
    const UniqueKey key = OpenKey(HKEY_LOCAL_MACHINE, path);
    if (!key)
        return std::nullopt;
    return ReadNumber(key.get(), name);
}

void CollectStartTime(CHardwareCollector* collector, CInvMap* map)
{
    const auto milliseconds = ReadMachineNumber(kFirmwareTimeKey, L"FwPOSTTime");
    // Called an average by the report's form, though it is the last start's.
    StoreValue(collector, L"AverageBootTime",
               milliseconds ? std::to_wstring(static_cast<std::int32_t>(*milliseconds)) : L"", map,
               0, kSection);
}

void CollectSecureBoot(CHardwareCollector* collector, CInvMap* map)
{
    const auto state = ReadMachineNumber(kSecureBootKey, L"UEFISecureBootEnabled");
    const wchar_t* const secureBoot = !state ? L"2" : *state != 0 ? L"1" : L"0";
    StoreValue(collector, L"SecureBoot", secureBoot, map, 0, kSection);
    // UEFI with Secure Boot switched off counts as legacy on purpose.
    StoreValue(collector, L"Mode", state == 1U ? L"UEFI" : L"Legacy", map, 0, L"BIOS");
}

void CollectTpm(CHardwareCollector* collector, CInvMap* map)
{
    WideString version;
    std::uint32_t activated = 0;
    std::uint32_t enabled = 0;
    ReadTpm(collector, &version, &activated, &enabled);
    const std::wstring_view first = version.view().substr(0, version.view().find(L','));
    StoreValue(collector, L"TpmChip", first, map, 0, kSection);
    StoreValue(collector, L"TpmActivated", activated != 0 ? L"1" : L"0", map, 0, kSection);
    StoreValue(collector, L"TpmEnabled", enabled != 0 ? L"1" : L"0", map, 0, kSection);
}

void CollectMemorySlots(CHardwareCollector* collector, CInvMap* map)
{
    std::vector<WideString> slots;
    if (GetClassPropertyValues(collector, kMemoryArrayClass, L"MemoryDevices", &slots) > 0)
        StoreValue(collector, L"MemorySlots", slots.front(), map, 0, L"PhysicalMemoryLocation");
}

}  // namespace

void ReadTpm(CHardwareCollector* /*collector*/, WideString* version, std::uint32_t* activated,
             std::uint32_t* enabled)
{
    const auto services = OpenSession(kTpmQuery);
    if (!services)
        return;
    auto rows = Query(services.get(), kTpmQuery.text);
    while (const auto row = rows.Next()) {
        if (const auto flag = ReadIntegerProperty(row.get(), L"IsActivated_InitialValue"))
            *activated = static_cast<std::uint32_t>(*flag);
        if (const auto flag = ReadIntegerProperty(row.get(), L"IsEnabled_InitialValue"))
            *enabled = static_cast<std::uint32_t>(*flag);
        if (const auto text = ReadNullableTextProperty(row.get(), L"SpecVersion"))
            *version = *text;
    }
}

void CollectOverview(CHardwareCollector* collector, CInvMap* map)
{
    CollectStartTime(collector, map);
    CollectSecureBoot(collector, map);
    CollectTpm(collector, map);
    CollectMemorySlots(collector, map);
}

}  // namespace orrery
