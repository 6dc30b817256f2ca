#include "client/report/typed_json.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "client/report/placeholders.h"
#include "client/report/typed_value.h"
#include "client/report/vocabulary.h"

namespace orrery::report {
namespace {

constexpr std::string_view kUnknown = "unknown", kNone = "none", kEndless = "endless",
                           kPlaceholder = "placeholder", kUnfit = "unfit";

/// What a property says in place of a value.
struct StandIn {
    std::string_view section, property, value, mark;
};

constexpr auto kStandIns = std::to_array<StandIn>({
    {"LogicalDisk", "BitLockerStatus", "0", kUnknown},
    {"LogicalDisk", "Size", "0", kUnknown},
    {"LogicalDisk", "VolumeSerialNumber", "0", kUnknown},
    {"NetworkAdapter", "DHCPLeaseExpires", "1970-01-01T00:00:00Z", kNone},
    {"NetworkAdapter", "DHCPLeaseExpires", "2038-01-19T03:14:07Z", kEndless},
    {"NetworkAdapter", "DHCPLeaseObtained", "1970-01-01T00:00:00Z", kNone},
    {"NetworkAdapter", "DHCPServer", "0.0.0.0", kNone},
    {"NetworkAdapter", "DHCPServer", "255.255.255.255", kNone},
    {"NetworkAdapter", "NetworkBand", "0", kUnknown},
    {"NetworkAdapter", "NetworkChannel", "0", kUnknown},
    {"NetworkAdapter", "WINSPrimaryServer", "0.0.0.0", kNone},
    {"SystemOverview", "AverageBootTime", "0", kUnknown},
});

/// Texts that are taken from WMI's notation, in which a backslash stands before a quote or another one.
struct Notated {
    std::string_view section, property;
};

constexpr auto kNotated = std::to_array<Notated>({
    {"BaseBoard", "Manufacturer"},
    {"BaseBoard", "Product"},
    {"BaseBoard", "Version"},
    {"DiskDrive", "Caption"},
    {"PhysicalMemoryLocation", "DeviceLocator"},
    {"Processor", "Manufacturer"},
    {"Processor", "Name"},
    {"SystemSlot", "SlotDesignation"},
    {"USBDevice", "Name"},
});

std::string_view StandInMark(const Term& term, std::string_view value)
{
    const auto found = std::ranges::find_if(kStandIns, [&](const StandIn& each) {
        return each.section == term.section && each.property == term.property &&
               each.value == value;
    });
    return found != kStandIns.end() ? found->mark : std::string_view{};
}

bool IsNotated(const Term& term)
{
    return std::ranges::any_of(kNotated, [&](const Notated& each) {
        return each.section == term.section && each.property == term.property;
    });
}

/// The text without the backslashes of the notation. One at the end had a quote behind it, which the
/// report lost. A text with any other backslash is not in that notation, and stays.
std::string WithoutNotation(const std::string& text)
{
    std::string plain;
    plain.reserve(text.size());
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] != '\\') {
            plain += text[at];
            continue;
        }
        const char next = ++at < text.size() ? text[at] : '"';
        if (next != '"' && next != '\\')
            return text;
        plain += next;
    }
    return plain;
}

TypedJson NumberOf(const std::string& value)
{
    constexpr std::int64_t kLargest = 1'000'000'000'000'000'000;  // more stands for "not known"
    const auto number = ExactNumber(value);
    if (!number || *number < 0)
        return {value, kUnfit};
    return *number > kLargest ? TypedJson{Json(), kUnknown} : TypedJson{*number, {}};
}

TypedJson DateOf(const std::string& value)
{
    // Years before 1970 and dates of zeros become 70, in which no PC was made.
    if (value == "00/00/70")
        return {Json(), kUnknown};
    const auto date = IsoDate(value);
    if (!date)
        return {value, kUnfit};
    return date->starts_with("1970-") ? TypedJson{Json(), kUnknown} : TypedJson{*date, {}};
}

TypedJson TextOf(const Term& term, const std::string& value)
{
    const std::string_view mark = IsPlaceholder(term, value) ? kPlaceholder : std::string_view{};
    return {IsNotated(term) ? WithoutNotation(value) : value, mark};
}

TypedJson OfKind(const Term& term, const std::string& value)
{
    switch (term.kind) {
        case Kind::kCode:
        case Kind::kCount:
        case Kind::kMebibytes:
        case Kind::kBitsPerSecond:
        case Kind::kKilohertz:
        case Kind::kMegahertz:
        case Kind::kMilliseconds:
            return NumberOf(value);
        case Kind::kFlag: {
            const auto truth = ExactTruth(term, value);
            return truth ? TypedJson{*truth, {}} : TypedJson{value, kUnfit};
        }
        case Kind::kDate:
            return DateOf(value);
        case Kind::kTime:
            return {value, IsIsoTime(value) ? std::string_view{} : kUnfit};
        case Kind::kWord:
            return value == "Unknown" || value == "unknown" ? TypedJson{Json(), kUnknown}
                                                            : TypedJson{value, {}};
        case Kind::kText:
            break;
    }
    return TextOf(term, value);
}

}  // namespace

TypedJson TypedJsonOf(std::string_view section, std::string_view property, const std::string& value)
{
    if (value.empty())
        return {};
    // An elapsed time of a complete report goes by the name of its category.
    const Term* const term = section == "ET" ? FindTerm(section, "") : FindTerm(section, property);
    if (term == nullptr)
        return {value, {}};
    if (const std::string_view mark = StandInMark(*term, value); !mark.empty())
        return {mark == kEndless ? Json(value) : Json(), mark};
    return OfKind(*term, value);
}

}  // namespace orrery::report
