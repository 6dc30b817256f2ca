#pragma once

#include <cstdint>
#include <string_view>

#include "wmi/wql_query.h"

namespace orrery {

/// About a volume, by letter and colon. The blank at the end is part of the query.
constexpr WqlQuery kEncryptableVolumeQuery{
    L"\\\\.\\root\\CIMV2\\Security\\MicrosoftVolumeEncryption", RefusedBlanket::kKeepsSession,
    L"Win32_EncryptableVolume", L"SELECT * FROM Win32_EncryptableVolume Where DriveLetter='%' "};
/// A method of its instances, which takes no input and changes nothing.
constexpr const wchar_t* kLockMethod = L"GetLockStatus";

/// What BitLocker has done to a volume.
enum class BitLockerState : std::int32_t {
    kUnknown = -1,  ///< no encryptable volume, or its state may not be asked
    kOpen = 0,      ///< neither protected nor locked
    kLocked = 1,
    kProtected = 2,  ///< and not locked
};

/// The state that the two status values of a volume amount to.
BitLockerState JudgeVolume(bool isProtected, bool isLocked) noexcept;

/// A state as the report's "BitLockerStatus" shows it.
const wchar_t* BitLockerStatusText(BitLockerState state) noexcept;

/// Asks Win32_EncryptableVolume for the state of a drive, which takes administrative rights.
/// @param drive letter and colon
/// @return of several volumes the last one's state; when one cannot be asked, that of the volumes
///         before it
BitLockerState ReadBitLockerState(std::wstring_view drive);

}  // namespace orrery
