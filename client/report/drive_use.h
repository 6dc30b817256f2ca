#pragma once

#include <cstdint>
#include <vector>

#include "client/report/report.h"

namespace orrery::report {

/// A volume and how full it is.
struct VolumeUse {
    const Instance* volume;
    std::int64_t sizeMebibytes = 0;  ///< 0 when not known
    std::int64_t freeMebibytes = 0;

    std::int64_t usedMebibytes() const noexcept { return sizeMebibytes - freeMebibytes; }
    double usedShare() const noexcept;
    /// The share in whole percent, of which 100 are reached when nothing is free.
    int usedPercent() const noexcept;
};

/// A drive with the volumes on it, as far as the report describes them.
struct DriveUse {
    const Instance* drive;           ///< null for the volumes that are on no drive of the report
    std::int64_t sizeMebibytes = 0;  ///< never less than its volumes together
    std::vector<VolumeUse> volumes;
};

/// The drives in the report's order, then the volumes that none of them names. A volume stands with
/// the first drive that names it. The report has to outlive what points into it.
std::vector<DriveUse> ReadDriveUse(const Report& report);

}  // namespace orrery::report
