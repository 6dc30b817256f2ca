#pragma once

#include <cstdint>
#include <cstring>

namespace orrery {

/// The number in a field that Windows fills, which may be none of those that the SDK's enumeration
/// has; reading it as one of them would be undefined then.
template <class Enumeration>
std::int32_t NumberOf(const Enumeration& field)
{
    std::int32_t number = 0;
    static_assert(sizeof field == sizeof number);
    std::memcpy(&number, &field, sizeof number);
    return number;
}

}  // namespace orrery
