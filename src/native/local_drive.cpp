#include "native/local_drive.h"

#include <array>
#include <cwchar>

#include "support/library.h"
#include "support/text.h"

namespace orrery {
namespace {

HMODULE Kernel() noexcept
{
    return GetModuleHandleW(L"kernel32.dll");
}

/// While it lives, a drive without a medium or a volume that is gone fails its calls on this thread
/// instead of asking whoever sits at the machine for a disk. Nothing else changes; systems that
/// know an error mode of the whole process only keep theirs.
class CQuietVolumeErrors {
public:
    CQuietVolumeErrors() noexcept
        : setMode_(FindFunction<decltype(setMode_)>(Kernel(), "SetThreadErrorMode"))
    {
        if (setMode_ == nullptr || !setMode_(SEM_FAILCRITICALERRORS, &previous_))
            setMode_ = nullptr;
        else
            setMode_(previous_ | SEM_FAILCRITICALERRORS, nullptr);
    }
    ~CQuietVolumeErrors()
    {
        if (setMode_ != nullptr)
            setMode_(previous_, nullptr);
    }
    CQuietVolumeErrors(const CQuietVolumeErrors&) = delete;
    CQuietVolumeErrors& operator=(const CQuietVolumeErrors&) = delete;

private:
    decltype(&SetThreadErrorMode) setMode_;
    DWORD previous_ = 0;
};

WideString MebibytesText(std::uint64_t bytes)
{
    return std::to_wstring(static_cast<std::uint32_t>(ToMebibytes(bytes)));
}

VolumeSpace SpaceOf(const std::wstring& root)
{
    const CQuietVolumeErrors quiet;
    return ReadVolumeSpace(root.c_str(), FindFunction<decltype(&GetDiskFreeSpaceExW)>(
                                             Kernel(), "GetDiskFreeSpaceExW"));
}

constexpr DWORD kMaxVolumeText = 1024;  // characters, the terminator included
using VolumeText = std::array<wchar_t, kMaxVolumeText>;

}  // namespace

bool IsListedDrive(UINT driveType, bool remoteOnly) noexcept
{
    if (remoteOnly)
        return driveType == DRIVE_REMOTE;
    return driveType == DRIVE_REMOVABLE || driveType == DRIVE_FIXED || driveType == DRIVE_RAMDISK;
}

VolumeSpace ReadVolumeSpace(const wchar_t* root,
                            decltype(&GetDiskFreeSpaceExW) getFreeSpaceEx) noexcept
{
    if (getFreeSpaceEx != nullptr) {
        ULARGE_INTEGER callersFree{}, total{}, free{};
        if (!getFreeSpaceEx(root, &callersFree, &total, &free))
            return {};
        return {total.QuadPart, free.QuadPart};
    }
    DWORD sectors = 0, bytes = 0, freeClusters = 0, clusters = 0;
    if (!GetDiskFreeSpaceW(root, &sectors, &bytes, &freeClusters, &clusters))
        return {};
    const std::uint64_t clusterBytes = std::uint64_t{sectors} * bytes;
    return {clusterBytes * clusters, clusterBytes * freeClusters};
}

CLocalDrive::CLocalDrive() = default;
CLocalDrive::~CLocalDrive() = default;

std::size_t CLocalDrive::Enumerate(bool remoteOnly)
{
    roots_.clear();
    const DWORD drives = GetLogicalDrives();
    // A and B are the letters of floppy drives, which are slow to answer without a disk.
    for (wchar_t letter = L'C'; letter <= L'Z'; ++letter) {
        if ((drives >> (letter - L'A') & 1) == 0)
            continue;
        std::wstring root = {letter, L':', L'\\'};
        if (IsListedDrive(GetDriveTypeW(root.c_str()), remoteOnly))
            roots_.push_back(std::move(root));
    }
    return roots_.size();
}

WideString CLocalDrive::DeviceId(std::size_t index) const
{
    if (index >= roots_.size())
        return {};
    const std::wstring_view root = roots_[index];
    return root.substr(0, root.find_last_not_of(L'\\') + 1);
}

WideString CLocalDrive::Size(std::size_t index) const
{
    return index < roots_.size() ? MebibytesText(SpaceOf(roots_[index]).total) : WideString{};
}

WideString CLocalDrive::FreeSpace(std::size_t index) const
{
    return index < roots_.size() ? MebibytesText(SpaceOf(roots_[index]).free) : WideString{};
}

WideString CLocalDrive::FileSystem(std::size_t index) const
{
    if (index >= roots_.size())
        return {};
    const CQuietVolumeErrors quiet;
    VolumeText name{};
    if (!GetVolumeInformationW(roots_[index].c_str(), nullptr, 0, nullptr, nullptr, nullptr,
                               name.data(), kMaxVolumeText))
        return {};
    return name.data();
}

WideString CLocalDrive::Label(std::size_t index) const
{
    if (index >= roots_.size())
        return {};
    const CQuietVolumeErrors quiet;
    VolumeText label{};
    if (!GetVolumeInformationW(roots_[index].c_str(), label.data(), kMaxVolumeText, nullptr,
                               nullptr, nullptr, nullptr, 0))
        return {};
    return label.data();
}

WideString CLocalDrive::SerialNumber(std::size_t index) const
{
    if (index >= roots_.size())
        return {};
    const CQuietVolumeErrors quiet;
    DWORD serial = 0;
    if (!GetVolumeInformationW(roots_[index].c_str(), nullptr, 0, &serial, nullptr, nullptr,
                               nullptr, 0))
        serial = 0;
    std::array<wchar_t, 9> text{};
    std::swprintf(text.data(), text.size(), L"%lX", serial);
    return text.data();
}

}  // namespace orrery
