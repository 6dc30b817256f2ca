#include "store/inv_map.h"

#include <memory>
#include <mutex>
#include <utility>

namespace orrery {

CInvMap::CInvMap() = default;

CInvMap::CInvMap(std::intptr_t reserved, std::int32_t reservedNumber)
    : reserved_(reserved), reservedNumber_(reservedNumber)
{}

CInvMap::~CInvMap()
{
    for (const auto& [key, object] : entries_)
        delete object;
    for (const CHardwareObject* const object : replaced_)
        delete object;
}

void CInvMap::Insert(const wchar_t* key, CHardwareObject* object)
{
    std::unique_ptr<CHardwareObject> owned{object};  // before the copy, which may fail
    Insert(std::wstring{key}, std::move(owned));
}

void CInvMap::Insert(std::wstring key, std::unique_ptr<CHardwareObject> owned)
{
    CHardwareObject* const object = owned.get();
    const std::lock_guard guard{lock_};
    CHardwareObject*& place = entries_.try_emplace(std::move(key), nullptr).first->second;
    if (place != nullptr && place != object)
        replaced_.push_back(place);
    std::erase(replaced_, object);  // one that was replaced may come back
    place = owned.release();
}

std::int32_t CInvMap::Lookup(const wchar_t* key, CHardwareObject** object)
{
    const std::lock_guard guard{lock_};
    const auto entry = entries_.find(key);
    if (entry == entries_.end())
        return 0;
    *object = entry->second;
    return 1;
}

std::wstring FactKey(std::wstring_view section, std::wstring_view property, std::int32_t index)
{
    const std::wstring number = std::to_wstring(index);
    std::wstring key;
    key.reserve(section.size() + property.size() + number.size() + 2);
    key.append(section).append(1, L'\\').append(property).append(1, L'\\').append(number);
    return key;
}

void StoreValue(CHardwareCollector* /*collector*/, WideString property, WideString value,
                CInvMap* map, std::int32_t index, WideString section)
{
    auto object = std::make_unique<CHardwareObject>(std::move(value));
    map->Insert(FactKey(section, property, index), std::move(object));
}

}  // namespace orrery
