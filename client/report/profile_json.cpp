#include <cstdint>
#include <optional>
#include <string_view>

#include "client/report/elapsed_times.h"
#include "client/report/facts.h"
#include "client/report/ordered_json.h"
#include "client/report/profile.h"
#include "client/report/profile_text.h"

namespace orrery::report {
namespace {

constexpr int kFormatVersion = 1;

/// Null where the report does not tell.
Json TextOf(std::string_view text)
{
    return text.empty() ? Json() : Json(text);
}

Json NumberOf(std::optional<std::int64_t> number)
{
    return number ? Json(*number) : Json();
}

/// A size of 0 is one that is not known.
Json SizeOf(std::int64_t mebibytes)
{
    return mebibytes == 0 ? Json() : Json(mebibytes);
}

Json ProcessorOf(const ProcessorProfile& processor)
{
    if (processor.count == 0)
        return {};
    return {{"name", TextOf(processor.name)},
            {"count", processor.count},
            {"cores", NumberOf(processor.cores)},
            {"threads", NumberOf(processor.threads)},
            {"megahertz", NumberOf(processor.megahertz)}};
}

Json MemoryOf(const MemoryProfile& memory)
{
    return {{"mebibytes", NumberOf(memory.mebibytes)},
            {"type", TextOf(memory.type)},
            {"modules", memory.modules.size()},
            {"slots", NumberOf(memory.slots)},
            {"freeSlots", NumberOf(memory.freeSlots())}};
}

Json DrivesOf(const StorageProfile& storage)
{
    Json drives = Json::array();
    for (const auto& [drive, mebibytes, uses] : storage.drives) {
        Json volumes = Json::array();
        for (const VolumeUse& use : uses) {
            const bool isKnown = use.sizeMebibytes != 0;
            volumes.push_back({{"name", TextOf(Value(*use.volume, "DeviceID"))},
                               {"label", TextOf(Value(*use.volume, "Description"))},
                               {"mebibytes", SizeOf(use.sizeMebibytes)},
                               {"freeMebibytes", isKnown ? Json(use.freeMebibytes) : Json()},
                               {"usedPercent", isKnown ? Json(use.usedPercent()) : Json()}});
        }
        const bool isDrive = drive != nullptr;
        drives.push_back({{"name", isDrive ? TextOf(Value(*drive, "Caption")) : Json()},
                          {"type", isDrive ? TextOf(Value(*drive, "DiskType")) : Json()},
                          {"mebibytes", isDrive ? NumberOf(Number(*drive, "Size")) : Json()},
                          {"volumes", std::move(volumes)}});
    }
    return drives;
}

Json GraphicsOf(const std::vector<GraphicsProfile>& graphics)
{
    Json adapters = Json::array();
    for (const auto& [name, mebibytes] : graphics)
        adapters.push_back({{"name", name}, {"mebibytes", NumberOf(mebibytes)}});
    return adapters;
}

Json NetworkOf(const NetworkProfile& network)
{
    const Instance* const shown = network.shown;
    return {{"adapters", network.adapters},
            {"connected", network.connected},
            {"address", shown != nullptr ? TextOf(AddressOf(*shown)) : Json()},
            {"kind", shown != nullptr ? TextOf(Value(*shown, "AdapterType")) : Json()},
            {"ssid", shown != nullptr ? TextOf(Value(*shown, "SSID")) : Json()},
            {"bitsPerSecond", shown != nullptr ? NumberOf(SpeedOf(*shown)) : Json()}};
}

Json SecureBootOf(SecureBoot secureBoot)
{
    switch (secureBoot) {
        case SecureBoot::kOn:
            return "on";
        case SecureBoot::kOff:
            return "off";
        case SecureBoot::kNotSupported:
            return "not supported";
        case SecureBoot::kNotKnown:
            break;
    }
    return {};
}

Json SecurityOf(const SecurityProfile& security)
{
    Json tpm;
    if (!security.tpmVersion.empty())
        tpm = {{"version", security.tpmVersion}, {"enabled", security.isTpmOn}};
    return {{"secureBoot", SecureBootOf(security.secureBoot)},
            {"tpm", std::move(tpm)},
            {"judgedVolumes", security.judgedVolumes},
            {"protectedVolumes", security.protectedVolumes}};
}

Json SlowestOf(const Report& report)
{
    const auto times = SlowestFirst(report);
    if (times.empty() || !times.front().milliseconds)
        return {};
    return {{"category", times.front().name}, {"milliseconds", *times.front().milliseconds}};
}

Json MachineOf(const NamedReport& named)
{
    const Profile profile = ReadProfile(named.report);
    return {{"report", named.path},
            {"machine", TextOf(profile.machine)},
            {"maker", TextOf(profile.maker)},
            {"model", TextOf(profile.model)},
            {"form", TextOf(profile.form)},
            {"system",
             {{"name", TextOf(profile.system)},
              {"release", TextOf(profile.release)},
              {"version", TextOf(profile.version)}}},
            {"processor", ProcessorOf(profile.processor)},
            {"memory", MemoryOf(profile.memory)},
            {"drives", DrivesOf(profile.storage)},
            {"graphics", GraphicsOf(profile.graphics)},
            {"network", NetworkOf(profile.network)},
            {"security", SecurityOf(profile.security)},
            {"slowest", SlowestOf(named.report)},
            {"warnings", named.report.warnings.size()}};
}

}  // namespace

std::string FormatProfilesJson(const std::vector<NamedReport>& reports)
{
    Json machines = Json::array();
    for (const NamedReport& named : reports)
        machines.push_back(MachineOf(named));
    return Dump({{"format", "orrery-summary"},
                 {"formatVersion", kFormatVersion},
                 {"machines", std::move(machines)}}) +
           '\n';
}

}  // namespace orrery::report
