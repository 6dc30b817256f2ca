#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "client/report/report.h"

namespace orrery::fleet {

/// What a report tells about which machine it is of. Empty is what it does not tell, or what only stands
/// in for something that nobody filled in.
struct Identity {
    std::string name, maker, model, serial, uuid;
    std::string installation;  ///< stands for the installed system; another one, another system
    /// Of physical adapters, as their makers gave them out: sorted, no two the same.
    std::vector<std::string> addresses;

    bool operator==(const Identity&) const = default;

    /// What tells the machine from others: "serial", "uuid", "address" or, where only name and model do,
    /// "weak".
    std::string_view Kind() const noexcept;
    /// Whether there is anything to tell the machine by.
    bool isEmpty() const noexcept
    {
        return name.empty() && serial.empty() && uuid.empty() && addresses.empty();
    }
};

/// @param uuid, installation as the report's companion file tells; empty without one
Identity IdentityOf(const report::Report& report, std::string_view uuid,
                    std::string_view installation);

/// A machine that is known already.
struct KnownMachine {
    std::int64_t machine = 0;
    Identity identity;  ///< as of its latest report
};

struct Conflict {
    std::int64_t other;
    std::string_view reason;  ///< what both have: "serial" or "uuid"
};

/// Which machine a report is of.
struct Decision {
    std::optional<std::int64_t> machine;  ///< nothing for one that is new
    std::vector<Conflict>
        conflicts;            ///< machines that should be told from this one and are hard to
    bool isReimaged = false;  ///< the machine has another installation than before
    std::optional<std::int64_t> formerHolder;  ///< the machine that had a new one's name before
};

/// Finds out which machine a report is of. Two machines are never taken for one on the word of a serial
/// number or UUID alone: makers ship boards with the same ones, and machines are cloned. Name or hardware
/// address must agree as well.
/// Of several machines that it may be as surely, the one that was met last counts.
/// @param known every machine that has the serial number, the UUID, an address or the name
Decision Identify(const Identity& identity, std::span<const KnownMachine> known);

}  // namespace orrery::fleet
