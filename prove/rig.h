#pragma once

#include <windows.h>

#include <optional>
#include <string>

#include "prove/facts.h"
#include "prove/gates.h"
#include "sim/whole_machine.h"
#include "support/unique.h"

namespace orrery::prove {

/// orrery.dll, behind gates, on a made machine. One to a process.
class Rig {
public:
    /// @throw std::runtime_error when there is no library
    Rig();

    /// Sets up the machine to collect from, in place of the one before.
    /// @throw std::runtime_error when there is no such machine
    void Load(const std::wstring& machineFile);

    /// Collects once.
    /// @param failing the call that fails, if one is to
    /// @param alone   whether nothing else of the process takes handles or texts meanwhile
    Facts Run(bool threaded, std::optional<Place> failing = {}, const FaultCode* code = nullptr,
              bool alone = true);

    const Faults& faults() const noexcept { return gates_.faults; }
    HMODULE library() const noexcept { return library_.get(); }
    /// See Gates::onCall; WMI's calls are told too.
    void OnCall(std::function<void(const std::string& call)> observer)
    {
        gates_.onCall = std::move(observer);
    }

private:
    Facts RunOnce(bool threaded, std::optional<Place> failing, const FaultCode* code, bool alone);

    UniqueModule library_;
    Gates gates_;
    std::optional<sim::WholeMachine> machine_;
};

/// The value of the last of many fresh handles: it rises with every handle that was not given back,
/// since free places are filled from below.
std::uintptr_t FreshHandle();

/// What a process of this program's own needs to inherit.
UniqueHandle InheritableEvent();

/// A machine of the test data.
std::wstring MachineFile(const wchar_t* name);

}  // namespace orrery::prove
