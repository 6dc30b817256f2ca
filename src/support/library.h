#pragma once

#include <windows.h>

namespace orrery {

/// Resolves an exported function by name.
/// @param module a loaded library; null is allowed
/// @return the function; null when the library is not there or lacks the name
template <class Function>
Function FindFunction(HMODULE module, const char* name) noexcept
{
    if (module == nullptr)
        return nullptr;
    // Through void*, since a direct cast between function types is what compilers rightly warn of.
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

/// The module that holds this code: orrery.dll, or the test program that is linked with it.
HMODULE ThisModule() noexcept;

}  // namespace orrery
