#pragma once

#include <windows.h>

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "support/registry.h"
#include "support/unique.h"

namespace orrery {

/// Adds a text and its terminator, as registry values hold them.
void AppendText(std::vector<std::uint8_t>& bytes, std::wstring_view text);
RegistryValue TextValue(std::wstring_view text, DWORD type = REG_SZ);
RegistryValue TextsValue(std::initializer_list<std::wstring_view> texts);
RegistryValue NumberValue(std::uint32_t number);
RegistryValue WideNumberValue(std::uint64_t number);
RegistryValue BytesValue(std::vector<std::uint8_t> bytes, DWORD type = REG_BINARY);

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
