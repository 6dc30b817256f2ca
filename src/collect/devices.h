#pragma once

#include <cstdint>

#include "store/inv_map.h"
#include "wmi/hardware_collector.h"

namespace orrery {

/// The "CPU" category: section "Processor" from Win32_Processor. Without instances the section is
/// left out; there is no native source.
void CollectProcessor(CHardwareCollector* collector, std::uint32_t maxInstances, CInvMap* map);

/// The "USB" category: section "USBDevice" from Win32_USBController, or, when WMI gives none, the
/// devices of class "USB" in the native device list.
void CollectUsb(CHardwareCollector* collector, std::uint32_t maxInstances, CInvMap* map);

/// The "Video" category: section "VideoController" from the native device list, asked in the
/// logged-on user's context. Index 0 is always written, with empty values on a machine without an
/// adapter.
void CollectVideo(CHardwareCollector* collector, std::uint32_t maxInstances, CInvMap* map);

}  // namespace orrery
