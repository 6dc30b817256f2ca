#include "collect/bios.h"

#include <gtest/gtest.h>

#include "sim/facts.h"
#include "sim/registry_tree.h"
#include "sim/simulation.h"

namespace orrery {
namespace {

TEST(Bios, TakesTheFirmwareRecordWhereWmiHasNothing)
{
    const ComApartment apartment;
    sim::Simulation simulation{
        LR"(
namespace root\cimv2
instance of Win32_BIOS {
Manufacturer = "Old";
PrimaryBIOS = "False";
SMBIOSBIOSVersion = "6";
};
instance of Win32_BIOS {
Manufacturer = "New";
PrimaryBIOS = "True";
SMBIOSBIOSVersion = "7";
};
)"};
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
    firmware.capacities = {-0x7C00, 8192};  // bit 15 of the first is set
    firmware.speeds = {65535, 2400};
    CInvMap map;
    WriteBiosFacts(&collector, &map, &firmware);
    WriteMemoryModules(&collector, &map, firmware);
    EXPECT_EQ(sim::FactsOf(map), (sim::Facts{{L"BIOS\\Manufacturer\\0", L"Firmware Co"},
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
        const wchar_t *stored, *left;
    } rows[] = {
        {&R::serialNumber, &R::SerialNumber, L"System Serial Number", L""},
        {&R::systemManufacturer, &R::SystemManufacturer, L"System Manufacturer", L""},
        {&R::systemManufacturer, &R::SystemManufacturer, L"System manufacturer", L""},
        {&R::systemModel, &R::SystemModel, L"System Name", L""},
        {&R::systemModel, &R::SystemModel, L"System Product Name", L""},
        {&R::systemModel, &R::SystemModel, L"System name", L"System name"},
    };
    for (const auto& row : rows) {
        R record;
        record.*row.field = row.stored;
        EXPECT_EQ((record.*row.read)(), row.left) << row.stored;
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
        {L"2024", L"00/00/24"},
        {L"2024123", L"12/03/24"},
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
    tree.Set(kClient, L"DisableXBios", NumberValue(0));
    EXPECT_FALSE(IsXBiosDisabled(5, 1));
    EXPECT_EQ(DisableXBios(), 1);
    EXPECT_TRUE(IsXBiosDisabled(5, 1));
}

}  // namespace
}  // namespace orrery
