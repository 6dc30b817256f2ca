#pragma once

#include "native/user_window.h"
#include "support/unique.h"

namespace orrery {

/// Lets the calling thread act as the user at the console, for the facts that differ from user to
/// user while the library runs as a service. Used and destroyed on one thread, since impersonation
/// belongs to the thread:
///
///     CUserContext user;
///     user.BeginImpersonation();
///     ...
///     user.EndImpersonation();
///
/// Leaving the scope in any other way, by an exception too, ends what was begun.
class CUserContext : public UserWindowSearch {
public:
    CUserContext() noexcept = default;
    CUserContext(const CUserContext&) = delete;
    CUserContext& operator=(const CUserContext&) = delete;
    ~CUserContext();

    /// Finds the user's window and impersonates the user of the process behind it. When any step
    /// fails the thread silently keeps its own identity.
    void BeginImpersonation();

    /// Gives the thread its own identity back, whether or not another was taken on.
    void EndImpersonation() noexcept;

    UniqueHandle token;  ///< of the user impersonated, or none

private:
    bool begun_ = false;
};

}  // namespace orrery
