#pragma once

#include <cstdint>

#include "store/inv_map.h"
#include "wmi/hardware_collector.h"
#include "wmi/wql_query.h"

namespace orrery {

constexpr WqlQuery kTpmQuery{
    L"\\\\.\\root\\CIMV2\\Security\\MicrosoftTpm", RefusedBlanket::kEndsSession, L"Win32_Tpm",
    L"SELECT IsActivated_InitialValue, IsEnabled_InitialValue, SpecVersion FROM Win32_Tpm"};
constexpr const wchar_t* kMemoryArrayClass = L"Win32_PhysicalMemoryArray";

// Keys under HKEY_LOCAL_MACHINE.
constexpr const wchar_t* kFirmwareTimeKey =
    L"SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Power";
constexpr const wchar_t* kSecureBootKey = L"SYSTEM\\CurrentControlSet\\Control\\SecureBoot\\State";

/// Writes the single facts that no class descriptor covers, all of them instance 0: in
/// "SystemOverview" the firmware's start time, the state of Secure Boot and the TPM, in "BIOS" the
/// firmware mode and in "PhysicalMemoryLocation" the number of memory slots. A missing fact is
/// written empty or as its "off" value; only the slots are left out.
void CollectOverview(CHardwareCollector* collector, CInvMap* map);

/// Asks WMI for the TPM; what it does not tell stays as it is.
/// @param version the standards it follows, such as "2.0, 0, 1.38"
/// @param activated, enabled non-zero for yes; the caller presets them to 0
void ReadTpm(CHardwareCollector* collector, WideString* version, std::uint32_t* activated,
             std::uint32_t* enabled);

}  // namespace orrery
