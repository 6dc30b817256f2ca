#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

namespace orrery {

/// A text of at most Capacity characters, stored in place and always terminated by a zero.
template <std::size_t Capacity>
class FixedText {
public:
    /// Replaces the text; what does not fit is cut off.
    void Assign(std::wstring_view text) noexcept
    {
        size_ = std::min(text.size(), Capacity);
        std::copy_n(text.data(), size_, characters_.data());
        characters_[size_] = L'\0';
    }
    bool empty() const noexcept { return size_ == 0; }
    const wchar_t* c_str() const noexcept { return characters_.data(); }
    std::wstring_view view() const noexcept { return {characters_.data(), size_}; }
    operator std::wstring_view() const noexcept { return view(); }

private:
    std::size_t size_ = 0;
    std::array<wchar_t, Capacity + 1> characters_{};
};

}  // namespace orrery
