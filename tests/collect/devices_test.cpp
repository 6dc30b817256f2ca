#include "collect/devices.h"

#include <gtest/gtest.h>

#include <new>
#include <string>

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

TEST(Usb, FallsBackToNoMoreThanTheMaximum)
{
    RegistryTree tree{HKEY_LOCAL_MACHINE, {}};
    for (const wchar_t* name : {L"hub", L"stick"}) {
        const auto instance = L"SYSTEM\\CurrentControlSet\\Enum\\USB\\VID_1\\" + std::wstring{name};
        tree.AddKey(instance + L"\\Control");
        tree.Set(instance, L"Class", TextValue(L"usb"));
        tree.Set(instance, L"FriendlyName", TextValue(name));
    }
    EXPECT_EQ(FactsFrom(L"namespace root\\none\n",
                        [](auto* collector, auto* map) { CollectUsb(collector, 1, map); }),
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
    for (const wchar_t* key : {L"System\\Video\\0", L"System\\Video\\1"})
        tree.Set(key, L"InstalledDisplayDrivers", TextValue(L"drv"));
    tree.Set(L"System\\Video\\1", L"HardwareInformation.MemorySize", NumberValue(0x40000000));
    EXPECT_EQ(FactsFrom(L"", collect(100)), (Facts{{L"VideoController\\Name\\0", L"Onboard"},
                                                   {L"VideoController\\AdapterRAM\\0", L""},
                                                   {L"VideoController\\DACType\\0", L""},
                                                   {L"VideoController\\Name\\1", L"Card"},
                                                   {L"VideoController\\AdapterRAM\\1", L"1024"},
                                                   {L"VideoController\\DACType\\1", L""}}));
    EXPECT_EQ(steps, "shell displays displays revert ");
    EXPECT_EQ(FactsFrom(L"", collect(1)).size(), 3U);
    displaysThrow = true;
    EXPECT_THROW(FactsFrom(L"", collect(100)), std::bad_alloc);
    EXPECT_EQ(steps, "shell displays revert ");
    displaysThrow = false;
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
    EXPECT_EQ(ChassisCodeName(24) + ChassisCodeName(25) + ChassisCodeName(32),
              L"Sealed-Case PCDetachable");
}

}  // namespace
}  // namespace orrery
