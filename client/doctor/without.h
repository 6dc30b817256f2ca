#pragma once

namespace orrery::machine {

/// What becomes of keys of the report when the answer that feeds them is missing.
enum class Without {
    kLeftOut,  ///< they are not in the report
    kEmpty,    ///< they are empty
    kZero,     ///< they are "0"
    kStandIn,  ///< the library asks something else
};

}  // namespace orrery::machine
