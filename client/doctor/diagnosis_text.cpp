#include "client/doctor/diagnosis_text.h"

#include <algorithm>

#include "client/doctor/words.h"

namespace orrery::doctor {
namespace {

/// In a word or two: the troubles below say more.
std::string OutcomeText(const Outcome& outcome)
{
    return outcome.ending == Ending::kFailed ? ErrorWords(outcome.error) : InWords(outcome.ending);
}

/// A namespace without the mark of this machine, which takes columns and tells nothing.
std::string ShortPath(const std::string& path)
{
    constexpr std::string_view kThisMachine = "\\\\.\\";
    return path.substr(path.starts_with(kThisMachine) ? kThisMachine.size() : 0);
}

std::string Counted(std::size_t count, const char* what)
{
    return std::to_string(count) + ' ' + what + (count == 1 ? "" : "s");
}

std::string WirelessText(const WlanFinding& wlan)
{
    if (!wlan.hasLibrary && wlan.outcome.ending != Ending::kNoAnswer)
        return "not part of this Windows";
    if (wlan.outcome.ending != Ending::kAnswered)
        return OutcomeText(wlan.outcome);
    std::string text =
        Counted(wlan.adapters, "adapter") + ", " + std::to_string(wlan.connected) + " connected";
    if (wlan.connection.ending == Ending::kFailed)
        text += ", " + ErrorWords(wlan.connection.error);
    return text;
}

std::string ScsiText(const ScsiFinding& scsi)
{
    if (scsi.outcome.ending != Ending::kAnswered)
        return OutcomeText(scsi.outcome);
    std::string text = Counted(scsi.drives, "drive");
    for (std::size_t at = 0; at < scsi.ports.size(); ++at)
        text +=
            ", port " + std::to_string(at) + ' ' +
            (scsi.ports[at].ending == Ending::kAnswered ? "opens" : OutcomeText(scsi.ports[at]));
    return text;
}

report::Section MachineSection(const Findings& findings)
{
    report::Instance machine;
    const auto add = [&machine](std::string name, std::string value) {
        machine.properties.push_back({std::move(name), std::move(value)});
    };
    add("Rights", InWords(findings.rights));
    add("WMI service", InWords(findings.wmiService));
    add("WLAN service", InWords(findings.wlanService));
    add("Wireless", WirelessText(findings.wlan));
    add("SCSI ports", ScsiText(findings.scsi));
    return {"This machine", {std::move(machine)}};
}

report::Section NamespaceSection(const Findings& findings)
{
    report::Section section{"WMI namespaces (times in ms)", {}};
    for (const NamespaceFinding& each : findings.namespaces) {
        const auto index = static_cast<std::int32_t>(section.instances.size());
        const bool isOpen = each.outcome.ending == Ending::kAnswered;
        section.instances.push_back({index,
                                     {{"Name", ShortPath(TitleOf(each))},
                                      {"Connect", isOpen ? std::to_string(each.milliseconds) : ""},
                                      {"Result", isOpen ? "open" : OutcomeText(each.outcome)}}});
    }
    return section;
}

std::string ResultText(const ClassFinding& asked)
{
    if (asked.outcome.ending != Ending::kAnswered)
        return OutcomeText(asked.outcome);
    if (asked.late != 0)
        return std::to_string(asked.late) + " too late";
    if (asked.count == 0)
        return "no instance";
    return asked.withoutValue.empty() ? "complete"
                                      : "lacks " + Counted(asked.withoutValue.size(), "value");
}

report::Section ClassSection(const Findings& findings)
{
    report::Section section{"WMI classes (times in ms)", {}};
    for (const ClassFinding& asked : findings.classes) {
        const auto index = static_cast<std::int32_t>(section.instances.size());
        const bool hasAny = asked.count != 0;
        section.instances.push_back({index,
                                     {{"Name", asked.name},
                                      {"By", InWords(asked.asking)},
                                      {"First", hasAny ? std::to_string(asked.first) : ""},
                                      {"Last", hasAny ? std::to_string(asked.last) : ""},
                                      {"Count", std::to_string(asked.count)},
                                      {"Result", ResultText(asked)}}});
    }
    return section;
}

const char* LabelOf(Without without)
{
    switch (without) {
        case Without::kEmpty:
            return "Empty";
        case Without::kZero:
            return "\"0\"";
        case Without::kStandIn:
            return "Stand-in";
        case Without::kLeftOut:
            break;
    }
    return "Left out";
}

/// A line of a trouble: a label, then text that is broken between words.
std::string Labelled(std::string_view label, const std::string& text,
                     const report::ShowStyle& style)
{
    constexpr std::size_t kIndent = 15;
    std::string line(5, ' ');
    line.append(label);
    line.append(kIndent - std::min(kIndent, line.size()), ' ');
    return line + Wrapped(Escaped(text, style.values), kIndent, style.columns).substr(kIndent);
}

std::string FormatTrouble(const Trouble& trouble, std::size_t number,
                          const report::ShowStyle& style)
{
    constexpr std::size_t kIndent = 5;
    std::string mark = (number < 10 ? "  " : " ") + std::to_string(number) + '.';
    mark.append(kIndent - std::min(kIndent, mark.size()), ' ');
    std::string text =
        mark + Wrapped(Escaped(trouble.what, style.values), kIndent, style.columns).substr(kIndent);
    for (const Loss& loss : trouble.losses) {
        std::string keys;
        for (const std::string& key : loss.keys)
            keys += (keys.empty() ? "" : ", ") + key;
        if (!loss.standIn.empty())
            keys += ": " + loss.standIn;
        text += Labelled(LabelOf(loss.without), keys, style);
    }
    return trouble.advice.empty() ? text : text + Labelled("To do", trouble.advice, style);
}

/// The troubles of one kind under a heading; empty when there are none.
std::string FormatTroubles(const std::vector<Trouble>& troubles, bool areMissing,
                           const report::ShowStyle& style)
{
    std::string text;
    std::size_t number = 0;
    for (const Trouble& trouble : troubles)
        if (trouble.isMissing == areMissing)
            text += FormatTrouble(trouble, ++number, style);
    if (text.empty())
        return "";
    return '\n' +
           report::FormatHeading(
               areMissing ? "Missing" : "Notes",
               areMissing ? "what the library does not get here" : "what a sound machine may lack",
               style) +
           text;
}

}  // namespace

std::string FormatDiagnosis(const Findings& findings, const std::vector<Trouble>& troubles,
                            const report::ShowStyle& style)
{
    report::Report tables;
    tables.sections = {MachineSection(findings), NamespaceSection(findings),
                       ClassSection(findings)};
    const auto missing = static_cast<std::size_t>(
        std::count_if(troubles.begin(), troubles.end(),
                      [](const Trouble& trouble) { return trouble.isMissing; }));
    std::string text;
    report::WriteTables(tables, report::SelectSections(tables, {}), style,
                        [&text](std::string_view part) { text += part; });
    return text + FormatTroubles(troubles, true, style) + FormatTroubles(troubles, false, style) +
           '\n' +
           (missing == 0 ? "The library gets all it asks for.\n"
                         : Counted(missing, "thing") + " that the library asks for " +
                               (missing == 1 ? "is" : "are") + " missing.\n");
}

}  // namespace orrery::doctor
