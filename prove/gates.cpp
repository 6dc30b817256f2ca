#include "prove/gates.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "entry/categories.h"
#include "entry/dispatcher.h"
#include "prove/desktop.h"

namespace orrery::prove {
namespace {

using sim::Word;

std::atomic<int> blocksHeld{0};

Word FailedResult(const std::string& fails, const FaultCode& code)
{
    SetLastError(code.windows);
    return fails == "code"     ? code.windows
           : fails == "result" ? static_cast<DWORD>(code.result)
           : fails == "ones"   ? ~Word{0}
                               : 0;
}

bool Succeeded(const sim::PlatformCall& call, Word result)
{
    const auto status = static_cast<DWORD>(result);  // the rest of a number's word is not set
    return call.fails == "code"      ? status == 0
           : call.fails == "result"  ? SUCCEEDED(static_cast<HRESULT>(status))
           : call.fails == "ones"    ? result != ~Word{0}
           : call.result == "handle" ? result != 0
                                     : status != 0;
}

struct WorkerStart {
    LPTHREAD_START_ROUTINE run;
    void* job;
    int caller;
};

DWORD WINAPI RunWorker(void* argument)
{
    const std::unique_ptr<WorkerStart> start{static_cast<WorkerStart*>(argument)};
    Faults::ActAs(start->caller);
    return start->run(start->job);
}

/// Lets a worker act for its category. A thread that cannot be started is not among the faults: the
/// run ends then without waiting for the others, as documented.
void ActForCategory(sim::Words& words)
{
    auto* const job = reinterpret_cast<CategoryJob*>(words[3]);
    const auto at = std::find_if(kHardwareCategories.begin(), kHardwareCategories.end(),
                                 [job](const Category& each) { return each.id == job->id; });
    words[3] = reinterpret_cast<Word>(
        new WorkerStart{reinterpret_cast<LPTHREAD_START_ROUTINE>(words[2]), job,
                        static_cast<int>(at - kHardwareCategories.begin()) + 1});
    words[2] = reinterpret_cast<Word>(&RunWorker);
}

}  // namespace

Gates::Gates(HMODULE library)
    : interposer_(library, [this](std::size_t at, sim::Words& words) { return OnCall(at, words); })
{
    for (const MadeAnswer& made : MadeAnswers())
        interposer_.Replace(made.name, made.answer);
}

Word Gates::OnCall(std::size_t at, sim::Words& words)
{
    const sim::PlatformCall& call = sim::KnownCalls().calls[at];
    if (call.name == "CoInitialize")
        faults.EnterApartment();
    const bool isMemory = !call.uses.empty() && call.uses[0].resource == "memory";
    if (onCall && !isMemory && Faults::Caller() >= 0)
        onCall(call.name);
    if (call.fails != "never") {
        const char* const what =
            call.name == "GetProcAddress" ? reinterpret_cast<const char*>(words[1]) : nullptr;
        const FaultCode* const code =
            faults.Ask(what == nullptr ? call.name : call.name + " of " + what);
        if (code != nullptr && (call.fails != "result" || FAILED(code->result)))
            return FailedResult(call.fails, *code);
    }
    if (call.name == "CreateThread")
        ActForCategory(words);
    Note(call, false, 0, words);
    const Word result = interposer_.CallOriginal(at, words);
    const DWORD error = GetLastError();
    // Each collector keeps one reference to this library on purpose.
    if (Succeeded(call, result) &&
        (call.name != "LoadLibraryW" ||
         std::wstring_view{reinterpret_cast<const wchar_t*>(words[0])} != L"wlanapi.dll"))
        Note(call, true, result, words);
    if (call.name == "CoUninitialize")
        faults.LeaveApartment();
    SetLastError(error);
    return result;
}

void Gates::Note(const sim::PlatformCall& call, bool isTaken, Word result, const sim::Words& words)
{
    for (const sim::ResourceUse& use : call.uses) {
        if (use.isTaken != isTaken)
            continue;
        Word which = use.place == 0 ? result : GetCurrentThreadId();
        if (use.place > 0) {
            const Word word = words[static_cast<std::size_t>(use.place) - 1];
            which = isTaken ? *reinterpret_cast<const Word*>(word) : word;
        }
        if (use.resource == "memory")
            // Counted and not failed: a category that runs out of memory loses facts of its own.
            blocksHeld += which == 0 ? 0 : isTaken ? 1 : -1;
        else if (isTaken)
            ledger.Take(use.resource, reinterpret_cast<const void*>(which));
        else
            ledger.Give(use.resource, reinterpret_cast<const void*>(which));
    }
}

int Gates::BlocksHeld()
{
    return blocksHeld;
}

}  // namespace orrery::prove
