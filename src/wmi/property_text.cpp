#include "wmi/property_text.h"

#include <array>
#include <cstdint>
#include <string>

#include "support/text.h"
#include "wmi/code_names.h"

namespace orrery {
namespace {

/// The text between " = " and ";" on the property's line; empty when there is no whole line.
std::wstring_view RawValue(std::wstring_view propertyName, std::wstring_view objectText)
{
    constexpr std::wstring_view kEquals = L" = ";
    for (auto tab = objectText.find(L'\t'); tab != std::wstring_view::npos;
         tab = objectText.find(L'\t', tab + 1)) {
        const auto line = objectText.substr(tab + 1);
        if (!line.starts_with(propertyName) ||
            !line.substr(propertyName.size()).starts_with(kEquals))
            continue;
        const auto end = line.find(L';');
        const auto begin = propertyName.size() + kEquals.size();
        return end == std::wstring_view::npos || end < begin ? std::wstring_view{}
                                                             : line.substr(begin, end - begin);
    }
    return {};
}

std::wstring_view WithoutFraming(std::wstring_view value)
{
    const auto first = value.find_first_not_of(L"\"{");
    if (first == std::wstring_view::npos)
        return {};
    value.remove_prefix(first);
    const auto last = value.find_last_not_of(L"\"}");
    return last == std::wstring_view::npos ? std::wstring_view{} : value.substr(0, last + 1);
}

std::int64_t Mebibytes(std::wstring_view value)
{
    return ParseInteger(value) >> 20;
}

WideString UnsignedMebibytes(std::wstring_view value)
{
    return std::to_wstring(static_cast<std::uint32_t>(Mebibytes(value)));
}

WideString SignedMebibytes(std::wstring_view value)
{
    return std::to_wstring(static_cast<std::int32_t>(Mebibytes(value)));
}

WideString ChassisType(std::wstring_view value)
{
    return ChassisTypeName(ParseInt32(value));
}

WideString SlotUsage(std::wstring_view value)
{
    return SlotUsageName(ParseInt32(value));
}

WideString MemoryType(std::wstring_view value)
{
    // Some providers give the type as a word, which stays as it is.
    if (value.empty() || value.front() < L'0' || value.front() > L'9')
        return value;
    return MemoryTypeName(static_cast<std::uint16_t>(ParseInteger(value)));
}

struct Conversion {
    std::wstring_view property;
    WideString (*convert)(std::wstring_view value);
};

// The properties whose text the report does not show as WMI gives it.
constexpr auto kConversions = std::to_array<Conversion>({
    {L"Size", UnsignedMebibytes},
    {L"FreeSpace", UnsignedMebibytes},
    {L"Capacity", SignedMebibytes},
    {L"ChassisTypes", ChassisType},
    {L"CurrentUsage", SlotUsage},
    {L"MemoryType", MemoryType},
});

}  // namespace

WideString GetPropertyFromText(CHardwareCollector* /*collector*/, std::wstring_view propertyName,
                               std::wstring_view objectText)
{
    const auto raw = RawValue(propertyName, objectText);
    if (raw.data() == nullptr)
        return {};  // no line, as opposed to a line whose value is empty
    const auto value = WithoutFraming(raw);
    for (const auto& conversion : kConversions)
        if (conversion.property == propertyName)
            return conversion.convert(value);
    return value;
}

}  // namespace orrery
