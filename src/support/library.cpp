#include "support/library.h"

namespace orrery {

HMODULE ThisModule() noexcept
{
    HMODULE module = nullptr;
    GetModuleHandleExW(
        GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
        reinterpret_cast<const wchar_t*>(&ThisModule), &module);
    return module;
}

}  // namespace orrery
