#include "sim/interposer.h"

#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <utility>

namespace orrery::sim {
namespace {

/// One argument of a function, no matter which.
template <std::size_t>
using Argument = Word;

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

/// How a function of some words is called, and the hooks that stand for such functions.
struct Interposer::Form {
    std::array<Word, kMostCalls> hooks;
    Word (*invoke)(Word function, const Words& words);

    template <class Callee, std::size_t... At>
    static Form Of(std::index_sequence<At...>)
    {
        return {{reinterpret_cast<Word>(&Callee::template Hook<At>)...}, &Callee::Invoke};
    }
};

/// A function that removes its arguments by itself where the convention of x86 holds.
template <std::size_t... Place>
struct Interposer::Callee {
    using Function = Word(WINAPI*)(Argument<Place>...);

    template <std::size_t At>
    static Word WINAPI Hook(Argument<Place>... words)
    {
        return current->OnCall(At, {words...});
    }
    static Word Invoke(Word function, [[maybe_unused]] const Words& words)
    {
        return reinterpret_cast<Function>(function)(words[Place]...);
    }
};

/// A function whose caller removes the arguments. It does not look at those that it has not, so that
/// one form suits all.
template <std::size_t... Place>
struct Interposer::CallersCallee {
    using Function = Word(__cdecl*)(Argument<Place>...);

    template <std::size_t At>
    static Word __cdecl Hook(Argument<Place>... words)
    {
        return current->OnCall(At, {words...});
    }
    static Word Invoke(Word function, const Words& words)
    {
        return reinterpret_cast<Function>(function)(words[Place]...);
    }
};

template <std::size_t... Count>
const Interposer::Form& Interposer::FormOf(int words, std::index_sequence<Count...>)
{
    constexpr auto calls = std::make_index_sequence<kMostCalls>{};
    if (words < 0) {
        static const Form callers = Form::Of<CallersCallee<Count...>>(calls);
        return callers;
    }
#ifdef _WIN64
    return FormOf(-1, std::index_sequence<Count...>{});
#else
    const auto formOf = [&]<std::size_t... Place>(std::index_sequence<Place...>)
    {
        return Form::Of<Callee<Place...>>(calls);
    };
    static const Form forms[] = {formOf(std::make_index_sequence<0>{}),
                                 formOf(std::make_index_sequence<Count + 1>{})...};
    return forms[words];
#endif
}

const Interposer::Form& Interposer::FormOf(std::size_t call)
{
    return FormOf(KnownCalls().calls[call].words, std::make_index_sequence<kMostArguments>{});
}

Word Interposer::CallOriginal(std::size_t call, const Words& words) const
{
    return Invoke(call, originals_[call], words);
}

Word Interposer::Invoke(std::size_t call, Word function, const Words& words)
{
    return FormOf(call).invoke(function, words);
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
                (*entry & IMAGE_ORDINAL_FLAG) != 0
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
    const Word hook = FormOf(call).hooks[call];
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
    return FormOf(static_cast<std::size_t>(call)).hooks[static_cast<std::size_t>(call)];
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
