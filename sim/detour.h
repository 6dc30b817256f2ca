#pragma once

#include <windows.h>

#include <array>
#include <cstddef>
#include <cstdint>

#include "support/unique.h"

namespace orrery::sim {

/// While it lives, every call of an exported function in this process goes to a replacement,
/// however the caller found the function: by import, GetProcAddress or a forwarding module. The
/// original is out of reach meanwhile. Detours of one function nest when they end in the reverse
/// order.
class Detour {
public:
    /// @param replacement has the signature and calling convention of the function it stands for
    /// @throw std::runtime_error when the module or the function does not exist
    template <class Result, class... Arguments>
    Detour(const wchar_t* module, const char* name, Result(WINAPI* replacement)(Arguments...))
        : Detour(module, name, reinterpret_cast<std::uintptr_t>(replacement))
    {}
    ~Detour();
    Detour(const Detour&) = delete;
    Detour& operator=(const Detour&) = delete;

private:
    using Code = std::array<std::byte, 14>;

    Detour(const wchar_t* module, const char* name, std::uintptr_t replacement);
    void Write(const Code& code) const;

    UniqueModule module_;
    void* function_ = nullptr;
    Code original_{};
};

}  // namespace orrery::sim
