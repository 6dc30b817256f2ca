#pragma once

#include <windows.h>

#include <array>
#include <atomic>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace orrery::prove {

/// Who makes a call: a category by its place in the order of dispatch, or the run itself.
constexpr int kTheRun = 0;
constexpr int kCallers = 14;

/// The word of a caller, such as "Network"; "run" for the run itself.
std::string CallerName(int caller);
/// @return nothing for an unknown word
std::optional<int> CallerOf(const std::string& name);

/// One call of a run: the number-th, from 1, that a caller makes.
struct Place {
    int caller = kTheRun;
    int number = 0;
};

/// The error codes that a failing call is given, in two dialects.
struct FaultCode {
    const char* name;
    DWORD windows;
    HRESULT result;  ///< a success code takes the place of the call's own
};
constexpr std::array<FaultCode, 4> kFaultCodes{{
    {"denied", ERROR_ACCESS_DENIED, E_ACCESSDENIED},
    {"memory", ERROR_NOT_ENOUGH_MEMORY, E_OUTOFMEMORY},
    {"more", ERROR_MORE_DATA, static_cast<HRESULT>(0x800706BA)},  // no server for remote calls
    {"late", ERROR_BUFFER_OVERFLOW, static_cast<HRESULT>(0x00040004)},  // WBEM_S_TIMEDOUT
}};

/// Counts the calls of a run, by caller, and picks the one that is to fail.
class Faults {
public:
    /// Begins a run. Without a place no call fails.
    void Begin(bool threaded, std::optional<Place> failing, const FaultCode* code);
    /// Ends it: calls are no longer counted.
    void End();

    /// Counts a call of the calling thread.
    /// @return the code that it is to fail with, if it is the one
    const FaultCode* Ask(const std::string& call);
    /// Lets what the calling thread does count for a caller, until it ends.
    static void ActAs(int caller);
    /// Who it acts for; negative for a thread that is not part of a run.
    static int Caller();
    /// The calling thread enters an apartment, as each caller does once and first of all; on one
    /// thread this tells which category is being collected.
    void EnterApartment();
    void LeaveApartment();

    /// The calls of each caller in the last run, without their arguments.
    std::array<std::vector<std::string>, kCallers> Calls() const;
    /// The call that failed; empty when the run did not come to it.
    std::string Failed() const;

private:
    std::atomic<bool> armed_{false};
    bool threaded_ = false;
    int entered_ = 0;
    Place failing_;
    const FaultCode* code_ = nullptr;
    mutable std::mutex lock_;
    std::array<std::vector<std::string>, kCallers> calls_;
    std::string failed_;
};

}  // namespace orrery::prove
