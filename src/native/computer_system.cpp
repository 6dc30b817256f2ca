#include "native/computer_system.h"

#include <windows.h>

#include <array>

#include "support/code_name.h"
#include "support/registry.h"

namespace orrery {
namespace {

// Source: the SMBIOS chassis types.
constexpr auto kChassisNames = std::to_array<CodeName>({
    {1, L"Other"},
    {2, L"Unknown"},
    {3, L"Desktop"},
    {4, L"Low Profile Desktop"},
    {5, L"Pizza Box"},
    {6, L"Mini Tower"},
    {7, L"Tower"},
    {8, L"Portable"},
    {9, L"Laptop"},
    {10, L"Notebook"},
    {11, L"Hand Held"},
    {12, L"Docking Station"},
    {13, L"All in One"},
    {14, L"Sub Notebook"},
    {15, L"Space-Saving"},
    {16, L"Lunch Box"},
    {17, L"Main System Chassis"},
    {18, L"Expansion Chassis"},
    {19, L"SubChassis"},
    {20, L"Bus Expansion Chassis"},
    {21, L"Peripheral Chassis"},
    {22, L"Storage Chassis"},
    {23, L"Rack Mount Chassis"},
    {24, L"Sealed-Case PC"},
    {30, L"Tablet"},
    {31, L"Convertible"},
    {32, L"Detachable"},
});
static_assert(IsAscending(kChassisNames));

UniqueKey OpenLessonvaleKey()
{
    return OpenKey(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Veltrane Ltd\\Lessonvale", KEY_READ);
}

}  // namespace

WideString GetPhysicalHostName()
{
    std::array<wchar_t, 128> name{};
    auto size = static_cast<DWORD>(name.size());
    if (!GetComputerNameExW(ComputerNamePhysicalDnsHostname, name.data(), &size))
        return {};
    return name.data();
}

WideString ReadLessonvaleName()
{
    constexpr std::size_t kMaxCharacters = 500;
    const UniqueKey key = OpenLessonvaleKey();
    return key ? ReadText(key.get(), L"name", kMaxCharacters).value_or(L"") : std::wstring{};
}

std::uint32_t ReadLessonvaleEnclosureType()
{
    const UniqueKey key = OpenLessonvaleKey();
    return key ? ReadDword(key.get(), L"EnclosureType").value_or(0) : 0;
}

WideString ChassisCodeName(std::int32_t code)
{
    return NameOf(kChassisNames, code, L"");
}

}  // namespace orrery
