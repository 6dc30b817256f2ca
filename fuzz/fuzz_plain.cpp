// Feeds bytes to the plain functions with the sanitizers of this system. Run by scripts/prove.

#include <cstddef>
#include <cstdint>
#include <span>

#include "prove/feeds.h"
#include "support/library.h"

namespace orrery {

HMODULE ThisModule() noexcept
{
    return nullptr;
}

}  // namespace orrery

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0)
        return 0;
    orrery::prove::Dice dice{std::span{data, size}.subspan(1)};
    if (data[0] % 2 == 0)
        orrery::prove::FeedObjectText(dice);
    else
        orrery::prove::FeedWords(dice);
    return 0;
}
