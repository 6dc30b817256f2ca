#pragma once

#include <cstddef>
#include <span>
#include <string>

#include "client/report/sidecar.h"

namespace orrery::machine {

/// The UUID in the tables of SMBIOS, in the order of bytes in which Windows' own tools print it.
/// @param table what GetSystemFirmwareTable gives for "RSMB"; it need not keep to any rule
/// @return empty where there is none, or one of zeros or ones only, which says that it was not set
std::string SmbiosUuid(std::span<const std::byte> table);

/// SHA-256 in hexadecimal digits, as Windows works it out; empty where it cannot.
std::string Sha256(const std::string& bytes);

/// The version that a program or library tells of itself; empty where it tells none.
std::string FileVersion(const std::wstring& path);

/// Asks this PC for what a sidecar tells of it: the rights, the UUID, the installation.
void AskMachine(report::Sidecar* sidecar);

}  // namespace orrery::machine
