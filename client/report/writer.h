#pragma once

#include <string>

#include "client/report/report.h"

namespace orrery::report {

/// The bytes of a report file in the library's own form and order: UTF-16LE without a byte-order
/// mark, one line a fact, by section, property and index as text. Unlike with the library, lines of
/// any length are whole.
std::string FormatReport(const Report& report);

}  // namespace orrery::report
