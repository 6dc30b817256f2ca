#include "client/system/console.h"

#include "client/text/terminal_text.h"

namespace orrery {

std::string ShownOn(const Terminal& terminal, std::string_view text)
{
    return terminal.isTerminal
               ? EscapedLines(text, terminal.unicode ? Charset::kUnicode : Charset::kAscii)
               : std::string{text};
}

}  // namespace orrery
