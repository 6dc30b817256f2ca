#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "sim/call_log.h"
#include "sim/detour.h"
#include "sim/scenario.h"

namespace orrery::sim {

class Machine;

/// A machine whose WMI answers from a scenario (see Scenario). While it lives, every thread of the
/// process that creates the WMI locator gets the simulated one, provided that it has initialised
/// COM as the real one demands; other classes are created as usual. One at a time. An object
/// released once too often, or used after its release, ends the process with a message.
///
/// Calls are named as in "IWbemServices::ExecQuery", their trace lines have the form
/// "IWbemServices::ExecQuery(WQL, SELECT * FROM X, 0x30)"; wherever a call is asked for, a whole
/// line selects just the calls with these arguments. Contexts, the proxy of a blanket and places
/// for results are left out of the lines. All members may be used from any thread.
class Simulation {
public:
    /// @throw std::runtime_error for a malformed scenario, std::logic_error for a second simulation
    explicit Simulation(std::wstring_view scenario);
    ~Simulation();
    Simulation(const Simulation&) = delete;
    Simulation& operator=(const Simulation&) = delete;

    /// Lets a call end with a result of the test's choice. With a failure the call stores nulls and
    /// does nothing else; a success code is given in place of the call's own.
    /// @param nth which of these calls from now on, the first is 1; 0 for every one
    void FailCall(std::string call, int nth, HRESULT with) { calls_.Add({call, nth, with}); }
    /// The same for the nth of all simulated calls together.
    void FailNthCall(int nth, HRESULT with) { FailCall({}, nth, with); }
    /// Lets every such call wait before it does anything.
    void DelayCall(std::string call, int milliseconds) { calls_.Add({call, 0, {}, milliseconds}); }
    /// Shows each trace line to an observer, in the calling thread and before the call takes
    /// effect.
    template <class Observer>
    void OnCall(Observer observer)
    {
        LetJudge([observer](const std::string& line) {
            observer(line);
            return std::optional<HRESULT>{};
        });
    }
    /// Asks a judge in the observer's place. A result that it gives is taken as one of FailCall.
    void LetJudge(CallLog::Judge judge) { calls_.LetJudge(std::move(judge)); }
    /// Forgets the calls and the objects so far, so that a process can run for long. What was
    /// released is no longer recognised when it is used.
    /// @throw std::logic_error while an object is alive
    void Forget();

    /// For measurements: the trace stays as it is, so that calls cost little time and no memory.
    void StopTrace() { calls_.KeepNoLines(); }
    std::vector<std::string> Trace() const { return calls_.Lines(); }
    int CallCount() const { return static_cast<int>(Trace().size()); }
    /// Simulated COM objects with references.
    int LiveObjects() const;

private:
    Machine* machine_;
    CallLog& calls_;
    Detour detour_;
};

}  // namespace orrery::sim
