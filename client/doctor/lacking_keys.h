#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "client/doctor/findings.h"

namespace orrery::doctor {

/// A key that a report lacks or holds empty.
struct LackingKey {
    std::string key;  ///< "Section.Property"
    Without as;       ///< kLeftOut or kEmpty
};

/// The keys that the finished categories of a rehearsal lack or hold empty in any instance, in the
/// order of the vocabulary.
std::vector<LackingKey> LackingKeys(const Rehearsal& rehearsal);

/// Why a key may be without a value although nothing that it is read from was refused.
struct LackReason {
    std::string_view what, advice;
};
LackReason ReasonOf(std::string_view key) noexcept;

}  // namespace orrery::doctor
