#pragma once

#include <cstdint>

#include "store/wide_string.h"

namespace orrery {

/// The native computer-system record. The collectors that describe the machine as a whole make one
/// for the duration of their work; no fact is taken from it yet.
class CComputerSystem {
public:
    CComputerSystem() = default;
    CComputerSystem(const CComputerSystem&) = delete;
    CComputerSystem& operator=(const CComputerSystem&) = delete;
    virtual ~CComputerSystem() = default;
};

/// The machine's own DNS host name, without its domain; empty when the system cannot tell.
/// Source: GetComputerNameExW, ComputerNamePhysicalDnsHostname.
WideString GetPhysicalHostName();

/// The text "name" under "SOFTWARE\Veltrane Ltd\Lessonvale", at most 500 characters; empty when it
/// is missing. Stands on purpose though nothing calls it: the report has no such fact.
WideString ReadLessonvaleName();

/// The REG_DWORD "EnclosureType" under the same key; 0 when it is missing. Stands on purpose though
/// nothing calls it: the report has no such fact.
std::uint32_t ReadLessonvaleEnclosureType();

/// The full name of a chassis code, such as "Mini Tower"; empty for codes without one. Stands on
/// purpose though nothing calls it: the report shows the coarser form factor.
/// Source of the codes: the SMBIOS chassis types.
WideString ChassisCodeName(std::int32_t code);

}  // namespace orrery
