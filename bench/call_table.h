#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace orrery::bench {

/// Where a call's function is found: an import of the library, or a method of an interface.
enum class Home : std::uint8_t {
    kImport,
    kLocator,
    kServices,
    kSecurity,
    kEnumerator,
    kObject,
};

/// What a call gives back.
enum class Result : std::uint8_t {
    kStatus,  ///< the same whenever the call does the same
    kHandle,  ///< a handle or pointer for later calls
    kNone,    ///< nothing, or an address that nobody passes on
};

/// A platform function that the library may call. One letter tells of each argument:
///
///     v  a number, or a pointer that stays valid: passed as it is
///     w  wide text      a  narrow text      n  wide text whose length is the next argument
///     h  a handle or pointer that an earlier call gave
///     H  the place where the call stores one; L, S, C, E and O if it is an interface, by its kind
///     N  the place where the call stores objects, as many as the argument before says
///     W  handles to wait for, as many as the argument before says
///     p  the place of anything else that the call reads or writes
///     V  a VARIANT
///     T  what a new thread runs; its argument comes next
struct PlatformCall {
    Home home;
    const char* name;
    const char* arguments;
    Result result = Result::kStatus;
    int method = 0;  ///< its place in the interface
};

/// The functions that ask the machine or manage what it gave. What only works on text or memory is
/// left out: that is the library's own work.
std::span<const PlatformCall> PlatformCalls() noexcept;

}  // namespace orrery::bench
