#include "sim/interposer.h"

#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <utility>

namespace orrery::sim {
namespace {

using Function = Word(WINAPI*)(Word, Word, Word, Word, Word, Word, Word, Word, Word, Word, Word);

/// Hooks are plain functions and need it from anywhere.
Interposer* current = nullptr;

void Write(Word* place, Word value)
{
    DWORD protection = 0;
    VirtualProtect(place, sizeof value, PAGE_READWRITE, &protection);
    *place = value;
    VirtualProtect(place, sizeof value, protection, &protection);
}

/// Ends the process: the library waits for an answer and cannot be told in another way.
[[noreturn]] void Refuse(const char* what, const std::string& name)
{
    std::fprintf(stderr, "%s %s\n", what, name.c_str());
    std::fflush(stderr);
    std::_Exit(EXIT_FAILURE);
}

}  // namespace

Word Invoke(Word function, const Words& a)
{
    return reinterpret_cast<Function>(function)(a[0], a[1], a[2], a[3], a[4], a[5], a[6], a[7],
                                                a[8], a[9], a[10]);
}

template <std::size_t At>
Word WINAPI Interposer::Hook(Word a, Word b, Word c, Word d, Word e, Word f, Word g, Word h, Word i,
                             Word j, Word k)
{
    return current->OnCall(At, {a, b, c, d, e, f, g, h, i, j, k});
}

template <std::size_t... At>
std::array<Word, sizeof...(At)> Interposer::MakeHooks(std::index_sequence<At...>)
{
    return {reinterpret_cast<Word>(&Hook<At>)...};
}

Word Interposer::HookOf(std::size_t call)
{
    static const auto hooks = MakeHooks(std::make_index_sequence<kMostCalls>{});
    return hooks[call];
}

Interposer::Interposer(HMODULE library, Handler handler) : handler_(std::move(handler))
{
    if (known_.calls.size() > kMostCalls)
        throw std::logic_error("more platform calls than hooks");
    current = this;
    TakeImports(library);
}

void Interposer::TakeImports(HMODULE library)
{
    const auto base = reinterpret_cast<Word>(library);
    const auto* const dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    const auto* const headers =
        reinterpret_cast<const IMAGE_NT_HEADERS*>(base + static_cast<Word>(dos->e_lfanew));
    const DWORD table =
        headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
    std::vector<std::pair<std::size_t, Word*>> places;
    std::string unknown;
    for (auto* module = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(base + table);
         module->Name != 0; ++module) {
        auto* entry = reinterpret_cast<const Word*>(base + module->OriginalFirstThunk);
        auto* place = reinterpret_cast<Word*>(base + module->FirstThunk);
        for (; *entry != 0; ++entry, ++place) {
            // two bytes of a hint come before the name
            const std::string name =
                (*entry & IMAGE_ORDINAL_FLAG64) != 0
                    ? '#' + std::to_string(*entry & 0xFFFF)
                    : std::string{reinterpret_cast<const char*>(base + *entry + 2)};
            if (const int call = known_.Find(name); call >= 0)
                places.emplace_back(static_cast<std::size_t>(call), place);
            else if (!known_.own.contains(name))
                unknown += ' ' + name;
        }
    }
    if (!unknown.empty())
        throw std::runtime_error("orrery.dll imports what platform_calls.txt does not tell of:" +
                                 unknown);
    for (const auto& [call, place] : places)
        Patch(call, place);
}

void Interposer::Patch(std::size_t call, Word* place)
{
    const std::lock_guard hold{lock_};
    const Word hook = HookOf(call);
    if (*place == hook)
        return;
    if (originals_[call] != 0 && originals_[call] != *place)
        Refuse("orrery.dll is given two implementations of", known_.calls[call].name);
    originals_[call] = *place;
    patches_.push_back({place, *place});
    Write(place, hook);
}

void Interposer::TakeMethods(Word object, std::string_view interfaceName)
{
    auto* const methods = *reinterpret_cast<Word**>(object);
    for (std::size_t at = 0; at < known_.calls.size(); ++at)
        if (const PlatformCall& call = known_.calls[at];
            call.method >= 0 && call.name.starts_with(interfaceName) &&
            call.name.substr(interfaceName.size(), 2) == "::")
            Patch(at, methods + call.method);
}

Word Interposer::TakeFound(const char* name, Word function)
{
    const int call = known_.Find(name);
    if (call < 0 && !known_.own.contains(name))
        Refuse("orrery.dll looks up what platform_calls.txt does not tell of:", name);
    if (call < 0 || function == 0)
        return function;
    const std::lock_guard hold{lock_};
    originals_[static_cast<std::size_t>(call)] = function;
    return HookOf(static_cast<std::size_t>(call));
}

void Interposer::Replace(const char* name, void* function)
{
    originals_[static_cast<std::size_t>(known_.Find(name))] = reinterpret_cast<Word>(function);
}

Word Interposer::OnCall(std::size_t call, Words words)
{
    const Word result = handler_(call, words);
    return static_cast<int>(call) == getProcAddress_
               ? TakeFound(reinterpret_cast<const char*>(words[1]), result)
               : result;
}

void Interposer::Restore()
{
    for (const PatchedPlace& patch : patches_)
        Write(patch.place, patch.original);
    patches_.clear();
}

}  // namespace orrery::sim
