#pragma once

#include <windows.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "sim/platform_calls.h"

namespace orrery::sim {

using Word = std::uintptr_t;
constexpr std::size_t kMostArguments = 11;
using Words = std::array<Word, kMostArguments>;

/// Stands between a loaded orrery.dll and Windows: every call of a function of KnownCalls(), imported
/// or found by name, goes to a handler instead. One at a time.
class Interposer {
public:
    /// Stands for a call, in the calling thread.
    /// @param call its place in KnownCalls()
    using Handler = std::function<Word(std::size_t call, Words& words)>;

    /// @throw std::runtime_error when the library imports a function that the list does not have; one
    ///        that it finds by name later on ends the process, with a word on the error stream
    Interposer(HMODULE library, Handler handler);
    ~Interposer() { Restore(); }
    Interposer(const Interposer&) = delete;
    Interposer& operator=(const Interposer&) = delete;

    /// Calls what the library would call by itself.
    Word CallOriginal(std::size_t call, const Words& words) const;
    /// What the library would call by itself.
    Word Original(std::size_t call) const { return originals_[call]; }
    /// Calls a function that has the signature of a call.
    static Word Invoke(std::size_t call, Word function, const Words& words);
    /// Lets another function of the same signature be the original.
    void Replace(const char* name, void* function);
    /// Takes the methods of an interface too. A second implementation of it ends the process.
    /// @param interfaceName as in "IWbemServices"
    void TakeMethods(Word object, std::string_view interfaceName);
    /// Lets the library call Windows again, but for the functions that it has found by name.
    void Restore();

private:
    static constexpr std::size_t kMostCalls = 128;

    template <std::size_t... Place>
    struct Callee;
    template <std::size_t... Place>
    struct CallersCallee;
    struct Form;
    template <std::size_t... Count>
    static const Form& FormOf(int words, std::index_sequence<Count...>);
    static const Form& FormOf(std::size_t call);
    Word OnCall(std::size_t call, Words words);
    void TakeImports(HMODULE library);
    Word TakeFound(const char* name, Word function);
    void Patch(std::size_t call, Word* place);

    struct PatchedPlace {
        Word* place;
        Word original;
    };

    const PlatformCalls& known_ = KnownCalls();
    const int getProcAddress_ = known_.Find("GetProcAddress");
    const Handler handler_;
    std::mutex lock_;
    std::array<Word, kMostCalls> originals_{};
    std::vector<PatchedPlace> patches_;
};

}  // namespace orrery::sim
