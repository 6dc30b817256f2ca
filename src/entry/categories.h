#pragma once

#include <array>
#include <cstdint>

#include "store/inv_map.h"
#include "wmi/hardware_collector.h"

namespace orrery {

/// A category of the run: its number, and the word that stands in its elapsed-time key.
struct Category {
    std::int32_t id;
    const wchar_t* name;
};

/// What the hardware group dispatches, in this order.
inline constexpr std::array<Category, 13> kHardwareCategories{{
    {22, L"SystemOverview"},
    {0, L"Network"},
    {1, L"Video"},
    {7, L"CPU"},
    {9, L"PhysicalDrive"},
    {13, L"USB"},
    {14, L"OS"},
    {15, L"BIOS"},
    {16, L"Memory"},
    {17, L"CompSys"},
    {19, L"Enclosure"},
    {20, L"BaseBoard"},
    {21, L"SystemSlot"},
}};

/// Runs the collector of one category on the calling thread; an unknown id does nothing.
void RunCategory(std::int32_t id, CHardwareCollector* collector, CInvMap* map);

}  // namespace orrery
