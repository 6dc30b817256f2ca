#include "native/video_adapter.h"

#include <cstring>
#include <optional>

#include "support/registry.h"
#include "support/text.h"

namespace orrery {
namespace {

/// Opens the settings key that a driver path names, if it is the key of an installed driver.
UniqueKey OpenDriverKey(std::wstring_view registryPath)
{
    constexpr std::size_t kMaxDriverList = 4095;  // characters
    const auto path = DriverKeyPath(registryPath);
    if (path.empty())
        return UniqueKey{};
    auto key = OpenKey(HKEY_LOCAL_MACHINE, path.c_str());
    if (!key)
        return key;
    const auto drivers = ReadValue(key.get(), L"InstalledDisplayDrivers");
    if (!drivers ||
        drivers->bytes.size() > (kMaxDriverList + 1) * sizeof(wchar_t))  // a terminator may follow
        key.reset();
    return key;
}

/// Reads a little-endian byte count of exactly Number's size, whatever its registry type, and gives
/// its whole MiB; 0 when the value is missing or has another size.
template <class Number>
std::uint32_t ReadMebibytes(HKEY key, const wchar_t* name)
{
    const auto value = ReadValue(key, name);
    Number bytes = 0;
    if (value && value->bytes.size() == sizeof bytes)
        std::memcpy(&bytes, value->bytes.data(), sizeof bytes);
    return static_cast<std::uint32_t>(ToMebibytes(bytes));
}

std::wstring FormatMemory(std::uint32_t mebibytes)
{
    return mebibytes == 0 ? std::wstring{} : std::to_wstring(mebibytes);
}

/// Reads a text that drivers store as REG_SZ or as the bytes of one (REG_BINARY).
/// @return empty when the value is missing, of another type or longer than maxBytes
std::wstring ReadDriverText(HKEY key, const wchar_t* name, std::size_t maxBytes)
{
    const auto value = ReadValue(key, name);
    if (!value || (value->type != REG_SZ && value->type != REG_BINARY) ||
        value->bytes.size() > maxBytes)
        return {};
    return TextOfBytes(value->bytes);
}

constexpr std::size_t kMaxDacTypeBytes = 255;
constexpr std::size_t kMaxNameCharacters = 255;

std::wstring ReadDacType(HKEY key)
{
    return ReadDriverText(key, L"HardwareInformation.DacType", kMaxDacTypeBytes);
}

}  // namespace

std::wstring DriverKeyPath(std::wstring_view registryPath)
{
    const auto path = ToLower(std::wstring{registryPath});
    const auto at = path.find(L"system\\");
    return at == std::wstring::npos ? std::wstring{} : path.substr(at);
}

VideoSource ChooseVideoSource(const PlatformVersion& platform) noexcept
{
    if (!platform.IsNt())
        return VideoSource::kConfigurationManager;
    return platform.major >= 5 ? VideoSource::kDisplayDevices : VideoSource::kDeviceMap;
}

std::vector<DisplayDevice> EnumerateDisplayDevices(EnumDisplayDevicesFunction enumerate)
{
    std::vector<DisplayDevice> devices;
    if (enumerate == nullptr)
        return devices;
    for (DWORD number = 0;; ++number) {
        DISPLAY_DEVICEW device{};
        device.cb = sizeof device;
        if (!enumerate(nullptr, number, &device, 0))
            return devices;
        devices.push_back(
            {device.DeviceString, device.DeviceID, device.DeviceKey, device.StateFlags});
    }
}

std::int32_t ReadDisplayDevices(const std::vector<DisplayDevice>& devices, std::int32_t index,
                                VideoAdapter* adapter)
{
    std::int32_t count = 0;
    const DisplayDevice* previous = nullptr;
    for (const auto& device : devices) {
        if ((device.stateFlags & DISPLAY_DEVICE_ATTACHED_TO_DESKTOP) == 0 ||
            (device.stateFlags & DISPLAY_DEVICE_MIRRORING_DRIVER) != 0)
            continue;
        if (previous != nullptr && previous->deviceId == device.deviceId)
            continue;  // another head of the card just counted
        const auto key = OpenDriverKey(device.deviceKey);
        if (!key)
            continue;
        if (count == index) {
            auto memory =
                ReadMebibytes<std::uint64_t>(key.get(), L"HardwareInformation.qwMemorySize");
            if (memory == 0)
                memory = ReadMebibytes<std::uint32_t>(key.get(), L"HardwareInformation.MemorySize");
            *adapter = {device.deviceString, FormatMemory(memory), ReadDacType(key.get())};
        }
        previous = &device;
        ++count;
    }
    return count;
}

std::int32_t ReadDeviceMap(std::int32_t index, VideoAdapter* adapter)
{
    constexpr std::size_t kMaxPath = 1023;  // characters
    const auto map = OpenKey(HKEY_LOCAL_MACHINE, L"HARDWARE\\DEVICEMAP\\VIDEO");
    if (!map)
        return 0;
    std::int32_t count = 0;
    for (int number = 0;; ++number) {
        const auto value = L"\\Device\\Video" + std::to_wstring(number);
        const auto stored = ReadText(map.get(), value.c_str(), kMaxPath);
        if (!stored)
            return count;
        const auto path = ToLower(*stored);
        if (path.find(L"\\vgasave") != std::wstring::npos)
            continue;
        const auto key = OpenDriverKey(path);
        if (!key || ReadDword(key.get(), L"MirrorDriver").value_or(0) != 0)
            continue;
        if (count == index)
            *adapter = {ReadDriverText(key.get(), L"HardwareInformation.AdapterString",
                                       kMaxNameCharacters * sizeof(wchar_t)),
                        FormatMemory(ReadMebibytes<std::uint32_t>(
                            key.get(), L"HardwareInformation.MemorySize")),
                        ReadDacType(key.get())};
        ++count;
    }
}

namespace {

/// Opens the device that a running node stands for, if it is a display adapter.
UniqueKey OpenDisplayNode(HKEY nodes, const std::wstring& name)
{
    constexpr std::size_t kMaxHardwareKey = 1023;  // characters
    const auto node = OpenKey(nodes, name.c_str());
    const auto hardware = node ? ReadText(node.get(), L"HardwareKey", kMaxHardwareKey)
                               : std::optional<std::wstring>{};
    if (!hardware)
        return UniqueKey{};
    auto device = OpenKey(HKEY_LOCAL_MACHINE, (L"Enum\\" + *hardware).c_str());
    if (!device)
        return device;
    const auto deviceClass = ReadText(device.get(), L"Class", kMaxNameCharacters);
    if (!deviceClass || !EqualsIgnoringCase(*deviceClass, L"Display"))
        device.reset();
    return device;
}

VideoAdapter ReadDisplayNode(HKEY device)
{
    VideoAdapter adapter;
    adapter.name = ReadText(device, L"DeviceDesc", kMaxNameCharacters).value_or(L"");
    const auto driver = ReadText(device, L"Driver", kMaxNameCharacters);
    if (!driver)
        return adapter;
    const auto path = L"System\\CurrentControlSet\\Services\\Class\\" + *driver + L"\\INFO";
    if (const auto info = OpenKey(HKEY_LOCAL_MACHINE, path.c_str())) {
        const auto bytes = ReadDword(info.get(), L"VideoMemory").value_or(0);
        adapter.memory = FormatMemory(static_cast<std::uint32_t>(ToMebibytes(bytes)));
        adapter.dacType = ReadDriverText(info.get(), L"DacType", kMaxDacTypeBytes);
    }
    return adapter;
}

}  // namespace

std::int32_t ReadConfigurationManager(std::int32_t index, VideoAdapter* adapter)
{
    const auto nodes = OpenKey(HKEY_DYN_DATA, L"Config Manager\\Enum");
    if (!nodes)
        return 0;
    std::int32_t count = 0;
    for (const auto& name : SubkeyNames(nodes.get())) {
        const auto device = OpenDisplayNode(nodes.get(), name);
        if (!device)
            continue;
        if (count == index)
            *adapter = ReadDisplayNode(device.get());
        ++count;
    }
    return count;
}

}  // namespace orrery
