#pragma once

namespace orrery::prove {

/// Collects many times in one process, alone and beside other COM work, and looks at what the
/// process holds.
/// @return the number of findings, which are printed
int Soak(int runs);

}  // namespace orrery::prove
