#pragma once

#include <windows.h>

#include "prove/faults.h"
#include "prove/ledger.h"

namespace orrery::prove {

/// Stands between a loaded orrery.dll and Windows, for as long as the process lives: every call that
/// the library makes is counted and can be made to fail, what it takes and gives back is kept in a
/// ledger, and its memory is counted. One library at a time.
class Gates {
public:
    /// @param library stays loaded
    explicit Gates(HMODULE library);

    Faults faults;
    Ledger ledger;

    /// The blocks of memory that the library holds.
    static int BlocksHeld();
};

}  // namespace orrery::prove
