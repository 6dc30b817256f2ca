#include "prove/imports.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

namespace orrery::prove {
namespace {

template <class T>
T* At(HMODULE module, std::uintptr_t offset)
{
    return reinterpret_cast<T*>(reinterpret_cast<std::byte*>(module) + offset);
}

/// The place of an imported function's address; null when the module imports none of this name.
void** FindImport(HMODULE module, const char* name)
{
    const auto* const dos = At<const IMAGE_DOS_HEADER>(module, 0);
    const auto* const headers =
        At<const IMAGE_NT_HEADERS>(module, static_cast<std::uintptr_t>(dos->e_lfanew));
    const auto& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    for (const auto* import = At<const IMAGE_IMPORT_DESCRIPTOR>(module, directory.VirtualAddress);
         import->Name != 0; ++import) {
        const auto* names = At<const IMAGE_THUNK_DATA>(module, import->OriginalFirstThunk);
        auto* addresses = At<void*>(module, import->FirstThunk);
        for (; names->u1.AddressOfData != 0; ++names, ++addresses)
            if (!IMAGE_SNAP_BY_ORDINAL(names->u1.Ordinal) &&
                std::strcmp(At<const IMAGE_IMPORT_BY_NAME>(module, names->u1.AddressOfData)->Name,
                            name) == 0)
                return addresses;
    }
    return nullptr;
}

}  // namespace

void* ReplaceImport(HMODULE module, const char* name, void* replacement)
{
    void** const place = FindImport(module, name);
    if (place == nullptr)
        return nullptr;
    DWORD protection = 0;
    VirtualProtect(place, sizeof *place, PAGE_READWRITE, &protection);
    void* const original = std::exchange(*place, replacement);
    VirtualProtect(place, sizeof *place, protection, &protection);
    return original;
}

}  // namespace orrery::prove
