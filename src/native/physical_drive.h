#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "store/wide_string.h"
#include "support/unique.h"

namespace orrery {

/// What an ATA drive tells of itself.
struct DriveRecord {
    WideString model;
    WideString firmwareRevision;
    WideString serialNumber;
    WideString sizeInBytes;  ///< signed decimal
};

/// The request to identify a drive behind a SCSI port, and the room for its answer.
using IdentifyRequest = std::array<std::uint8_t, 557>;

/// The 512 bytes that a drive answers to IDENTIFY DEVICE.
using IdentifyBlock = std::span<const std::uint8_t, 512>;

/// Builds the request: an SRB_IO_CONTROL followed by SENDCMDINPARAMS, the rest zero.
/// @param target number of the drive on its port, 0 or 1
IdentifyRequest MakeIdentifyRequest(std::uint8_t target) noexcept;

/// Reads a drive's identification.
/// @return nothing for removable media and for a block without a model, which no drive answered
std::optional<DriveRecord> ParseIdentify(IdentifyBlock block);

/// Text of an identification, whose characters are swapped within each word of two bytes. It ends
/// at its first zero; white space at either end is dropped. Bytes above 0x7F are sign-extended.
WideString AtaText(std::span<const std::uint8_t> bytes);

/// Opens a SCSI port, which takes administrative rights.
UniqueFile OpenScsiPort(int port);

/// The first drives on the SCSI ports 0 and 1, two a port, asked when the object is built. Empty
/// without the right to open the ports, and outside the NT family.
class CPhysicalDrive {
public:
    CPhysicalDrive();
    virtual ~CPhysicalDrive();
    CPhysicalDrive(const CPhysicalDrive&) = delete;
    CPhysicalDrive& operator=(const CPhysicalDrive&) = delete;

    std::size_t Count() const noexcept { return records_.size(); }

    // All of these give an empty text for an index that is not below the count.
    WideString Model(std::size_t index) const;
    /// Stands on purpose though nothing calls it: the report has no such fact.
    WideString FirmwareRevision(std::size_t index) const;
    WideString SerialNumber(std::size_t index) const;
    /// Whole mebibytes, the low 32 bits in decimal.
    WideString SizeInMebibytes(std::size_t index) const;

private:
    WideString Field(std::size_t index, WideString DriveRecord::*field) const;

    std::vector<DriveRecord> records_;
};

}  // namespace orrery
