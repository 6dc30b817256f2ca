#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace orrery::prove {

/// A source of hostile values: the same seed, or the same bytes, give the same ones.
class Dice {
public:
    explicit Dice(std::uint64_t seed) : random_(seed) {}
    /// Takes its numbers from bytes; when they are used up, all numbers are 0.
    explicit Dice(std::span<const std::uint8_t> bytes) : bytes_(bytes), isEndless_(false) {}

    std::uint64_t Number();
    /// A number below a limit.
    std::size_t Below(std::size_t limit)
    {
        return limit == 0 ? 0 : static_cast<std::size_t>(Number() % limit);
    }
    /// Never once the bytes are used up.
    bool OneIn(std::size_t chances) { return Below(chances) + 1 == chances; }
    template <class T, std::size_t Size>
    const T& Pick(const T (&list)[Size])
    {
        return list[Below(Size)];
    }

    /// A length: mostly short, sometimes at a limit that somebody may have, seldom a megabyte.
    std::size_t Length();
    /// A text of quotes, braces, blanks, digits, zeros and halves of surrogate pairs as well as of
    /// letters.
    std::wstring Text(std::size_t most);
    std::wstring Text() { return Text(Length()); }
    /// A number in words as WMI gives them, often just outside what fits.
    std::wstring NumberText();
    std::vector<std::uint8_t> Bytes(std::size_t count);
    /// A text with some of it lost, doubled, moved or replaced.
    std::wstring Mutated(std::wstring text);

private:
    std::mt19937_64 random_;
    std::span<const std::uint8_t> bytes_;
    bool isEndless_ = true;
};

/// Ends the process when what has to hold does not.
void Demand(bool holds, const char* what);

}  // namespace orrery::prove
