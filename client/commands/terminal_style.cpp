#include "client/commands/terminal_style.h"

#include <algorithm>
#include <cstddef>

namespace orrery {

report::ShowStyle StyleOf(const Terminal& terminal)
{
    report::ShowStyle style;
    if (!terminal.isTerminal)
        return style;
    constexpr int kNarrowest = 40;
    style.columns = static_cast<std::size_t>(std::max(terminal.columns, kNarrowest));
    style.shorten = true;
    style.colours = terminal.colours;
    // The bytes of UTF-8 hold control characters for a terminal that does not take it.
    style.charset = style.values = terminal.unicode ? Charset::kUnicode : Charset::kAscii;
    return style;
}

}  // namespace orrery
