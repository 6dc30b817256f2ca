#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "store/hardware_object.h"
#include "store/wide_string.h"
#include "support/unique.h"

namespace orrery {

class CHardwareCollector;

/// The facts of one run, by key, shared by all worker threads.
///
/// A key is section + "\" + property + "\" + index ("NetworkAdapter\MACAddress\2"); elapsed times
/// stand under "ET\" + category name. Keys are ordered by UTF-16 code unit: upper case before lower
/// case, index 10 between 1 and 2. The map owns every object stored in it until it is destroyed.
class CInvMap {
public:
    using Entries = std::map<std::wstring, CHardwareObject*, std::less<>>;

    CInvMap();
    /// Stands on purpose though nothing calls it; the arguments have no effect.
    CInvMap(std::intptr_t reserved, std::int32_t reservedNumber);
    CInvMap(const CInvMap&) = delete;
    CInvMap& operator=(const CInvMap&) = delete;
    virtual ~CInvMap();

    /// Stores an object, not null, under a key and takes ownership of it. The last writer wins; one that
    /// is replaced stays valid for whoever looked it up, and is destroyed with the map.
    void Insert(const wchar_t* key, CHardwareObject* object);
    /// The same for a key that nobody else needs, which spares a copy of it.
    void Insert(std::wstring key, std::unique_ptr<CHardwareObject> owned);

    /// Finds the object stored under a key. The map keeps its ownership; the caller may replace the
    /// object's value to amend a fact.
    /// @return 1 when there is one; 0 otherwise, with the output left as it was
    std::int32_t Lookup(const wchar_t* key, CHardwareObject** object);

    /// All entries in key order. Takes no lock: only for when no worker is running any more.
    const Entries& entries() const noexcept { return entries_; }

    /// The code page that a caller asked for, 0 or 65001. The report does not depend on it.
    void SetCodePage(std::uint32_t codePage) noexcept { codePage_ = codePage; }
    std::uint32_t codePage() const noexcept { return codePage_; }
    /// Stands on purpose though nothing calls it; the size has no effect.
    void SetUnitSize(std::uint8_t half) noexcept { unitSize_ = std::uintptr_t{2} * half; }
    /// A reserved setting, handed the top eight bits of the run's flags; it has no effect.
    void SetReserved(std::uint8_t) noexcept {}

private:
    Entries entries_;
    [[maybe_unused]] std::intptr_t reserved_ = 0;
    [[maybe_unused]] std::int32_t reservedNumber_ = 0;
    [[maybe_unused]] std::int32_t reservedRest_ = 0;
    CriticalSection lock_;
    std::uint32_t codePage_ = 0;
    std::uintptr_t unitSize_ = 1;
    std::vector<CHardwareObject*> replaced_;
};

/// The key of a fact: section + "\" + property + "\" + index in decimal.
std::wstring FactKey(std::wstring_view section, std::wstring_view property, std::int32_t index);

/// Writes one fact; every collector writes its facts through this.
/// @param collector the caller's collector; not used
/// @param index     instance number from 0; 0 for sections that have one instance
void StoreValue(CHardwareCollector* collector, WideString property, WideString value, CInvMap* map,
                std::int32_t index, WideString section);

}  // namespace orrery
