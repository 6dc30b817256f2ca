#pragma once

#include <functional>
#include <string_view>

namespace orrery {

/// Takes the next part of a text, so that nobody has to hold all of it.
using TextSink = std::function<void(std::string_view)>;

/// Hands out a whole text, part by part.
using TextSource = std::function<void(const TextSink&)>;

}  // namespace orrery
