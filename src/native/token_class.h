#pragma once

#include <windows.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace orrery {

/// How far a process token stands for a person at the console.
enum class TokenClass : std::int32_t {
    kNone = 0,         ///< no token, a logon made by the service manager or no known account
    kAccount = 1,      ///< an account of the system's own, or no sign of a logon
    kLogon = 2,        ///< belongs to a logon
    kInteractive = 3,  ///< belongs to somebody's interactive logon at this machine
};

/// One group of a token.
struct TokenGroup {
    std::uint32_t attributes = 0;  ///< the SE_GROUP_ flags
    bool isLocal = false;          ///< LOCAL
    bool isLogonSession = false;   ///< a logon session's own SID
    bool isInteractive = false;    ///< INTERACTIVE
};

/// Decides the class of a token from what can be read of it.
/// @param sourceName who made the token; nothing when that is not to be had, which tells nothing
/// @param readUser gives the first sub-authority of the user's SID, nothing when the user cannot be
///        read or is no known account; asked only when the source leaves the class open
/// @param readGroups gives the groups in the token's order, nothing when they cannot be read; asked
///        only when source and user leave the class open
TokenClass ClassOfToken(const std::optional<std::string>& sourceName,
                        const std::function<std::optional<std::uint32_t>()>& readUser,
                        const std::function<std::optional<std::vector<TokenGroup>>()>& readGroups);

/// The class of a process's token.
/// @param process a process handle that may query information
TokenClass ProcessTokenClass(HANDLE process);

}  // namespace orrery
