#include "native/seek_penalty.h"

#include <windows.h>
#include <winioctl.h>

namespace orrery {
namespace {

// By number, since the SDK's headers name the property differently from the descriptor that is
// read from it.
constexpr auto kSeekPenaltyProperty = static_cast<STORAGE_PROPERTY_ID>(8);

static_assert(sizeof(STORAGE_PROPERTY_QUERY) == 12);
static_assert(sizeof(DEVICE_SEEK_PENALTY_DESCRIPTOR) == 12);

}  // namespace

UniqueFile OpenDrive(const wchar_t* devicePath)
{
    return UniqueFile{CreateFileW(devicePath, GENERIC_READ | GENERIC_WRITE,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0,
                                  nullptr)};
}

std::optional<bool> ReadSeekPenalty(HANDLE drive)
{
    STORAGE_PROPERTY_QUERY query{};
    query.PropertyId = kSeekPenaltyProperty;
    query.QueryType = PropertyStandardQuery;
    DEVICE_SEEK_PENALTY_DESCRIPTOR answer{};
    DWORD returned = 0;
    if (!DeviceIoControl(drive, IOCTL_STORAGE_QUERY_PROPERTY, &query, sizeof query, &answer,
                         sizeof answer, &returned, nullptr) ||
        returned != sizeof answer)
        return std::nullopt;
    return answer.IncursSeekPenalty != FALSE;
}

WideString ReadDiskType(const wchar_t* devicePath)
{
    const UniqueFile drive = OpenDrive(devicePath);
    const auto penalty = drive ? ReadSeekPenalty(drive.get()) : std::nullopt;
    if (!penalty)
        return {};
    // The reverse of what the field's name says, and intended: a set flag is a solid state drive's.
    return *penalty ? L"SSD" : L"HDD";
}

}  // namespace orrery
