#pragma once

#include <cstdint>

namespace orrery {

/// Whether a cancel was asked for since the library was loaded.
bool IsCancelled() noexcept;

/// Makes this run and every later one stop; there is no way back but a new load of the library.
void CancelRuns() noexcept;

/// One whole inventory run: collects the selected groups and writes the report.
/// @param path  the report's path as a text or a string-resource identifier; null writes nothing
/// @param flags group bits and settings, see orrery/inventory.h
/// @return 1 when the run was not cancelled before it waited for its workers, else 0; the same where
///         the run ends early for want of memory
std::int32_t RunInventory(const wchar_t* path, std::uint32_t flags) noexcept;

}  // namespace orrery
