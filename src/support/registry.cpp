#include "support/registry.h"

#include <array>
#include <cstring>

namespace orrery {
UniqueKey OpenKey(HKEY parent, const wchar_t* path, REGSAM access) noexcept
{
    UniqueKey key;
    if (RegOpenKeyExW(parent, path, 0, access, key.put()) != ERROR_SUCCESS)
        static_cast<void>(key.release());  // a failed open stores nothing that could be closed
    return key;
}

std::vector<std::wstring> SubkeyNames(HKEY key)
{
    std::vector<std::wstring> names;
    std::array<wchar_t, 256> name;  // a key name has at most 255 characters
    for (DWORD at = 0;; ++at) {
        auto length = static_cast<DWORD>(name.size());
        const LSTATUS status =
            RegEnumKeyExW(key, at, name.data(), &length, nullptr, nullptr, nullptr, nullptr);
        if (status != ERROR_SUCCESS)
            return names;
        names.emplace_back(name.data(), length);
    }
}

std::optional<std::uint32_t> ReadDword(HKEY key, const wchar_t* name) noexcept
{
    DWORD type = REG_NONE;
    DWORD number = 0;
    DWORD bytes = sizeof number;
    const LSTATUS status =
        RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE*>(&number), &bytes);
    if (status != ERROR_SUCCESS || type != REG_DWORD)
        return std::nullopt;
    return number;
}

std::uint32_t ReadNumber(HKEY key, const wchar_t* name) noexcept
{
    DWORD number = 0;
    DWORD bytes = sizeof number;
    const LSTATUS status =
        RegQueryValueExW(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(&number), &bytes);
    return status == ERROR_SUCCESS ? number : 0;
}

std::optional<RegistryValue> ReadValue(HKEY key, const wchar_t* name)
{
    // Most values fit the first guess, which saves asking for the size; one that grows between two
    // calls is asked for again.
    RegistryValue value;
    auto size = DWORD{512};
    for (;;) {
        value.bytes.resize(size);
        const LSTATUS status =
            RegQueryValueExW(key, name, nullptr, &value.type, value.bytes.data(), &size);
        if (status == ERROR_SUCCESS) {
            value.bytes.resize(size);
            return value;
        }
        if (status != ERROR_MORE_DATA || size <= value.bytes.size())
            return std::nullopt;
    }
}

std::optional<std::wstring> ReadText(HKEY key, const wchar_t* name, std::size_t maxCharacters)
{
    const auto value = ReadValue(key, name);
    if (!value || !IsTextType(value->type))
        return std::nullopt;
    auto text = TextOfBytes(value->bytes);
    if (text.size() > maxCharacters)
        text.resize(maxCharacters);
    return text;
}

std::optional<std::wstring> ReadTextWithin(HKEY key, const wchar_t* name, std::size_t maxBytes)
{
    const auto value = ReadValue(key, name);
    if (!value || !IsTextType(value->type) || value->bytes.size() > maxBytes)
        return std::nullopt;
    return TextOfBytes(value->bytes);
}

std::wstring TextOfBytes(const std::vector<std::uint8_t>& bytes)
{
    std::wstring text(bytes.size() / sizeof(wchar_t), L'\0');
    if (!text.empty())
        std::memcpy(text.data(), bytes.data(), text.size() * sizeof(wchar_t));
    if (const auto end = text.find(L'\0'); end != std::wstring::npos)
        text.resize(end);
    return text;
}

}  // namespace orrery
