#include "sim/devices.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "support/library.h"

namespace orrery::sim {
namespace {

Devices* current = nullptr;

}  // namespace

Devices::Devices(std::map<std::wstring, Answer> answers)
    : answers_(std::move(answers)),
      open_(L"kernel32.dll", "CreateFileW", &Open),
      control_(L"kernel32.dll", "DeviceIoControl", &Control)
{
    current = this;
}

Devices::~Devices()
{
    current = nullptr;
}

int Devices::CountOpen() const
{
    return static_cast<int>(std::count_if(handles_.begin(), handles_.end(), [](const auto& entry) {
        return SetEvent(entry.first) != FALSE;
    }));
}

HANDLE WINAPI Devices::Open(const wchar_t* path, DWORD access, DWORD share,
                            SECURITY_ATTRIBUTES* security, DWORD creation, DWORD flags,
                            HANDLE pattern)
{
    if (!std::wstring_view{path}.starts_with(L"\\\\.\\")) {
        // The detoured function is a stub of this one.
        static const auto open = FindFunction<decltype(&CreateFileW)>(
            GetModuleHandleW(L"kernelbase.dll"), "CreateFileW");
        return open(path, access, share, security, creation, flags, pattern);
    }
    current->asked.emplace_back(path);
    const bool isUsual = access == (GENERIC_READ | GENERIC_WRITE) &&
                         share == (FILE_SHARE_READ | FILE_SHARE_WRITE) &&
                         creation == OPEN_EXISTING && flags == 0;
    current->oddOpens += isUsual ? 0 : 1;
    const auto answer = current->answers_.find(path);
    if (answer == current->answers_.end()) {
        SetLastError(ERROR_FILE_NOT_FOUND);
        return INVALID_HANDLE_VALUE;
    }
    const HANDLE device = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    current->handles_[device] = &answer->second;
    return device;
}

BOOL WINAPI Devices::Control(HANDLE device, DWORD code, void* input, DWORD inputBytes, void* output,
                             DWORD outputBytes, DWORD* returned, OVERLAPPED*)
{
    *returned = outputBytes;
    const DeviceCall call{.code = code,
                          .input = {static_cast<const std::uint8_t*>(input), inputBytes},
                          .output = {static_cast<std::uint8_t*>(output), outputBytes},
                          .returned = returned};
    return (*current->handles_.at(device))(call) ? TRUE : FALSE;
}

}  // namespace orrery::sim
