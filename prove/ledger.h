#pragma once

#include <map>
#include <mutex>
#include <string>
#include <utility>

namespace orrery::prove {

/// What a run has taken from the system and has to give back, by the words of
/// sim/platform_calls.txt. May be used from any thread.
class Ledger {
public:
    void Take(const std::string& kind, const void* which);
    /// Notes an error when what is given back is not held.
    void Give(const std::string& kind, const void* which);

    /// What is held and what was given back once too often, in words; empty when all is well. The
    /// ledger starts afresh.
    std::string Settle();

private:
    std::mutex lock_;
    std::map<std::pair<std::string, const void*>, int> held_;
    std::string errors_;
};

}  // namespace orrery::prove
