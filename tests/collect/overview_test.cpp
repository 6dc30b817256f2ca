#include "collect/overview.h"

#include <gtest/gtest.h>

#include <optional>

#include "sim/facts.h"
#include "sim/registry_tree.h"
#include "sim/simulation.h"

namespace orrery {
namespace {

constexpr const wchar_t* kPower = L"SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Power";
constexpr const wchar_t* kState = L"SYSTEM\\CurrentControlSet\\Control\\SecureBoot\\State";
constexpr const wchar_t* kTpm = L"namespace root\\CIMV2\\Security\\MicrosoftTpm\n";

std::wstring Tpm(const std::wstring& activated, const std::wstring& enabled,
                 const std::wstring& version)
{
    return L"instance of Win32_Tpm {\nIsActivated_InitialValue = " + activated +
           L";\nIsEnabled_InitialValue = " + enabled + L";\nSpecVersion = " + version + L";\n};\n";
}
const std::wstring kOneTpm = Tpm(L"TRUE", L"TRUE", L"\"2.0, 0, 1.38\"");

using sim::Facts;

class Overview : public testing::Test {
protected:
    static Facts Collect(const std::wstring& scenario)
    {
        const sim::Simulation simulation{scenario};
        CInvMap map;
        {
            CHardwareCollector collector;
            CollectOverview(&collector, &map);
        }
        EXPECT_EQ(simulation.LiveObjects(), 0);
        return sim::FactsOf(map);
    }

    ComApartment apartment;
    RegistryTree registry{HKEY_LOCAL_MACHINE};
};

TEST_F(Overview, ReadsStartTimeAndSecureBootFromTheRegistry)
{
    using Value = std::optional<RegistryValue>;
    const struct {
        Value startTime, secureBoot;
        const wchar_t *startText, *secureText, *mode;
    } rows[] = {
        {Value{}, Value{}, L"0", L"0", L"Legacy"},  // the keys are there, the values are not
        {NumberValue(7123), NumberValue(0), L"7123", L"0", L"Legacy"},
        {NumberValue(0x7FFFFFFF), NumberValue(1), L"2147483647", L"1", L"UEFI"},
        {NumberValue(0x80000000), NumberValue(2), L"-2147483648", L"1", L"Legacy"},
        {NumberValue(0xFFFFFFFF), NumberValue(0xFFFFFFFF), L"-1", L"1", L"Legacy"},
        // the type does not matter, only the bytes: those of the text are 31 00 00 00
        {BytesValue({1, 0, 0, 0}), BytesValue({1, 0, 0, 0}), L"1", L"1", L"UEFI"},
        {TextValue(L"1"), TextValue(L"1"), L"49", L"1", L"Legacy"},
        {BytesValue({1, 0, 0, 0, 0, 0, 0, 0}, REG_QWORD),
         BytesValue({1, 0, 0, 0, 0, 0, 0, 0}, REG_QWORD), L"0", L"0", L"Legacy"},
    };
    registry.AddKey(kPower);
    registry.AddKey(kState);
    for (const auto& row : rows) {
        if (row.startTime)
            registry.Set(kPower, L"FwPOSTTime", *row.startTime);
        if (row.secureBoot)
            registry.Set(kState, L"UEFISecureBootEnabled", *row.secureBoot);
        const Facts facts = Collect(L"");
        EXPECT_EQ(facts.at(L"SystemOverview\\AverageBootTime\\0"), row.startText);
        EXPECT_EQ(facts.at(L"SystemOverview\\SecureBoot\\0"), row.secureText);
        EXPECT_EQ(facts.at(L"BIOS\\Mode\\0"), row.mode);
    }
}

TEST_F(Overview, TellsOfTheTpm)
{
    const struct {
        std::wstring rows;
        const wchar_t *version, *activated, *enabled;
    } rows[] = {
        {L"class Win32_Tpm\n", L"", L"0", L"0"},
        {kOneTpm, L"2.0", L"1", L"1"},
        {Tpm(L"FALSE", L"TRUE", L"\"1.2\""), L"1.2", L"0", L"1"},
        {Tpm(L"NULL", L"EMPTY", L"NULL"), L"", L"0", L"0"},
        {Tpm(L"2", L"0", L"\",2.0\""), L"", L"1", L"0"},
        {Tpm(L"TRUE", L"FALSE", L"\"2.0\"") + Tpm(L"FALSE", L"NULL", L"\"1.2, 2\""), L"1.2", L"0",
         L"0"},
        {kOneTpm + Tpm(L"NULL", L"EMPTY", L"NULL"), L"", L"1", L"1"},
        {kOneTpm + L"instance of Win32_Tpm {\n};\n", L"2.0", L"1", L"1"},
    };
    for (const auto& row : rows) {
        const Facts facts = Collect(kTpm + row.rows);
        EXPECT_EQ(facts.at(L"SystemOverview\\TpmChip\\0"), row.version);
        EXPECT_EQ(facts.at(L"SystemOverview\\TpmActivated\\0"), row.activated);
        EXPECT_EQ(facts.at(L"SystemOverview\\TpmEnabled\\0"), row.enabled);
    }
}

}  // namespace
}  // namespace orrery
