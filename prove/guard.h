#pragma once

#include <string>

namespace orrery::prove {

/// Notes what the process is about to try, and how it is tried again. A crash, a failed check of the
/// library's own and more than a minute in one attempt end the process with these words on the error
/// stream.
void NowTrying(const std::string& attempt);

}  // namespace orrery::prove
