#include "client/report/profile_text.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include "client/report/elapsed_times.h"
#include "client/report/facts.h"
#include "client/report/profile.h"
#include "client/report/units.h"
#include "client/report/vocabulary.h"
#include "client/text/phrases.h"

namespace orrery::report {
namespace {

using Texts = std::vector<std::string>;

/// Firmware and processors pad what they call themselves.
std::string Text(std::string_view value)
{
    const std::size_t first = value.find_first_not_of(' ');
    return first == value.npos
               ? std::string{}
               : std::string{value.substr(first, value.find_last_not_of(' ') - first + 1)};
}

std::string InUnits(std::string_view section, std::string_view property,
                    std::optional<std::int64_t> number)
{
    // No size or speed is nothing: the report does not tell it.
    return number.value_or(0) != 0 ? Readable(section, property, std::to_string(*number)).text
                                   : std::string{};
}

std::string Size(std::int64_t mebibytes)
{
    return FormatMebibytes(static_cast<double>(mebibytes));
}

std::string CountedIf(std::optional<std::int64_t> number, const std::string& noun)
{
    return number ? Counted(static_cast<std::size_t>(*number), noun) : std::string{};
}

std::string MachineText(const Profile& profile)
{
    return Joined({Text(profile.maker), Text(profile.model)}, " ");
}

Texts ProcessorTexts(const ProcessorProfile& processor)
{
    return {processor.count > 1 ? Counted(processor.count, "processor") : "", Text(processor.name),
            CountedIf(processor.cores, "core"), CountedIf(processor.threads, "thread"),
            InUnits("Processor", "CurrentClockSpeed", processor.megahertz)};
}

std::string MemorySize(const MemoryProfile& memory)
{
    return InUnits("PhysicalMemory", "Capacity", memory.mebibytes);
}

Texts MemoryTexts(const MemoryProfile& memory)
{
    const auto freeSlots = memory.freeSlots();
    return {Joined({MemorySize(memory), Text(memory.type)}, " "),
            memory.modules.empty() ? "" : Counted(memory.modules.size(), "module"),
            freeSlots ? std::to_string(*freeSlots) + " of " +
                            Counted(static_cast<std::size_t>(*memory.slots), "slot") + " free"
                      : ""};
}

Texts GraphicsTexts(const std::vector<GraphicsProfile>& graphics)
{
    Texts texts;
    for (const auto& [name, mebibytes] : graphics)
        texts.push_back(
            Joined({Text(name), InUnits("VideoController", "AdapterRAM", mebibytes)}, ", "));
    return texts;
}

Texts NetworkTexts(const NetworkProfile& network)
{
    Texts texts;
    if (network.shown != nullptr)
        texts = {Text(AddressOf(*network.shown)), Text(Value(*network.shown, "AdapterType")),
                 Text(Value(*network.shown, "SSID")),
                 InUnits("NetworkAdapter", "Speed", SpeedOf(*network.shown))};
    if (network.adapters != 0)
        texts.push_back(std::to_string(network.connected) + " of " +
                        Counted(network.adapters, "adapter") + " connected");
    return texts;
}

Texts SecurityTexts(const SecurityProfile& security)
{
    if (security.secureBoot == SecureBoot::kNotKnown)
        return {};
    return {security.secureBoot == SecureBoot::kOn    ? "Secure Boot on"
            : security.secureBoot == SecureBoot::kOff ? "Secure Boot off"
                                                      : "no Secure Boot",
            security.tpmVersion.empty()
                ? "no TPM seen"
                : "TPM " + Text(security.tpmVersion) + (security.isTpmOn ? "" : " off"),
            security.judgedVolumes == 0
                ? ""
                : "BitLocker on " + std::to_string(security.protectedVolumes) + " of " +
                      Counted(security.judgedVolumes, "volume"),
            security.judgedVolumes == 0 || security.otherVolumes == 0
                ? ""
                : std::to_string(security.otherVolumes) + " not known"};
}

/// The category that took longest.
Texts SlowestTexts(const Report& report)
{
    const auto times = SlowestFirst(report);
    if (times.empty() || !times.front().milliseconds)
        return {};
    return {times.front().name, times.front().value + " ms"};
}

/// Of a run that was not complete, how far it came.
std::string ShareOfRun(const Report& report)
{
    const std::size_t count = report.elapsedTimes.size();
    return count == kCategories.size()
               ? ""
               : std::to_string(count) + " of " + std::to_string(kCategories.size()) +
                     " categories are there";
}

Texts StorageTexts(const StorageProfile& storage)
{
    if (storage.mebibytes == 0)
        return {};
    return {Size(storage.mebibytes),
            storage.driveCount != 0 ? Counted(storage.driveCount, "drive") : "",
            storage.volumeMebibytes != 0 ? Size(storage.freeMebibytes) + " free" : ""};
}

/// A name and what belongs to it; further lines begin where the text of the first one does.
std::string Line(const std::string& name, const Texts& texts, const ShowStyle& style)
{
    constexpr std::size_t kIndent = 13;
    const std::string text = Escaped(Joined(texts, ", "), style.values);
    if (text.empty())
        return "";
    std::string line = "  " + name;
    line.resize(kIndent, ' ');
    // What stands in no terminal may be as long as it likes.
    const std::size_t columns = style.shorten ? style.columns : std::string::npos;
    return line + Wrapped(text, kIndent, columns).substr(kIndent);
}

/// The columns that volumes have in common.
struct VolumeWidths {
    std::size_t name = 0, label = 0, bar = 0;
};

std::string LabelOf(const VolumeUse& use, const ShowStyle& style)
{
    constexpr std::size_t kLongest = 16;
    const std::string label = Escaped(Value(*use.volume, "Description"), style.values);
    return style.shorten ? Shortened(label, kLongest, style.charset) : label;
}

std::string VolumeName(const VolumeUse& use, const ShowStyle& style)
{
    return Escaped(Value(*use.volume, "DeviceID"), style.values);
}

std::string Padded(std::string text, std::size_t columns)
{
    text.append(columns - std::min(columns, Columns(text)), ' ');
    return text;
}

VolumeWidths WidthsOf(const StorageProfile& storage, const ShowStyle& style)
{
    VolumeWidths widths;
    for (const DriveUse& drive : storage.drives)
        for (const VolumeUse& use : drive.volumes) {
            widths.name = std::max(widths.name, Columns(VolumeName(use, style)));
            widths.label = std::max(widths.label, Columns(LabelOf(use, style)));
        }
    // Beside the bar: blanks, brackets, "100 %" and "1023.9 GiB free of 1023.9 GiB".
    constexpr std::size_t kOthers = 4 + 2 + 2 + 2 + 2 + 5 + 2 + 29;
    constexpr std::size_t kShortest = 8, kLongest = 24;
    const std::size_t taken = kOthers + widths.name + widths.label;
    widths.bar = style.shorten ? std::clamp(style.columns - std::min(style.columns, taken),
                                            kShortest, kLongest)
                               : kLongest;
    return widths;
}

std::string VolumeLine(const VolumeUse& use, const VolumeWidths& widths, const ShowStyle& style)
{
    std::string line = "    " + Padded(VolumeName(use, style), widths.name) + "  ";
    if (widths.label != 0)
        line += Padded(LabelOf(use, style), widths.label) + "  ";
    if (use.sizeMebibytes == 0)
        return line + "size not known\n";
    const std::string percent = std::to_string(use.usedPercent()) + " %";
    line += '[' + Padded(BarText(use.usedShare(), widths.bar, style.charset), widths.bar) + "]  " +
            std::string(5 - std::min<std::size_t>(5, percent.size()), ' ') + percent;
    line += "  " + Size(use.freeMebibytes) + " free of " + Size(use.sizeMebibytes);
    return (style.shorten ? Shortened(line, style.columns, style.charset) : line) + '\n';
}

std::string DriveLines(const StorageProfile& storage, const ShowStyle& style)
{
    const VolumeWidths widths = WidthsOf(storage, style);
    std::string lines;
    for (const auto& [drive, mebibytes, volumes] : storage.drives) {
        std::string name = "Other volumes";
        if (drive != nullptr) {
            const auto caption = Value(*drive, "Caption");
            name = Joined({caption.empty() ? "Drive without a name" : Text(caption),
                           Text(Value(*drive, "DiskType")), Readable(*drive, "DiskDrive", "Size")},
                          ", ");
        }
        const std::string heading = "  " + Escaped(name, style.values);
        lines +=
            (style.shorten ? Shortened(heading, style.columns, style.charset) : heading) + '\n';
        for (const VolumeUse& use : volumes)
            lines += VolumeLine(use, widths, style);
    }
    return lines;
}

/// What adapters are called, and how much memory they have.
std::string GraphicsText(const Profile& profile)
{
    return Joined(GraphicsTexts(profile.graphics), "; ");
}

/// One PC, on one screen.
std::string FormatProfile(const Report& report, const ShowStyle& style)
{
    const Profile profile = ReadProfile(report);
    const std::string name =
        profile.machine.empty() ? "Computer without a name" : Text(profile.machine);
    const std::string drives = DriveLines(profile.storage, style);
    return FormatHeading(name, "", style) +
           Line("Machine", {MachineText(profile), Text(profile.form)}, style) +
           Line("System", {Text(profile.system), Text(profile.release), Text(profile.version)},
                style) +
           Line("Processor", ProcessorTexts(profile.processor), style) +
           Line("Memory", MemoryTexts(profile.memory), style) +
           Line("Graphics", {GraphicsText(profile)}, style) +
           Line("Network", NetworkTexts(profile.network), style) +
           Line("Security", SecurityTexts(profile.security), style) +
           Line("Slowest", SlowestTexts(report), style) +
           Line("Not whole", {ShareOfRun(report)}, style) +
           Line("Storage", StorageTexts(profile.storage), style) + drives;
}

/// A PC in few words, as a row of a table.
Instance RowOf(const NamedReport& named, std::int32_t index)
{
    const Profile profile = ReadProfile(named.report);
    const auto& network = profile.network;
    const StorageProfile& storage = profile.storage;
    return {index,
            {{"Name", profile.machine.empty() ? named.path : Text(profile.machine)},
             {"Machine", MachineText(profile)},
             {"Form", Text(profile.form)},
             {"System", Joined({Text(profile.system), Text(profile.release)}, " ")},
             {"Processor", Text(profile.processor.name)},
             {"Memory", MemorySize(profile.memory)},
             {"Storage", storage.mebibytes == 0 ? "" : Size(storage.mebibytes)},
             {"Free", storage.volumeMebibytes == 0 ? "" : Size(storage.freeMebibytes)},
             {"Address", network.shown == nullptr ? "" : Text(AddressOf(*network.shown))},
             {"Slowest", Joined(SlowestTexts(named.report), ", ")}}};
}

}  // namespace

void WriteProfiles(const std::vector<NamedReport>& reports, const ShowStyle& style,
                   const TextSink& sink)
{
    if (reports.size() == 1) {
        sink(FormatProfile(reports.front().report, style));
        return;
    }
    Section computers{"Computers", {}};
    for (const NamedReport& named : reports)
        computers.instances.push_back(
            RowOf(named, static_cast<std::int32_t>(computers.instances.size())));
    WriteRows(computers, style, sink);
}

}  // namespace orrery::report
