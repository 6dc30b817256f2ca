#include "support/text.h"

#include <windows.h>

#include <algorithm>
#include <cwctype>

namespace orrery {

std::int64_t ParseInteger(std::wstring_view text) noexcept
{
    std::size_t at = 0;
    while (at < text.size() && std::iswspace(text[at]) != 0)
        ++at;
    const bool negative = at < text.size() && text[at] == L'-';
    if (at < text.size() && (text[at] == L'-' || text[at] == L'+'))
        ++at;
    std::uint64_t magnitude = 0;
    for (; at < text.size() && text[at] >= L'0' && text[at] <= L'9'; ++at)
        magnitude = magnitude * 10 + static_cast<std::uint64_t>(text[at] - L'0');
    return static_cast<std::int64_t>(negative ? 0 - magnitude : magnitude);
}

std::int32_t ParseInt32(std::wstring_view text) noexcept
{
    return static_cast<std::int32_t>(ParseInteger(text));
}

std::wstring_view TrimBlanks(std::wstring_view text) noexcept
{
    while (!text.empty() && text.front() <= L' ')
        text.remove_prefix(1);
    while (!text.empty() && text.back() <= L' ')
        text.remove_suffix(1);
    return text;
}

bool EqualsIgnoringCase(std::wstring_view left, std::wstring_view right) noexcept
{
    if (left.size() != right.size())
        return false;
    return left.empty() ||
           CompareStringOrdinal(left.data(), static_cast<int>(left.size()), right.data(),
                                static_cast<int>(right.size()), TRUE) == CSTR_EQUAL;
}

std::wstring ToLower(std::wstring text)
{
    CharLowerBuffW(text.data(), static_cast<DWORD>(text.size()));
    return text;
}

std::wstring FromAnsi(std::span<const char> field)
{
    const auto size = static_cast<int>(std::find(field.begin(), field.end(), '\0') - field.begin());
    // a byte of any code page stands for at most one code unit
    std::wstring text(static_cast<std::size_t>(size), L'\0');
    text.resize(static_cast<std::size_t>(
        MultiByteToWideChar(CP_ACP, 0, field.data(), size, text.data(), size)));
    return text;
}

}  // namespace orrery
