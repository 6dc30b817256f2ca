#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <utility>

namespace orrery {

/// Takes the next part of a text, so that nobody has to hold all of it.
using TextSink = std::function<void(std::string_view)>;

/// Hands out a whole text, part by part.
using TextSource = std::function<void(const TextSink&)>;

/// A text that is there already, in one part.
inline TextSource WholeText(std::string text)
{
    return [text = std::move(text)](const TextSink& sink) { sink(text); };
}

}  // namespace orrery
