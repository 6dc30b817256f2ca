#pragma once

#include <atomic>
#include <compare>
#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>

namespace orrery {

/// Immutable-looking text of UTF-16 code units, cheap to copy: copies share one block until one of
/// them is written to (copy on write). Counts are atomic, so copies may live in different threads;
/// one and the same object must not be written to from two. All empty texts share one instance.
class WideString {
public:
    WideString() noexcept : block_(Empty()) {}
    // Implicit on purpose: a WideString parameter takes literals, standard strings and views alike.
    WideString(const wchar_t* text) : WideString(std::wstring_view{text}) {}
    WideString(const std::wstring& text) : WideString(std::wstring_view{text}) {}
    WideString(std::wstring_view text);
    WideString(const WideString& other) noexcept;
    WideString(WideString&& other) noexcept;
    WideString& operator=(const WideString& other) noexcept;
    WideString& operator=(WideString&& other) noexcept;
    ~WideString();

    /// Reads an argument that is either a text or the identifier of a string resource.
    /// @param textOrResource null gives an empty text; a value up to 0xFFFF is an identifier in this
    ///        library's string table and gives that text, empty when there is none; anything else
    ///        points to a null-terminated text
    static WideString FromArgument(const wchar_t* textOrResource);

    std::size_t size() const noexcept;
    bool empty() const noexcept { return size() == 0; }
    /// The text, always terminated by a zero; valid until this object is next written to.
    const wchar_t* c_str() const noexcept;
    std::wstring_view view() const noexcept { return {c_str(), size()}; }
    operator std::wstring_view() const noexcept { return view(); }

    /// Adds to the end. Room grows by doubling, so that many small additions stay cheap.
    WideString& operator+=(std::wstring_view text);

    friend WideString operator+(WideString left, std::wstring_view right)
    {
        left += right;
        return left;
    }
    /// Equal when every code unit is; the other side may be any text.
    template <std::convertible_to<std::wstring_view> Text>
    friend bool operator==(const WideString& left, const Text& right) noexcept
    {
        return left.view() == std::wstring_view{right};
    }
    /// Orders by code unit, unsigned; a prefix comes before the longer text.
    template <std::convertible_to<std::wstring_view> Text>
    friend std::strong_ordering operator<=>(const WideString& left, const Text& right) noexcept
    {
        return left.view() <=> std::wstring_view{right};
    }

private:
    struct Block;
    static Block* Empty() noexcept;
    static Block* Allocate(std::size_t capacity);
    static Block* Share(Block* block) noexcept;
    static void Drop(Block* block) noexcept;

    Block* block_;
};

}  // namespace orrery
