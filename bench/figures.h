#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "store/inv_map.h"

namespace orrery::bench {

/// What a measuring program was asked for: [--quick] [FIGURES.json].
struct Options {
    bool quick = false;  ///< a short run that shows the way, with coarser figures
    std::string json;    ///< the file that its figures are added to; empty for none
};

/// One row of the table of figures.
struct Figure {
    const char* group;
    std::string what;
    const char* unit;
    double ours;
    std::string comparedWith;
    double theirs;
    double ratio;
    double aim = 0;  ///< the ratio's upper bound; 0 for none
};

/// Prints a row of the table, and keeps it for the file of figures.
void Print(const Figure& figure);

/// Wall time since some start, in seconds.
double Now() noexcept;
/// Processor time that all threads of this process have used, in seconds. Systems count it in steps
/// of up to 16 milliseconds.
double ProcessorTime() noexcept;

/// Runs several things by turns, so that whatever else the machine does meets them all alike, and
/// gives the least wall time of each in seconds.
std::vector<double> LeastTimes(int rounds, const std::vector<std::function<void()>>& runs);

/// Stores facts as collectors do: sections of 100 instances with 10 properties each.
void StoreFacts(CInvMap* map, std::int32_t count);

/// A measuring program. What ends it early goes to standard error, and no figure to the file then.
int Main(int argumentCount, char** arguments, void (*measure)(const Options& options));

}  // namespace orrery::bench
