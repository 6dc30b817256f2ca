#include "collect/bitlocker.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "sim/simulation.h"
#include "support/com.h"

namespace orrery {
namespace {

constexpr const wchar_t* kQuery = L"SELECT * FROM Win32_EncryptableVolume Where DriveLetter='D:' ";

struct Volume {
    const wchar_t *protection, *lock;  // as a scenario spells them; null: no such property
};

/// The volumes that the query gives, whose class is known too, as a method needs it.
std::wstring Machine(const std::vector<Volume>& volumes, const wchar_t* methodEnd = L"")
{
    std::wstring text =
        L"namespace root\\CIMV2\\Security\\MicrosoftVolumeEncryption\n"
        L"class Win32_EncryptableVolume\nquery " +
        std::wstring{kQuery} + L"\n";
    const auto line = [](const wchar_t* name, const wchar_t* value) {
        return value == nullptr ? std::wstring{}
                                : std::wstring{L"\t"} + name + L" = " + value + L";\n";
    };
    for (std::size_t at = 0; at < volumes.size(); ++at)
        text += L"instance of Win32_EncryptableVolume\n{\n" +
                line(L"__PATH", (L"\"V" + std::to_wstring(at) + L"\"").c_str()) +
                line(L"ProtectionStatus", volumes[at].protection) + L"};\n";
    for (std::size_t at = 0; at < volumes.size(); ++at)
        text += L"method GetLockStatus of V" + std::to_wstring(at) + methodEnd +
                L"\ninstance of __PARAMETERS\n{\n" + line(L"LockStatus", volumes[at].lock) +
                L"};\n";
    return text;
}

TEST(BitLocker, IsDecidedByTheLastVolumeThatCanBeJudged)
{
    const struct {
        std::vector<Volume> volumes;
        const wchar_t* status;
    } rows[] = {
        {{{L"0", L"0"}}, L"1"},
        {{{L"1", L"0"}}, L"7"},
        {{{L"0", L"1"}}, L"3"},
        {{{L"1", L"1"}}, L"3"},
        {{{L"2", L"2"}}, L"1"},  // neither is 1
        {{{L"\"1\"", L"\"0\""}}, L"7"},
        {{{L"NULL", L"EMPTY"}}, L"1"},
        {{{L"EMPTY", L"1"}}, L"3"},
        {{}, L"0"},
        {{{nullptr, L"1"}}, L"0"},
        {{{L"1", nullptr}}, L"0"},
        {{{L"1", L"0"}, {L"0", L"1"}, {L"0", L"0"}}, L"1"},
        {{{L"0", L"0"}, {L"1", L"0"}}, L"7"},
        {{{L"1", L"0"}, {nullptr, L"1"}, {L"0", L"1"}}, L"7"},  // the rest is not looked at
    };
    const ComApartment apartment;
    for (const auto& row : rows)
        for (const wchar_t* const methodEnd : {L"", L" takes input"}) {
            const sim::Simulation simulation{Machine(row.volumes, methodEnd)};
            EXPECT_STREQ(BitLockerStatusText(ReadBitLockerState(L"D:")), row.status)
                << testing::PrintToString(&row - rows);
            EXPECT_EQ(simulation.LiveObjects(), 0);
        }
}

TEST(BitLocker, AsksInTheseWords)
{
    const ComApartment apartment;
    const sim::Simulation simulation{Machine({{L"1", L"0"}})};
    ReadBitLockerState(L"D:");
    const auto trace = simulation.Trace();
    for (const char* const line :
         {"IWbemLocator::ConnectServer(\\\\.\\root\\CIMV2\\Security\\MicrosoftVolumeEncryption, "
          "null, null, null, 0x0, null)",
          "IWbemServices::ExecQuery(WQL, SELECT * FROM Win32_EncryptableVolume Where "
          "DriveLetter='D:' , 0x30)",
          "IWbemServices::ExecMethod(V0, GetLockStatus, 0x0, null)"})
        EXPECT_NE(std::find(trace.begin(), trace.end(), line), trace.end()) << line;
}

TEST(BitLocker, KeepsTheStateBeforeACallThatFails)
{
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
        {"IWbemServices::GetObject", 1, BitLockerState::kUnknown},
        {"IWbemServices::GetObject", 2, BitLockerState::kProtected},
        {"IWbemClassObject::GetMethod", 2, BitLockerState::kProtected},
        {"IWbemClassObject::SpawnInstance", 2, BitLockerState::kProtected},
        {"IWbemClassObject::Get(__PATH, 0x0)", 2, BitLockerState::kProtected},
        {"IWbemServices::ExecMethod", 1, BitLockerState::kUnknown},
        {"IWbemServices::ExecMethod", 2, BitLockerState::kProtected},
        {"IWbemClassObject::Get(LockStatus, 0x0)", 2, BitLockerState::kProtected},
        {"IClientSecurity::SetBlanket", 0, BitLockerState::kLocked},  // needs no blanket
    };
    const ComApartment apartment;
    for (const auto& row : rows) {
        sim::Simulation simulation{Machine({{L"1", L"0"}, {L"1", L"1"}}, L" takes input")};
        simulation.FailCall(row.call, row.nth, E_ACCESSDENIED);
        EXPECT_EQ(ReadBitLockerState(L"D:"), row.state) << row.call << ' ' << row.nth;
        EXPECT_EQ(simulation.LiveObjects(), 0) << row.call;
    }
}

}  // namespace
}  // namespace orrery
