#pragma once

#include <windows.h>

#include <string>

namespace orrery {

/// The group of those logged on at the machine itself, LOCAL (S-1-2-0). Built on first use and kept
/// for the life of the process.
/// @return the SID, which stays the library's; null when memory is short
PSID LocalSid() noexcept;

/// The group of those logged on to work interactively, INTERACTIVE (S-1-5-4); kept as LocalSid is.
PSID InteractiveSid() noexcept;

/// Tells whether a SID names one logon session: S-1-5-5 followed by the two halves of its number.
bool IsLogonSessionSid(PSID sid) noexcept;

/// The name of the LocalSystem account in the system's language. Kept for the life of the process
/// once the system has told it.
/// @return the name; "SYSTEM" when it cannot be looked up, and the next call then tries again
std::wstring LocalSystemName();

}  // namespace orrery
