#include "client/text/fold_case.h"

#include <array>
#include <cstddef>

namespace orrery {
namespace {

struct CaseRange {
    unsigned first, last;  // capitals
    unsigned step;         // 2 where capitals and small letters take turns
    unsigned distance;     // from a capital to its small letter
};

// Source: the simple case foldings of Unicode below U+0460. Each folding shown here stays within the
// two-byte characters of UTF-8.
constexpr auto kCapitals = std::to_array<CaseRange>({
    {0x00C0, 0x00D6, 1, 0x20},
    {0x00D8, 0x00DE, 1, 0x20},
    {0x0100, 0x012E, 2, 1},
    {0x0132, 0x0136, 2, 1},
    {0x0139, 0x0147, 2, 1},
    {0x014A, 0x0176, 2, 1},
    {0x0179, 0x017D, 2, 1},
    {0x0386, 0x0386, 1, 0x26},
    {0x0388, 0x038A, 1, 0x25},
    {0x038C, 0x038C, 1, 0x40},
    {0x038E, 0x038F, 1, 0x3F},
    {0x0391, 0x03A1, 1, 0x20},
    {0x03A3, 0x03AB, 1, 0x20},
    {0x0400, 0x040F, 1, 0x50},
    {0x0410, 0x042F, 1, 0x20},
});

unsigned SmallLetter(unsigned character)
{
    for (const CaseRange& range : kCapitals)
        if (character >= range.first && character <= range.last &&
            (character - range.first) % range.step == 0)
            return character + range.distance;
    return character;
}

}  // namespace

std::string FoldCase(std::string_view text)
{
    std::string folded{text};
    for (std::size_t at = 0; at < folded.size(); ++at) {
        const auto lead = static_cast<unsigned char>(folded[at]);
        if (lead >= 'A' && lead <= 'Z') {
            folded[at] = static_cast<char>(lead + ('a' - 'A'));
        } else if (lead >= 0xC2 && lead <= 0xDF && at + 1 < folded.size()) {
            const auto next = static_cast<unsigned char>(folded[at + 1]);
            const unsigned small = SmallLetter((lead & 0x1Fu) << 6 | (next & 0x3Fu));
            folded[at] = static_cast<char>(0xC0 | small >> 6);
            folded[++at] = static_cast<char>(0x80 | (small & 0x3F));
        }
    }
    return folded;
}

}  // namespace orrery
