#include "collect/bios.h"

#include <gtest/gtest.h>

#include "sim/facts.h"
#include "sim/registry_tree.h"
#include "sim/simulation.h"

namespace orrery {
namespace {

using sim::Facts;

constexpr const wchar_t* kTwoBioses =
    LR"(
namespace root\cimv2
instance of Win32_BIOS
{
	Manufacturer = "Old";
	PrimaryBIOS = FALSE;
	ReleaseDate = "19990102000000.000000+000";
	SMBIOSBIOSVersion = "O.1";
	SerialNumber = "System Serial Number";
};
instance of Win32_BIOS
{
	Manufacturer = "Boskamp; Sons";
	PrimaryBIOS = TRUE;
	ReleaseDate = "20190315000000.000000+000";
	SMBIOSBIOSVersion = "B.2";
	SerialNumber = "second";
};
instance of Win32_SystemEnclosure
{
	SMBIOSAssetTag = "A-1";
};
instance of Win32_ComputerSystem
{
	Manufacturer = "Halvorsen";
	Model = "HX";
};
instance of Win32_PhysicalMemory
{
	Capacity = "17179869184";
	DeviceLocator = "DIMM_A1";
	MemoryType = 26;
	Speed = 3200;
};
instance of Win32_PhysicalMemory
{
	Capacity = "8589934592";
	DeviceLocator = "DIMM_B1";
};
)";

Facts Collect(std::wstring_view scenario, std::string_view failingCall = {})
{
    const ComApartment apartment;
    sim::Simulation simulation{scenario};
    if (!failingCall.empty())
        simulation.FailCall(std::string{failingCall}, 0, E_FAIL);
    CInvMap map;
    {
        CHardwareCollector collector;
        CollectBios(&collector, &map);
    }
    EXPECT_EQ(simulation.LiveObjects(), 0);
    for (const auto& line : simulation.Trace())
        EXPECT_EQ(line.find("::Next("), line.find("::Next(1000, 100)")) << line;
    return sim::FactsOf(map);
}

TEST(Bios, TakesThePrimaryInstanceButTheFirstSerialNumber)
{
    EXPECT_EQ(Collect(kTwoBioses), (Facts{{L"BIOS\\Manufacturer\\0", L"Boskamp; Sons"},
                                          {L"BIOS\\InstallDate\\0", L"03/15/19"},
                                          {L"BIOS\\Version\\0", L"B.2"},
                                          {L"BIOS\\AssetTag\\0", L"A-1"},
                                          {L"BIOS\\SystemMan\\0", L"Halvorsen"},
                                          {L"BIOS\\SystemMod\\0", L"HX"},
                                          {L"BIOS\\SerialNumber\\0", L"System Serial Number"},
                                          {L"PhysicalMemoryLocation\\Capacity\\0", L"16384"},
                                          {L"PhysicalMemoryLocation\\DeviceLocator\\0", L"DIMM_A1"},
                                          {L"PhysicalMemoryLocation\\MemoryType\\0", L"DDR4"},
                                          {L"PhysicalMemoryLocation\\Speed\\0", L"3200"},
                                          {L"PhysicalMemoryLocation\\Capacity\\1", L"8192"},
                                          {L"PhysicalMemoryLocation\\DeviceLocator\\1", L"DIMM_B1"},
                                          {L"PhysicalMemoryLocation\\MemoryType\\1", L""},
                                          {L"PhysicalMemoryLocation\\Speed\\1", L""}}));
}

TEST(Bios, WritesAllSevenFactsWhateverIsMissing)
{
    const struct {
        std::wstring_view scenario;
        std::string_view failingCall;
    } rows[] = {
        {L"namespace root\\cimv2\n", ""},
        {L"namespace root\\other\n", ""},
        {kTwoBioses, "CoCreateInstance"},
        {kTwoBioses, "IEnumWbemClassObject::Next"},
    };
    for (const auto& row : rows) {
        const auto facts = Collect(row.scenario, row.failingCall);
        EXPECT_EQ(facts.size(), 7U) << row.failingCall;
        for (const auto& [key, value] : facts)
            EXPECT_EQ(value, L"") << key;
    }
}

TEST(Bios, TakesTheFirmwareRecordWhereWmiHasNothing)
{
    constexpr const wchar_t* kSecondIsPrimary =
        LR"(
namespace root\cimv2
instance of Win32_BIOS
{
	Manufacturer = "Old";
	PrimaryBIOS = "False";
	SMBIOSBIOSVersion = "6";
};
instance of Win32_BIOS
{
	Manufacturer = "New";
	PrimaryBIOS = "True";
	SMBIOSBIOSVersion = "7";
};
)";
    const ComApartment apartment;
    sim::Simulation simulation{kSecondIsPrimary};
    // The primary instance's manufacturer is lost, so that there is but the other one's.
    simulation.FailCall("IWbemClassObject::Get(Manufacturer, 0x0)", 2, E_FAIL);
    simulation.FailCall("IWbemClassObject::GetObjectText", 1, E_FAIL);
    CHardwareCollector collector;
    CComputerBios firmware;
    firmware.biosManufacturer = L"Firmware Co";
    firmware.biosVersion = L"F.1";
    firmware.biosReleaseDate = L"04/05/06";
    firmware.systemManufacturer = L"System maker";
    firmware.systemModel = L"model";
    firmware.serialNumber = L"serial";
    firmware.assetTag = L"tag";
    firmware.deviceLocators = {L"A", L"B"};
    firmware.memoryTypes = {L"\tMemoryType = 24;"};
    firmware.capacities = {static_cast<std::int16_t>(0x8400), 8192};
    firmware.speeds = {65535, 2400};
    CInvMap map;
    WriteBiosFacts(&collector, &map, &firmware);
    WriteMemoryModules(&collector, &map, firmware);
    EXPECT_EQ(sim::FactsOf(map), (Facts{{L"BIOS\\Manufacturer\\0", L"Firmware Co"},
                                        {L"BIOS\\InstallDate\\0", L"04/05/06"},
                                        {L"BIOS\\Version\\0", L"7"},
                                        {L"BIOS\\AssetTag\\0", L"tag"},
                                        {L"BIOS\\SystemMan\\0", L"System maker"},
                                        {L"BIOS\\SystemMod\\0", L"model"},
                                        {L"BIOS\\SerialNumber\\0", L"serial"},
                                        {L"PhysicalMemoryLocation\\Capacity\\0", L"0"},
                                        {L"PhysicalMemoryLocation\\DeviceLocator\\0", L"A"},
                                        {L"PhysicalMemoryLocation\\MemoryType\\0", L"DDR3"},
                                        {L"PhysicalMemoryLocation\\Speed\\0", L"65535"},
                                        {L"PhysicalMemoryLocation\\Capacity\\1", L"8192"},
                                        {L"PhysicalMemoryLocation\\DeviceLocator\\1", L"B"},
                                        {L"PhysicalMemoryLocation\\MemoryType\\1", L""},
                                        {L"PhysicalMemoryLocation\\Speed\\1", L"2400"}}));
}

