#pragma once

#include <string_view>

#include "client/report/report.h"

namespace orrery::report {

/// Whether a property identifies the machine, its network or its people.
bool IsSecret(std::string_view section, std::string_view property);

/// Replaces what identifies the machine, its network or its people by stable placeholders.
///
/// Serial numbers, hardware and network addresses, names of wireless networks and the names of the
/// computer, its domain and its user become "serial-1", "mac-1", "ip-1", "ssid-1", "host-1",
/// "domain-1" and "user-1", numbered in the order in which the report's instances first have them.
/// Equal values get the same placeholder, that of the kind that comes first; letter case counts for
/// wireless networks only. Empty values and those that say nothing, such as "0.0.0.0", stay, and so
/// do network masks. A replaced name, serial number or address that stands as a whole word in another
/// property or in a warning is replaced there too.
void Redact(Report* report);

}  // namespace orrery::report
