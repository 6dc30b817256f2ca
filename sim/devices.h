#pragma once

#include <windows.h>

#include <cstdint>
#include <functional>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "sim/detour.h"

namespace orrery::sim {

/// One DeviceIoControl call.
struct DeviceCall {
    DWORD code;
    std::span<const std::uint8_t> input;
    std::span<std::uint8_t> output;
    DWORD* returned;  ///< the size of the output unless an answer changes it
};

/// While it lives, CreateFileW opens these devices and no others, and DeviceIoControl asks them. One
/// at a time.
class Devices {
public:
    /// Answers a call; false makes it fail.
    using Answer = std::function<bool(const DeviceCall& call)>;

    explicit Devices(std::map<std::wstring, Answer> answers);
    ~Devices();
    Devices(const Devices&) = delete;
    Devices& operator=(const Devices&) = delete;

    std::vector<std::wstring> asked;  ///< the paths, in order
    int oddOpens = 0;                 ///< not for reading and writing, shared, existing, no flags
    /// The number of devices that were opened and not closed.
    int CountOpen() const;

private:
    static HANDLE WINAPI Open(const wchar_t*, DWORD, DWORD, SECURITY_ATTRIBUTES*, DWORD, DWORD,
                              HANDLE);
    static BOOL WINAPI Control(HANDLE, DWORD, void*, DWORD, void*, DWORD, DWORD*, OVERLAPPED*);

    std::map<std::wstring, Answer> answers_;
    std::map<HANDLE, const Answer*> handles_;
    Detour open_, control_;
};

}  // namespace orrery::sim
