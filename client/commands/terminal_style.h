#pragma once

#include "client/system/console.h"
#include "client/report/show.h"

namespace orrery {

/// How tables are shown on standard output: fitted to a terminal, whole in a file or pipe.
report::ShowStyle StyleOf(const Terminal& terminal);

}  // namespace orrery
