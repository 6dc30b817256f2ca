#pragma once

#include <map>
#include <string>

#include "store/inv_map.h"

namespace orrery::sim {

using Facts = std::map<std::wstring, std::wstring>;

/// What a map holds, as plain texts.
inline Facts FactsOf(const CInvMap& map)
{
    Facts facts;
    for (const auto& [key, object] : map.entries())
        facts.emplace(key, object->value.view());
    return facts;
}

}  // namespace orrery::sim
