#include "native/physical_drive.h"

#include <windows.h>
#include <ntddscsi.h>
#include <winioctl.h>

#include <algorithm>
#include <cstring>
#include <cwctype>
#include <string>
#include <utility>

#include "native/platform_version.h"
#include "support/text.h"

namespace orrery {
namespace {

constexpr DWORD kMiniportIdentify = 0x1B0501;  // IOCTL_SCSI_MINIPORT_IDENTIFY
constexpr ULONG kTimeoutSeconds = 10000;

// Both structures end in the first byte of their data.
constexpr std::size_t kRequestBytes = sizeof(SRB_IO_CONTROL) + sizeof(SENDCMDINPARAMS) - 1;
constexpr std::size_t kAnswerAt = sizeof(SRB_IO_CONTROL) + sizeof(SENDCMDOUTPARAMS) - 1;
static_assert(sizeof(SRB_IO_CONTROL) == 28 && kRequestBytes == 60 && kAnswerAt == 44);
static_assert(std::tuple_size_v<IdentifyRequest> == kAnswerAt + IdentifyBlock::extent + 1);

std::optional<DriveRecord> Identify(HANDLE port, std::uint8_t target)
{
    IdentifyRequest buffer = MakeIdentifyRequest(target);
    DWORD returned = 0;
    if (!DeviceIoControl(port, IOCTL_SCSI_MINIPORT, buffer.data(),
                         static_cast<DWORD>(kRequestBytes), buffer.data(),
                         static_cast<DWORD>(buffer.size()), &returned, nullptr))
        return std::nullopt;
    return ParseIdentify(std::span{buffer}.subspan<kAnswerAt, IdentifyBlock::extent>());
}

/// A number of several words, the least significant first.
std::uint64_t NumberAt(IdentifyBlock block, std::size_t firstWord, std::size_t words)
{
    std::uint64_t number = 0;
    for (std::size_t byte = words * 2; byte-- > 0;)
        number = number << 8 | block[firstWord * 2 + byte];
    return number;
}

std::uint64_t SectorCount(IdentifyBlock block)
{
    constexpr std::uint64_t kAddresses48Bits = 0x400;  // in word 83
    return (NumberAt(block, 83, 1) & kAddresses48Bits) != 0 ? NumberAt(block, 100, 4)
                                                            : NumberAt(block, 60, 2);
}

}  // namespace

UniqueFile OpenScsiPort(int port)
{
    const std::wstring path = L"\\\\.\\Scsi" + std::to_wstring(port) + L':';
    return UniqueFile{CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0,
                                  nullptr)};
}

IdentifyRequest MakeIdentifyRequest(std::uint8_t target) noexcept
{
    SRB_IO_CONTROL header{};
    header.HeaderLength = sizeof header;
    std::memcpy(header.Signature, "SCSIDISK", sizeof header.Signature);
    header.Timeout = kTimeoutSeconds;
    header.ControlCode = kMiniportIdentify;
    header.Length = static_cast<ULONG>(sizeof(SENDCMDOUTPARAMS) + IdentifyBlock::extent);

    // The drive is named by its number alone: the register's master/slave bit stays clear.
    SENDCMDINPARAMS command{};
    command.irDriveRegs.bCommandReg = ID_CMD;
    command.bDriveNumber = target;

    IdentifyRequest request{};
    std::memcpy(request.data(), &header, sizeof header);
    std::memcpy(request.data() + sizeof header, &command, sizeof command);
    return request;
}

std::optional<DriveRecord> ParseIdentify(IdentifyBlock block)
{
    constexpr std::uint8_t kRemovableMedia = 0x80;
    if (block[54] == 0 || (block[0] & kRemovableMedia) != 0)
        return std::nullopt;
    return DriveRecord{
        .model = AtaText(block.subspan(54, 40)),
        .firmwareRevision = AtaText(block.subspan(46, 8)),
        .serialNumber = AtaText(block.subspan(20, 20)),
        .sizeInBytes = std::to_wstring(static_cast<std::int64_t>(SectorCount(block) << 9)),
    };
}

WideString AtaText(std::span<const std::uint8_t> bytes)
{
    std::wstring text;
    for (std::size_t at = 0; at + 1 < bytes.size(); at += 2)
        for (const std::uint8_t byte : {bytes[at + 1], bytes[at]})
            // sign-extended as it has always been, although no proper drive has such characters
            text += static_cast<wchar_t>(static_cast<std::int8_t>(byte));
    text.resize(std::min(text.find(L'\0'), text.size()));
    while (!text.empty() && std::iswspace(text.back()) != 0)
        text.pop_back();
    std::size_t first = 0;
    while (first < text.size() && std::iswspace(text[first]) != 0)
        ++first;
    return std::wstring_view{text}.substr(first);
}

CPhysicalDrive::CPhysicalDrive()
{
    if (!ReadPlatformVersion().IsNt())
        return;
    for (const int port : {0, 1}) {
        const UniqueFile scsi = OpenScsiPort(port);
        if (!scsi)
            continue;  // no such port, or no right to open it
        for (const std::uint8_t target : {std::uint8_t{0}, std::uint8_t{1}})
            if (auto record = Identify(scsi.get(), target))
                records_.push_back(std::move(*record));
    }
}

CPhysicalDrive::~CPhysicalDrive() = default;

WideString CPhysicalDrive::Field(std::size_t index, WideString DriveRecord::*field) const
{
    return index < records_.size() ? records_[index].*field : WideString{};
}

WideString CPhysicalDrive::Model(std::size_t index) const
{
    return Field(index, &DriveRecord::model);
}

WideString CPhysicalDrive::FirmwareRevision(std::size_t index) const
{
    return Field(index, &DriveRecord::firmwareRevision);
}

WideString CPhysicalDrive::SerialNumber(std::size_t index) const
{
    return Field(index, &DriveRecord::serialNumber);
}

WideString CPhysicalDrive::SizeInMebibytes(std::size_t index) const
{
    if (index >= records_.size())
        return {};
    const std::int64_t bytes = ParseInteger(records_[index].sizeInBytes);
    return std::to_wstring(static_cast<std::uint32_t>(bytes >> 20));
}

}  // namespace orrery
