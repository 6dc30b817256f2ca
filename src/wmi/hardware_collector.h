#pragma once

#include <windows.h>
#include <wbemcli.h>

#include <map>
#include <memory>

#include "native/devices.h"
#include "native/wireless_networks.h"
#include "store/wide_string.h"
#include "support/com.h"

namespace orrery {

/// What WMI and the WLAN service know of one network adapter. All texts are empty until found.
struct AdapterDetail {
    WideString physicalAdapter;  ///< "Physical" or "Logical"
    WideString manufacturer;
    WideString speed;                ///< bits per second, decimal
    WideString netConnectionStatus;  ///< status text, such as "Connected"
    WideString ssid;
    WideString protocol;  ///< PHY text, such as "Wi-Fi 5 (802.11ac)"
    WideString securityType;
    WideString networkBand;  ///< centre frequency in kHz, decimal
    WideString networkChannel;
};

/// Everything one category's worker works with: its WMI session, the tables that the steps of a
/// category share, the native device list and the entry points of the WLAN service.
///
/// A collector belongs to one thread, which has entered a COM apartment before it builds one.
class CHardwareCollector {
public:
    /// Loads the WLAN library; does not touch WMI, nor walk the device tree until its list is asked for.
    CHardwareCollector();
    CHardwareCollector(const CHardwareCollector&) = delete;
    CHardwareCollector& operator=(const CHardwareCollector&) = delete;
    virtual ~CHardwareCollector();

    /// Opens the session to "root\cimv2" unless it is open. On failure `services` stays null and
    /// the next call tries again.
    void ConnectWmi();

    using TextTable = std::map<WideString, WideString>;

    TextTable diskTypeBySerial;
    TextTable driveCaptionByVolume;
    TextTable mediaTypeByCaption;
    std::map<WideString, AdapterDetail> adapterDetails;

    WlanFunctions wlan;
    /// Never freed: each collector leaves one load reference behind for the life of the process.
    HMODULE wlanModule = nullptr;

    ComPtr<IWbemServices> services;     ///< null until ConnectWmi succeeds
    std::unique_ptr<CDevices> devices;  ///< null when memory was short
    bool adapterFlag = false;           ///< handed on to the native adapter list, which ignores it
};

}  // namespace orrery
