#include "native/computer_bios.h"

#include <algorithm>
#include <initializer_list>
#include <string>
#include <string_view>

#include "support/registry.h"

namespace orrery {
namespace {

constexpr const wchar_t* kDisableXBios = L"DisableXBios";

/// Clears the field when it holds one of the placeholder texts, then gives it.
WideString WithoutPlaceholder(WideString& field,
                              std::initializer_list<std::wstring_view> placeholders)
{
    if (std::find(placeholders.begin(), placeholders.end(), field.view()) != placeholders.end())
        field = {};
    return field;
}

template <class T>
const T* At(const std::vector<T>& list, std::int32_t i) noexcept
{
    const auto place = static_cast<std::size_t>(i);
    return i >= 0 && place < list.size() ? &list[place] : nullptr;
}

}  // namespace

CComputerBios::CComputerBios()
{
    static_cast<void>(IsXBiosDisabled());
}

WideString CComputerBios::BiosManufacturer()
{
    return biosManufacturer;
}

WideString CComputerBios::BiosVersion()
{
    return biosVersion;
}

WideString CComputerBios::ReleaseDate()
{
    return biosReleaseDate;
}

WideString CComputerBios::AssetTag()
{
    return assetTag;
}

WideString CComputerBios::SerialNumber()
{
    return WithoutPlaceholder(serialNumber, {L"System Serial Number"});
}

WideString CComputerBios::SystemManufacturer()
{
    return WithoutPlaceholder(systemManufacturer, {L"System Manufacturer", L"System manufacturer"});
}

WideString CComputerBios::SystemModel()
{
    return WithoutPlaceholder(systemModel, {L"System Name", L"System Product Name"});
}

std::int32_t CComputerBios::DeviceCount() const noexcept
{
    return static_cast<std::int32_t>(deviceLocators.size());
}

WideString CComputerBios::DeviceLocator(std::int32_t i) const
{
    const auto* const locator = At(deviceLocators, i);
    return locator != nullptr ? *locator : WideString{};
}

WideString CComputerBios::MemoryType(std::int32_t i) const
{
    const auto* const type = At(memoryTypes, i);
    return type != nullptr ? *type : WideString{};
}

WideString CComputerBios::Capacity(std::int32_t i) const
{
    const auto* const capacity = At(capacities, i);
    if (capacity == nullptr)
        return {};
    return std::to_wstring(*capacity < 0 ? 0 : *capacity);  // bit 15 is the sign bit
}

WideString CComputerBios::Speed(std::int32_t i) const
{
    const auto* const speed = At(speeds, i);
    return speed != nullptr ? WideString{std::to_wstring(*speed)} : WideString{};
}

bool IsXBiosDisabled()
{
    const DWORD version = GetVersion();
    return IsXBiosDisabled(LOBYTE(LOWORD(version)), HIBYTE(LOWORD(version)));
}

bool IsXBiosDisabled(std::uint32_t major, std::uint32_t minor)
{
    if (major > 6 || (major == 6 && minor != 0))
        return true;
    const UniqueKey client = OpenKey(HKEY_LOCAL_MACHINE, kClientKey, KEY_READ | KEY_WRITE);
    return client && ReadDword(client.get(), kDisableXBios).value_or(0) != 0;
}

std::int32_t DisableXBios()
{
    UniqueKey client;
    if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, kClientKey, 0, nullptr, REG_OPTION_NON_VOLATILE,
                        KEY_READ | KEY_WRITE, nullptr, client.put(), nullptr) != ERROR_SUCCESS)
        return 0;
    const DWORD one = 1;
    return RegSetValueExW(client.get(), kDisableXBios, 0, REG_DWORD,
                          reinterpret_cast<const BYTE*>(&one), sizeof one) == ERROR_SUCCESS
               ? 1
               : 0;
}

}  // namespace orrery
