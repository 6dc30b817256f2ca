#pragma once

namespace orrery::prove {

/// Has all texts of COM in this process allocated and counted here, from the first call on until the
/// process ends.
void CountTexts();

/// The texts that are allocated and not freed.
int TextsHeld();

}  // namespace orrery::prove
