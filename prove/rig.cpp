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
        const FaultCode* const code = gates_.faults.Ask(line);
        return code != nullptr ? std::optional{code->result} : std::nullopt;
    });
}

Facts Rig::Run(bool threaded, std::optional<Place> failing, const FaultCode* code, bool alone)
{
    constexpr DWORD kSeveral = 8;
    const Holdings before = Count();
    gates_.faults.Begin(threaded, failing, code);
    const std::wstring report = CollectFrom(&*machine_, threaded ? kSeveral : 1);
    gates_.faults.End();
    Facts facts = FactsOf(report);
    facts.leftovers = Leftovers(before, alone);
    const std::uintptr_t handle = FreshHandle();
    facts.handleRise = handle > before.freshHandle ? handle - before.freshHandle : 0;
    return facts;
}

Rig::Holdings Rig::Count()
{
    return {Gates::BlocksHeld(), TextsHeld(), FreshHandle()};
}

std::string Rig::Leftovers(const Holdings& before, bool alone)
{
    const Holdings after = Count();
    std::string text = gates_.ledger.Settle();
    text += Left("blocks of memory", before.blocks, after.blocks);
    if (alone)
        text += Left("COM texts", before.texts, after.texts);
    text += Left("COM objects", 0, machine_->wmi().LiveObjects());
    text += Left("WLAN buffers", 0, static_cast<int>(machine_->wlan().blocks.size()));
    machine_->wlan().freed.clear();
    if (machine_->wmi().LiveObjects() == 0)
        machine_->wmi().Forget();
    return text;
}

}  // namespace orrery::prove
