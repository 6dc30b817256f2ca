#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "store/inv_map.h"
#include "wmi/hardware_collector.h"

namespace orrery {

/// A category of facts.
struct Category {
    std::int32_t id;
    const wchar_t* name;  ///< the word that stands in its elapsed-time key
    std::uint32_t limit;  ///< upper bound on its instances; 0 for one that needs none
    void (*collect)(CHardwareCollector* collector, std::uint32_t limit, CInvMap* map);
};

/// All categories. The last has no name: it stands for dispatch by number, but no run dispatches it.
extern const std::array<Category, 14> kCategories;

/// What the hardware group dispatches, in this order.
inline constexpr std::span<const Category, 13> kHardwareCategories =
    std::span{kCategories}.first<13>();

/// Runs the collector of one category on the calling thread; an unknown id does nothing.
void RunCategory(std::int32_t id, CHardwareCollector* collector, CInvMap* map);

}  // namespace orrery
