#pragma once

#include <windows.h>

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/registry.h"
#include "support/unique.h"

namespace orrery {

RegistryValue TextValue(std::wstring_view text, DWORD type = REG_SZ);
RegistryValue TextsValue(const std::vector<std::wstring>& texts);
inline RegistryValue BytesValue(std::vector<std::uint8_t> bytes, DWORD type = REG_BINARY)
{
    return {type, std::move(bytes)};
}
template <class Number = std::uint32_t>
RegistryValue NumberValue(Number number)
{
    const auto* const first = reinterpret_cast<const std::uint8_t*>(&number);
    return {sizeof number == 8 ? REG_QWORD : REG_DWORD, {first, first + sizeof number}};
}

/// One value of a tree, or only a key when name is null.
struct RegistryRow {
    std::wstring path;
    const wchar_t* name = nullptr;
    RegistryValue value{};
};

/// A scratch registry tree that may stand in for a root, in this process only. It is volatile and
/// disappears with the object, which first puts the real root back.
class RegistryTree {
public:
    /// @param root HKEY_LOCAL_MACHINE or HKEY_DYN_DATA; null replaces nothing
    explicit RegistryTree(HKEY root, std::initializer_list<RegistryRow> rows = {});
    ~RegistryTree();
    RegistryTree(const RegistryTree&) = delete;
    RegistryTree& operator=(const RegistryTree&) = delete;

    HKEY key() const noexcept { return key_.get(); }
    void AddKey(const std::wstring& path);
    void Set(const std::wstring& path, const wchar_t* name, const RegistryValue& value);

private:
    HKEY root_;
    std::wstring name_;
    UniqueKey key_;
};

}  // namespace orrery
