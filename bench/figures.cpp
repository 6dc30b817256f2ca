#include "figures.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <limits>
#include <stdexcept>
#include <string_view>

#include <nlohmann/json.hpp>

namespace orrery::bench {
namespace {

constexpr double kTicksPerSecond = 1e7;  // of a FILETIME

double Seconds(const FILETIME& time) noexcept
{
    ULARGE_INTEGER ticks{};
    ticks.LowPart = time.dwLowDateTime;
    ticks.HighPart = time.dwHighDateTime;
    return static_cast<double>(ticks.QuadPart) / kTicksPerSecond;
}

nlohmann::ordered_json figures = nlohmann::ordered_json::array();
const char* lastGroup = "";

Options ParseOptions(int argumentCount, char** arguments)
{
    Options options;
    for (int at = 1; at < argumentCount; ++at) {
        const std::string argument = arguments[at];
        if (argument == "--quick")
            options.quick = true;
        else if (argument.starts_with('-') || !options.json.empty())
            throw std::invalid_argument("unknown argument: " + argument);
        else
            options.json = argument;
    }
    return options;
}

/// Adds the figures to those that other programs have put into the file.
void Save(const std::string& path)
{
    nlohmann::ordered_json all = nlohmann::ordered_json::array();
    if (std::ifstream earlier{path})
        all = nlohmann::ordered_json::parse(earlier);
    all.insert(all.end(), figures.begin(), figures.end());
    std::ofstream file{path, std::ios::binary};
    file << all.dump(2) << '\n';
    if (!file.flush())
        throw std::runtime_error(path + " cannot be written");
}

std::string Amount(double number, const char* unit)
{
    std::array<char, 48> text{};
    std::snprintf(text.data(), text.size(), "%.4g %s", number, unit);
    return text.data();
}

void PrintRow(const char* what, const std::string& ours, const char* comparedWith,
              const std::string& theirs, const char* ratio, const std::string& aim)
{
    std::printf("%-70s %14s   %-48s %14s %7s   %s\n", what, ours.c_str(), comparedWith,
                theirs.c_str(), ratio, aim.c_str());
}

}  // namespace

void Print(const Figure& figure)
{
    figures.push_back({{"group", figure.group},
                       {"what", figure.what},
                       {"unit", figure.unit},
                       {"ours", figure.ours},
                       {"comparedWith", figure.comparedWith},
                       {"theirs", figure.theirs},
                       {"ratio", figure.ratio},
                       {"aim", nullptr}});
    if (figure.aim != 0)
        figures.back()["aim"] = figure.aim;
    if (std::string_view{lastGroup} != figure.group) {
        std::printf("\n");
        PrintRow(figure.group, "ours", "compared with", "theirs", "ratio", "aim");
        lastGroup = figure.group;
    }
    std::array<char, 64> ratio{}, aim{"none"};
    std::snprintf(ratio.data(), ratio.size(), "%.3f", figure.ratio);
    if (figure.aim != 0 && figure.ratio <= figure.aim)
        std::snprintf(aim.data(), aim.size(), "at most %.2f: met", figure.aim);
    else if (figure.aim != 0)
        std::snprintf(aim.data(), aim.size(), "at most %.2f: missed by %.1f %%", figure.aim,
                      (figure.ratio / figure.aim - 1) * 100);
    PrintRow(figure.what.c_str(), Amount(figure.ours, figure.unit), figure.comparedWith.c_str(),
             Amount(figure.theirs, figure.unit), ratio.data(), aim.data());
    std::fflush(stdout);
}

double Now() noexcept
{
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration<double>{now}.count();
}

double ProcessorTime() noexcept
{
    FILETIME created{}, ended{}, kernel{}, user{};
    GetProcessTimes(GetCurrentProcess(), &created, &ended, &kernel, &user);
    return Seconds(kernel) + Seconds(user);
}

std::vector<double> LeastTimes(int rounds, const std::vector<std::function<void()>>& runs)
{
    std::vector<double> least(runs.size(), std::numeric_limits<double>::max());
    for (int round = 0; round < rounds; ++round)
        for (std::size_t at = 0; at < runs.size(); ++at) {
            const double start = Now();
            runs[at]();
            least[at] = std::min(least[at], Now() - start);
        }
    return least;
}

void StoreFacts(CInvMap* map, std::int32_t count)
{
    constexpr std::int32_t kInstances = 100;
    constexpr auto kProperties = std::to_array<const wchar_t*>(
        {L"Name", L"Manufacturer", L"DeviceID", L"Size", L"SerialNumber", L"Caption", L"Version",
         L"Speed", L"Description", L"FileSystem"});
    const auto perSection = kInstances * static_cast<std::int32_t>(kProperties.size());
    for (std::int32_t at = 0; at < count; ++at) {
        const WideString section = L"Section" + std::to_wstring(at / perSection);
        StoreValue(nullptr, kProperties[static_cast<std::size_t>(at % perSection / kInstances)],
                   L"a value of usual length", map, at % kInstances, section);
    }
}

int Main(int argumentCount, char** arguments, void (*measure)(const Options& options))
{
    try {
        const Options options = ParseOptions(argumentCount, arguments);
        measure(options);
        if (!options.json.empty())
            Save(options.json);
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", arguments[0], error.what());
        return EXIT_FAILURE;
    }
}

}  // namespace orrery::bench
