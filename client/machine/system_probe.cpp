#include "client/machine/system_probe.h"

#include <windows.h>
#include <wlanapi.h>

#include <array>
#include <memory>
#include <span>

#include "client/machine/ask_within.h"
#include "native/physical_drive.h"
#include "support/number_of.h"
#include "support/registry.h"
#include "support/text.h"
#include "support/unique.h"
#include "wmi/hardware_collector.h"

namespace orrery::machine {
namespace {

using doctor::Ending;
using doctor::Outcome;
using doctor::Rights;
using doctor::ServiceState;
using doctor::WlanFinding;

Outcome OutcomeOf(DWORD error)
{
    return {error == ERROR_SUCCESS ? Ending::kAnswered : Ending::kFailed, error};
}

bool IsMember(WELL_KNOWN_SID_TYPE group)
{
    alignas(SID) std::array<BYTE, SECURITY_MAX_SID_SIZE> sid{};
    auto size = static_cast<DWORD>(sid.size());
    BOOL isMember = FALSE;
    return CreateWellKnownSid(group, nullptr, sid.data(), &size) &&
           CheckTokenMembership(nullptr, sid.data(), &isMember) && isMember != FALSE;
}

Rights ReadRights()
{
    if (IsMember(WinLocalSystemSid))
        return Rights::kLocalSystem;
    return IsMember(WinBuiltinAdministratorsSid) ? Rights::kAdministrator : Rights::kUser;
}

struct ServiceTraits {
    using Resource = SC_HANDLE;
    static Resource None() noexcept { return nullptr; }
    static void Close(Resource service) noexcept { CloseServiceHandle(service); }
};
using UniqueService = Unique<ServiceTraits>;

bool IsDisabled(SC_HANDLE service)
{
    alignas(QUERY_SERVICE_CONFIGW) std::array<BYTE, 8192> bytes{};  // the most that there can be
    auto* const config = reinterpret_cast<QUERY_SERVICE_CONFIGW*>(bytes.data());
    DWORD needed = 0;
    return QueryServiceConfigW(service, config, static_cast<DWORD>(bytes.size()), &needed) &&
           config->dwStartType == SERVICE_DISABLED;
}

ServiceState ReadService(const wchar_t* name)
{
    const UniqueService manager{OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT)};
    if (!manager)
        return ServiceState::kNotKnown;
    const UniqueService service{
        OpenServiceW(manager.get(), name, SERVICE_QUERY_STATUS | SERVICE_QUERY_CONFIG)};
    if (!service)
        return GetLastError() == ERROR_SERVICE_DOES_NOT_EXIST ? ServiceState::kMissing
                                                              : ServiceState::kNotKnown;
    SERVICE_STATUS status{};
    if (!QueryServiceStatus(service.get(), &status))
        return ServiceState::kNotKnown;
    if (status.dwCurrentState == SERVICE_RUNNING)
        return ServiceState::kRunning;
    return IsDisabled(service.get()) ? ServiceState::kDisabled : ServiceState::kStopped;
}

/// A switch of the location settings that is off when its value is this.
struct LocationSwitch {
    HKEY root;
    const wchar_t* key;
    const char* who;
};

std::vector<std::string> LocationDeniedBy()
{
    constexpr const wchar_t* kConsent =
        L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\CapabilityAccessManager\\ConsentStore\\"
        L"location";
    constexpr const wchar_t* kDesktopConsent =
        L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\CapabilityAccessManager\\ConsentStore\\"
        L"location\\NonPackaged";
    constexpr const wchar_t* kPolicy =
        L"SOFTWARE\\Policies\\Microsoft\\Windows\\LocationAndSensors";
    constexpr std::size_t kMaxCharacters = 20;
    const LocationSwitch switches[] = {{HKEY_LOCAL_MACHINE, kConsent, "this device"},
                                       {HKEY_CURRENT_USER, kConsent, "this user"},
                                       {HKEY_CURRENT_USER, kDesktopConsent, "desktop apps"}};
    std::vector<std::string> denied;
    for (const auto& [root, path, who] : switches) {
        const UniqueKey key = OpenKey(root, path, KEY_QUERY_VALUE);
        const auto value = key ? ReadText(key.get(), L"Value", kMaxCharacters) : std::nullopt;
        if (value && EqualsIgnoringCase(*value, L"Deny"))
            denied.emplace_back(who);
    }
    const UniqueKey policy = OpenKey(HKEY_LOCAL_MACHINE, kPolicy, KEY_QUERY_VALUE);
    if (policy && ReadDword(policy.get(), L"DisableLocation") == 1U)
        denied.emplace_back("everyone, by policy");
    return denied;
}

/// Asks each connected adapter for its connection; the first failure is kept.
void AskConnections(const CHardwareCollector& library, HANDLE client,
                    const WLAN_INTERFACE_INFO_LIST& list, WlanFinding* finding)
{
    for (const auto& adapter : std::span{&list.InterfaceInfo[0], list.dwNumberOfItems}) {
        ++finding->adapters;
        if (NumberOf(adapter.isState) != wlan_interface_state_connected)
            continue;
        ++finding->connected;
        void* answer = nullptr;
        DWORD size = 0;
        WLAN_OPCODE_VALUE_TYPE origin = wlan_opcode_value_type_invalid;
        const DWORD error = library.wlanQueryInterface(client, &adapter.InterfaceGuid,
                                                       wlan_intf_opcode_current_connection, nullptr,
                                                       &size, &answer, &origin);
        if (answer != nullptr)
            library.wlanFreeMemory(answer);
        if (finding->connection.ending != Ending::kFailed)
            finding->connection = OutcomeOf(error);
    }
}

WlanFinding ReadWlan()
{
    WlanFinding finding;
    finding.deniedBy = LocationDeniedBy();
    const CHardwareCollector library;  // finds the functions as the library does
    finding.hasLibrary = library.hasWlan();
    if (!finding.hasLibrary)
        return finding;
    constexpr DWORD kClientVersion = 2;
    DWORD negotiated = 0;
    HANDLE client = nullptr;  // stays open until the process ends, as the library's does
    WLAN_INTERFACE_INFO_LIST* list = nullptr;
    DWORD error = library.wlanOpenHandle(kClientVersion, nullptr, &negotiated, &client);
    if (error == ERROR_SUCCESS)
        error = library.wlanEnumInterfaces(client, nullptr, &list);
    finding.outcome = OutcomeOf(error);
    if (list == nullptr)
        return finding;
    AskConnections(library, client, *list, &finding);
    library.wlanFreeMemory(list);
    return finding;
}

doctor::ScsiFinding ReadScsi()
{
    doctor::ScsiFinding finding;
    for (const int number : {0, 1}) {
        const UniqueFile port = OpenScsiPort(number);
        finding.ports.push_back(OutcomeOf(port ? ERROR_SUCCESS : GetLastError()));
    }
    finding.drives = CPhysicalDrive{}.Count();
    finding.outcome = {Ending::kAnswered, 0};
    return finding;
}

}  // namespace

void ProbeSystem(std::chrono::seconds limit, doctor::Findings* findings)
{
    findings->rights = AskWithin(limit, ReadRights).value_or(Rights::kNotKnown);
    const auto service = [limit](const wchar_t* name) {
        return AskWithin(limit, [name] { return ReadService(name); })
            .value_or(ServiceState::kNotKnown);
    };
    findings->wmiService = service(L"Winmgmt");
    findings->wlanService = service(L"Wlansvc");
    WlanFinding noWlan;
    noWlan.outcome.ending = Ending::kNoAnswer;
    findings->wlan = AskWithin(limit, ReadWlan).value_or(noWlan);
    doctor::ScsiFinding noScsi;
    noScsi.outcome.ending = Ending::kNoAnswer;
    findings->scsi = AskWithin(limit, ReadScsi).value_or(noScsi);
}

}  // namespace orrery::machine
