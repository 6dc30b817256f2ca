#include "client/doctor/diagnosis.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <set>
#include <string_view>

#include "client/doctor/lacking_keys.h"
#include "client/report/vocabulary.h"

namespace orrery::doctor {
namespace {

constexpr std::uint32_t kAccessDenied = 5;
constexpr std::uint32_t kServiceNotActive = 1062;

constexpr std::string_view kElevate =
    "Run the inventory as administrator (from a command prompt opened with \"Run as "
    "administrator\") or as LocalSystem.";
constexpr std::string_view kStartWmi =
    "Set the service \"Windows Management Instrumentation\" (Winmgmt) to start automatically and "
    "start it: sc config Winmgmt start= auto, then net start Winmgmt.";
constexpr std::string_view kRepair =
    "Have WMI check itself as administrator: winmgmt /verifyrepository, and if that finds damage, "
    "winmgmt /salvagerepository. Then restart the PC.";
constexpr std::string_view kRestart =
    "Restart the PC. If it happens again, update the driver or program that provides the class; "
    "until then, collect with --timeout.";
constexpr std::string_view kNotOffered =
    "This Windows does not offer it: the feature is not part of this edition, or is not "
    "installed. Where it should be there, install it or have WMI check itself: winmgmt "
    "/verifyrepository.";

/// An error, and what to do where WMI gives it.
struct KnownError {
    std::uint32_t error;
    std::string_view words;
    std::string_view advice;
};

// Source: wbemcli.h and winerror.h.
constexpr auto kErrors = std::to_array<KnownError>({
    {2, "not there", ""},
    {kAccessDenied, "access denied", kElevate},
    {50, "not supported", ""},
    {kServiceNotActive, "the service is not running", kStartWmi},
    {0x80040154, "the WMI component is not registered", kRepair},
    {0x80041001, "WMI or its provider failed", kRepair},
    {0x80041002, "not found", kRepair},
    {0x80041003, "access denied", kElevate},
    {0x80041006, "WMI has too little memory", kRestart},
    {0x8004100E, "no such namespace", kNotOffered},
    {0x80041010, "no such class", kNotOffered},
    {0x80041013, "the provider cannot be loaded", kRepair},
    {0x80041014, "WMI or its provider cannot start", kRepair},
    {0x80041017, "WMI does not understand the query", kRepair},
    {0x8004106C, "WMI has reached a quota", kRestart},
    {0x80070005, "access denied", kElevate},
    {0x8007000E, "too little memory", kRestart},
    {0x80070422, "the service is disabled", kStartWmi},
    {0x800706BA, "the service cannot be reached", kStartWmi},
    {0x800706BE, "the service ended while it was asked", kRestart},
});

const KnownError* FindError(std::uint32_t error)
{
    const auto at = std::find_if(kErrors.begin(), kErrors.end(),
                                 [error](const KnownError& each) { return each.error == error; });
    return at != kErrors.end() ? &*at : nullptr;
}

/// Windows' own numbers are known in decimal, WMI's in hexadecimal.
std::string ErrorNumber(std::uint32_t error)
{
    std::array<char, 32> number{};
    std::snprintf(number.data(), number.size(), error < 0x10000 ? "error %lu" : "0x%08lX",
                  static_cast<unsigned long>(error));
    return number.data();
}

/// What to do about a refusal: no account has more rights than an administrator and LocalSystem.
/// @param ifElevated where the program has these rights already
std::string RefusalAdvice(const Findings& findings, std::string_view ifElevated)
{
    const bool isElevated =
        findings.rights == Rights::kAdministrator || findings.rights == Rights::kLocalSystem;
    return std::string{isElevated ? ifElevated : kElevate};
}

std::string WmiAdvice(const Outcome& outcome, const Findings& findings)
{
    const KnownError* const known = FindError(outcome.error);
    // A service that does not run is the reason, whatever the error says.
    const bool isService = known == nullptr || known->advice == kRepair;
    if (isService && (findings.wmiService == ServiceState::kStopped ||
                      findings.wmiService == ServiceState::kDisabled))
        return std::string{kStartWmi};
    if (outcome.ending == Ending::kNoAnswer)
        return std::string{kRestart};
    if (known == nullptr)
        return std::string{kRepair};
    if (known->advice == kElevate)
        return RefusalAdvice(findings,
                             "This program has an administrator's rights already: allow its "
                             "account the namespace in the security settings of WMI Control "
                             "(wmimgmt.msc).");
    return std::string{known->advice};
}

/// How a question that was not answered ended.
std::string EndingText(const Outcome& outcome, const Findings& findings)
{
    return outcome.ending == Ending::kNoAnswer
               ? "no answer within " + std::to_string(findings.timeoutSeconds) + " s"
               : ErrorText(outcome.error);
}

/// Adds keys, those that share a fate together.
void AddLoss(std::vector<Loss>* losses, const Loss& more)
{
    if (more.keys.empty())
        return;
    auto at = std::find_if(losses->begin(), losses->end(), [&more](const Loss& each) {
        return each.without == more.without && each.standIn == more.standIn;
    });
    if (at == losses->end())
        at = losses->insert(losses->end(), {{}, more.without, more.standIn});
    for (const std::string& key : more.keys)
        if (std::find(at->keys.begin(), at->keys.end(), key) == at->keys.end())
            at->keys.push_back(key);
}

void AddLosses(std::vector<Loss>* losses, const ClassFinding& asked)
{
    for (const Feed& feed : asked.feeds) {
        Loss loss{{}, feed.without, feed.standIn};
        for (const FedKey& each : feed.keys)
            if (!each.key.empty())
                loss.keys.push_back(each.key);
        AddLoss(losses, loss);
    }
}

std::vector<Loss> LossesOf(const ClassFinding& asked)
{
    std::vector<Loss> losses;
    AddLosses(&losses, asked);
    if (asked.late == 0 || asked.late == asked.count)
        return losses;
    // Some instances are there, so nothing stands in for the others.
    std::vector<Loss> leftOut;
    for (Loss& loss : losses) {
        loss.without = Without::kLeftOut;
        loss.standIn.clear();
        AddLoss(&leftOut, loss);
    }
    return leftOut;
}

/// The namespaces that fail, those that fail alike together: one service that is down closes all.
void AddNamespaces(const Findings& findings, std::vector<Trouble>* troubles)
{
    const auto& all = findings.namespaces;
    std::vector<bool> isTold(all.size());
    for (std::size_t first = 0; first < all.size(); ++first) {
        const Outcome& outcome = all[first].outcome;
        if (outcome.ending == Ending::kAnswered || isTold[first])
            continue;
        Trouble trouble{true, "", {}, WmiAdvice(outcome, findings)};
        std::vector<std::string> titles;
        for (std::size_t at = first; at < all.size(); ++at) {
            if (all[at].outcome.ending != outcome.ending || all[at].outcome.error != outcome.error)
                continue;
            isTold[at] = true;
            if (const std::string title = TitleOf(all[at]);
                std::find(titles.begin(), titles.end(), title) == titles.end()) {
                trouble.what += (titles.empty() ? "" : ", ") + title;
                titles.push_back(title);
            }
            for (const ClassFinding& asked : findings.classes)
                if (asked.wmiNamespace == at)
                    AddLosses(&trouble.losses, asked);
        }
        trouble.what += " cannot be opened: " + EndingText(outcome, findings);
        troubles->push_back(std::move(trouble));
    }
}

std::string Title(const ClassFinding& asked, const Findings& findings)
{
    return (asked.asking == Asking::kClass   ? ""
            : asked.asking == Asking::kQuery ? "Query for "
                                             : "Method ") +
           asked.name + (asked.method.empty() ? "" : '.' + asked.method) + " in " +
           TitleOf(findings.namespaces[asked.wmiNamespace]);
}

/// Keys whose property has no value, though there are instances.
void AddMissingValues(const ClassFinding& asked, const std::string& name,
                      std::vector<Trouble>* troubles)
{
    std::string properties;
    std::vector<Loss> losses;
    const auto hasNone = [&asked](const std::string& property) {
        return std::find(asked.withoutValue.begin(), asked.withoutValue.end(), property) !=
               asked.withoutValue.end();
    };
    for (const Feed& feed : asked.feeds)
        for (const FedKey& each : feed.keys)
            if (!each.key.empty() && hasNone(each.reads))
                AddLoss(&losses, {{each.key}, each.blank, each.blankStandIn});
    for (const std::string& property : asked.withoutValue)
        properties += (properties.empty() ? "" : ", ") + property;
    if (!losses.empty())
        troubles->push_back({false, name + " gives no " + properties, std::move(losses),
                             "Nothing, if the maker left it blank; else update the firmware or "
                             "the driver."});
}

/// How far a question about several objects came.
std::string ShareAnswered(const ClassFinding& asked)
{
    return asked.objects < 2 ? ""
                             : "; " + std::to_string(asked.objectsAnswered) + " of " +
                                   std::to_string(asked.objects) + " answered";
}

void AddClass(const ClassFinding& asked, const Findings& findings, std::vector<Trouble>* troubles)
{
    const std::string name = Title(asked, findings);
    const std::string instances = asked.count == 1 ? " instance" : " instances";
    if (asked.outcome.ending == Ending::kNotAsked)
        return;  // the trouble is what it depends on
    if (asked.outcome.ending != Ending::kAnswered) {
        troubles->push_back(
            {true,
             name +
                 (asked.outcome.ending == Ending::kNoAnswer
                      ? " gives no answer within " + std::to_string(findings.timeoutSeconds) +
                            " s, and may hold up the whole run"
                      : " fails: " + ErrorText(asked.outcome.error)) +
                 ShareAnswered(asked),
             LossesOf(asked), WmiAdvice(asked.outcome, findings)});
    } else if (asked.count == 0) {
        troubles->push_back({!asked.mayBeEmpty, name + " has no instance", LossesOf(asked),
                             asked.mayBeEmpty
                                 ? "Nothing, if this machine has no such hardware."
                                 : "See whether the device manager shows the hardware, and update "
                                   "its driver; else have WMI check itself: winmgmt "
                                   "/verifyrepository."});
    } else if (asked.late != 0) {
        troubles->push_back(
            {true,
             name + ": " + std::to_string(asked.late) + " of " + std::to_string(asked.count) +
                 instances + " come later than the one second that the library waits",
             LossesOf(asked),
             "Collect again when the machine is less busy: the provider often answers faster the "
             "second time. If it stays slow, update the driver or program that provides it."});
    } else {
        AddMissingValues(asked, name, troubles);
    }
}

Trouble WirelessTrouble(bool isMissing, std::string what, std::string advice)
{
    return {isMissing,
            std::move(what),
            {{{"NetworkAdapter.SSID", "NetworkAdapter.Protocol", "NetworkAdapter.SecurityType",
               "NetworkAdapter.NetworkBand", "NetworkAdapter.NetworkChannel"},
              Without::kEmpty,
              ""}},
            std::move(advice)};
}

std::string LocationAdvice(const WlanFinding& wlan)
{
    std::string advice =
        "Windows tells the network only to programs that may use the location. Switch on "
        "\"Location services\" and \"Let desktop apps access your location\" in Settings, "
        "Privacy & security, Location";
    for (std::size_t at = 0; at < wlan.deniedBy.size(); ++at)
        advice += (at == 0 ? " (switched off for: " : ", ") + wlan.deniedBy[at];
    return advice + (wlan.deniedBy.empty() ? "." : ").");
}

void AddWireless(const Findings& findings, std::vector<Trouble>* troubles)
{
    const WlanFinding& wlan = findings.wlan;
    const auto add = [troubles](Trouble trouble) { troubles->push_back(std::move(trouble)); };
    if (wlan.outcome.ending == Ending::kNoAnswer)
        add(WirelessTrouble(true,
                            "The WLAN service gives " + EndingText(wlan.outcome, findings) +
                                ", and may hold up the whole run",
                            "Restart the service \"WLAN AutoConfig\" (Wlansvc), or the PC."));
    else if (!wlan.hasLibrary)
        add(WirelessTrouble(false, "Windows has no wireless networking (wlanapi.dll)",
                            "Nothing, if this machine has no wireless adapter; on a server, add "
                            "the feature \"Wireless LAN Service\"."));
    else if (wlan.outcome.ending == Ending::kFailed)
        add(WirelessTrouble(false,
                            "The WLAN service lists no adapters: " + ErrorText(wlan.outcome.error),
                            "Nothing, if this machine has no wireless adapter; else start the "
                            "service \"WLAN AutoConfig\": net start Wlansvc."));
    else if (wlan.connection.ending == Ending::kFailed && wlan.connection.error == kAccessDenied)
        add(WirelessTrouble(true, "Location access blocks the wireless network's name (SSID)",
                            LocationAdvice(wlan)));
    else if (wlan.connection.ending == Ending::kFailed)
        add(WirelessTrouble(true,
                            "A connected wireless adapter does not tell its network: " +
                                ErrorText(wlan.connection.error),
                            "Update the adapter's driver, or connect again."));
    else if (wlan.outcome.ending == Ending::kAnswered && wlan.adapters == 0)
        add(WirelessTrouble(false, "There is no wireless adapter",
                            "Nothing, if that is so; else see whether the device manager shows "
                            "it."));
    else if (wlan.outcome.ending == Ending::kAnswered && wlan.connected == 0)
        add(WirelessTrouble(false, "No wireless adapter is connected",
                            "Connect, then collect again." +
                                (wlan.deniedBy.empty() ? "" : ' ' + LocationAdvice(wlan))));
}

/// The SCSI ports matter where WMI knows no drive.
void AddScsi(const Findings& findings, std::vector<Trouble>* troubles)
{
    const auto drives = std::find_if(
        findings.classes.begin(), findings.classes.end(), [](const ClassFinding& asked) {
            return asked.asking == Asking::kClass && asked.name == "Win32_DiskDrive";
        });
    if (findings.scsi.drives != 0 || drives == findings.classes.end() ||
        drives->count > drives->late)
        return;
    constexpr std::string_view kNoPort =
        "Most drives of today have no such port: have WMI tell them.";
    Outcome outcome = findings.scsi.outcome;
    for (const Outcome& port : findings.scsi.ports)
        if (port.ending == Ending::kFailed && port.error == kAccessDenied)
            outcome = port;
    std::string what = "No drive answers on SCSI ports 0 and 1, which stand in for WMI";
    if (outcome.ending == Ending::kFailed || outcome.ending == Ending::kNoAnswer)
        what += ": " + EndingText(outcome, findings);
    troubles->push_back(
        {true,
         what,
         {{{"DiskDrive.Caption", "DiskDrive.Size"}, Without::kLeftOut, ""}},
         outcome.error == kAccessDenied ? RefusalAdvice(findings, kNoPort) : std::string{kNoPort}});
}

bool IsFinished(const Rehearsal& rehearsal, std::string_view key)
{
    const std::size_t dot = key.find('.');
    const report::Term* const term = report::FindTerm(key.substr(0, dot), key.substr(dot + 1));
    const auto& open = rehearsal.unfinished;
    return term != nullptr && std::find(open.begin(), open.end(), term->category) == open.end();
}

/// Corrects what troubles cost by what the rehearsal lacks, and adds a note on what no trouble
/// explains. A note that costs nothing is none.
void CorrectLosses(const Rehearsal& rehearsal, std::vector<Trouble>* troubles)
{
    const std::vector<LackingKey> lacking = LackingKeys(rehearsal);
    std::set<std::string> named;
    for (Trouble& trouble : *troubles) {
        std::vector<Loss> losses;
        for (const Loss& loss : trouble.losses)
            for (const std::string& key : loss.keys) {
                const auto found =
                    std::find_if(lacking.begin(), lacking.end(),
                                 [&key](const LackingKey& each) { return each.key == key; });
                const bool hasValue =
                    loss.without == Without::kZero || loss.without == Without::kStandIn;
                if (found != lacking.end()) {
                    AddLoss(&losses, {{key}, found->as, ""});
                    named.insert(key);
                } else if (hasValue || !IsFinished(rehearsal, key)) {
                    AddLoss(&losses, {{key}, loss.without, loss.standIn});
                }
            }
        trouble.losses = std::move(losses);
    }
    std::erase_if(*troubles,
                  [](const Trouble& each) { return !each.isMissing && each.losses.empty(); });
    std::vector<Trouble> notes;
    for (const LackingKey& each : lacking) {
        if (named.contains(each.key))
            continue;
        const LackReason reason = ReasonOf(each.key);
        auto note = std::find_if(notes.begin(), notes.end(), [&reason](const Trouble& other) {
            return other.what == reason.what;
        });
        if (note == notes.end())
            note = notes.insert(notes.end(),
                                {false, std::string{reason.what}, {}, std::string{reason.advice}});
        AddLoss(&note->losses, {{each.key}, each.as, ""});
    }
    troubles->insert(troubles->end(), notes.begin(), notes.end());
    for (const std::string& category : rehearsal.unfinished)
        troubles->push_back({true,
                             "Collecting for the category " + category + " takes longer than " +
                                 std::to_string(rehearsal.timeoutSeconds) +
                                 " s, and may hold up the whole run",
                             {},
                             std::string{kRestart}});
}

}  // namespace

std::string TitleOf(const NamespaceFinding& found)
{
    return found.path + (found.use.empty() ? "" : " for " + found.use);
}

std::vector<Trouble> Diagnose(const Findings& findings)
{
    std::vector<Trouble> troubles;
    AddNamespaces(findings, &troubles);
    for (const ClassFinding& asked : findings.classes)
        AddClass(asked, findings, &troubles);
    AddScsi(findings, &troubles);
    AddWireless(findings, &troubles);
    if (findings.rehearsal)
        CorrectLosses(*findings.rehearsal, &troubles);
    std::stable_partition(troubles.begin(), troubles.end(),
                          [](const Trouble& trouble) { return trouble.isMissing; });
    return troubles;
}

bool IsAnythingMissing(const std::vector<Trouble>& troubles)
{
    return std::any_of(troubles.begin(), troubles.end(),
                       [](const Trouble& trouble) { return trouble.isMissing; });
}

std::string ErrorText(std::uint32_t error)
{
    const KnownError* const known = FindError(error);
    if (known == nullptr)
        return ErrorNumber(error);
    return std::string{known->words} + " (" + ErrorNumber(error) + ")";
}

std::string ErrorWords(std::uint32_t error)
{
    const KnownError* const known = FindError(error);
    return known == nullptr ? ErrorNumber(error) : std::string{known->words};
}

}  // namespace orrery::doctor
