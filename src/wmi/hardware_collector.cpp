#include "wmi/hardware_collector.h"

#include <new>

#include "native/computer_bios.h"
#include "support/registry.h"
#include "wmi/session.h"

namespace orrery {
namespace {

void ReadForceWmi()
{
    // Read on purpose although nothing acts on it: collection is the same whatever it holds.
    const UniqueKey client = OpenKey(HKEY_LOCAL_MACHINE, kClientKey, KEY_READ | KEY_WRITE);
    if (client)
        static_cast<void>(ReadDword(client.get(), L"ForceWMI"));
}

}  // namespace

CHardwareCollector::CHardwareCollector() : devices(new (std::nothrow) CDevices)
{
    ReadForceWmi();
    wlanModule = LoadLibraryW(kWlanLibrary);
    wlan = FindWlanFunctions(wlanModule);
}

CHardwareCollector::~CHardwareCollector() = default;

void CHardwareCollector::ConnectWmi()
{
    if (!services)
        services = OpenDefaultSession();
}

}  // namespace orrery
