#pragma once

#include <chrono>
#include <future>
#include <optional>
#include <thread>
#include <utility>

#include "support/com.h"

namespace orrery::machine {

/// Asks Windows something that may never come back, on a thread of its own, which is in a COM
/// apartment.
/// @param ask owns all that it works with; where it takes longer, its thread is left to itself
/// @return what it gives; nothing when the time is over
template <class Ask>
auto AskWithin(std::chrono::milliseconds limit, Ask ask)
    -> std::optional<decltype(std::declval<Ask&>()())>
{
    std::packaged_task<decltype(ask())()> task{[ask = std::move(ask)]() mutable {
        const ComApartment apartment;
        return ask();
    }};
    auto answer = task.get_future();
    std::thread worker{std::move(task)};
    if (answer.wait_for(limit) != std::future_status::ready) {
        worker.detach();
        return std::nullopt;
    }
    worker.join();
    return answer.get();
}

}  // namespace orrery::machine
