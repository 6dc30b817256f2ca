#include "prove/rig.h"

#include <array>
#include <stdexcept>

#include "prove/texts.h"

namespace orrery::prove {
namespace {

UniqueModule LoadInventory()
{
    CountTexts();  // before the first text is made
    UniqueModule library{LoadLibraryW(L"orrery.dll")};
    if (!library)
        throw std::runtime_error("there is no orrery.dll beside this program");
    return library;
}

std::string Left(const char* what, int before, int after)
{
    return after > before ? "; " + std::to_string(after - before) + " " + what + " left"
                          : std::string{};
}

}  // namespace

std::uintptr_t FreshHandle()
{
    std::array<UniqueHandle, 64> events;
    for (UniqueHandle& event : events)
        event.reset(CreateEventW(nullptr, FALSE, FALSE, nullptr));
    return reinterpret_cast<std::uintptr_t>(events.back().get());
}

UniqueHandle InheritableEvent()
{
    SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
    return UniqueHandle{CreateEventW(&inheritable, TRUE, FALSE, nullptr)};
}

std::wstring MachineFile(const wchar_t* name)
{
    return L"" ORRERY_TEST_DATA "/machines/" + std::wstring{name} + L".machine";
}

Rig::Rig() : library_(LoadInventory()), gates_(library_.get()) {}

void Rig::Load(const std::wstring& machineFile)
{
    machine_.reset();
    machine_.emplace(machineFile);
    machine_->wmi().LetJudge([this](const std::string& line) -> std::optional<HRESULT> {
        if (gates_.onCall && Faults::Caller() >= 0)
            gates_.onCall(line);
        const FaultCode* const code = gates_.faults.Ask(line);
        return code != nullptr ? std::optional{code->result} : std::nullopt;
    });
}

Facts Rig::Run(bool threaded, std::optional<Place> failing, const FaultCode* code, bool alone)
{
    constexpr int kTimes = 5;
    const std::uintptr_t handle = FreshHandle();
    Facts facts = RunOnce(threaded, failing, code, alone);
    // A lock of this program takes a handle for good at the first wait for it, so that only a run
    // that leaves one each time tells anything.
    bool leavesHandle = alone && FreshHandle() > handle;
    for (int time = 1; leavesHandle && time < kTimes; ++time) {
        const std::uintptr_t before = FreshHandle();
        RunOnce(threaded, failing, code, alone);
        leavesHandle = FreshHandle() > before;
    }
    if (leavesHandle)
        facts.leftovers += "; a handle left";
    return facts;
}

Facts Rig::RunOnce(bool threaded, std::optional<Place> failing, const FaultCode* code, bool alone)
{
    constexpr DWORD kSeveral = 8;
    const int blocks = Gates::BlocksHeld();
    const int texts = TextsHeld();
    gates_.faults.Begin(threaded, failing, code);
    std::int32_t result = 0;
    const std::wstring report = CollectFrom(*machine_, threaded ? kSeveral : 1, &result);
    gates_.faults.End();

    Facts facts = FactsOf(report);
    facts.result = result;
    facts.leftovers = gates_.ledger.Settle();
    facts.leftovers += Left("blocks of memory", blocks, Gates::BlocksHeld());
    if (alone)
        facts.leftovers += Left("COM texts", texts, TextsHeld());
    facts.leftovers += Left("COM objects", 0, machine_->wmi().LiveObjects());
    facts.leftovers += Left("WLAN buffers", 0, static_cast<int>(machine_->wlan().blocks.size()));
    machine_->wlan().freed.clear();
    if (machine_->wmi().LiveObjects() == 0)
        machine_->wmi().Forget();
    return facts;
}

}  // namespace orrery::prove
