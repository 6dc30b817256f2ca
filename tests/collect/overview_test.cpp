#include "collect/overview.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>

#include "sim/registry_tree.h"
#include "sim/simulation.h"

namespace orrery {
namespace {

constexpr const wchar_t* kPower = L"SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Power";
constexpr const wchar_t* kState = L"SYSTEM\\CurrentControlSet\\Control\\SecureBoot\\State";
constexpr const wchar_t* kTpm = L"namespace root\\CIMV2\\Security\\MicrosoftTpm\n";
constexpr const wchar_t* kOneTpm =
    LR"(
instance of Win32_Tpm
{
	IsActivated_InitialValue = TRUE;
	IsEnabled_InitialValue = TRUE;
	SpecVersion = "2.0, 0, 1.38";
};
)";
constexpr const wchar_t* kArrays =
    LR"(
namespace root\cimv2
instance of Win32_PhysicalMemoryArray
{
	MemoryDevices = 4;
};
instance of Win32_PhysicalMemoryArray
{
	MemoryDevices = 8;
};
)";

using Facts = std::map<std::wstring, std::wstring>;

class Overview : public testing::Test {
protected:
    /// Collects from a scenario, with a call that fails if one is named.
    static Facts Collect(const std::wstring& scenario, const char* failing = nullptr)
    {
        sim::Simulation simulation{scenario};
        if (failing != nullptr)
            simulation.FailCall(failing, 0, E_ACCESSDENIED);
        CInvMap map;
        {
            CHardwareCollector collector;
            CollectOverview(&collector, &map);
        }
        EXPECT_EQ(simulation.LiveObjects(), 0);
        trace = simulation.Trace();
        Facts facts;
        for (const auto& [key, object] : map.entries())
            facts[key] = object->value.view();
        return facts;
    }

    static std::vector<std::string> trace;
    ComApartment apartment;
    RegistryTree registry{HKEY_LOCAL_MACHINE};
};
std::vector<std::string> Overview::trace;

TEST_F(Overview, TellsNothingFoundApartFromNothingThere)
{
    EXPECT_EQ(Collect(L""), (Facts{{L"SystemOverview\\AverageBootTime\\0", L""},
                                   {L"SystemOverview\\SecureBoot\\0", L"2"},
                                   {L"BIOS\\Mode\\0", L"Legacy"},
                                   {L"SystemOverview\\TpmChip\\0", L""},
                                   {L"SystemOverview\\TpmActivated\\0", L"0"},
                                   {L"SystemOverview\\TpmEnabled\\0", L"0"}}));
}

TEST_F(Overview, ReadsStartTimeAndSecureBootFromTheRegistry)
{
    using Number = std::optional<std::uint32_t>;
    const struct {
        Number startTime, secureBoot;
        const wchar_t *startText, *secureText, *mode;
    } rows[] = {
        {Number{}, Number{}, L"0", L"0", L"Legacy"},  // the keys are there, the values are not
        {7123U, 0U, L"7123", L"0", L"Legacy"},
        {0x7FFFFFFFU, 1U, L"2147483647", L"1", L"UEFI"},
        {0x80000000U, 2U, L"-2147483648", L"1", L"Legacy"},
        {0xFFFFFFFFU, 0xFFFFFFFFU, L"-1", L"1", L"Legacy"},
    };
    registry.AddKey(kPower);
    registry.AddKey(kState);
    for (const auto& row : rows) {
        if (row.startTime)
            registry.Set(kPower, L"FwPOSTTime", NumberValue(*row.startTime));
        if (row.secureBoot)
            registry.Set(kState, L"UEFISecureBootEnabled", NumberValue(*row.secureBoot));
        const Facts facts = Collect(L"");
        EXPECT_EQ(facts.at(L"SystemOverview\\AverageBootTime\\0"), row.startText);
        EXPECT_EQ(facts.at(L"SystemOverview\\SecureBoot\\0"), row.secureText);
        EXPECT_EQ(facts.at(L"BIOS\\Mode\\0"), row.mode);
    }
}

