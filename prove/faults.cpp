#include "prove/faults.h"

#include "entry/categories.h"

namespace orrery::prove {
namespace {

static_assert(kCallers == kHardwareCategories.size() + 1);

/// Which caller the thread acts for; none for threads that are not part of the run.
thread_local int currentCaller = -1;

}  // namespace

std::string CallerName(int caller)
{
    if (caller == kTheRun)
        return "run";
    const std::wstring_view name = kHardwareCategories[static_cast<std::size_t>(caller - 1)].name;
    std::string text;
    for (const wchar_t letter : name)
        text += static_cast<char>(letter);
    return text;
}

std::optional<int> CallerOf(const std::string& name)
{
    for (int caller = 0; caller < kCallers; ++caller)
        if (CallerName(caller) == name)
            return caller;
    return std::nullopt;
}

void Faults::Begin(bool threaded, std::optional<Place> failing, const FaultCode* code)
{
    threaded_ = threaded;
    entered_ = 0;
    failing_ = failing.value_or(Place{});
    code_ = code;
    failed_.clear();
    for (auto& calls : calls_)
        calls.clear();
    ActAs(kTheRun);
    armed_ = true;
}

void Faults::End()
{
    armed_ = false;
    ActAs(-1);
}

const FaultCode* Faults::Ask(const std::string& call)
{
    if (!armed_ || currentCaller < 0)
        return nullptr;
    const std::lock_guard hold{lock_};
    auto& calls = calls_[static_cast<std::size_t>(currentCaller)];
    calls.push_back(call.substr(0, call.find('(')));
    if (currentCaller != failing_.caller || static_cast<int>(calls.size()) != failing_.number)
        return nullptr;
    failed_ = call;
    return code_;
}

void Faults::ActAs(int caller)
{
    currentCaller = caller;
}

int Faults::Caller()
{
    return currentCaller;
}

void Faults::EnterApartment()
{
    if (armed_ && !threaded_ && entered_ < kCallers)
        ActAs(entered_++);
}

void Faults::LeaveApartment()
{
    if (armed_ && !threaded_)
        ActAs(kTheRun);
}

std::array<std::vector<std::string>, kCallers> Faults::Calls() const
{
    const std::lock_guard hold{lock_};
    return calls_;
}

std::string Faults::Failed() const
{
    const std::lock_guard hold{lock_};
    return failed_;
}

}  // namespace orrery::prove