TEST(Bios, ClearsPlaceholdersInTheFirmwareRecordItself)
{
    using R = CComputerBios;
    const struct {
        WideString R::*field;
        WideString (R::*read)();
        const wchar_t *stored, *returned, *left;
    } rows[] = {
        {&R::serialNumber, &R::SerialNumber, L"System Serial Number", L"", L""},
        {&R::systemManufacturer, &R::SystemManufacturer, L"System Manufacturer", L"", L""},
        {&R::systemManufacturer, &R::SystemManufacturer, L"System manufacturer", L"", L""},
        {&R::systemModel, &R::SystemModel, L"System Name", L"", L""},
        {&R::systemModel, &R::SystemModel, L"System Product Name", L"", L""},
        {&R::systemModel, &R::SystemModel, L"System name", L"System name", L"System name"},
        {&R::biosVersion, &R::BiosVersion, L"B.2", L"B.2", L"B.2"},
        {&R::biosReleaseDate, &R::ReleaseDate, L"03/15/19", L"03/15/19", L"03/15/19"},
    };
    for (const auto& row : rows) {
        R record;
        record.*row.field = row.stored;
        EXPECT_EQ((record.*row.read)(), row.returned) << row.stored;
        EXPECT_EQ(record.*row.field, row.left) << row.stored;
    }
}

TEST(Bios, ReadsAReleaseDateAsFarAsItGoes)
{
    const struct {
        const wchar_t *text, *expected;
    } rows[] = {
        {L"20190315000000.000000+000", L"03/15/19"},
        {L"19650101000000.000000+000", L"01/01/70"},
        {L"00000000000000.000000+000", L"00/00/70"},
        {L"2024", L"00/00/24"},
        {L"202412", L"12/00/24"},
        {L"2024123", L"12/03/24"},
        {L"20", L"00/00/70"},
        {L"", L"00/00/70"},
        {L"01/02/2019", L"02/20/70"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(FormatReleaseDate(row.text), row.expected) << row.text;
}

TEST(XBios, IsDisabledByVersionOrByTheRegistry)
{
    constexpr const wchar_t* kClient = L"SOFTWARE\\Veltrane Ltd\\Veltrane Orrery\\Client";
    RegistryTree tree{HKEY_LOCAL_MACHINE, {}};
    EXPECT_TRUE(IsXBiosDisabled(6, 1));
    EXPECT_TRUE(IsXBiosDisabled(10, 0));
    EXPECT_FALSE(IsXBiosDisabled(6, 0));  // no key
    tree.AddKey(kClient);
    EXPECT_FALSE(IsXBiosDisabled(5, 1));
    tree.Set(kClient, L"DisableXBios", TextValue(L"1"));
    EXPECT_FALSE(IsXBiosDisabled(5, 1));
    tree.Set(kClient, L"DisableXBios", NumberValue(0));
    EXPECT_FALSE(IsXBiosDisabled(5, 1));
    EXPECT_EQ(DisableXBios(), 1);
    EXPECT_TRUE(IsXBiosDisabled(5, 1));
}

}  // namespace
}  // namespace orrery
