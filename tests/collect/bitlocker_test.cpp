#include "collect/bitlocker.h"

#include <gtest/gtest.h>

#include "sim/simulation.h"
#include "support/com.h"

namespace orrery {
namespace {

// How the volumes decide is told by the machine "bitlocker" and its report.
TEST(BitLocker, KeepsTheStateBeforeACallThatFails)
{
    // A protected volume, then a locked one, whose method takes input.
    constexpr const wchar_t* kVolumes =
        LR"(
namespace root\CIMV2\Security\MicrosoftVolumeEncryption
class Win32_EncryptableVolume
query SELECT * FROM Win32_EncryptableVolume Where DriveLetter='D:' 
instance of Win32_EncryptableVolume {
__PATH = "V0";
ProtectionStatus = 1;
};
instance of Win32_EncryptableVolume {
__PATH = "V1";
ProtectionStatus = 1;
};
method GetLockStatus of V0 takes input
instance of __PARAMETERS {
LockStatus = 0;
};
method GetLockStatus of V1 takes input
instance of __PARAMETERS {
LockStatus = 1;
};
)";
    const struct {
        const char* call;
        int nth;
        BitLockerState state;
    } rows[] = {
        {"CoCreateInstance", 1, BitLockerState::kUnknown},
        {"IWbemLocator::ConnectServer", 1, BitLockerState::kUnknown},
        {"IWbemServices::ExecQuery", 1, BitLockerState::kUnknown},
        {"IEnumWbemClassObject::Next", 1, BitLockerState::kUnknown},
        {"IEnumWbemClassObject::Next", 2, BitLockerState::kProtected},
        {"IWbemClassObject::Get(ProtectionStatus, 0x0)", 1, BitLockerState::kUnknown},
        {"IWbemClassObject::Get(ProtectionStatus, 0x0)", 2, BitLockerState::kProtected},
        {"IWbemServices::GetObject", 2, BitLockerState::kProtected},
        {"IWbemClassObject::GetMethod", 2, BitLockerState::kProtected},
        {"IWbemClassObject::SpawnInstance", 2, BitLockerState::kProtected},
        {"IWbemClassObject::Get(__PATH, 0x0)", 2, BitLockerState::kProtected},
        {"IWbemServices::ExecMethod(V1, GetLockStatus, 0x0, null)", 0, BitLockerState::kLocked},
        {"IWbemServices::ExecMethod", 2, BitLockerState::kProtected},
        {"IWbemClassObject::Get(LockStatus, 0x0)", 2, BitLockerState::kProtected},
        {"IClientSecurity::SetBlanket", 0, BitLockerState::kLocked},  // needs no blanket
    };
    const ComApartment apartment;
    for (const auto& row : rows) {
        sim::Simulation simulation{kVolumes};
        simulation.FailCall(row.call, row.nth, E_ACCESSDENIED);
        EXPECT_EQ(ReadBitLockerState(L"D:"), row.state) << row.call << ' ' << row.nth;
        EXPECT_EQ(simulation.LiveObjects(), 0) << row.call;
    }
}

}  // namespace
}  // namespace orrery
