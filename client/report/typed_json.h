#pragma once

#include <string>
#include <string_view>

#include "client/report/ordered_json.h"

namespace orrery::report {

/// A value for programs, and what is to be known about it.
struct TypedJson {
    Json value;
    /// Empty, or why the value is not to be relied on:
    ///   "unknown"      the report's value stands for one that is not known; null
    ///   "none"         it stands for there being none; null
    ///   "endless"      it stands for a time that never comes
    ///   "placeholder"  it is what firmware says where its maker filled in nothing
    ///   "unfit"        it is not in the form of its kind, and stays the report's text
    std::string_view mark;
};

/// Gives a number as a number, yes or no as a truth value, a date in the order year, month, day, and a
/// text without WMI's notation. An empty value is null.
TypedJson TypedJsonOf(std::string_view section, std::string_view property,
                      const std::string& value);

}  // namespace orrery::report
