#include "wmi/hardware_collector.h"

#include <new>

#include "support/library.h"
#include "support/registry.h"
#include "wmi/session.h"

namespace orrery {
namespace {

void ReadForceWmi()
{
    // Read on purpose although nothing acts on it: collection is the same whatever it holds.
    const UniqueKey client =
        OpenKey(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Veltrane Ltd\\Veltrane Orrery\\Client",
                KEY_READ | KEY_WRITE);
    if (client)
        static_cast<void>(ReadDword(client.get(), L"ForceWMI"));
}

}  // namespace

CHardwareCollector::CHardwareCollector() : devices(new (std::nothrow) CDevices)
{
    ReadForceWmi();
    wlanModule = LoadLibraryW(L"wlanapi.dll");
    wlanOpenHandle = FindFunction<decltype(wlanOpenHandle)>(wlanModule, "WlanOpenHandle");
    wlanEnumInterfaces =
        FindFunction<decltype(wlanEnumInterfaces)>(wlanModule, "WlanEnumInterfaces");
    wlanQueryInterface =
        FindFunction<decltype(wlanQueryInterface)>(wlanModule, "WlanQueryInterface");
    wlanGetNetworkBssList =
        FindFunction<decltype(wlanGetNetworkBssList)>(wlanModule, "WlanGetNetworkBssList");
    wlanFreeMemory = FindFunction<decltype(wlanFreeMemory)>(wlanModule, "WlanFreeMemory");
}

CHardwareCollector::~CHardwareCollector() = default;

void CHardwareCollector::ConnectWmi()
{
    if (!services)
        services = OpenDefaultSession();
}

}  // namespace orrery
