#include "prove/gates.h"

#include <winsock2.h>
#include <windows.h>
#include <iphlpapi.h>
#include <objbase.h>
#include <oleauto.h>
#include <wlanapi.h>
#include <ws2tcpip.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>

#include "entry/categories.h"
#include "entry/dispatcher.h"
#include "prove/desktop.h"
#include "prove/imports.h"

namespace orrery::prove {
namespace {

Gates* gates = nullptr;
std::atomic<int> blocksHeld{0};

/// How a call tells that it failed.
enum class Fails {
    kNever,
    kWithCode,     ///< by an error code
    kWithResult,   ///< by an HRESULT
    kWithNothing,  ///< by 0 or null
    kWithAllBits,  ///< by -1, as INVALID_HANDLE_VALUE and TIME_ZONE_ID_INVALID
};

/// What a call does to the ledger, and where the resource stands in it.
enum class Does {
    kNothing,
    kTakesResult,
    kTakesLast,  ///< the last argument is the place of what is taken
    kTakesForThread,
    kGivesLast,  ///< the last argument
    kGivesForThread,
};

struct Conduct {
    Fails fails = Fails::kNever;
    Does does = Does::kNothing;
    Resource resource = Resource::kHandle;
};

template <std::size_t Size>
struct Name {
    // NOLINTNEXTLINE(google-explicit-constructor): a literal is to be given as it is
    consteval Name(const char (&literal)[Size]) { std::copy_n(literal, Size, text); }
    char text[Size];
};

const void* ThisThread()
{
    return reinterpret_cast<const void*>(std::uintptr_t{GetCurrentThreadId()});
}

template <class T>
const void* AsPointer(T value)
{
    if constexpr (std::is_pointer_v<T>)
        return reinterpret_cast<const void*>(value);
    else
        return nullptr;
}

template <class First, class... Rest>
auto Last(First first, Rest... rest)
{
    if constexpr (sizeof...(rest) == 0)
        return first;
    else
        return Last(rest...);
}

template <Fails kFails, class Result>
Result FailedResult(const FaultCode& code)
{
    SetLastError(code.windows);
    if constexpr (kFails == Fails::kWithCode)
        return static_cast<Result>(code.windows);
    else if constexpr (kFails == Fails::kWithResult)
        return static_cast<Result>(code.result);
    else if constexpr (kFails == Fails::kWithAllBits)
        return (Result)std::intptr_t{-1};  // NOLINT: a handle or a number
    else
        return Result{};
}

template <Name kName, Conduct kConduct, class Function>
struct Gate;

/// Takes the place of one function in the library's imports.
template <Name kName, Conduct kConduct, class Result, class... Arguments>
struct Gate<kName, kConduct, Result(Arguments...)> {
    static inline Result(WINAPI* original)(Arguments...) = nullptr;

    static Result WINAPI Call(Arguments... arguments)
    {
        if constexpr (std::string_view{kName.text} == "CoInitialize")
            gates->faults.EnterApartment();
        if constexpr (kConduct.fails != Fails::kNever)
            if (const FaultCode* const code = gates->faults.Ask(kName.text);
                code != nullptr && (kConduct.fails != Fails::kWithResult || FAILED(code->result)))
                return FailedResult<kConduct.fails, Result>(*code);
        if constexpr (kConduct.does == Does::kGivesLast)
            gates->ledger.Give(kConduct.resource, AsPointer(Last(arguments...)));
        if constexpr (kConduct.does == Does::kGivesForThread)
            gates->ledger.Give(kConduct.resource, ThisThread());
        if constexpr (std::is_void_v<Result>) {
            original(arguments...);
            if constexpr (std::string_view{kName.text} == "CoUninitialize")
                gates->faults.LeaveApartment();
        } else {
            const Result result = original(arguments...);
            Note(result, arguments...);
            return result;
        }
    }

private:
    template <class Value>
    static bool Succeeded(Value result)
    {
        if constexpr (kConduct.fails == Fails::kWithCode)
            return result == Value{};
        else if constexpr (kConduct.fails == Fails::kWithResult)
            return SUCCEEDED(result);
        else if constexpr (kConduct.fails == Fails::kWithAllBits)
            return result != INVALID_HANDLE_VALUE;
        else
            return result != Value{};
    }

