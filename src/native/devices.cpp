#include "native/devices.h"

#include <algorithm>
#include <map>
#include <new>
#include <string>
#include <utility>

#include "support/library.h"
#include "support/registry.h"
#include "support/text.h"

namespace orrery {
namespace {

constexpr std::size_t kMaxText = 255;  // characters

std::wstring ReadField(HKEY key, const wchar_t* name)
{
    return ReadText(key, name, kMaxText).value_or(std::wstring{});
}

/// The class names registered for class GUIDs. Most devices share a few classes, so each is read
/// from the registry once.
class ClassNames {
public:
    explicit ClassNames(const PlatformVersion& platform)
        : root_(platform.IsNt() ? kDeviceClassesKey
                                : L"SYSTEM\\CurrentControlSet\\Services\\Class\\")
    {}

    const std::wstring& Find(std::wstring_view guid)
    {
        const auto [at, isNew] = names_.try_emplace(std::wstring{guid});
        if (isNew) {
            if (const auto key = OpenKey(HKEY_LOCAL_MACHINE, (root_ + at->first).c_str()))
                at->second = ReadField(key.get(), L"Class");
        }
        return at->second;
    }

private:
    std::wstring root_;
    std::map<std::wstring, std::wstring> names_;
};

void FillRecord(HKEY instance, const std::wstring& path, ClassNames& classNames,
                DeviceRecord& record)
{
    // The default name is 255 bytes on purpose, not characters: 127 whole ones.
    constexpr std::size_t kMaxDefaultName = kMaxText / sizeof(wchar_t);

    record.path.Assign(path);
    record.classGuid.Assign(ReadField(instance, L"ClassGUID"));
    record.friendlyName.Assign(ReadField(instance, L"FriendlyName"));
    record.deviceDesc.Assign(ReadField(instance, L"DeviceDesc"));
    record.mfg.Assign(ReadField(instance, L"Mfg"));
    record.service.Assign(ReadField(instance, L"Service"));
    record.deviceClass.Assign(ReadField(instance, L"Class"));
    record.statusFlags = ReadDword(instance, L"StatusFlags").value_or(0);
    if (record.friendlyName.empty())
        record.friendlyName.Assign(record.deviceDesc.view().substr(0, kMaxDefaultName));
    if (record.deviceClass.empty())
        record.deviceClass.Assign(classNames.Find(record.classGuid));
}

/// Calls visit(key, path) for every direct subkey that can be opened.
template <class Visitor>
void ForEachSubkey(HKEY key, const std::wstring& path, Visitor visit)
{
    for (const auto& name : SubkeyNames(key)) {
        if (const auto subkey = OpenKey(key, name.c_str()))
            visit(subkey.get(), std::wstring{path}.append(1, L'\\').append(name));
    }
}

std::deque<DeviceRecord> ReadPresentDevices(const PlatformVersion& platform)
{
    std::deque<DeviceRecord> records;
    const std::wstring path = platform.IsNt() ? kDevicesKey : L"Enum";
    const auto root = OpenKey(HKEY_LOCAL_MACHINE, path.c_str());
    if (!root)
        return records;
    ClassNames classNames{platform};
    const auto addPresent = [&](HKEY instance, const std::wstring& instancePath) {
        if (OpenKey(instance, kPresenceKey))
            FillRecord(instance, instancePath, classNames, records.emplace_back());
    };
    const auto walkDevice = [&](HKEY device, const std::wstring& devicePath) {
        ForEachSubkey(device, devicePath, addPresent);
    };
    ForEachSubkey(root.get(), path, [&](HKEY enumerator, const std::wstring& enumeratorPath) {
        ForEachSubkey(enumerator, enumeratorPath, walkDevice);
    });
    return records;
}

bool IsOfClass(const DeviceRecord& record, std::wstring_view deviceClass) noexcept
{
    return deviceClass.empty() || EqualsIgnoringCase(record.deviceClass, deviceClass);
}

}  // namespace

CDevices::CDevices() : CDevices(ReadPlatformVersion()) {}

CDevices::CDevices(const PlatformVersion& platform)
    : platform_(platform),
      user32_(LoadLibraryW(L"user32.dll")),
      enumDisplayDevices_(
          FindFunction<EnumDisplayDevicesFunction>(user32_.get(), "EnumDisplayDevicesW"))
{}

CDevices::~CDevices() = default;

/// @return null when memory was too short for the list
const CDevices::Records* CDevices::List() const
{
    if (std::exchange(isListRead_, true))
        return list_.get();
    try {
        list_ = std::make_unique<const Records>(ReadPresentDevices(platform_));
    } catch (const std::bad_alloc&) {
    }
    return list_.get();
}

std::size_t CDevices::Count(std::wstring_view deviceClass) const
{
    const Records* const list = List();
    if (list == nullptr)
        return 0;
    return static_cast<std::size_t>(
        std::count_if(list->begin(), list->end(),
                      [&](const DeviceRecord& record) { return IsOfClass(record, deviceClass); }));
}

const DeviceRecord* CDevices::Find(std::size_t n, std::wstring_view deviceClass) const
{
    const Records* const list = List();
    if (list == nullptr)
        return nullptr;
    for (const auto& record : *list) {
        if (IsOfClass(record, deviceClass) && n-- == 0)
            return &record;
    }
    return nullptr;
}

std::int32_t CDevices::GetVideoAdapter(std::int32_t index, WideString* name, WideString* memory,
                                       WideString* dacType) const
{
    VideoAdapter adapter;
    std::int32_t count = 0;
    switch (ChooseVideoSource(platform_)) {
        case VideoSource::kDisplayDevices:
            count =
                ReadDisplayDevices(EnumerateDisplayDevices(enumDisplayDevices_), index, &adapter);
            break;
        case VideoSource::kDeviceMap:
            count = ReadDeviceMap(index, &adapter);
            break;
        case VideoSource::kConfigurationManager:
            count = ReadConfigurationManager(index, &adapter);
            break;
    }
    if (index >= 0 && index < count) {
        *name = adapter.name;
        *memory = adapter.memory;
        *dacType = adapter.dacType;
    }
    return std::max(count, 1);
}

}  // namespace orrery
