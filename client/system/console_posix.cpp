#include "client/system/console.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace orrery {
namespace {

std::string_view Variable(const char* name)
{
    const char* const value = std::getenv(name);
    return value != nullptr ? value : "";
}

/// Whether the terminal takes UTF-8, by the variable that counts of those that name a locale.
bool IsUtf8Locale()
{
    for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"})
        if (const std::string_view locale = Variable(name); !locale.empty())
            return locale.find("UTF-8") != std::string_view::npos ||
                   locale.find("utf8") != std::string_view::npos;
    return false;
}

}  // namespace

CUtf8Console::CUtf8Console() noexcept = default;

CUtf8Console::~CUtf8Console()
{
    static_cast<void>(previousCodePage_);
    static_cast<void>(previousMode_);
}

Terminal OutputTerminal()
{
    Terminal terminal;
    terminal.isTerminal = isatty(STDOUT_FILENO) == 1;
    winsize size{};
    if (terminal.isTerminal && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0)
        terminal.columns = size.ws_col;
    terminal.colours =
        terminal.isTerminal && Variable("NO_COLOR").empty() && Variable("TERM") != "dumb";
    terminal.unicode = terminal.isTerminal && IsUtf8Locale();
    return terminal;
}

Terminal ErrorTerminal()
{
    Terminal terminal;
    terminal.isTerminal = isatty(STDERR_FILENO) == 1;
    terminal.unicode = IsUtf8Locale();
    return terminal;
}

std::FILE* StandardInput()
{
    return stdin;
}

bool Print(std::string_view text)
{
    // Flushed, since a full disk only shows when the text leaves the buffer.
    return std::fwrite(text.data(), 1, text.size(), stdout) == text.size() &&
           std::fflush(stdout) == 0;
}

void PrintError(std::string_view message)
{
    // One write, so that messages of two threads do not mix.
    const std::string line = "orreryctl: " + ShownOn(ErrorTerminal(), message) + '\n';
    std::fwrite(line.data(), 1, line.size(), stderr);
}

}  // namespace orrery
