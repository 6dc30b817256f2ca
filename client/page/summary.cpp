#include <cmath>

#include "client/page/blocks.h"
#include "client/report/profile.h"

namespace orrery::page {
namespace {

using report::AddressOf;
using report::Profile;
using report::SecureBoot;

CMarkup Card(const char* label, std::string_view value, const CMarkup& more)
{
    if (value.empty() && more.empty())
        return {};
    return Element("article", "card fact",
                   Element("span", "label", Text(label)) +
                       Element("strong", "", Text(value.empty() ? "Not known" : value)) + more) +
           "\n";
}

CMarkup Note(std::string_view text)
{
    return text.empty() ? CMarkup{} : Element("p", "muted", Text(text));
}

CMarkup SystemCard(const Profile& profile)
{
    return Card("Operating system", profile.system,
                Note(Listed({std::string{profile.release}, std::string{profile.version}})));
}

std::string CountedIf(std::optional<std::int64_t> number, const std::string& noun)
{
    return number ? Counted(static_cast<std::size_t>(*number), noun) : std::string{};
}

CMarkup ProcessorCard(const Profile& profile)
{
    const auto& [name, count, cores, threads, megahertz] = profile.processor;
    if (count == 0)
        return {};
    return Card("Processor", name,
                Note(Listed({count > 1 ? Counted(count, "processor") : "", CountedIf(cores, "core"),
                             CountedIf(threads, "thread"),
                             ReadableNumber("Processor", "CurrentClockSpeed", megahertz)})));
}

CMarkup MemoryCard(const Profile& profile)
{
    const report::MemoryProfile& memory = profile.memory;
    if (!memory.mebibytes && memory.modules.empty())
        return {};
    std::string use = memory.modules.empty() ? "" : Counted(memory.modules.size(), "module");
    if (!use.empty() && memory.slots)
        use += " in " + std::to_string(*memory.slots) + (memory.slots == 1 ? " slot" : " slots");
    return Card("Memory", ReadableNumber("PhysicalMemory", "Capacity", memory.mebibytes),
                Note(Listed({use, memory.type})));
}

CMarkup StorageBar(const report::StorageProfile& storage)
{
    if (storage.volumeMebibytes == 0)
        return {};
    const double share = storage.usedShare();
    return Picture("bar", std::to_string(std::lround(share * 100)) + " % used", Bar("fill", share));
}

CMarkup StorageCard(const Profile& profile)
{
    const report::StorageProfile& storage = profile.storage;
    if (storage.mebibytes == 0)
        return {};
    const std::string more =
        Listed({storage.driveCount != 0 ? Counted(storage.driveCount, "drive") : "",
                Counted(storage.volumeCount, "volume"),
                storage.volumeMebibytes != 0 ? SizeText(storage.freeMebibytes) + " free" : ""});
    return Card("Storage", SizeText(storage.mebibytes), Note(more) + StorageBar(storage));
}

CMarkup NetworkCard(const Profile& profile)
{
    const report::NetworkProfile& network = profile.network;
    if (network.adapters == 0)
        return {};
    const std::string use = std::to_string(network.connected) + " of " +
                            Counted(network.adapters, "adapter") + " connected";
    if (network.shown == nullptr)
        return Card("Network", "No address", Note(use));
    return Card("Network", AddressOf(*network.shown),
                Note(Listed({std::string{Value(*network.shown, "AdapterType")},
                             SpeedText(*network.shown)})) +
                    Note(use));
}

CMarkup GraphicsCard(const Profile& profile)
{
    if (profile.graphics.empty())
        return {};
    const auto& [name, mebibytes] = profile.graphics.front();
    const std::string memory = ReadableNumber("VideoController", "AdapterRAM", mebibytes);
    const std::size_t further = profile.graphics.size() - 1;
    return Card("Graphics", name,
                Note(Listed({memory.empty() ? "" : memory + " memory",
                             further != 0 ? Counted(further, "further adapter") : ""})));
}

CMarkup TpmChip(const report::SecurityProfile& security)
{
    if (security.tpmVersion.empty())
        return Chip("", "No TPM seen");
    return Chip(security.isTpmOn ? "good" : "warn",
                "TPM " + std::string{security.tpmVersion} + (security.isTpmOn ? "" : ", off"));
}

CMarkup BitLockerChip(const report::SecurityProfile& security)
{
    if (security.judgedVolumes == 0)
        return {};
    return Chip(security.isAllProtected() ? "good" : "",
                "BitLocker on " + std::to_string(security.protectedVolumes) + " of " +
                    Counted(security.judgedVolumes, "volume") +
                    (security.otherVolumes == 0
                         ? ""
                         : ", " + std::to_string(security.otherVolumes) + " not known"));
}

CMarkup SecurityCard(const Profile& profile)
{
    const report::SecurityProfile& security = profile.security;
    if (security.secureBoot == SecureBoot::kNotKnown)
        return {};
    const CMarkup boot = security.secureBoot == SecureBoot::kOn    ? Chip("good", "Secure Boot on")
                         : security.secureBoot == SecureBoot::kOff ? Chip("warn", "Secure Boot off")
                                                                   : Chip("", "No Secure Boot");
    return Element(
               "article", "card fact",
               Element("span", "label", "Security") +
                   Element("div", "chips", boot + TpmChip(security) + BitLockerChip(security))) +
           "\n";
}

}  // namespace

CMarkup SummaryCards(const report::Report& report)
{
    const Profile profile = report::ReadProfile(report);
    const CMarkup cards = SystemCard(profile) + ProcessorCard(profile) + MemoryCard(profile) +
                          StorageCard(profile) + NetworkCard(profile) + GraphicsCard(profile) +
                          SecurityCard(profile);
    return cards.empty() ? CMarkup{} : Element("div", "grid facts", cards);
}

}  // namespace orrery::page
