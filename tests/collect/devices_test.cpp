#include "collect/devices.h"

#include <gtest/gtest.h>

#include <new>
#include <string>

#include "collect/computer_system.h"
#include "entry/categories.h"
#include "native/computer_system.h"
#include "sim/detour.h"
#include "sim/facts.h"
#include "sim/registry_tree.h"
#include "sim/simulation.h"

namespace orrery {
namespace {

using sim::Facts;

template <class Collect>
Facts FactsFrom(std::wstring_view scenario, Collect collect)
{
    const ComApartment apartment;
    const sim::Simulation simulation{scenario};
    CInvMap map;
    {
        CHardwareCollector collector;
        collect(&collector, &map);
    }
    EXPECT_EQ(simulation.LiveObjects(), 0);
    return sim::FactsOf(map);
}

constexpr const wchar_t* kControllers =
    LR"(
namespace root\cimv2
instance of Win32_Processor
{
	CurrentClockSpeed = 3600;
	Manufacturer = "Korrigan";
	Name = "Korrigan 8";
	NumberOfCores = 8;
	NumberOfLogicalProcessors = 16;
};
instance of Win32_Processor
{
	Name = "Korrigan 9";
};
instance of Win32_USBController
{
	Name = "Host controller A";
};
instance of Win32_USBController
{
	Name = "Host controller B";
};
)";

TEST(Processor, ComesFromWmiOrNotAtAll)
{
    const auto collect = [](auto* collector, auto* map) { CollectProcessor(collector, 100, map); };
    EXPECT_EQ(FactsFrom(kControllers, collect),
              (Facts{{L"Processor\\CurrentClockSpeed\\0", L"3600"},
                     {L"Processor\\Manufacturer\\0", L"Korrigan"},
                     {L"Processor\\Name\\0", L"Korrigan 8"},
                     {L"Processor\\NumberOfCores\\0", L"8"},
                     {L"Processor\\NumberOfLogicalProcessors\\0", L"16"},
                     {L"Processor\\CurrentClockSpeed\\1", L""},
                     {L"Processor\\Manufacturer\\1", L""},
                     {L"Processor\\Name\\1", L"Korrigan 9"},
                     {L"Processor\\NumberOfCores\\1", L""},
                     {L"Processor\\NumberOfLogicalProcessors\\1", L""}}));
    EXPECT_EQ(FactsFrom(L"namespace root\\cimv2\n", collect), Facts{});
    EXPECT_EQ(FactsFrom(L"namespace root\\none\n", collect), Facts{});
}

TEST(Usb, FallsBackToTheDeviceList)
{
    constexpr const wchar_t* kEnum = L"SYSTEM\\CurrentControlSet\\Enum\\";
    RegistryTree tree{HKEY_LOCAL_MACHINE, {}};
    for (const wchar_t* name : {L"hub", L"stick", L"mouse"}) {
        const auto instance = kEnum + std::wstring{L"USB\\VID_1\\"} + name;
        tree.AddKey(instance + L"\\Control");
        tree.Set(instance, L"Class", TextValue(name == std::wstring{L"mouse"} ? L"Mouse" : L"usb"));
        tree.Set(instance, L"FriendlyName", TextValue(name));
    }
    const auto collect = [](std::uint32_t max) {
        return [max](auto* collector, auto* map) { CollectUsb(collector, max, map); };
    };
    EXPECT_EQ(FactsFrom(kControllers, collect(100)),
              (Facts{{L"USBDevice\\Name\\0", L"Host controller A"},
                     {L"USBDevice\\Name\\1", L"Host controller B"}}));
    EXPECT_EQ(FactsFrom(L"namespace root\\cimv2\n", collect(100)),
              (Facts{{L"USBDevice\\Name\\0", L"hub"}, {L"USBDevice\\Name\\1", L"stick"}}));
    EXPECT_EQ(FactsFrom(L"namespace root\\none\n", collect(1)),
              (Facts{{L"USBDevice\\Name\\0", L"hub"}}));
}

std::string steps;  // of the search for displays, in order
bool displaysThrow = false;

HWND WINAPI ShellOfNobody()
{
    return steps += "shell ", reinterpret_cast<HWND>(INT_PTR{1});
}
BOOL WINAPI NoteRevert()
{
    return steps += "revert ", TRUE;
}
BOOL WINAPI TwoAdapters(const wchar_t*, DWORD number, DISPLAY_DEVICEW* device, DWORD)
{
    steps += number == 0 ? "displays " : "";
    if (displaysThrow)
        throw std::bad_alloc{};
    if (number >= 2)
        return FALSE;
    device->StateFlags = DISPLAY_DEVICE_ATTACHED_TO_DESKTOP;
    lstrcpyW(device->DeviceString, number == 0 ? L"Onboard" : L"Card");
    lstrcpyW(device->DeviceID, number == 0 ? L"PCI\\1" : L"PCI\\2");
    lstrcpyW(device->DeviceKey, number == 0 ? L"\\Registry\\Machine\\System\\Video\\0"
                                            : L"\\Registry\\Machine\\System\\Video\\1");
    return TRUE;
}

TEST(Video, ReportsEachAdapterAndNeverLessThanOneAsTheUser)
{
    const sim::Detour shell{L"user32.dll", "GetShellWindow", ShellOfNobody};
    const sim::Detour displays{L"user32.dll", "EnumDisplayDevicesW", TwoAdapters};
    const sim::Detour revert{L"advapi32.dll", "RevertToSelf", NoteRevert};
    RegistryTree tree{HKEY_LOCAL_MACHINE, {}};
    const auto collect = [](std::uint32_t max) {
        steps.clear();
        return [max](auto* collector, auto* map) { CollectVideo(collector, max, map); };
    };
    EXPECT_EQ(FactsFrom(kControllers, collect(100)),
              (Facts{{L"VideoController\\Name\\0", L""},
                     {L"VideoController\\AdapterRAM\\0", L""},
                     {L"VideoController\\DACType\\0", L""}}));
    for (const wchar_t* key : {L"System\\Video\\0", L"System\\Video\\1"})
        tree.Set(key, L"InstalledDisplayDrivers", TextValue(L"drv"));
    tree.Set(L"System\\Video\\1", L"HardwareInformation.MemorySize", NumberValue(0x40000000));
    EXPECT_EQ(FactsFrom(kControllers, collect(100)),
              (Facts{{L"VideoController\\Name\\0", L"Onboard"},
                     {L"VideoController\\AdapterRAM\\0", L""},
                     {L"VideoController\\DACType\\0", L""},
                     {L"VideoController\\Name\\1", L"Card"},
                     {L"VideoController\\AdapterRAM\\1", L"1024"},
                     {L"VideoController\\DACType\\1", L""}}));
    EXPECT_EQ(steps, "shell displays displays revert ");
    EXPECT_EQ(FactsFrom(kControllers, collect(1)).size(), 3U);
    displaysThrow = true;
    EXPECT_THROW(FactsFrom(kControllers, collect(100)), std::bad_alloc);
    EXPECT_EQ(steps, "shell displays revert ");
    displaysThrow = false;
}

BOOL WINAPI NameOfTheTest(COMPUTER_NAME_FORMAT format, wchar_t* name, DWORD* size)
{
    lstrcpyW(name, format == ComputerNamePhysicalDnsHostname && *size == 128 ? L"Workshop-7" : L"");
    return TRUE;
}
BOOL WINAPI NoName(COMPUTER_NAME_FORMAT, wchar_t* name, DWORD*)
{
    lstrcpyW(name, L"x");
    return FALSE;
}

TEST(ComputerSystem, IsItsHostNameOnly)
{
    const sim::Detour name{L"kernel32.dll", "GetComputerNameExW", NameOfTheTest};
    EXPECT_EQ(FactsFrom(kControllers, CollectComputerSystem),
              (Facts{{L"ComputerSystem\\Name\\0", L"Workshop-7"}}));

    const sim::Detour noName{L"kernel32.dll", "GetComputerNameExW", NoName};
    EXPECT_EQ(GetPhysicalHostName(), L"");
}

TEST(Enclosure, IsTheFormFactorOfTheFirst)
{
    const auto collect = [](std::wstring codes) {
        const std::wstring instance = L"instance of Win32_SystemEnclosure\n{\n\tChassisTypes = ";
        return FactsFrom(
            L"namespace root\\cimv2\n" + instance + codes + L";\n};\n" + instance + L"{3};\n};\n",
            [](auto* collector, auto* map) { RunCategory(19, collector, map); });
    };
    EXPECT_EQ(collect(L"{31}"), (Facts{{L"SystemEnclosure\\ChassisTypes\\0", L"Laptop"}}));
    EXPECT_EQ(collect(L"{28}"), (Facts{{L"SystemEnclosure\\ChassisTypes\\0", L""}}));
}

TEST(ComputerSystem, KeepsItsUnusedReaders)
{
    constexpr const wchar_t* kKey = L"SOFTWARE\\Veltrane Ltd\\Lessonvale";
    RegistryTree tree{HKEY_LOCAL_MACHINE, {}};
    EXPECT_EQ(ReadLessonvaleName(), L"");
    EXPECT_EQ(ReadLessonvaleEnclosureType(), 0U);
    tree.Set(kKey, L"name", TextValue(std::wstring(600, L'n')));
    tree.Set(kKey, L"EnclosureType", NumberValue(10));
    EXPECT_EQ(ReadLessonvaleName().size(), 500U);
    EXPECT_EQ(ReadLessonvaleEnclosureType(), 10U);
    EXPECT_EQ(ChassisCodeName(24), L"Sealed-Case PC");
    EXPECT_EQ(ChassisCodeName(25), L"");
    EXPECT_EQ(ChassisCodeName(32), L"Detachable");
}

}  // namespace
}  // namespace orrery
