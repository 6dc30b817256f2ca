#pragma once

#include <string>

#include "client/report/report.h"

namespace orrery::report {

/// The report as JSON in UTF-8, grouped by section and instance, in the form that
/// docs/report.schema.json describes.
std::string ToJson(const Report& report);

}  // namespace orrery::report
