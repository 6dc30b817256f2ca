#include "client/report/units.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <span>

#include "client/report/number.h"

namespace orrery::report {
namespace {

/// The number with one decimal, or without where that would be 0, and the largest unit in which it is
/// not below 1.
/// @param units from the number's own upwards
std::string Scaled(double number, double step, std::span<const char* const> units)
{
    // What is rounded up to the next unit is shown in that: 1 GiB, not 1024 MiB.
    std::size_t unit = 0;
    for (; unit + 1 < units.size() && number >= step - 0.05; ++unit)
        number /= step;
    std::array<char, 48> text{};
    std::snprintf(text.data(), text.size(), "%.1f", number);
    std::string shown = text.data();
    if (shown.ends_with(".0"))
        shown.resize(shown.size() - 2);
    return shown + ' ' + units[unit];
}

std::string FormatBitsPerSecond(double number)
{
    constexpr std::array kUnits{"bit/s", "kbit/s", "Mbit/s", "Gbit/s", "Tbit/s"};
    return Scaled(number, 1000, kUnits);
}

std::string FormatMegahertz(double number)
{
    return Scaled(number, 1e300, std::array{"MHz"});
}

std::string FormatKilohertz(double number)
{
    return FormatMegahertz(number / 1000);
}

std::string FormatMilliseconds(double number)
{
    constexpr std::array kUnits{"ms", "s"};
    return Scaled(number, 1000, kUnits);
}

struct Unit {
    std::string_view section, property;
    std::string (*format)(double);
};

constexpr auto kUnits = std::to_array<Unit>({
    {"DiskDrive", "Size", &FormatMebibytes},
    {"LogicalDisk", "FreeSpace", &FormatMebibytes},
    {"LogicalDisk", "Size", &FormatMebibytes},
    {"NetworkAdapter", "NetworkBand", &FormatKilohertz},
    {"NetworkAdapter", "Speed", &FormatBitsPerSecond},
    {"PhysicalMemory", "Capacity", &FormatMebibytes},
    {"PhysicalMemoryLocation", "Capacity", &FormatMebibytes},
    {"PhysicalMemoryLocation", "Speed", &FormatMegahertz},
    {"Processor", "CurrentClockSpeed", &FormatMegahertz},
    {"SystemOverview", "AverageBootTime", &FormatMilliseconds},
    {"VideoController", "AdapterRAM", &FormatMebibytes},
});

struct Word {
    std::string_view section, property, value, word;
};

constexpr auto kWords = std::to_array<Word>({
    {"LogicalDisk", "BitLockerStatus", "0", "not known"},
    {"LogicalDisk", "BitLockerStatus", "1", "not protected"},
    {"LogicalDisk", "BitLockerStatus", "3", "locked"},
    {"LogicalDisk", "BitLockerStatus", "7", "protected"},
    {"NetworkAdapter", "DHCPLeaseExpires", "1970-01-01T00:00:00Z", "no lease yet"},
    {"NetworkAdapter", "DHCPLeaseObtained", "1970-01-01T00:00:00Z", "no lease yet"},
    {"OperatingSystem", "Is64x", "1", "yes"},
    {"SystemOverview", "SecureBoot", "0", "off"},
    {"SystemOverview", "SecureBoot", "1", "on"},
    {"SystemOverview", "SecureBoot", "2", "not supported"},
    {"SystemOverview", "TpmActivated", "0", "no"},
    {"SystemOverview", "TpmActivated", "1", "yes"},
    {"SystemOverview", "TpmEnabled", "0", "no"},
    {"SystemOverview", "TpmEnabled", "1", "yes"},
});

}  // namespace

std::string FormatMebibytes(double mebibytes)
{
    constexpr std::array kSizeUnits{"MiB", "GiB", "TiB", "PiB"};
    return Scaled(mebibytes, 1024, kSizeUnits);
}

ReadableValue Readable(std::string_view section, std::string_view property,
                       const std::string& value)
{
    for (const Word& word : kWords)
        if (word.section == section && word.property == property && word.value == value)
            return {std::string{word.word}, false};
    constexpr std::int64_t kLargest = 1'000'000'000'000'000'000;  // more stands for "not known"
    auto number = ParseNumber(value);
    if (number && (*number < 0 || *number > kLargest))
        number.reset();
    const auto unit = std::find_if(kUnits.begin(), kUnits.end(), [&](const Unit& each) {
        return each.section == section && each.property == property;
    });
    const bool hasUnit = number && unit != kUnits.end();
    return {hasUnit ? unit->format(static_cast<double>(*number)) : value, number.has_value()};
}

}  // namespace orrery::report
