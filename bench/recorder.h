#pragma once

#include <windows.h>
#include <oleauto.h>

#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "sim/interposer.h"

namespace orrery::bench {

using sim::Word;
using sim::Words;

/// One argument of a recorded call, ready to be passed again.
struct Argument {
    enum class Kind : std::uint8_t { kWord, kSlot, kSlots, kRoom, kThread } kind = Kind::kWord;
    Word word = 0;  ///< the number or pointer, the slot, the place in the room, or the thread
    std::array<std::uint8_t, 16>
        start{};  ///< of a room, which tells a structure's or buffer's size
};

struct RecordedCall {
    std::size_t function = 0;  ///< its place in sim::KnownCalls()
    Word original = 0;         ///< the function
    int method = -1;           ///< its place in the interface of the first argument; -1 for none
    bool isStatus = false;     ///< whether its result is the same each time
    std::array<Argument, sim::kMostArguments> arguments{};
    std::size_t count = 0;
    std::ptrdiff_t resultSlot = -1;
    std::uint32_t result = 0;
};

/// What one thread of a run called, in order.
struct ThreadCalls {
    std::vector<RecordedCall> calls;
    std::vector<Word> slots;             ///< handles and pointers that the calls give
    std::deque<std::wstring> wideTexts;  ///< what arguments point to
    std::deque<std::string> narrowTexts;
    std::deque<VARIANT> variants;
    std::vector<std::uint8_t> room;  ///< where calls write what nobody reads
    int deviations = 0;              ///< calls that the last run did not answer as when recorded
};

/// The platform calls of a library, recorded thread by thread, to be made again without the library.
class CallRecord {
public:
    /// Replaces the imports of a loaded library, and then the methods of the interfaces it is given,
    /// for as long as a run takes, and records what goes through them.
    /// @param run carries out one run on the calling thread
    /// @throw std::runtime_error when the library imports what nobody has classified
    CallRecord(HMODULE library, const std::function<void()>& run);
    ~CallRecord() = default;
    CallRecord(const CallRecord&) = delete;
    CallRecord& operator=(const CallRecord&) = delete;

    /// Makes all the calls again, in as many threads, and drops their answers.
    void Replay();

    std::size_t CallCount() const;
    std::size_t ThreadCount() const { return threads_.size(); }
    /// Calls of the last replay whose result was not the recorded one.
    int Deviations() const;

private:
    std::deque<ThreadCalls> threads_;
};

}  // namespace orrery::bench