    template <class Value>
    static void Note([[maybe_unused]] Value result, [[maybe_unused]] Arguments... arguments)
    {
        if constexpr (kConduct.does == Does::kTakesResult) {
            if (Succeeded(result))
                gates->ledger.Take(kConduct.resource, AsPointer(result));
        } else if constexpr (kConduct.does == Does::kTakesLast) {
            if (Succeeded(result))
                gates->ledger.Take(kConduct.resource, AsPointer(*Last(arguments...)));
        } else if constexpr (kConduct.does == Does::kTakesForThread) {
            if (Succeeded(result))
                gates->ledger.Take(kConduct.resource, ThisThread());
        }
    }
};

/// One function of Windows: its name, what is called in its place, and where the gate keeps what
/// it stands for.
struct Row {
    const char* name;
    void* gate;
    void** original;
};

template <Name kName, class Function, Conduct kConduct>
Row RowOf()
{
    using ThisGate = Gate<kName, kConduct, Function>;
    return {kName.text, reinterpret_cast<void*>(&ThisGate::Call),
            reinterpret_cast<void**>(&ThisGate::original)};
}

constexpr Conduct kCode{Fails::kWithCode};
constexpr Conduct kResult{Fails::kWithResult};
constexpr Conduct kNothing{Fails::kWithNothing};
constexpr Conduct kAllBits{Fails::kWithAllBits};

constexpr Conduct Takes(Fails fails, Does does, Resource resource)
{
    return {fails, does, resource};
}

constexpr Conduct Gives(Resource resource, Does does = Does::kGivesLast)
{
    return {Fails::kNever, does, resource};
}

void* CountedAllocation(void* block)
{
    if (block != nullptr)
        ++blocksHeld;
    return block;
}

// Memory is counted and not failed: one that is short ends the host, as in any C++ program.
void* (*allocate)(std::size_t) = nullptr;
void* (*allocateCleared)(std::size_t, std::size_t) = nullptr;
void* (*reallocate)(void*, std::size_t) = nullptr;
void (*release)(void*) = nullptr;

void* Allocate(std::size_t size)
{
    return CountedAllocation(allocate(size));
}

void* AllocateCleared(std::size_t count, std::size_t size)
{
    return CountedAllocation(allocateCleared(count, size));
}

void* Reallocate(void* block, std::size_t size)
{
    void* const moved = reallocate(block, size);
    return block == nullptr ? CountedAllocation(moved) : moved;
}

void Release(void* block)
{
    if (block != nullptr)
        --blocksHeld;
    release(block);
}

// Functions that the library finds by name; their gates are handed out instead.
std::vector<Row> FoundByName()
{
    return {
        RowOf<"GetDiskFreeSpaceExW", decltype(GetDiskFreeSpaceExW), kNothing>(),
        RowOf<"EnumDisplayDevicesW", decltype(EnumDisplayDevicesW), kNothing>(),
        RowOf<"GetProductInfo", decltype(GetProductInfo), kNothing>(),
        RowOf<"IsWow64Process", decltype(IsWow64Process), kNothing>(),
        RowOf<"SetThreadErrorMode", decltype(SetThreadErrorMode), kNothing>(),
        RowOf<"GetAdaptersInfo", decltype(GetAdaptersInfo), kCode>(),
        RowOf<"GetPerAdapterInfo", decltype(GetPerAdapterInfo), kCode>(),
        RowOf<"GetAdaptersAddresses", decltype(GetAdaptersAddresses), kCode>(),
        RowOf<"WlanOpenHandle", decltype(WlanOpenHandle), kCode>(),
        RowOf<"WlanEnumInterfaces", decltype(WlanEnumInterfaces), kCode>(),
        RowOf<"WlanQueryInterface", decltype(WlanQueryInterface), kCode>(),
        RowOf<"WlanGetNetworkBssList", decltype(WlanGetNetworkBssList), kCode>(),
    };
}

FARPROC WINAPI FindFunction(HMODULE module, const char* name)
{
    static const std::vector<Row> rows = FoundByName();
    if (gates->faults.Ask(std::string{"GetProcAddress of "} + name) != nullptr)
        return nullptr;
    const FARPROC found = GetProcAddress(module, name);
    const auto row = std::find_if(rows.begin(), rows.end(), [name](const Row& each) {
        return std::strcmp(each.name, name) == 0;
    });
    if (found == nullptr || row == rows.end())
        return found;
    *row->original = reinterpret_cast<void*>(found);
    return reinterpret_cast<FARPROC>(row->gate);
}

HMODULE WINAPI LoadLibraryGate(const wchar_t* name)
{
    if (gates->faults.Ask("LoadLibraryW") != nullptr)
        return nullptr;
    const HMODULE library = LoadLibraryW(name);
    // Each collector keeps one reference to this library on purpose.
    if (std::wstring_view{name} != L"wlanapi.dll" && library != nullptr)
        gates->ledger.Take(Resource::kLibrary, library);
    return library;
}

struct WorkerStart {
    LPTHREAD_START_ROUTINE run;
    void* job;
    int caller;
};

DWORD WINAPI RunWorker(void* argument)
{
    const std::unique_ptr<WorkerStart> start{static_cast<WorkerStart*>(argument)};
    Faults::ActAs(start->caller);
    return start->run(start->job);
}

/// Lets a worker act for its category. A thread that cannot be started is not among the faults: the
/// run ends then without waiting for the others, as documented.
HANDLE WINAPI CreateWorker(SECURITY_ATTRIBUTES* security, SIZE_T stack, LPTHREAD_START_ROUTINE run,
                           void* job, DWORD flags, DWORD* id)
{
    const std::int32_t category = static_cast<const CategoryJob*>(job)->id;
    const auto at = std::find_if(kHardwareCategories.begin(), kHardwareCategories.end(),
                                 [category](const Category& each) { return each.id == category; });
    auto start = std::make_unique<WorkerStart>(
        WorkerStart{run, job, static_cast<int>(at - kHardwareCategories.begin()) + 1});
    const HANDLE thread = CreateThread(security, stack, RunWorker, start.get(), flags, id);
    if (thread != nullptr) {
        static_cast<void>(start.release());
        gates->ledger.Take(Resource::kHandle, thread);
    }
    return thread;
}

std::vector<Row> Imported()
{
    using enum Resource;
    return {
        RowOf<"RegOpenKeyExW", decltype(RegOpenKeyExW),
              Takes(Fails::kWithCode, Does::kTakesLast, kKey)>(),
        RowOf<"RegQueryValueExW", decltype(RegQueryValueExW), kCode>(),
        RowOf<"RegEnumKeyExW", decltype(RegEnumKeyExW), kCode>(),
        RowOf<"RegCloseKey", decltype(RegCloseKey), Gives(kKey)>(),
        RowOf<"AllocateAndInitializeSid", decltype(AllocateAndInitializeSid),
              Takes(Fails::kWithNothing, Does::kTakesLast, kSid)>(),
        RowOf<"FreeSid", decltype(FreeSid), Gives(kSid)>(),
        RowOf<"GetTokenInformation", decltype(GetTokenInformation), kNothing>(),
        RowOf<"GetUserNameW", decltype(GetUserNameW), kNothing>(),
        RowOf<"ImpersonateLoggedOnUser", decltype(ImpersonateLoggedOnUser),
              Takes(Fails::kWithNothing, Does::kTakesForThread, kIdentity)>(),
        RowOf<"RevertToSelf", decltype(RevertToSelf), Gives(kIdentity, Does::kGivesForThread)>(),
        RowOf<"LookupAccountSidW", decltype(LookupAccountSidW), kNothing>(),
        RowOf<"OpenProcessToken", decltype(OpenProcessToken),
              Takes(Fails::kWithNothing, Does::kTakesLast, kHandle)>(),
        RowOf<"OpenProcess", decltype(OpenProcess),
              Takes(Fails::kWithNothing, Does::kTakesResult, kHandle)>(),
        RowOf<"CreateFileW", decltype(CreateFileW),
              Takes(Fails::kWithAllBits, Does::kTakesResult, kHandle)>(),
        RowOf<"CreateEventA", decltype(CreateEventA),
              Takes(Fails::kNever, Does::kTakesResult, kHandle)>(),
        RowOf<"CreateSemaphoreA", decltype(CreateSemaphoreA),
              Takes(Fails::kNever, Does::kTakesResult, kHandle)>(),
        RowOf<"CloseHandle", decltype(CloseHandle), Gives(kHandle)>(),
        RowOf<"DeviceIoControl", decltype(DeviceIoControl), kNothing>(),
        RowOf<"FreeLibrary", decltype(FreeLibrary), Gives(kLibrary)>(),
        RowOf<"GetModuleHandleW", decltype(GetModuleHandleW), kNothing>(),
        RowOf<"GetComputerNameExW", decltype(GetComputerNameExW), kNothing>(),
        RowOf<"GetDriveTypeW", decltype(GetDriveTypeW), kNothing>(),
        RowOf<"GetLogicalDrives", decltype(GetLogicalDrives), kNothing>(),
        RowOf<"GetTimeZoneInformation", decltype(GetTimeZoneInformation), kAllBits>(),
        RowOf<"GetVersionExW", decltype(GetVersionExW), kNothing>(),
        RowOf<"GetVolumeInformationW", decltype(GetVolumeInformationW), kNothing>(),
        RowOf<"GlobalMemoryStatusEx", decltype(GlobalMemoryStatusEx), kNothing>(),
        RowOf<"HeapAlloc", decltype(HeapAlloc),
              Takes(Fails::kWithNothing, Does::kTakesResult, kHeapBlock)>(),
        RowOf<"HeapFree", decltype(HeapFree), Gives(kHeapBlock)>(),
        RowOf<"MultiByteToWideChar", decltype(MultiByteToWideChar), kNothing>(),
        RowOf<"_wfopen", decltype(_wfopen),
              Takes(Fails::kWithNothing, Does::kTakesResult, kFile)>(),
        RowOf<"fclose", decltype(fclose), Gives(kFile)>(),
        RowOf<"CoInitialize", decltype(CoInitialize),
              Takes(Fails::kWithResult, Does::kTakesForThread, kApartment)>(),
        RowOf<"CoUninitialize", decltype(CoUninitialize),
              Gives(kApartment, Does::kGivesForThread)>(),
        RowOf<"CoSetProxyBlanket", decltype(CoSetProxyBlanket), kResult>(),
        RowOf<"SysAllocStringLen", decltype(SysAllocStringLen), kNothing>(),
        RowOf<"VariantChangeType", decltype(VariantChangeType), kResult>(),
        RowOf<"GetShellWindow", decltype(GetShellWindow), kNothing>(),
        RowOf<"GetSystemMetrics", decltype(GetSystemMetrics), kNothing>(),
        RowOf<"OpenDesktopW", decltype(OpenDesktopW),
              Takes(Fails::kWithNothing, Does::kTakesResult, kDesktop)>(),
        RowOf<"CloseDesktop", decltype(CloseDesktop), Gives(kDesktop)>(),
        RowOf<"EnumWindows", decltype(EnumWindows), kNothing>(),
        RowOf<"GetWindowRect", decltype(GetWindowRect), kNothing>(),
        RowOf<"GetWindowThreadProcessId", decltype(GetWindowThreadProcessId), kNothing>(),
        RowOf<"GetClassNameW", decltype(GetClassNameW), kNothing>(),
        RowOf<"GetWindowLongPtrW", decltype(GetWindowLongPtrW), kNothing>(),
        RowOf<"WSAStartup", decltype(WSAStartup),
              Takes(Fails::kWithCode, Does::kTakesForThread, kSockets)>(),
        RowOf<"WSACleanup", decltype(WSACleanup), Gives(kSockets, Does::kGivesForThread)>(),
        RowOf<"getnameinfo", decltype(getnameinfo), kCode>(),
    };
}

template <class Function>
void Count(HMODULE library, const char* name, Function* replacement, Function** original)
{
    *original = reinterpret_cast<Function*>(
        ReplaceImport(library, name, reinterpret_cast<void*>(replacement)));
}

}  // namespace

Gates::Gates(HMODULE library)
{
    gates = this;
    for (const Row& row : Imported()) {
        // In place before the gate can be entered.
        *row.original = ReplaceImport(library, row.name, nullptr);
        if (void* const made = MadeAnswer(row.name))
            *row.original = made;
        ReplaceImport(library, row.name, row.gate);
    }
    Count(library, "malloc", &Allocate, &allocate);
    Count(library, "calloc", &AllocateCleared, &allocateCleared);
    Count(library, "realloc", &Reallocate, &reallocate);
    Count(library, "free", &Release, &release);
    ReplaceImport(library, "GetProcAddress", reinterpret_cast<void*>(&FindFunction));
    ReplaceImport(library, "LoadLibraryW", reinterpret_cast<void*>(&LoadLibraryGate));
    ReplaceImport(library, "CreateThread", reinterpret_cast<void*>(&CreateWorker));
}

int Gates::BlocksHeld()
{
    return blocksHeld;
}

}  // namespace orrery::prove
