#include "collect/operating_system.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "native/operating_system.h"
#include "native/time_zone.h"
#include "native/user_context.h"
#include "native/well_known_accounts.h"
#include "native/date_format.h"
#include "wmi/property_text.h"

namespace orrery {
namespace {

constexpr const wchar_t* kCaption = L"Caption";

/// The user at the console; empty when nobody is, which leaves the thread to LocalSystem.
WideString LoggedOnUserName()
{
    const std::wstring localSystem = LocalSystemName();
    CUserContext user;
    user.BeginImpersonation();
    const WideString name = CurrentUserName();
    user.EndImpersonation();
    return name == localSystem ? WideString{} : name;
}

/// The value of a property that this category writes; nothing for the others.
std::optional<WideString> OperatingSystemFact(const COperatingSystem& system,
                                              std::wstring_view property)
{
    if (property == kCaption)
        return system.caption;
    if (property == L"Version")
        return system.version;
    if (property == L"TimeZone")
        return ReadTimeZoneText();
    if (property == L"LoggedOnUser")
        return LoggedOnUserName();
    if (property == L"Is64x")
        return system.is64Bit;
    if (property == L"Windows10Version")
        return system.featureRelease;
    return std::nullopt;
}

/// The parts of a WMI date, such as "20240205070809.500000+060".
/// @return nothing when a part is missing or is no number
std::optional<SYSTEMTIME> ParseWmiDate(const std::wstring& text)
{
    const auto part = [&text](std::size_t at, std::size_t length) {
        return static_cast<WORD>(std::stoi(text.substr(at, length)));
    };
    try {
        SYSTEMTIME time{};
        time.wYear = static_cast<WORD>(std::max(std::stoi(text.substr(0, 4)), 1970));
        time.wMonth = part(4, 2);
        time.wDay = part(6, 2);
        time.wHour = part(8, 2);
        time.wMinute = part(10, 2);
        time.wSecond = part(12, 2);
        return time;
    } catch (const std::logic_error&) {
        return std::nullopt;
    }
}

WideString BootTimeText(std::wstring_view wmiDate)
{
    auto time = ParseWmiDate(std::wstring{wmiDate});
    if (!time)
        GetSystemTime(&time.emplace());
    return FormatLocalDateTime(*time, true);
}

}  // namespace

void CollectOperatingSystem(CHardwareCollector* collector, CInvMap* map)
{
    const COperatingSystem system;
    const ClassDescriptor descriptor = descriptors::kOperatingSystem;
    for (PropertyList at = PropertiesOf(descriptor); *at != nullptr; ++at)
        if (const auto fact = OperatingSystemFact(system, *at))
            StoreValue(collector, *at, *fact, map, 0, SectionOf(descriptor));
}

WideString CurrentUserName()
{
    std::array<wchar_t, 1024> name{};
    auto size = static_cast<DWORD>(name.size());
    if (!GetUserNameW(name.data(), &size))
        return {};
    return name.data();
}

void WriteOperatingSystemInstance(CHardwareCollector* collector, PropertyList properties,
                                  const WideString& objectText, CInvMap* map, std::int32_t index,
                                  const WideString& section)
{
    for (; *properties != nullptr; ++properties) {
        const std::wstring_view property = *properties;
        const WideString value = GetPropertyFromText(collector, property, objectText);
        CHardwareObject* stored = nullptr;
        if (property == L"LastBootUpTime")
            StoreValue(collector, property, BootTimeText(value), map, index, section);
        else if (property != kCaption)
            continue;
        else if (map->Lookup(FactKey(L"OperatingSystem", kCaption, 0).c_str(), &stored) != 0)
            stored->value = value;
        else
            StoreValue(collector, property, value, map, index, section);
    }
}

}  // namespace orrery
