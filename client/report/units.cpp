#include "client/report/units.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <span>
#include <utility>

#include "client/report/number.h"
#include "client/report/vocabulary.h"

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

constexpr std::array kSizes{"MiB", "GiB", "TiB", "PiB"};
constexpr std::array kSpeeds{"bit/s", "kbit/s", "Mbit/s", "Gbit/s", "Tbit/s"};
constexpr std::array kFrequencies{"MHz"};
constexpr std::array kTimes{"ms", "s"};

/// The number in the unit of its kind; empty when the kind has none.
std::string InUnit(Kind kind, std::int64_t number)
{
    const auto value = static_cast<double>(number);
    switch (kind) {
        case Kind::kMebibytes:
            return Scaled(value, 1024, kSizes);
        case Kind::kBitsPerSecond:
            return Scaled(value, 1000, kSpeeds);
        case Kind::kKilohertz:
            return Scaled(value / 1000, 1000, kFrequencies);
        case Kind::kMegahertz:
            return Scaled(value, 1000, kFrequencies);
        case Kind::kMilliseconds:
            return Scaled(value, 1000, kTimes);
        default:
            return {};
    }
}

}  // namespace

std::string FormatMebibytes(double mebibytes)
{
    return Scaled(mebibytes, 1024, kSizes);
}

ReadableValue Readable(std::string_view section, std::string_view property,
                       const std::string& value)
{
    const Term* const term = FindTerm(section, property);
    if (term != nullptr)
        for (const ValueWord& word : term->words)
            if (word.value == value)
                return {std::string{word.word}, false};
    constexpr std::int64_t kLargest = 1'000'000'000'000'000'000;  // more stands for "not known"
    const std::int64_t number = ParseNumber(value).value_or(-1);
    if (number < 0 || number > kLargest)
        return {value, false};
    if (term != nullptr)
        if (std::string text = InUnit(term->kind, number); !text.empty())
            return {std::move(text), true};
    return {value, true};
}

}  // namespace orrery::report
