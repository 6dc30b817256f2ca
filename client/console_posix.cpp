#include "client/console.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdio>

namespace orrery {

CUtf8Console::CUtf8Console() noexcept = default;

CUtf8Console::~CUtf8Console()
{
    static_cast<void>(previousCodePage_);
}

Terminal OutputTerminal()
{
    Terminal terminal;
    terminal.isTerminal = isatty(STDOUT_FILENO) == 1;
    winsize size{};
    if (terminal.isTerminal && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0)
        terminal.columns = size.ws_col;
    return terminal;
}

void Print(std::string_view text)
{
    std::fwrite(text.data(), 1, text.size(), stdout);
}

void PrintError(std::string_view message)
{
    // One write, so that messages of two threads do not mix.
    const std::string line = "orreryctl: " + std::string{message} + '\n';
    std::fwrite(line.data(), 1, line.size(), stderr);
}

}  // namespace orrery
