#include "client/fleet/views.h"

#include <algorithm>
#include <array>

namespace orrery::fleet {
namespace {

constexpr std::array<View, 0> kViews{};

}  // namespace

std::span<const View> Views() noexcept
{
    return kViews;
}

const View* FindView(std::string_view name) noexcept
{
    const auto found = std::ranges::find(kViews, name, &View::name);
    return found != kViews.end() ? &*found : nullptr;
}

std::string ViewStatements(Engine /*engine*/)
{
    return {};
}

}  // namespace orrery::fleet
