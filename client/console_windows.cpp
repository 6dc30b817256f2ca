#include "client/console.h"

#include <array>

namespace orrery {
namespace {

void Write(DWORD stream, std::string_view text)
{
    const HANDLE output = GetStdHandle(stream);
    while (!text.empty()) {
        DWORD written = 0;
        if (!WriteFile(output, text.data(), static_cast<DWORD>(text.size()), &written, nullptr) ||
            written == 0)
            return;  // nobody is listening, and there is no better place to say so
        text.remove_prefix(written);
    }
}

}  // namespace

CUtf8Console::CUtf8Console() noexcept : previousCodePage_(GetConsoleOutputCP())
{
    if (previousCodePage_ != 0)
        SetConsoleOutputCP(CP_UTF8);
}

CUtf8Console::~CUtf8Console()
{
    if (previousCodePage_ != 0)
        SetConsoleOutputCP(previousCodePage_);
}

Terminal OutputTerminal()
{
    Terminal terminal;
    CONSOLE_SCREEN_BUFFER_INFO screen{};
    if (GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &screen)) {
        terminal.isTerminal = true;
        terminal.columns = screen.srWindow.Right - screen.srWindow.Left + 1;
    }
    return terminal;
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

void Print(std::string_view text)
{
    Write(STD_OUTPUT_HANDLE, text);
}

void PrintError(std::string_view message)
{
    // One write, so that messages of two threads do not mix.
    Write(STD_ERROR_HANDLE, "orreryctl: " + std::string{message} + '\n');
}

}  // namespace orrery
