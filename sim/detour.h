#pragma once

#include <windows.h>

#include <array>
#include <cstddef>
#include <cstdint>

#include "support/unique.h"

namespace orrery::sim {

/// GetWindowLongPtrW, by the name that this width of Windows has for it.
constexpr const char* kGetWindowLongPtr =
    sizeof(void*) == 8 ? "GetWindowLongPtrW" : "GetWindowLongW";

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
    /// @param replacement a lambda that captures nothing, with the signature of the function
    template <class Lambda>
    Detour(const wchar_t* module, const char* name, Lambda)
        : Detour(module, name, PlaceOf(&Lambda::operator()))
    {}
    ~Detour();
    Detour(const Detour&) = delete;
    Detour& operator=(const Detour&) = delete;

private:
    using Code = std::array<std::byte, sizeof(void*) == 8 ? 14 : 6>;

    /// Lambdas have the calling convention of the compiler's choice.
    template <class Lambda, class Result, class... Arguments>
    static Result WINAPI Call(Arguments... arguments)
    {
        return Lambda{}(arguments...);
    }
    template <class Lambda, class Result, class... Arguments>
    static std::uintptr_t PlaceOf(Result (Lambda::*)(Arguments...) const)
    {
        Result(WINAPI * place)(Arguments...) = &Call<Lambda, Result, Arguments...>;
        return reinterpret_cast<std::uintptr_t>(place);
    }

    Detour(const wchar_t* module, const char* name, std::uintptr_t replacement);
    void Write(const Code& code) const;

    UniqueModule module_;
    void* function_ = nullptr;
    Code original_{};
};

}  // namespace orrery::sim
