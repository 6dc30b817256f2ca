#include "recorder.h"

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <functional>
#include <map>
#include <mutex>
#include <numeric>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace orrery::bench {
namespace {

constexpr std::size_t kRoomBytes = 65536;  // for one argument

/// What a thread needs to know of its own past while it is recorded.
struct Memory {
    ThreadCalls* calls = nullptr;
    std::map<Word, std::size_t> slotOf{};
    std::map<Word, VARIANT*> variantAt{};
    int depth = 0;  ///< in a platform call, whose own calls are not the library's
};

/// The recording that goes on.
struct Recording {
    std::deque<ThreadCalls>* threads = nullptr;
    std::mutex lock;
    sim::Interposer* interposer = nullptr;
    std::unique_ptr<Memory> callersMemory;  ///< of the thread that records
} recording;

// A plain pointer, as threads of Windows that end while the process does cannot always run
// destructors.
thread_local Memory* memory = nullptr;

/// The interface that a place of this letter stores; null for anything else.
const char* InterfaceOf(char letter)
{
    switch (letter) {
        case 'L':
            return "IWbemLocator";
        case 'S':
            return "IWbemServices";
        case 'C':
            return "IClientSecurity";
        case 'E':
            return "IEnumWbemClassObject";
        case 'O':
        case 'N':
            return "IWbemClassObject";
        default:
            return nullptr;
    }
}

bool IsHandle(Word value)
{
    return value != 0 && value != static_cast<Word>(-1);
}

/// Keeps what a call gave, so that later calls that are handed it are recognised.
void Remember(Word value, std::size_t slot, char letter)
{
    if (!IsHandle(value))
        return;
    memory->slotOf[value] = slot;
    if (const char* const name = InterfaceOf(letter))
        recording.interposer->TakeMethods(value, name);
}

std::size_t AddSlots(std::size_t count)
{
    auto& slots = memory->calls->slots;
    slots.resize(slots.size() + count);
    return slots.size() - count;
}

Argument Room(std::size_t at, Word place)
{
    Argument argument{Argument::Kind::kRoom, at * kRoomBytes, {}};
    std::memcpy(argument.start.data(), reinterpret_cast<const void*>(place), argument.start.size());
    return argument;
}

Argument KnownSlot(Word value)
{
    const auto known = memory->slotOf.find(value);
    if (known == memory->slotOf.end())
        return {Argument::Kind::kWord, value, {}};
    return {Argument::Kind::kSlot, known->second, {}};
}

/// The handles of an array, in slots of their own that are next to each other.
Argument Handles(Word place, Word count)
{
    const Argument first = KnownSlot(*reinterpret_cast<const Word*>(place));
    for (Word at = 1; at < count; ++at)
        if (KnownSlot(reinterpret_cast<const Word*>(place)[at]).word != first.word + at)
            throw std::runtime_error("handles to wait for are not those of one row of calls");
    return {Argument::Kind::kSlots, first.word, {}};
}

Argument Text(const wchar_t* text, std::size_t length)
{
    const auto& kept = memory->calls->wideTexts.emplace_back(text, length);
    return {Argument::Kind::kWord, reinterpret_cast<Word>(kept.c_str()), {}};
}

Argument Variant(Word place)
{
    auto [known, isNew] = memory->variantAt.try_emplace(place);
    if (isNew)
        known->second = &memory->calls->variants.emplace_back();
    return {Argument::Kind::kWord, reinterpret_cast<Word>(known->second), {}};
}

Argument ArgumentOf(char letter, std::size_t at, const Words& words)
{
    const Word word = words[at];
    if (word == 0)
        return {};
    switch (letter) {
        case 'w':
            return Text(reinterpret_cast<const wchar_t*>(word),
                        std::wcslen(reinterpret_cast<const wchar_t*>(word)));
        case 'n':
            return Text(reinterpret_cast<const wchar_t*>(word), words[at + 1]);
        case 'a':
            return {Argument::Kind::kWord,
                    reinterpret_cast<Word>(
                        memory->calls->narrowTexts.emplace_back(reinterpret_cast<const char*>(word))
                            .c_str()),
                    {}};
        case 'h':
            return KnownSlot(word);
        case 'N':
            return {Argument::Kind::kSlots, AddSlots(words[at - 1]), {}};
        case 'W':
            return Handles(word, words[at - 1]);
        case 'p':
            return Room(at, word);
        case 'V':
            return Variant(word);
        case 'v':
        case 'T':
            return {Argument::Kind::kWord, word, {}};
        default:
            return {Argument::Kind::kSlots, AddSlots(1), {}};
    }
}

/// Enters what a call stored behind the places that it was given.
void RememberOutputs(const RecordedCall& call, std::string_view letters, const Words& words)
{
    for (std::size_t at = 0; at < letters.size(); ++at) {
        if (call.arguments[at].kind != Argument::Kind::kSlots || letters[at] == 'W')
            continue;
        const std::size_t count = letters[at] == 'N' ? words[at - 1] : 1;
        for (std::size_t each = 0; each < count; ++each)
            Remember(reinterpret_cast<const Word*>(words[at])[each], call.arguments[at].word + each,
                     letters[at]);
    }
}

/// What a recorded thread is started with.
struct ThreadStart {
    LPTHREAD_START_ROUTINE run;
    void* argument;
    ThreadCalls* calls;
};

DWORD WINAPI RunRecorded(void* argument)
{
    const std::unique_ptr<ThreadStart> start{static_cast<ThreadStart*>(argument)};
    Memory own{.calls = start->calls};
    memory = &own;
    const DWORD result = start->run(start->argument);
    memory = nullptr;
    return result;
}

/// Starts a thread that is recorded in its turn.
void BeginThread(RecordedCall& call, Words& words)
{
    const std::lock_guard guard{recording.lock};
    auto& calls = recording.threads->emplace_back();
    call.arguments[2] = {Argument::Kind::kThread, reinterpret_cast<Word>(&calls), {}};
    call.arguments[3] = {};
    words[3] =
        reinterpret_cast<Word>(new ThreadStart{reinterpret_cast<LPTHREAD_START_ROUTINE>(words[2]),
                                               reinterpret_cast<void*>(words[3]), &calls});
    words[2] = reinterpret_cast<Word>(&RunRecorded);
}

Word Record(std::size_t function, Words& words)
{
    const sim::PlatformCall& known = sim::KnownCalls().calls[function];
    const std::string_view letters = known.arguments;
    RecordedCall call{.function = function,
                      .original = recording.interposer->Original(function),
                      .method = known.method,
                      .isStatus = known.result == "status",
                      .count = letters.size()};
    for (std::size_t at = 0; at < letters.size(); ++at)
        call.arguments[at] = ArgumentOf(letters[at], at, words);
    if (letters.find('T') != std::string_view::npos)
        BeginThread(call, words);

    const Word result = recording.interposer->CallOriginal(function, words);
    const DWORD error = GetLastError();
    call.result = static_cast<std::uint32_t>(result);
    RememberOutputs(call, letters, words);
    if (known.result == "handle") {
        call.resultSlot = static_cast<std::ptrdiff_t>(AddSlots(1));
        Remember(result, static_cast<std::size_t>(call.resultSlot), 'h');
    }
    memory->calls->calls.push_back(call);
    SetLastError(error);
    return result;
}

Word OnCall(std::size_t function, Words& words)
{
    if (memory == nullptr || memory->depth != 0 ||
        sim::KnownCalls().calls[function].arguments == "-")
        return recording.interposer->CallOriginal(function, words);
    ++memory->depth;
    const Word result = Record(function, words);
    --memory->depth;
    return result;
}

DWORD WINAPI ReplayThread(void* thread);

void ReplayCalls(ThreadCalls& thread)
{
    thread.deviations = 0;
    for (const RecordedCall& call : thread.calls) {
        Words words{};
        for (std::size_t at = 0; at < call.count; ++at) {
            const Argument& argument = call.arguments[at];
            switch (argument.kind) {
                case Argument::Kind::kWord:
                    words[at] = argument.word;
                    break;
                case Argument::Kind::kSlot:
                    words[at] = thread.slots[argument.word];
                    break;
                case Argument::Kind::kSlots:
                    words[at] = reinterpret_cast<Word>(&thread.slots[argument.word]);
                    break;
                case Argument::Kind::kRoom:
                    words[at] = reinterpret_cast<Word>(&thread.room[argument.word]);
                    std::memcpy(&thread.room[argument.word], argument.start.data(),
                                argument.start.size());
                    break;
                case Argument::Kind::kThread:
                    words[at] = reinterpret_cast<Word>(&ReplayThread);
                    words[++at] = argument.word;
                    break;
            }
        }
        const Word result = sim::Interposer::Invoke(
            call.function,
            call.method < 0 ? call.original
                            : (*reinterpret_cast<const Word* const*>(words[0]))[call.method],
            words);
        if (call.resultSlot >= 0)
            thread.slots[static_cast<std::size_t>(call.resultSlot)] = result;
        if (call.isStatus && static_cast<std::uint32_t>(result) != call.result)
            ++thread.deviations;
    }
}

DWORD WINAPI ReplayThread(void* thread)
{
    ReplayCalls(*static_cast<ThreadCalls*>(thread));
    return 0;
}

}  // namespace

CallRecord::CallRecord(HMODULE library, const std::function<void()>& run)
{
    recording.threads = &threads_;
    recording.callersMemory = std::make_unique<Memory>();
    recording.callersMemory->calls = &threads_.emplace_back();
    sim::Interposer interposer{library, OnCall};
    recording.interposer = &interposer;
    memory = recording.callersMemory.get();
    run();
    memory = nullptr;
    for (auto& thread : threads_)
        thread.room.resize(sim::kMostArguments * kRoomBytes);
}

void CallRecord::Replay()
{
    ReplayCalls(threads_.front());
}

std::size_t CallRecord::CallCount() const
{
    return std::transform_reduce(threads_.begin(), threads_.end(), std::size_t{0}, std::plus<>{},
                                 [](const ThreadCalls& thread) { return thread.calls.size(); });
}

int CallRecord::Deviations() const
{
    return std::transform_reduce(threads_.begin(), threads_.end(), 0, std::plus<>{},
                                 [](const ThreadCalls& thread) { return thread.deviations; });
}

}  // namespace orrery::bench
