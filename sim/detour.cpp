#include "sim/detour.h"

#include <cstring>
#include <stdexcept>
#include <string>

namespace orrery::sim {

Detour::Detour(const wchar_t* module, const char* name, std::uintptr_t replacement)
    : module_(LoadLibraryW(module))
{
    if (module_)
        function_ = reinterpret_cast<void*>(GetProcAddress(module_.get(), name));
    if (function_ == nullptr)
        throw std::runtime_error(std::string{"no function to detour: "} + name);
    std::memcpy(original_.data(), function_, original_.size());

#ifdef _WIN64
    // jmp [rip + 0], followed by the address it reads
    Code jump{std::byte{0xFF}, std::byte{0x25}};
    std::memcpy(jump.data() + 6, &replacement, sizeof replacement);
#else
    // push the address, ret
    Code jump{std::byte{0x68}};
    std::memcpy(jump.data() + 1, &replacement, sizeof replacement);
    jump[5] = std::byte{0xC3};
#endif
    Write(jump);
}

Detour::~Detour()
{
    Write(original_);
}

void Detour::Write(const Code& code) const
{
    DWORD protection = 0;
    VirtualProtect(function_, code.size(), PAGE_EXECUTE_READWRITE, &protection);
    std::memcpy(function_, code.data(), code.size());
    VirtualProtect(function_, code.size(), protection, &protection);
    FlushInstructionCache(GetCurrentProcess(), function_, code.size());
}

}  // namespace orrery::sim
