#pragma once

#include <winsock2.h>
#include <windows.h>

#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "sim/devices.h"
#include "sim/ip_helper.h"
#include "sim/platform.h"
#include "sim/registry_tree.h"
#include "sim/simulation.h"
#include "sim/wlan.h"

namespace orrery::sim {

/// A machine of which everything is told by one file. While it lives, WMI and Windows answer every
/// thread of the process from that file; volumes, devices and adapters that it does not name are not
/// there. One at a time, and no other simulation beside it.
class WholeMachine {
public:
    /// @throw ScenarioError naming the file, the line and what was expected there
    explicit WholeMachine(const std::wstring& path);

    /// The answers of Windows itself, which a test may change before it installs them.
    PlatformFacts platform;
    /// What the machine's devices answer.
    std::map<std::wstring, Devices::Answer> devices;

    /// Does something while all of the machine answers.
    /// @param processors with one, the categories of a run come one after the other
    void Run(DWORD processors, const std::function<void()>& action) const;

    Simulation& wmi() noexcept { return *wmi_; }
    Wlan& wlan() noexcept { return *wlan_; }
    const Simulation& wmi() const noexcept { return *wmi_; }
    const Wlan& wlan() const noexcept { return *wlan_; }

private:
    void ReadItem(const NativeItem& item);
    void Install(const std::wstring& text);

    Scenario scenario_{L""};
    std::deque<std::string> texts_;  // whose characters the lists below point to
    std::vector<IP_ADAPTER_INFO> adapters_;
    std::map<DWORD, const char*> dnsServers_;
    std::vector<IpHelper::IPv6Adapter> ipv6Adapters_;
    std::vector<Wlan::Interface> wireless_;
    RegistryTree localMachine_{HKEY_LOCAL_MACHINE};
    RegistryTree dynamicData_{HKEY_DYN_DATA};
    std::optional<IpHelper> ipHelper_;
    std::optional<Wlan> wlan_;
    std::optional<Simulation> wmi_;
};

/// Collects from a machine with the library under test and gives the report file's text.
/// @param result receives what the library returned
/// @throw std::runtime_error when there is no library or no file for the report
std::wstring CollectFrom(const WholeMachine& machine, DWORD processors,
                         std::int32_t* result = nullptr);

}  // namespace orrery::sim
