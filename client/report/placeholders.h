#pragma once

#include <string_view>

#include "client/report/vocabulary.h"

namespace orrery::report {

/// Whether a serial number, asset tag, model or UUID is what firmware says where its maker filled in
/// nothing: blanks, one sign over and over, counting digits, or words such as "To be filled by O.E.M.".
/// Letter case and blanks around it do not matter.
/// @return false for an empty text: nothing was said
bool IsPlaceholder(std::string_view value);

/// The same for a value of a property: versions may be any number, and other texts any word.
bool IsPlaceholder(const Term& term, std::string_view value);

}  // namespace orrery::report
