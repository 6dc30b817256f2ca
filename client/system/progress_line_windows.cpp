#include "client/system/progress_line.h"

#include "client/system/console.h"
#include "client/text/terminal_text.h"

namespace orrery {

CProgressLine::CProgressLine(bool isWanted) : isShown_(isWanted && ErrorTerminal().isTerminal) {}

void CProgressLine::Show(const std::string& text)
{
    if (!isShown_ || text == text_)
        return;
    Clear();
    text_ = text;
    PrintToErrors('\r' + text);
}

void CProgressLine::Clear()
{
    if (!text_.empty())
        PrintToErrors('\r' + std::string(Columns(text_), ' ') + '\r');
    text_.clear();
}

}  // namespace orrery
