#include "prove/ledger.h"

namespace orrery::prove {

void Ledger::Take(const std::string& kind, const void* which)
{
    const std::lock_guard hold{lock_};
    int& count = held_[{kind, which}];
    count = kind == "identity" ? 1 : count + 1;  // a second identity takes the place of the first
}

void Ledger::Give(const std::string& kind, const void* which)
{
    const std::lock_guard hold{lock_};
    const auto entry = held_.find({kind, which});
    if (entry == held_.end()) {
        // The own identity may be asked for twice.
        if (kind != "identity" && which != nullptr)
            errors_ += "; a " + kind + " given back that was not held";
    } else if (--entry->second == 0) {
        held_.erase(entry);
    }
}

std::string Ledger::Settle()
{
    const std::lock_guard hold{lock_};
    std::string text = std::exchange(errors_, {});
    std::map<std::string, int> left;
    for (const auto& [what, count] : std::exchange(held_, {}))
        left[what.first] += count;
    for (const auto& [kind, count] : left)
        text += "; " + std::to_string(count) + " " + kind + " left";
    return text;
}

}  // namespace orrery::prove
