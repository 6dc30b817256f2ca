#include "collect/bitlocker.h"

#include <optional>

namespace orrery {
namespace {

/// Whether a status is 1; no value at all is a status other than 1.
/// @return nothing when it cannot be read
std::optional<bool> ReadStatus(IWbemClassObject* object, const wchar_t* name)
{
    UniqueVariant value;
    if (FAILED(object->Get(name, 0, value.put(), nullptr, nullptr)))
        return std::nullopt;
    return IntegerOf(value) == 1;
}

/// Asks a volume whether it is locked.
/// @return nothing when a call failed
std::optional<bool> ReadLocked(IWbemServices* services, IWbemClassObject* volume)
{
    const auto input = MakeMethodInput(services, kEncryptableVolumeQuery.className, kLockMethod);
    if (FAILED(input.result))
        return std::nullopt;
    const auto path = ReadTextProperty(volume, L"__PATH");
    if (!path)
        return std::nullopt;
    const auto output = RunMethod(services, kLockMethod, *path, input.get());
    return output ? ReadStatus(output.get(), L"LockStatus") : std::nullopt;
}

}  // namespace

BitLockerState JudgeVolume(bool isProtected, bool isLocked) noexcept
{
    if (isLocked)
        return BitLockerState::kLocked;  // whether protected or not
    return isProtected ? BitLockerState::kProtected : BitLockerState::kOpen;
}

const wchar_t* BitLockerStatusText(BitLockerState state) noexcept
{
    switch (state) {
        case BitLockerState::kOpen:
            return L"1";
        case BitLockerState::kLocked:
            return L"3";
        case BitLockerState::kProtected:
            return L"7";
        case BitLockerState::kUnknown:
            break;
    }
    return L"0";
}

BitLockerState ReadBitLockerState(std::wstring_view drive)
{
    BitLockerState state = BitLockerState::kUnknown;
    const auto services = OpenSession(kEncryptableVolumeQuery);
    if (!services)
        return state;
    QueryRows volumes = Query(services.get(), TextAbout(kEncryptableVolumeQuery.text, drive));
    while (const auto volume = volumes.Next()) {
        const auto isProtected = ReadStatus(volume.get(), L"ProtectionStatus");
        if (!isProtected)
            break;
        const auto isLocked = ReadLocked(services.get(), volume.get());
        if (!isLocked)
            break;
        state = JudgeVolume(*isProtected, *isLocked);
    }
    return state;
}

}  // namespace orrery
