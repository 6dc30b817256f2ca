#include "client/system/console.h"

#include <fcntl.h>
#include <io.h>

#include <algorithm>
#include <array>
#include <cstddef>

namespace orrery {
namespace {

bool Write(DWORD stream, std::string_view text)
{
    constexpr std::size_t kLargestPart = std::size_t{1} << 20;
    const HANDLE output = GetStdHandle(stream);
    while (!text.empty()) {
        const auto part = static_cast<DWORD>(std::min(text.size(), kLargestPart));
        DWORD written = 0;
        if (!WriteFile(output, text.data(), part, &written, nullptr) || written == 0)
            return false;
        text.remove_prefix(written);
    }
    return true;
}

}  // namespace

CUtf8Console::CUtf8Console() noexcept : previousCodePage_(GetConsoleOutputCP())
{
    if (previousCodePage_ != 0)
        SetConsoleOutputCP(CP_UTF8);
    if (!GetConsoleMode(GetStdHandle(STD_OUTPUT_HANDLE), &previousMode_))
        previousMode_ = 0;
}

CUtf8Console::~CUtf8Console()
{
    if (previousCodePage_ != 0)
        SetConsoleOutputCP(previousCodePage_);
    if (previousMode_ != 0)
        SetConsoleMode(GetStdHandle(STD_OUTPUT_HANDLE), previousMode_);
}

Terminal OutputTerminal()
{
    Terminal terminal;
    const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
    CONSOLE_SCREEN_BUFFER_INFO screen{};
    if (!GetConsoleScreenBufferInfo(output, &screen))
        return terminal;
    terminal.isTerminal = terminal.unicode = true;
    // A console breaks lines at its last column, so that a line of its whole width leaves a blank one.
    terminal.columns = std::max(screen.srWindow.Right - screen.srWindow.Left, 1);
    // Consoles before Windows 10 do not know this mode and print the sequences instead.
    DWORD mode = 0;
    terminal.colours = GetEnvironmentVariableW(L"NO_COLOR", nullptr, 0) <= 1 &&
                       GetConsoleMode(output, &mode) &&
                       SetConsoleMode(output, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != FALSE;
    return terminal;
}

Terminal ErrorTerminal()
{
    Terminal terminal;
    DWORD mode = 0;
    terminal.isTerminal = GetConsoleMode(GetStdHandle(STD_ERROR_HANDLE), &mode) != FALSE;
    terminal.unicode = terminal.isTerminal;
    return terminal;
}

void PrintToErrors(std::string_view text)
{
    static_cast<void>(Write(STD_ERROR_HANDLE, text));
}

std::string ToUtf8(std::wstring_view text)
{
    const int units = static_cast<int>(text.size());
    const int bytes =
        WideCharToMultiByte(CP_UTF8, 0, text.data(), units, nullptr, 0, nullptr, nullptr);
    std::string utf8(static_cast<std::size_t>(bytes), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), units, utf8.data(), bytes, nullptr, nullptr);
    return utf8;
}

std::wstring FromUtf8(std::string_view text)
{
    const int bytes = static_cast<int>(text.size());
    const int units = MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(units), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, wide.data(), units);
    return wide;
}

std::string Quoted(std::wstring_view text)
{
    return '"' + ToUtf8(text) + '"';
}

std::string SystemMessage(DWORD error)
{
    std::array<wchar_t, 512> buffer{};
    const DWORD length = FormatMessageW(
        FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK,
        nullptr, error, 0, buffer.data(), static_cast<DWORD>(buffer.size()), nullptr);
    std::wstring_view text{buffer.data(), length};
    while (!text.empty() && (text.back() == L' ' || text.back() == L'.'))
        text.remove_suffix(1);
    const std::string number = "error " + std::to_string(error);
    return text.empty() ? number : ToUtf8(text) + " (" + number + ")";
}

std::FILE* StandardInput()
{
    _setmode(_fileno(stdin), _O_BINARY);
    return stdin;
}

bool Print(std::string_view text)
{
    return Write(STD_OUTPUT_HANDLE, text);
}

void PrintError(std::string_view message)
{
    // One write, so that messages of two threads do not mix.
    Write(STD_ERROR_HANDLE, "orreryctl: " + ShownOn(ErrorTerminal(), message) + '\n');
}

}  // namespace orrery
