#include "sim/platform_calls.h"

#include <algorithm>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace orrery::sim {
namespace {

PlatformCalls ReadCalls()
{
    PlatformCalls list;
    std::ifstream file{ORRERY_SIM_FOLDER "/platform_calls.txt"};
    for (std::string line; std::getline(file, line);) {
        std::istringstream words{line.substr(0, line.find_first_of("#\r"))};
        PlatformCall call;
        if (!(words >> call.name))
            continue;
        if (call.name == "own") {
            for (std::string name; words >> name;)
                list.own.insert(name);
            continue;
        }
        std::string count;
        if (!(words >> call.arguments >> count >> call.result >> call.fails))
            throw std::runtime_error("platform_calls.txt: not all is told of " + call.name);
        call.words = count == "c" ? -1 : std::stoi(count);
        for (std::string use; words >> use;) {
            const std::size_t digits = use.find_first_of("0123456789");
            call.uses.push_back({use[0] == '+', use.substr(1, digits - 1),
                                 digits == use.npos ? -1 : std::stoi(use.substr(digits))});
        }
        if (const std::size_t at = call.name.find('@'); at != call.name.npos) {
            call.method = std::stoi(call.name.substr(at + 1));
            call.name.resize(at);
        }
        list.calls.push_back(std::move(call));
    }
    if (list.calls.empty())
        throw std::runtime_error("there is no " ORRERY_SIM_FOLDER "/platform_calls.txt");
    return list;
}

}  // namespace

int PlatformCalls::Find(const std::string& name) const
{
    const auto call = std::find_if(calls.begin(), calls.end(),
                                   [&](const PlatformCall& each) { return each.name == name; });
    return call == calls.end() ? -1 : static_cast<int>(call - calls.begin());
}

const PlatformCalls& KnownCalls()
{
    static const PlatformCalls list = ReadCalls();
    return list;
}

}  // namespace orrery::sim
