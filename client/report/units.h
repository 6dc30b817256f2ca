#pragma once

#include <string>
#include <string_view>

namespace orrery::report {

/// A value as people read it.
struct ReadableValue {
    std::string text;
    bool isNumber = false;  ///< best aligned to the right
};

/// Puts a value into a sensible unit or into words, where its property is known to have one: sizes,
/// speeds, times and states. What is no number, or has no unit, stays as it is.
ReadableValue Readable(std::string_view section, std::string_view property,
                       const std::string& value);

/// "1.5 GiB" for 1536.
std::string FormatMebibytes(double mebibytes);

}  // namespace orrery::report
