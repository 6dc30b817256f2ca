#pragma once

#include "client/report/completeness.h"
#include "client/report/ordered_json.h"

namespace orrery::report {

/// How complete a report is, for programs.
Json ToJson(const Completeness& completeness);

}  // namespace orrery::report
