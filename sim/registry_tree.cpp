#include "sim/registry_tree.h"

#include <stdexcept>
#include <utility>

namespace orrery {
namespace {

/// A tree that could not be laid must fail its test, or the test would prove nothing.
void Require(LSTATUS status, const char* step)
{
    if (status != ERROR_SUCCESS)
        throw std::runtime_error(std::string{step} + " failed: " + std::to_string(status));
}

UniqueKey CreateVolatileKey(HKEY parent, const std::wstring& path)
{
    HKEY key = nullptr;
    Require(RegCreateKeyExW(parent, path.c_str(), 0, nullptr, REG_OPTION_VOLATILE, KEY_ALL_ACCESS,
                            nullptr, &key, nullptr),
            "RegCreateKeyExW");
    return UniqueKey{key};
}

std::wstring ScratchName()
{
    static LONG made = 0;
    return L"Software\\orrery-test-" + std::to_wstring(GetCurrentProcessId()) + L"-" +
           std::to_wstring(InterlockedIncrement(&made));
}

void AppendText(std::vector<std::uint8_t>& bytes, std::wstring_view text)
{
    const auto* const first = reinterpret_cast<const std::uint8_t*>(text.data());
    bytes.insert(bytes.end(), first, first + text.size() * sizeof(wchar_t));
    bytes.insert(bytes.end(), sizeof(wchar_t), 0);
}

}  // namespace

RegistryValue TextValue(std::wstring_view text, DWORD type)
{
    RegistryValue value{type, {}};
    AppendText(value.bytes, text);
    return value;
}

RegistryValue TextsValue(const std::vector<std::wstring>& texts)
{
    RegistryValue value{REG_MULTI_SZ, {}};
    for (const auto& text : texts)
        AppendText(value.bytes, text);
    AppendText(value.bytes, L"");
    return value;
}

RegistryTree::RegistryTree(HKEY root, std::initializer_list<RegistryRow> rows)
    : root_(root), name_(ScratchName())
{
    RegDeleteTreeW(HKEY_CURRENT_USER, name_.c_str());  // left by a crashed run with this process id
    key_ = CreateVolatileKey(HKEY_CURRENT_USER, name_);
    for (const auto& row : rows) {
        if (row.name == nullptr)
            AddKey(row.path);
        else
            Set(row.path, row.name, row.value);
    }
    if (root_ != nullptr)
        Require(RegOverridePredefKey(root_, key_.get()), "RegOverridePredefKey");
}

RegistryTree::~RegistryTree()
{
    if (root_ != nullptr)
        RegOverridePredefKey(root_, nullptr);
    key_.reset();
    RegDeleteTreeW(HKEY_CURRENT_USER, name_.c_str());
}

void RegistryTree::AddKey(const std::wstring& path)
{
    static_cast<void>(CreateVolatileKey(key_.get(), path));
}

void RegistryTree::Set(const std::wstring& path, const wchar_t* name, const RegistryValue& value)
{
    const auto key = path.empty() ? UniqueKey{} : CreateVolatileKey(key_.get(), path);
    Require(RegSetValueExW(key ? key.get() : key_.get(), name, 0, value.type, value.bytes.data(),
                           static_cast<DWORD>(value.bytes.size())),
            "RegSetValueExW");
}

}  // namespace orrery
