#include "client/report/typed_value.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>

#include "client/report/number.h"

namespace orrery::report {
namespace {

using std::chrono::day;
using std::chrono::month;
using std::chrono::sys_days;
using std::chrono::year;
using std::chrono::year_month_day;

/// Whether a text has a pattern's form, in which 0 stands for any digit.
bool HasForm(std::string_view text, std::string_view pattern) noexcept
{
    return text.size() == pattern.size() &&
           std::equal(text.begin(), text.end(), pattern.begin(), [](char unit, char form) {
               return form == '0' ? unit >= '0' && unit <= '9' : unit == form;
           });
}

int Digits(std::string_view text, std::size_t at, std::size_t count) noexcept
{
    int number = 0;
    for (const char digit : text.substr(at, count))
        number = number * 10 + (digit - '0');
    return number;
}

year_month_day DateOf(int ofYear, int ofMonth, int ofDay) noexcept
{
    return {year{ofYear}, month{static_cast<unsigned>(ofMonth)}, day{static_cast<unsigned>(ofDay)}};
}

}  // namespace

std::optional<std::int64_t> ExactNumber(std::string_view text)
{
    const auto number = ParseNumber(text);
    return number && std::to_string(*number) == text ? number : std::nullopt;
}

std::optional<bool> ExactTruth(const Term& term, std::string_view text) noexcept
{
    const bool isNumber = !term.words.empty();
    if (text == (isNumber ? "1" : "true"))
        return true;
    if (text == (isNumber ? "0" : "false"))
        return false;
    return std::nullopt;
}

std::optional<std::string> IsoDate(std::string_view text)
{
    if (!HasForm(text, "00/00/00"))
        return std::nullopt;
    constexpr int kFirstYear = 70;
    const int inCentury = Digits(text, 6, 2);
    const auto date = DateOf(inCentury + (inCentury < kFirstYear ? 2000 : 1900), Digits(text, 0, 2),
                             Digits(text, 3, 2));
    if (!date.ok())
        return std::nullopt;
    return FormatIsoTime(sys_days{date}.time_since_epoch().count() * std::int64_t{86'400})
        .substr(0, 10);
}

std::optional<std::int64_t> SecondsOf(std::string_view isoTime) noexcept
{
    if (!HasForm(isoTime, "0000-00-00T00:00:00Z"))
        return std::nullopt;
    const auto date = DateOf(Digits(isoTime, 0, 4), Digits(isoTime, 5, 2), Digits(isoTime, 8, 2));
    const int hour = Digits(isoTime, 11, 2), minute = Digits(isoTime, 14, 2),
              second = Digits(isoTime, 17, 2);
    // No calendar of databases has a year 0.
    if (!date.ok() || date.year() < year{1} || hour > 23 || minute > 59 || second > 59)
        return std::nullopt;
    return sys_days{date}.time_since_epoch().count() * std::int64_t{86'400} + hour * 3600 +
           minute * 60 + second;
}

bool IsIsoTime(std::string_view text) noexcept
{
    return SecondsOf(text).has_value();
}

std::string FormatIsoTime(std::int64_t seconds)
{
    const std::chrono::sys_seconds time{std::chrono::seconds{seconds}};
    const auto days = std::chrono::floor<std::chrono::days>(time);
    const year_month_day date{days};
    const auto ofDay = (time - days).count();
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02dZ",
                  static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                  static_cast<unsigned>(date.day()), static_cast<int>(ofDay / 3600),
                  static_cast<int>(ofDay / 60 % 60), static_cast<int>(ofDay % 60));
    return text.data();
}

}  // namespace orrery::report