TEST_F(Overview, TellsOfTheTpm)
{
    const auto tpm = [](const std::wstring& activated, const std::wstring& enabled,
                        const std::wstring& version) {
        return L"instance of Win32_Tpm\n{\n\tIsActivated_InitialValue = " + activated +
               L";\n\tIsEnabled_InitialValue = " + enabled + L";\n\tSpecVersion = " + version +
               L";\n};\n";
    };
    const struct {
        std::wstring rows;
        const wchar_t *version, *activated, *enabled;
    } rows[] = {
        {L"class Win32_Tpm\n", L"", L"0", L"0"},
        {kOneTpm, L"2.0", L"1", L"1"},
        {tpm(L"FALSE", L"TRUE", L"\"1.2\""), L"1.2", L"0", L"1"},
        {tpm(L"NULL", L"EMPTY", L"NULL"), L"", L"0", L"0"},
        {tpm(L"2", L"0", L"\",2.0\""), L"", L"1", L"0"},
        {tpm(L"TRUE", L"FALSE", L"\"2.0\"") + tpm(L"FALSE", L"NULL", L"\"1.2, 2\""), L"1.2", L"0",
         L"0"},
        {kOneTpm + tpm(L"NULL", L"EMPTY", L"NULL"), L"", L"1", L"1"},
        {std::wstring{kOneTpm} + L"instance of Win32_Tpm\n{\n};\n", L"2.0", L"1", L"1"},
    };
    for (const auto& row : rows) {
        const Facts facts = Collect(kTpm + row.rows);
        EXPECT_EQ(facts.at(L"SystemOverview\\TpmChip\\0"), row.version);
        EXPECT_EQ(facts.at(L"SystemOverview\\TpmActivated\\0"), row.activated);
        EXPECT_EQ(facts.at(L"SystemOverview\\TpmEnabled\\0"), row.enabled);
    }
    EXPECT_EQ(std::count(trace.begin(), trace.end(),
                         "IWbemServices::ExecQuery(WQL, SELECT IsActivated_InitialValue, "
                         "IsEnabled_InitialValue, SpecVersion FROM Win32_Tpm, 0x30)"),
              1);
}

TEST_F(Overview, LosesOnlyWhatTheFailingCallWouldHaveTold)
{
    const std::wstring machine = kTpm + std::wstring{kOneTpm} + kArrays;
    const struct {
        const char* call;
        bool hasTpm, hasSlots;
    } rows[] = {
        {nullptr, true, true},
        {"CoCreateInstance", false, false},
        {"CoCreateInstance(0x1)", false, true},
        {"IWbemLocator::ConnectServer", false, false},
        {"IClientSecurity::SetBlanket", false, true},
        {"IClientSecurity::SetBlanket(-1, -1, -1, 6, 3, null, 0)", true, true},
        {"IWbemServices::ExecQuery", false, true},
        {"IEnumWbemClassObject::Next(-1, 1)", false, true},
        {"IWbemServices::CreateInstanceEnum", true, false},
        {"IEnumWbemClassObject::Next(1000, 100)", true, false},
        {"IWbemClassObject::GetObjectText", true, false},
    };
    for (const auto& row : rows) {
        const Facts facts = Collect(machine, row.call);
        const std::string call = row.call == nullptr ? "none" : row.call;
        EXPECT_EQ(facts.at(L"SystemOverview\\TpmChip\\0"), row.hasTpm ? L"2.0" : L"") << call;
        EXPECT_EQ(facts.at(L"SystemOverview\\TpmEnabled\\0"), row.hasTpm ? L"1" : L"0") << call;
        const auto slots = facts.find(L"PhysicalMemoryLocation\\MemorySlots\\0");
        EXPECT_EQ(slots != facts.end() ? slots->second : L"none", row.hasSlots ? L"4" : L"none")
            << call;
    }
}

}  // namespace
}  // namespace orrery
