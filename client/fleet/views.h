#pragma once

#include <span>
#include <string>
#include <string_view>

#include "client/fleet/database.h"

namespace orrery::fleet {

/// An answer about the fleet: a view of the same name and columns in both engines. Columns may be added
/// at the end, since programs of others read them.
struct View {
    std::string_view name, about;
    std::string_view columns;  ///< separated by ", "
    std::string_view order;    ///< by which the rows are listed
    /// The view of which this one is the part that passes a usual bound, and the condition in which %
    /// stands for another bound. Empty where there is no bound to be given.
    std::string_view whole = {}, condition = {};
    std::string_view option = {};  ///< that gives the bound
    /// A query for the number of volumes that are left out since no drive is known to hold them.
    bool leavesOutVolumes = false;
};

/// The answers in the order in which they are listed.
std::span<const View> Views() noexcept;

/// @return null for what is none
const View* FindView(std::string_view name) noexcept;

/// How many volumes no drive of their machine names.
inline constexpr char kVolumesOfNoDrive[] = "SELECT COUNT(*) FROM volume_of_no_drive";

/// The statements that make all views anew, with those that they are built of.
std::string ViewStatements(Engine engine);

}  // namespace orrery::fleet
