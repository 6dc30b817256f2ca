#include "native/drive_trim.h"

#include <windows.h>
#include <winioctl.h>

namespace orrery {
namespace {

static_assert(StorageDeviceTrimProperty == 8);
static_assert(sizeof(STORAGE_PROPERTY_QUERY) == 12);
static_assert(sizeof(DEVICE_TRIM_DESCRIPTOR) == 12);

}  // namespace

UniqueFile OpenDrive(const wchar_t* devicePath)
{
    return UniqueFile{CreateFileW(devicePath, GENERIC_READ | GENERIC_WRITE,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0,
                                  nullptr)};
}

std::optional<bool> ReadTrim(HANDLE drive)
{
    STORAGE_PROPERTY_QUERY query{};
    query.PropertyId = StorageDeviceTrimProperty;
    query.QueryType = PropertyStandardQuery;
    DEVICE_TRIM_DESCRIPTOR answer{};
    DWORD returned = 0;
    if (!DeviceIoControl(drive, IOCTL_STORAGE_QUERY_PROPERTY, &query, sizeof query, &answer,
                         sizeof answer, &returned, nullptr) ||
        returned != sizeof answer)
        return std::nullopt;
    return answer.TrimEnabled != FALSE;
}

WideString ReadDiskType(const wchar_t* devicePath)
{
    const UniqueFile drive = OpenDrive(devicePath);
    const auto takesTrim = drive ? ReadTrim(drive.get()) : std::nullopt;
    if (!takesTrim)
        return {};
    return *takesTrim ? L"SSD" : L"HDD";
}

}  // namespace orrery
