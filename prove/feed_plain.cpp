// What is fed here is built for Windows and, with the sanitizers, for this system: see fuzz_plain.cpp.
#include "prove/feeds.h"

#include <array>
#include <string>

#include "native/os_naming.h"
#include "native/time_zone.h"
#include "support/text.h"
#include "wmi/code_names.h"
#include "native/date_format.h"
#include "wmi/property_text.h"

namespace orrery::prove {
namespace {

constexpr std::wstring_view kProperties[] = {
    L"Name",         L"Manufacturer", L"Size",       L"Capacity",    L"FreeSpace",
    L"ChassisTypes", L"CurrentUsage", L"MemoryType", L"ReleaseDate", L"SerialNumber"};

bool IsConverted(std::wstring_view property)
{
    return property == L"Size" || property == L"Capacity" || property == L"FreeSpace" ||
           property == L"ChassisTypes" || property == L"CurrentUsage" || property == L"MemoryType";
}

}  // namespace

std::wstring ObjectText(Dice& dice, std::span<const std::wstring_view> properties)
{
    std::wstring text = L"\ninstance of Win32_Thing\n{\n";
    for (const auto property : properties)
        text.append(L"\t").append(property).append(L" = ").append(
            dice.OneIn(2) ? dice.NumberText() : L"\"" + dice.Text() + L"\"") += L";\n";
    return text + L"};\n";
}

void FeedObjectText(Dice& dice)
{
    std::wstring text = ObjectText(dice, kProperties);
    if (!dice.OneIn(4))
        text = dice.Mutated(std::move(text));
    for (const auto property : kProperties) {
        const WideString value = GetPropertyFromText(nullptr, property, text);
        Demand(value.size() <= text.size(), "a value is no longer than the text it is in");
        if (IsConverted(property))
            continue;
        Demand(value.view().find(L';') == value.view().npos, "a value ends at its semicolon");
        Demand(value.empty() || (value.view().front() != L'"' && value.view().front() != L'{' &&
                                 value.view().back() != L'"' && value.view().back() != L'}'),
               "a value has lost its framing");
        Demand(text.find(value.view()) != text.npos, "a value is a part of the text");
    }
}

void FeedWords(Dice& dice)
{
    const std::wstring text = dice.OneIn(2) ? dice.NumberText() : dice.Text();
    static_cast<void>(ParseInt32(text));
    Demand(TrimBlanks(text).size() <= text.size(), "trimming adds nothing");

    OsVersion version;
    version.platformId = static_cast<std::uint32_t>(dice.Below(4));
    version.major = static_cast<std::int32_t>(dice.Below(12));
    version.minor = static_cast<std::int32_t>(dice.OneIn(2) ? dice.Below(100) : dice.Number());
    version.build = static_cast<std::int32_t>(dice.Number());
    version.servicePack = dice.Text(dice.Below(130));
    version.isExtended = dice.OneIn(2);
    version.suites = static_cast<std::uint16_t>(dice.Number());
    version.productType = static_cast<std::uint8_t>(dice.Below(4));
    version.architecture = static_cast<std::uint16_t>(dice.Below(13));
    version.edition = static_cast<std::uint32_t>(dice.OneIn(2) ? dice.Below(200) : dice.Number());
    version.productOptions = dice.OneIn(4) ? L"ServerNT" : dice.Text(dice.Below(20));
    version.productName = dice.OneIn(2) ? L"Windows 10 1010 Pro" : dice.Text();
    const ProductNaming naming = NameProduct(version);
    Demand(naming.caption.size() <= version.productName.size() + 100, "a caption stays a caption");

    const auto code = static_cast<std::int32_t>(dice.Number());
    Demand(ChassisTypeName(code).size() < 20 && SlotUsageName(code).size() < 20 &&
               MemoryTypeName(static_cast<std::uint16_t>(code)).size() < 20,
           "a code's name is short");

    TIME_ZONE_INFORMATION zone{};
    constexpr LONG kBiases[] = {0, -59, 60, 1 << 30, -2147483647 - 1, 2147483647};
    const auto bias = [&] {
        return dice.OneIn(2) ? dice.Pick(kBiases) : static_cast<LONG>(dice.Number());
    };
    zone.Bias = bias();
    zone.StandardBias = bias();
    zone.DaylightBias = bias();
    dice.Text(32).copy(zone.StandardName, dice.Below(33));
    dice.Text(32).copy(zone.DaylightName, dice.Below(33));
    Demand(TimeZoneText(static_cast<DWORD>(dice.Below(4)), zone).size() < 64,
           "a time zone's text is short");
    Demand(FormatZone(zone.Bias).size() >= 6, "an offset has hours and minutes");
    SYSTEMTIME time{};
    for (WORD* const part :
         {&time.wYear, &time.wMonth, &time.wDay, &time.wHour, &time.wMinute, &time.wSecond})
        *part = static_cast<WORD>(dice.Number());
    Demand(FormatUtcDateTime(time).size() >= 20 && FormatLocalDateTime(time, false).size() >= 16,
           "a date has all its parts");
}

}  // namespace orrery::prove
