#include "store/wide_string.h"

#include <windows.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "support/library.h"

namespace orrery {

/// Head of a text's block; the characters and their terminating zero follow it.
struct WideString::Block {
    std::atomic<std::int32_t> references;
    std::size_t length;
    std::size_t capacity;

    wchar_t* text() noexcept { return reinterpret_cast<wchar_t*>(this + 1); }
};

namespace {

// Source: the Win32 string tables, which are keyed by 16-bit identifiers.
bool IsResourceIdentifier(const wchar_t* argument) noexcept
{
    // All bits from 16 up: an address such as 0x0000000700000000 is an address.
    return reinterpret_cast<std::uintptr_t>(argument) >> 16 == 0;
}

std::wstring LoadText(UINT identifier)
{
    constexpr std::size_t kStep = 256;
    std::wstring text;
    for (;;) {
        text.resize(text.size() + kStep);
        const int length =
            LoadStringW(ThisModule(), identifier, text.data(), static_cast<int>(text.size()));
        // A text that fills the buffer to the last place but one may have been cut.
        if (length < 0 || static_cast<std::size_t>(length) + 1 < text.size()) {
            text.resize(static_cast<std::size_t>(std::max(length, 0)));
            return text;
        }
    }
}

}  // namespace

WideString::Block* WideString::Empty() noexcept
{
    static constinit struct {
        Block head{{1}, 0, 0};
        wchar_t terminator = L'\0';
    } empty;
    return &empty.head;
}

WideString::Block* WideString::Allocate(std::size_t capacity)
{
    void* const memory = ::operator new(sizeof(Block) + (capacity + 1) * sizeof(wchar_t));
    return new (memory) Block{{1}, 0, capacity};
}

WideString::Block* WideString::Share(Block* block) noexcept
{
    // The shared empty block is never counted: threads would only fight over its cache line.
    if (block != Empty())
        block->references.fetch_add(1, std::memory_order_relaxed);
    return block;
}

void WideString::Drop(Block* block) noexcept
{
    if (block != Empty() && block->references.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        block->~Block();
        ::operator delete(block);
    }
}

WideString::WideString(std::wstring_view text) : block_(Empty())
{
    *this += text;
}

WideString::WideString(const WideString& other) noexcept : block_(Share(other.block_)) {}

WideString::WideString(WideString&& other) noexcept : block_(std::exchange(other.block_, Empty()))
{}

WideString& WideString::operator=(const WideString& other) noexcept
{
    WideString copy = other;
    std::swap(block_, copy.block_);
    return *this;
}

WideString& WideString::operator=(WideString&& other) noexcept
{
    std::swap(block_, other.block_);
    return *this;
}

WideString::~WideString()
{
    Drop(block_);
}

WideString WideString::FromArgument(const wchar_t* textOrResource)
{
    if (textOrResource == nullptr)
        return {};
    if (IsResourceIdentifier(textOrResource))
        return LoadText(LOWORD(reinterpret_cast<std::uintptr_t>(textOrResource)));
    return textOrResource;
}

std::size_t WideString::size() const noexcept
{
    return block_->length;
}

const wchar_t* WideString::c_str() const noexcept
{
    return block_->text();
}

WideString& WideString::operator+=(std::wstring_view text)
{
    if (text.empty())
        return *this;
    const std::size_t length = block_->length + text.size();
    const bool shared =
        block_ == Empty() || block_->references.load(std::memory_order_acquire) != 1;
    Block* old = nullptr;
    if (shared || length > block_->capacity) {
        // A first text gets what it needs; only a text that grows gets room to grow.
        const std::size_t capacity =
            block_->length == 0 ? length : std::max(length, 2 * block_->length);
        Block* const block = Allocate(capacity);
        std::copy_n(block_->text(), block_->length, block->text());
        block->length = block_->length;
        old = std::exchange(block_, block);
    }
    // The addition may be a piece of this very text, so the old block goes last.
    std::copy_n(text.data(), text.size(), block_->text() + block_->length);
    block_->length = length;
    block_->text()[length] = L'\0';
    if (old != nullptr)
        Drop(old);
    return *this;
}

}  // namespace orrery
