#include "client/page/blocks.h"
#include "client/report/drive_use.h"

namespace orrery::page {
namespace {

using report::DriveUse;
using report::VolumeUse;

constexpr double kNearlyFull = 0.85, kFull = 0.95;

CMarkup Optional(const char* classes, std::string_view value)
{
    return value.empty() ? CMarkup{} : Element("span", classes, Text(value));
}

const char* FillClass(double usedShare)
{
    return usedShare >= kFull ? "fill bad" : usedShare >= kNearlyFull ? "fill warn" : "fill";
}

CMarkup BitLockerChip(std::string_view status)
{
    if (status == "7")
        return Chip("good", "BitLocker");
    if (status == "3")
        return Chip("warn", "Locked");
    // An encrypted volume is not protected either while that is suspended or still under way.
    return status == "1" ? Chip("", "Not protected") : CMarkup{};
}

std::string UseText(const VolumeUse& use)
{
    if (use.sizeMebibytes == 0)
        return "Size not known";
    return SizeText(use.freeMebibytes) + " free of " + SizeText(use.sizeMebibytes);
}

CMarkup VolumeRow(const VolumeUse& use)
{
    const report::Instance& volume = *use.volume;
    const double share = use.usedShare();
    const std::string percent = std::to_string(use.usedPercent()) + " %";
    const CMarkup name = Element("b", "", Text(Value(volume, "DeviceID"))) +
                         Optional("label", Value(volume, "Description")) +
                         Optional("muted", Value(volume, "FileSystem")) +
                         BitLockerChip(Value(volume, "BitLockerStatus"));
    CMarkup line = Element("div", "name", name);
    if (use.sizeMebibytes != 0)
        line += Element("b", "", Text(percent));
    return Element("div", "volume",
                   Element("div", "line", line) +
                       Picture("bar", use.sizeMebibytes == 0 ? "Use not known" : percent + " used",
                               Bar(FillClass(share), share)) +
                       Element("p", "muted", Text(UseText(use))));
}

/// The whole drive as one bar: its volumes, each as far as it is full, and what belongs to none. One
/// volume has its own bar, which says the same.
CMarkup DriveMap(const DriveUse& use)
{
    if (use.volumes.size() < 2 || use.sizeMebibytes == 0)
        return {};
    const auto whole = static_cast<double>(use.sizeMebibytes);
    CMarkup map;
    std::vector<std::string> words;
    for (const VolumeUse& volume : use.volumes) {
        map += Bar("used", static_cast<double>(volume.usedMebibytes()) / whole);
        map += Bar("free", static_cast<double>(volume.freeMebibytes) / whole);
        words.push_back(std::string{Value(*volume.volume, "DeviceID")} + " " +
                        SizeText(volume.sizeMebibytes) + ", " +
                        std::to_string(volume.usedPercent()) + " % used");
    }
    return Picture("map", "Volumes of the drive: " + Joined(words, "; "), map);
}

CMarkup DriveCard(const DriveUse& use)
{
    CMarkup head = Element("h3", "", "Other volumes");
    if (use.drive != nullptr) {
        const report::Instance& drive = *use.drive;
        const auto caption = Value(drive, "Caption");
        head = Element("h3", "", Text(caption.empty() ? "Drive without a name" : caption));
        if (const auto type = Value(drive, "DiskType"); !type.empty())
            head += Chip("", type);
        else if (const auto media = Value(drive, "MediaType"); !media.empty())
            head += Chip("", media);
        head += Element("span", "amount", Text(Readable(drive, "DiskDrive", "Size")));
    }
    CMarkup rows;
    for (const VolumeUse& volume : use.volumes)
        rows += VolumeRow(volume);
    if (use.volumes.empty())
        rows = Element("p", "muted", "No volume with a drive letter");
    return Element("article", "card drive",
                   Element("div", "head", head) +
                       (use.drive != nullptr ? DriveMap(use) : CMarkup{}) + rows) +
           "\n";
}

}  // namespace

CMarkup StorageBlock(const report::Report& report)
{
    CMarkup cards;
    for (const DriveUse& use : report::ReadDriveUse(report))
        cards += DriveCard(use);
    return cards.empty() ? CMarkup{} : Block("Storage", Element("div", "flow wide", cards));
}

}  // namespace orrery::page
