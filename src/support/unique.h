#pragma once

#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <utility>

namespace orrery {

/// Sole owner of one platform resource; closes it on destruction.
/// @tparam Traits gives the resource's type, the value that means "none" and the way to close one
template <class Traits>
class Unique {
public:
    using Resource = typename Traits::Resource;

    Unique() noexcept = default;
    explicit Unique(Resource resource) noexcept : resource_(resource) {}
    Unique(Unique&& other) noexcept : resource_(other.release()) {}
    Unique& operator=(Unique&& other) noexcept
    {
        reset(other.release());
        return *this;
    }
    Unique(const Unique&) = delete;
    Unique& operator=(const Unique&) = delete;
    ~Unique() { reset(); }

    explicit operator bool() const noexcept { return resource_ != Traits::None(); }
    Resource get() const noexcept { return resource_; }
    Resource release() noexcept { return std::exchange(resource_, Traits::None()); }
    void reset(Resource resource = Traits::None()) noexcept
    {
        if (const Resource old = std::exchange(resource_, resource); old != Traits::None())
            Traits::Close(old);
    }
    /// Closes what is held and gives the place where a platform call stores a new resource.
    Resource* put() noexcept
    {
        reset();
        return &resource_;
    }

private:
    Resource resource_ = Traits::None();
};

struct FileTraits {
    using Resource = HANDLE;
    static Resource None() noexcept { return INVALID_HANDLE_VALUE; }
    static void Close(Resource file) noexcept { CloseHandle(file); }
};
/// A file or device from CreateFileW, for which "none" is INVALID_HANDLE_VALUE.
using UniqueFile = Unique<FileTraits>;

struct HandleTraits {
    using Resource = HANDLE;
    static Resource None() noexcept { return nullptr; }
    static void Close(Resource handle) noexcept { CloseHandle(handle); }
};
/// A process, token or event, for which "none" is null.
using UniqueHandle = Unique<HandleTraits>;

struct KeyTraits {
    using Resource = HKEY;
    static Resource None() noexcept { return nullptr; }
    static void Close(Resource key) noexcept { RegCloseKey(key); }
};
using UniqueKey = Unique<KeyTraits>;

struct ModuleTraits {
    using Resource = HMODULE;
    static Resource None() noexcept { return nullptr; }
    static void Close(Resource module) noexcept { FreeLibrary(module); }
};
/// One load reference to a library.
using UniqueModule = Unique<ModuleTraits>;

struct DesktopTraits {
    using Resource = HDESK;
    static Resource None() noexcept { return nullptr; }
    static void Close(Resource desktop) noexcept { CloseDesktop(desktop); }
};
using UniqueDesktop = Unique<DesktopTraits>;

struct SidTraits {
    using Resource = PSID;
    static Resource None() noexcept { return nullptr; }
    static void Close(Resource sid) noexcept { FreeSid(sid); }
};
/// A security identifier from AllocateAndInitializeSid.
using UniqueSid = Unique<SidTraits>;

struct StreamTraits {
    using Resource = std::FILE*;
    static Resource None() noexcept { return nullptr; }
    static void Close(Resource stream) noexcept { static_cast<void>(std::fclose(stream)); }
};
/// A C stream.
using UniqueStream = Unique<StreamTraits>;

template <class T>
struct MallocTraits {
    using Resource = T*;
    static Resource None() noexcept { return nullptr; }
    static void Close(Resource block) noexcept { std::free(block); }
};
/// A block from malloc.
template <class T>
using UniqueMalloc = Unique<MallocTraits<T>>;

template <class T>
struct HeapTraits {
    using Resource = T*;
    static Resource None() noexcept { return nullptr; }
    static void Close(Resource block) noexcept { HeapFree(GetProcessHeap(), 0, block); }
};
/// A block of the process heap.
template <class T>
using UniqueHeapBlock = Unique<HeapTraits<T>>;

/// A critical section, held by std::lock_guard like any other lockable.
class CriticalSection {
public:
    CriticalSection() noexcept { InitializeCriticalSection(&section_); }
    ~CriticalSection() { DeleteCriticalSection(&section_); }
    CriticalSection(const CriticalSection&) = delete;
    CriticalSection& operator=(const CriticalSection&) = delete;

    void lock() noexcept { EnterCriticalSection(&section_); }
    void unlock() noexcept { LeaveCriticalSection(&section_); }

private:
    CRITICAL_SECTION section_;
};

}  // namespace orrery
