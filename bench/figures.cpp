#include "figures.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <limits>
#include <stdexcept>
#include <string_view>

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

}  // namespace

Options ParseOptions(int argumentCount, char** arguments)
{
    Options options;
    for (int at = 1; at < argumentCount; ++at) {
        if (std::string_view{arguments[at]} != "--quick")
            throw std::invalid_argument(std::string{"unknown argument: "} + arguments[at]);
        options.quick = true;
    }
    return options;
}

void Print(const Figure& figure)
{
    std::printf("%s\t%s\t%s\t%.4g\t%s\t%.4g\t%.3f\t%.2f\n", figure.group, figure.what.c_str(),
                figure.unit, figure.ours, figure.comparedWith.c_str(), figure.theirs, figure.ratio,
                figure.aim);
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
        measure(ParseOptions(argumentCount, arguments));
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", arguments[0], error.what());
        return EXIT_FAILURE;
    }
}

}  // namespace orrery::bench
