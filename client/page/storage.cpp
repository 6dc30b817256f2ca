#include <algorithm>
#include <cmath>
#include <set>

#include "client/page/blocks.h"

namespace orrery::page {
namespace {

constexpr double kNearlyFull = 0.85, kFull = 0.95;

/// No drive has more; the numbers of a report can then be added up without care.
constexpr std::int64_t kLargestSize = std::int64_t{1} << 40;

std::int64_t SizeIn(const report::Instance& instance, std::string_view property)
{
    return std::clamp(Number(instance, property).value_or(0), std::int64_t{0}, kLargestSize);
}

/// The names in a text such as "C:|D:|".
std::vector<std::string_view> SplitVolumes(std::string_view list)
{
    std::vector<std::string_view> names;
    while (!list.empty()) {
        const std::size_t end = std::min(list.find('|'), list.size());
        if (end != 0)
            names.push_back(list.substr(0, end));
        list.remove_prefix(std::min(end + 1, list.size()));
    }
    return names;
}

/// The volumes of a report that no drive has taken yet.
class CVolumes {
public:
    explicit CVolumes(const report::Report& report)
    {
        for (const report::Instance& volume : InstancesOf(report, "LogicalDisk")) {
            const std::int64_t size = SizeIn(volume, "Size");
            left_.insert({Value(volume, "DeviceID"), volume.index});
            uses_.push_back({&volume, size, std::min(SizeIn(volume, "FreeSpace"), size)});
        }
    }
    std::vector<VolumeUse> Take(const std::vector<std::string_view>& names)
    {
        const std::set<std::string_view> wanted{names.begin(), names.end()};
        std::vector<VolumeUse> taken;
        for (const VolumeUse& use : uses_)
            if (const auto name = Value(*use.volume, "DeviceID");
                wanted.contains(name) && left_.erase({name, use.volume->index}) != 0)
                taken.push_back(use);
        return taken;
    }
    std::vector<VolumeUse> TakeAll()
    {
        std::vector<VolumeUse> taken;
        for (const VolumeUse& use : uses_)
            if (left_.erase({Value(*use.volume, "DeviceID"), use.volume->index}) != 0)
                taken.push_back(use);
        return taken;
    }

private:
    std::vector<VolumeUse> uses_;
    std::set<std::pair<std::string_view, std::int32_t>> left_;
};

DriveUse WithVolumes(const report::Instance* drive, std::vector<VolumeUse> volumes)
{
    DriveUse use{drive, drive != nullptr ? SizeIn(*drive, "Size") : 0, std::move(volumes)};
    std::int64_t sum = 0;
    for (const VolumeUse& volume : use.volumes)
        sum += volume.sizeMebibytes;
    use.sizeMebibytes = std::max(use.sizeMebibytes, sum);
    return use;
}

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
    return status == "1" ? Chip("", "Not encrypted") : CMarkup{};
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
    // Only what has no room left is 100 % full.
    const long most = use.freeMebibytes == 0 ? 100 : 99;
    const std::string percent = std::to_string(std::min(std::lround(share * 100), most)) + " %";
    const CMarkup name = Element("b", "", Text(Value(volume, "DeviceID"))) +
                         Optional("label", Value(volume, "Description")) +
                         Optional("muted", Value(volume, "FileSystem")) +
                         BitLockerChip(Value(volume, "BitLockerStatus"));
    CMarkup line = Element("div", "name", name);
    if (use.sizeMebibytes != 0)
        line += Element("b", "", Text(percent));
    return Element("div", "volume",
                   Element("div", "line", line) +
                       Element("div", "bar", Bar(FillClass(share), share)) +
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
    for (const VolumeUse& volume : use.volumes) {
        map += Bar("used", static_cast<double>(volume.usedMebibytes()) / whole);
        map += Bar("free", static_cast<double>(volume.freeMebibytes) / whole);
    }
    return Element("div", "map", map);
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

double VolumeUse::usedShare() const noexcept
{
    if (sizeMebibytes == 0)
        return 0;
    return static_cast<double>(usedMebibytes()) / static_cast<double>(sizeMebibytes);
}

std::vector<DriveUse> ReadDriveUse(const report::Report& report)
{
    CVolumes volumes{report};
    std::vector<DriveUse> drives;
    for (const report::Instance& drive : InstancesOf(report, "DiskDrive"))
        drives.push_back(
            WithVolumes(&drive, volumes.Take(SplitVolumes(Value(drive, "LogicalDisks")))));
    if (auto others = volumes.TakeAll(); !others.empty())
        drives.push_back(WithVolumes(nullptr, std::move(others)));
    return drives;
}

CMarkup StorageBlock(const report::Report& report)
{
    CMarkup cards;
    for (const DriveUse& use : ReadDriveUse(report))
        cards += DriveCard(use);
    return cards.empty() ? CMarkup{} : Block("Storage", Element("div", "flow wide", cards));
}

}  // namespace orrery::page
