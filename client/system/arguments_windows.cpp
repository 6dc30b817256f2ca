#include "client/system/arguments.h"

#include <windows.h>
#include <shellapi.h>

#include "client/system/console.h"
#include "support/unique.h"

namespace orrery {
namespace {

struct ArgumentsTraits {
    using Resource = wchar_t**;
    static Resource None() noexcept { return nullptr; }
    static void Close(Resource arguments) noexcept { LocalFree(arguments); }
};

}  // namespace

std::vector<std::string> ReversedArguments(int /*count*/, char** /*arguments*/)
{
    // main's own are in the system's code page, which cannot spell every path.
    int count = 0;
    const Unique<ArgumentsTraits> all{CommandLineToArgvW(GetCommandLineW(), &count)};
    std::vector<std::string> arguments;
    for (int at = count - 1; all && at > 0; --at)
        arguments.push_back(ToUtf8(all.get()[at]));
    return arguments;
}

}  // namespace orrery
