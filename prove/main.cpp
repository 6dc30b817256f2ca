// Tries to break the library: failing calls, long use, hostile answers. Run by scripts/prove.

#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "client/console.h"
#include "prove/sweep.h"

namespace orrery::prove {
namespace {

constexpr int kFound = 1;
constexpr int kUsage = 2;
constexpr int kBroken = 3;

int RunCommand(const std::vector<std::string>& words)
{
    const std::string command = words.empty() ? "" : words[0];
    const std::string option = words.size() > 1 ? words[1] : "";
    if (command == "sweep")
        return Sweep(option == "--quick", option == "--quick" ? "" : option) == 0 ? 0 : kFound;
    PrintToErrors("usage: prove sweep [--quick | ATTEMPT]\n");
    return kUsage;
}

}  // namespace
}  // namespace orrery::prove

int main(int count, char** arguments)
{
    try {
        return orrery::prove::RunCommand({arguments + 1, arguments + count});
    } catch (const std::exception& error) {
        orrery::PrintToErrors(std::string{"prove: "} + error.what() + "\n");
        return orrery::prove::kBroken;
    }
}
