// Tries to break the library: failing calls, long use, hostile answers. Run by scripts/prove.

#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "client/system/console.h"
#include "prove/proofs.h"

namespace orrery::prove {
namespace {

constexpr int kFound = 1;
constexpr int kUsage = 2;
constexpr int kBroken = 3;

unsigned ParseNumber(const std::string& word)
{
    return static_cast<unsigned>(std::stoul(word));
}

int RunCommand(const std::vector<std::string>& words)
{
    const std::string command = words.empty() ? "" : words[0];
    const std::string option = words.size() > 1 ? words[1] : "";
    if (command == "sweep")
        return Sweep(option == "--quick", option == "--quick" ? "" : option) == 0 ? 0 : kFound;
    if (command == "soak") {
        const bool quick = option == "--quick";
        return Soak(quick ? 40 : 1000) + CancelMany(quick ? 20 : 500, 1) == 0 ? 0 : kFound;
    }
    if (command == "cancel" && (words.size() == 2 || words.size() == 3))
        return CancelMany(words.size() == 3 ? static_cast<int>(ParseNumber(words[2])) : 1,
                          ParseNumber(option)) == 0
                   ? 0
                   : kFound;
    if (command == "cancelled" && words.size() == 2)
        return CollectAndCancel(ParseNumber(option));
    if (command == "hostile" && words.size() == 4)
        return Hostile(option == "all" ? "" : option, static_cast<int>(ParseNumber(words[2])),
                       ParseNumber(words[3])) == 0
                   ? 0
                   : kFound;
    if (command == "feed" && words.size() == 5) {
        Feed(option, ParseNumber(words[2]), static_cast<int>(ParseNumber(words[3])),
             static_cast<int>(ParseNumber(words[4])));
        return 0;
    }
    PrintToErrors(
        "usage: prove sweep [--quick | ATTEMPT]\n"
        "       prove soak [--quick]\n"
        "       prove cancel SEED [COUNT]\n"
        "       prove hostile all|KIND SECONDS SEED\n"
        "       prove feed KIND SEED COUNT SECONDS\n");
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
