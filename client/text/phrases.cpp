#include "client/text/phrases.h"

namespace orrery {

std::string Counted(std::size_t number, const std::string& noun)
{
    return std::to_string(number) + ' ' + noun + (number == 1 ? "" : "s");
}

std::string Joined(const std::vector<std::string>& texts, const std::string& separator)
{
    std::string joined;
    for (const std::string& text : texts)
        if (!text.empty())
            joined += (joined.empty() ? "" : separator) + text;
    return joined;
}

}  // namespace orrery
