#include "prove/texts.h"

#include <windows.h>
#include <oleauto.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <cwchar>

#include "sim/detour.h"

namespace orrery::prove {
namespace {

std::atomic<int> held{0};

// A text's size in bytes stands right before it.
constexpr std::size_t kHead = 8;

BSTR Allocate(const void* content, std::size_t bytes)
{
    auto* const block = static_cast<std::byte*>(std::malloc(kHead + bytes + sizeof(wchar_t) * 2));
    if (block == nullptr)
        return nullptr;
    const auto size = static_cast<DWORD>(bytes);
    std::memcpy(block + kHead - sizeof size, &size, sizeof size);
    if (content != nullptr)
        std::memcpy(block + kHead, content, bytes);
    std::memset(block + kHead + bytes, 0, sizeof(wchar_t) * 2);
    ++held;
    return reinterpret_cast<BSTR>(block + kHead);
}

BSTR WINAPI AllocateText(const OLECHAR* text)
{
    return text == nullptr ? nullptr : Allocate(text, std::wcslen(text) * sizeof *text);
}

BSTR WINAPI AllocateTextOf(const OLECHAR* text, UINT length)
{
    return Allocate(text, std::size_t{length} * sizeof(OLECHAR));
}

BSTR WINAPI AllocateBytes(const char* content, UINT bytes)
{
    return Allocate(content, bytes);
}

void WINAPI Free(BSTR text)
{
    if (text == nullptr)
        return;
    --held;
    std::free(reinterpret_cast<std::byte*>(text) - kHead);
}

int WINAPI Reallocate(BSTR* text, const OLECHAR* content, UINT length)
{
    const BSTR made = AllocateTextOf(content, length);
    if (made == nullptr)
        return FALSE;
    Free(*text);
    *text = made;
    return TRUE;
}

}  // namespace

void CountTexts()
{
    // Never ended, since texts made with these functions have to be freed with them.
    static const auto* const detours = new sim::Detour[5]{
        {L"oleaut32.dll", "SysAllocString", &AllocateText},
        {L"oleaut32.dll", "SysAllocStringLen", &AllocateTextOf},
        {L"oleaut32.dll", "SysAllocStringByteLen", &AllocateBytes},
        {L"oleaut32.dll", "SysReAllocStringLen", &Reallocate},
        {L"oleaut32.dll", "SysFreeString", &Free},
    };
    static_cast<void>(detours);
}

int TextsHeld()
{
    return held;
}

}  // namespace orrery::prove
