#pragma once

#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <thread>

#include "support/com.h"

namespace orrery::machine {

/// Asks in a thread of its own, which is in a COM apartment, and waits for the answer.
/// @param ask holds all that it needs by value, since a thread that hangs outlives the call
/// @return nothing when there was no answer in that time
template <class Answer>
std::optional<Answer> AskWithin(std::chrono::seconds limit, std::function<Answer()> ask)
{
    const auto answer = std::make_shared<std::promise<Answer>>();
    auto result = answer->get_future();
    std::thread([answer, ask = std::move(ask)] {
        const ComApartment apartment;
        try {
            answer->set_value(ask());
        } catch (...) {
            answer->set_exception(std::current_exception());
        }
    }).detach();
    if (result.wait_for(limit) != std::future_status::ready)
        return std::nullopt;
    return result.get();
}

}  // namespace orrery::machine
