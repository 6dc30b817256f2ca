#pragma once

#ifdef _WIN32
#include <windows.h>
#endif

#include <cstdio>
#include <string>
#include <string_view>

namespace orrery {

/// Has a Windows console show UTF-8 for as long as the object lives, then restores its code page and
/// its mode.
/// Pipes, files and other terminals get the UTF-8 bytes as they are.
class CUtf8Console {
public:
    CUtf8Console() noexcept;
    ~CUtf8Console();
    CUtf8Console(const CUtf8Console&) = delete;
    CUtf8Console& operator=(const CUtf8Console&) = delete;

private:
    unsigned previousCodePage_ = 0;
    unsigned long previousMode_ = 0;
};

/// What output goes to.
struct Terminal {
    bool isTerminal = false;  ///< not a pipe or file
    int columns = 80;         ///< width; 80 where it is not known
    bool colours = false;     ///< shows text in colours, and the user has not turned them off
    bool unicode = false;     ///< shows more than ASCII
};

/// Describes standard output.
Terminal OutputTerminal();

/// Describes standard error, but for its colours and columns.
Terminal ErrorTerminal();

/// What a user types in place of a file's name for standard input or output.
inline constexpr std::string_view kStandardStream = "-";

/// Standard input, whose bytes come as they are on every system.
std::FILE* StandardInput();

/// Writes UTF-8 text to standard output, as it is on every system.
/// @return whether all of it was taken
bool Print(std::string_view text);

/// What a terminal is sent of text that holds names or values of others; as it is for a pipe or file.
std::string ShownOn(const Terminal& terminal, std::string_view text);

/// Writes one message to standard error, led by the program's name. Callable from any thread. Where
/// that is a terminal, it gets nothing that it would act on.
void PrintError(std::string_view message);

#ifdef _WIN32
std::string ToUtf8(std::wstring_view text);
std::wstring FromUtf8(std::string_view text);

/// A path or argument as messages show it: UTF-8, in double quotes.
std::string Quoted(std::wstring_view text);

/// Writes text to standard error as it is.
void PrintToErrors(std::string_view text);

/// What the system says about an error, with its number and without the full stop.
std::string SystemMessage(DWORD error);
#endif

}  // namespace orrery
