#pragma once

#include <span>
#include <string>
#include <string_view>

#include "client/fleet/database.h"

namespace orrery::fleet {

/// An answer about the fleet: a view of the same name and columns in both engines.
struct View {
    std::string_view name, about;
    std::span<const std::string_view> columns;
};

/// The answers in the order in which they are listed.
std::span<const View> Views() noexcept;

/// @return null for what is none
const View* FindView(std::string_view name) noexcept;

/// The statements that make all views anew, with those that they are built of.
std::string ViewStatements(Engine engine);

}  // namespace orrery::fleet
