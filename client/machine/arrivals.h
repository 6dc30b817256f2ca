#pragma once

#include <windows.h>
#include <wbemcli.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>

namespace orrery::machine {

/// An instance as it comes from an enumeration.
struct Arrival {
    IWbemClassObject* instance;  ///< null for a slot that the provider left empty
    unsigned milliseconds;       ///< since the first fetch
    bool isLate;                 ///< come when FirstBatch no longer waits
};

/// Fetches instances one at a time, so that it can be told when each comes: in time those that
/// FirstBatch takes, and then those that it misses.
/// @param limit for all of them, longer than FirstBatch waits; nothing for as long as it takes
/// @return what the last fetch ended with, WBEM_S_TIMEDOUT when the limit was reached
HRESULT ForEachArrival(IEnumWbemClassObject* instances, std::uint32_t maxInstances,
                       std::optional<std::chrono::milliseconds> limit,
                       const std::function<void(const Arrival& arrival)>& visit);

}  // namespace orrery::machine
