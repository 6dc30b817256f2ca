#include "prove/dice.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace orrery::prove {
namespace {

constexpr std::wstring_view kLetters =
    L"aZ09 \t\"\\{};,=.:-+/\r\n%s'|\x00E5\x0130\xFFFF\xD800\xDC00\x2028\x0000"
    L"0123456789";

constexpr std::size_t kLengths[] = {0,   1,   31,  32,   40,   79,   127,  128,  254,
                                    255, 256, 257, 1022, 1023, 1024, 4095, 4096, 65535};

constexpr const wchar_t* kNumbers[] = {L"",
                                       L"0",
                                       L"-1",
                                       L"+7",
                                       L"1e9",
                                       L"0x10",
                                       L"TRUE",
                                       L"2147483647",
                                       L"2147483648",
                                       L"4294967295",
                                       L"4294967296",
                                       L"18446744073709551615",
                                       L"18446744073709551616",
                                       L"-9223372036854775808",
                                       L"99999999999999999999999999",
                                       L"20230914000000.000000+000"};

}  // namespace

void Demand(bool holds, const char* what)
{
    if (holds)
        return;
    std::fprintf(stderr, "FOUND that this does not hold: %s\n", what);
    std::abort();
}

std::uint64_t Dice::Number()
{
    if (isEndless_)
        return random_();
    // Few bytes a number, so that what changes one byte changes one decision.
    std::uint64_t number = 0;
    const std::size_t count = std::min<std::size_t>(bytes_.size(), 2);
    for (std::size_t at = 0; at < count; ++at)
        number = number << 8 | bytes_[at];
    bytes_ = bytes_.subspan(count);
    return number;
}

std::size_t Dice::Length()
{
    if (OneIn(2000))
        return std::size_t{1} << 20;
    return OneIn(8) ? Pick(kLengths) : Below(24);
}

std::wstring Dice::Text(std::size_t most)
{
    // A long text repeats a short one, as making it letter by letter would take all the time.
    std::wstring piece;
    for (std::size_t left = std::min<std::size_t>(most, 64); left > 0; --left)
        piece += kLetters[Below(kLetters.size())];
    std::wstring text = piece;
    while (text.size() < most)
        text.append(piece, 0, std::min(piece.size(), most - text.size()));
    return text;
}

std::wstring Dice::NumberText()
{
    if (OneIn(2))
        return Pick(kNumbers);
    const auto number = static_cast<std::int64_t>(Number());
    return std::to_wstring(number >> Below(64));
}

std::vector<std::uint8_t> Dice::Bytes(std::size_t count)
{
    std::vector<std::uint8_t> bytes(count);
    const std::size_t kind = Below(4);
    for (std::uint8_t& byte : bytes)
        byte = static_cast<std::uint8_t>(kind == 0 ? 0xFF : kind == 1 ? 'A' : Number());
    return bytes;
}

std::wstring Dice::Mutated(std::wstring text)
{
    for (std::size_t change = 1 + Below(4); change > 0; --change) {
        const std::size_t at = Below(text.size() + 1);
        const std::size_t count = Below(std::min<std::size_t>(text.size() - at, 40) + 1);
        switch (Below(5)) {
            case 0:
                text.erase(at, count);
                break;
            case 1:
                text.insert(at, text.substr(at, count));
                break;
            case 2:
                text.insert(at, Text());
                break;
            case 3:
                text.replace(at, count, NumberText());
                break;
            default:
                text.resize(at);
        }
    }
    return text;
}

}  // namespace orrery::prove
