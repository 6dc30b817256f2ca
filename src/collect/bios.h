#pragma once

#include "native/computer_bios.h"
#include "store/inv_map.h"
#include "wmi/hardware_collector.h"

namespace orrery {

/// The "BIOS" category: writes the seven facts of section "BIOS" at index 0, each from WMI or else
/// from the firmware record, and the memory modules of section "PhysicalMemoryLocation".
void CollectBios(CHardwareCollector* collector, CInvMap* map);

/// Writes section "BIOS"; every fact is written, empty when neither source has it. "Manufacturer",
/// "InstallDate" and "Version" come from the primary Win32_BIOS instance, "SerialNumber" from the
/// first one.
void WriteBiosFacts(CHardwareCollector* collector, CInvMap* map, CComputerBios* firmware);

/// Writes section "PhysicalMemoryLocation" from the firmware record, or from Win32_PhysicalMemory
/// when the record knows no memory device.
void WriteMemoryModules(CHardwareCollector* collector, CInvMap* map, const CComputerBios& firmware);

/// A CIM datetime ("20190315000000.000000+000") as "03/15/19". A year below 1970 counts as 1970, a
/// missing part as 0.
WideString FormatReleaseDate(std::wstring_view cimDateTime);

}  // namespace orrery
