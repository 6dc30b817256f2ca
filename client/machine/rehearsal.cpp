#include "client/machine/rehearsal.h"

#include <memory>
#include <string>

#include "client/machine/ask_within.h"
#include "client/system/console.h"
#include "entry/categories.h"

namespace orrery::machine {
namespace {

/// The facts of a map whose keys are "Section\Property\index".
void AddFacts(const CInvMap& map, doctor::Rehearsal* rehearsal)
{
    for (const auto& [key, fact] : map.entries()) {
        const std::size_t property = key.find(L'\\') + 1;
        const std::size_t index = key.rfind(L'\\') + 1;
        rehearsal->facts.push_back(
            {ToUtf8(std::wstring_view{key}.substr(0, property - 1)),
             ToUtf8(std::wstring_view{key}.substr(property, index - 1 - property)),
             std::stoi(key.substr(index)), fact->value.empty()});
    }
}

}  // namespace

doctor::Rehearsal RehearseReport(std::chrono::seconds limit, const Announce& announce)
{
    doctor::Rehearsal rehearsal{static_cast<unsigned>(limit.count()), {}, {}};
    for (const Category& category : kHardwareCategories) {
        announce("for " + ToUtf8(category.name));
        // A category that is given up still writes to its map.
        const auto map = std::make_shared<CInvMap>();
        const auto isFinished = AskWithin(limit, [map, id = category.id] {
            RunCategory(id, std::make_unique<CHardwareCollector>().get(), map.get());
            return true;
        });
        if (isFinished)
            AddFacts(*map, &rehearsal);
        else
            rehearsal.unfinished.push_back(ToUtf8(category.name));
    }
    return rehearsal;
}

}  // namespace orrery::machine
