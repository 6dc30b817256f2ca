#include "client/machine/arrivals.h"

#include <algorithm>

#include "wmi/session.h"

namespace orrery::machine {

HRESULT ForEachArrival(IEnumWbemClassObject* instances, std::uint32_t maxInstances,
                       std::optional<std::chrono::milliseconds> limit,
                       const std::function<void(const Arrival& arrival)>& visit)
{
    const auto start = std::chrono::steady_clock::now();
    const auto passed = [start] {
        return std::chrono::duration_cast<std::chrono::milliseconds>(
                   std::chrono::steady_clock::now() - start)
            .count();
    };
    HRESULT result = S_OK;
    bool isLate = false;
    for (std::uint32_t left = maxInstances; left > 0;) {
        const auto end = !isLate ? kBatchMilliseconds : limit ? limit->count() : 0;
        const long wait = isLate && !limit
                              ? static_cast<long>(WBEM_INFINITE)
                              : static_cast<long>(std::max<long long>(end - passed(), 0));
        const Fetched fetched = FetchInstances(instances, wait, 1);
        result = fetched.result;
        if (result == static_cast<HRESULT>(WBEM_S_TIMEDOUT) && !isLate) {
            isLate = true;
            continue;
        }
        if (FAILED(result) || fetched.slots.empty())
            break;
        --left;
        // A wait may end a little early.
        const auto after = std::max<long long>(passed(), isLate ? kBatchMilliseconds : 0);
        visit({fetched.slots.front().get(), static_cast<unsigned>(after), isLate});
    }
    return result;
}

}  // namespace orrery::machine
