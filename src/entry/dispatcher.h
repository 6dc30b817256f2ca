#pragma once

#include <windows.h>

#include <array>
#include <cstdint>

#include "store/inv_map.h"

namespace orrery {

/// What a worker is handed. Allocated with malloc by the dispatcher and freed by the worker, on
/// every way out.
struct CategoryJob {
    std::int32_t id;
    CInvMap* map;
    const wchar_t* name;  ///< a text, or the identifier of a string resource
};

/// Starts work by number and waits for all of it.
class CDispatcher {
public:
    /// @param threadedDispatch whether every category gets a thread of its own
    CDispatcher(bool threadedDispatch, CInvMap* inventory) noexcept
        : threaded(threadedDispatch), map(inventory)
    {}

    /// @param id   category number
    /// @param name word of the elapsed-time key: a text that outlives the work, or the identifier of
    ///             a string resource
    virtual void Dispatch(std::int32_t id, const wchar_t* name) = 0;

    /// Waits for every started worker, without a time limit, and closes its handle.
    void WaitAll();

    bool threaded;
    CInvMap* map;
    /// At most 32 categories may be dispatched between two waits; the place is not checked.
    std::array<HANDLE, 32> threadHandles{};
    std::int32_t threadCount = 0;
};

/// Runs the hardware categories, each on a thread of its own or at once on the caller's.
class CHardwareDispatcher : public CDispatcher {
public:
    using CDispatcher::CDispatcher;

    /// Does nothing once the process is cancelled.
    void Dispatch(std::int32_t id, const wchar_t* name) override;
};

/// A worker: runs one category with a collector of its own and records the time it took. Throws
/// nothing: a category that runs out of memory loses the facts that it has not stored by then.
/// @param job a CategoryJob, which is freed
/// @return 0
DWORD WINAPI CategoryThreadProc(void* job) noexcept;

/// Stores the elapsed-time entry of a category under "ET\" and its name, without an index.
void RecordElapsedTime(const WideString& name, CInvMap* map, std::uint32_t milliseconds);

}  // namespace orrery
