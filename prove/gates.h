#pragma once

#include <windows.h>

#include <functional>
#include <string>

#include "prove/faults.h"
#include "prove/ledger.h"
#include "sim/interposer.h"

namespace orrery::prove {

/// Stands between a loaded orrery.dll and Windows, for as long as the process lives: every call that
/// the library makes is counted and can be made to fail, what it takes and gives back is kept in a
/// ledger, and its memory is counted. One library at a time.
class Gates {
public:
    /// @param library stays loaded
    /// @throw std::runtime_error when the library imports what nobody has classified
    explicit Gates(HMODULE library);

    Faults faults;
    Ledger ledger;
    /// Told of each call but those for memory, in its thread and before it takes effect. Set while no run goes on.
    std::function<void(const std::string& call)> onCall;

    /// The blocks of memory that the library holds.
    static int BlocksHeld();

private:
    sim::Word OnCall(std::size_t at, sim::Words& words);
    void Note(const sim::PlatformCall& call, bool isTaken, sim::Word result,
              const sim::Words& words);

    sim::Interposer interposer_;
};

}  // namespace orrery::prove
