#include "client/machine/system_probe.h"

#include <windows.h>

#include <array>

#include "client/machine/ask_within.h"
#include "native/physical_drive.h"
#include "native/wireless_networks.h"
#include "support/registry.h"
#include "support/text.h"
#include "support/unique.h"

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

/// Counts an adapter; the first failure to tell its connection is kept.
void AddAdapter(const WirelessInterface& found, WlanFinding* finding)
{
    ++finding->adapters;
    if (!found.connection && found.result == ERROR_SUCCESS)
        return;  // not connected, or no longer
    ++finding->connected;
    if (finding->connection.ending != Ending::kFailed)
        finding->connection = OutcomeOf(found.result);
}

WlanFinding ReadWlan()
{
    WlanFinding finding;
    finding.deniedBy = LocationDeniedBy();
    // Never freed: the client that the walk opens ends with the program.
    const WlanFunctions wlan = FindWlanFunctions(LoadLibraryW(kWlanLibrary));
    finding.hasLibrary = wlan.areComplete();
    if (finding.hasLibrary)
        finding.outcome = OutcomeOf(ForEachWirelessInterface(
            wlan, [&finding](const WirelessInterface& found) { AddAdapter(found, &finding); }));
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

Rights ReadRights()
{
    if (IsMember(WinLocalSystemSid))
        return Rights::kLocalSystem;
    return IsMember(WinBuiltinAdministratorsSid) ? Rights::kAdministrator : Rights::kUser;
}

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
