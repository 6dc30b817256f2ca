#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "store/wide_string.h"

namespace orrery {

/// Whether a drive is listed.
/// @param driveType what GetDriveTypeW gives; CD-ROM drives and letters without a root never are
bool IsListedDrive(UINT driveType, bool remoteOnly) noexcept;

/// Room on a volume, in bytes; all zero when it does not tell.
struct VolumeSpace {
    std::uint64_t total = 0;
    std::uint64_t free = 0;  ///< of the whole volume, whatever quota the caller has
};

/// Asks a volume for its room.
/// @param root           such as "C:\"
/// @param getFreeSpaceEx GetDiskFreeSpaceExW; null where the system lacks it: clusters are counted
VolumeSpace ReadVolumeSpace(const wchar_t* root,
                            decltype(&GetDiskFreeSpaceExW) getFreeSpaceEx) noexcept;

/// The drive letters from C to Z. Each fact is asked for anew; a volume that does not answer raises
/// no dialog.
class CLocalDrive {
public:
    CLocalDrive();
    virtual ~CLocalDrive();
    CLocalDrive(const CLocalDrive&) = delete;
    CLocalDrive& operator=(const CLocalDrive&) = delete;

    /// Lists the drives anew.
    /// @param remoteOnly network drives alone; otherwise removable and fixed drives and RAM disks
    /// @return the number of drives listed
    std::size_t Enumerate(bool remoteOnly);

    // Facts of a listed drive. All give an empty text for an index beyond the list.

    /// Letter and colon.
    WideString DeviceId(std::size_t index) const;
    /// Whole mebibytes, the low 32 bits in decimal; "0" when the volume does not tell.
    WideString Size(std::size_t index) const;
    WideString FreeSpace(std::size_t index) const;
    /// Empty when the volume does not tell.
    WideString FileSystem(std::size_t index) const;
    WideString Label(std::size_t index) const;
    /// Upper-case hexadecimal without leading zeros; "0" when the volume does not tell.
    WideString SerialNumber(std::size_t index) const;

private:
    std::vector<std::wstring> roots_;
};

}  // namespace orrery
