#include "client/report/drive_use.h"

#include <algorithm>
#include <cmath>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "client/report/facts.h"

namespace orrery::report {
namespace {

/// No drive has more; the numbers of a report can then be added up without care.
constexpr std::int64_t kLargestSize = std::int64_t{1} << 40;

std::int64_t SizeIn(const Instance& instance, std::string_view property)
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
    explicit CVolumes(const Report& report)
    {
        for (const Instance& volume : InstancesOf(report, "LogicalDisk")) {
            const std::int64_t size = SizeIn(volume, "Size");
            left_[Value(volume, "DeviceID")].push_back(uses_.size());
            uses_.push_back({&volume, size, std::min(SizeIn(volume, "FreeSpace"), size)});
        }
    }
    /// @return the volumes of these names in the report's order
    std::vector<VolumeUse> Take(const std::vector<std::string_view>& names)
    {
        std::vector<std::size_t> places;
        for (const std::string_view name : names)
            if (const auto node = left_.extract(name))
                places.insert(places.end(), node.mapped().begin(), node.mapped().end());
        return Sorted(std::move(places));
    }
    std::vector<VolumeUse> TakeAll()
    {
        std::vector<std::size_t> places;
        for (const auto& [name, some] : std::exchange(left_, {}))
            places.insert(places.end(), some.begin(), some.end());
        return Sorted(std::move(places));
    }

private:
    std::vector<VolumeUse> Sorted(std::vector<std::size_t> places) const
    {
        std::sort(places.begin(), places.end());
        std::vector<VolumeUse> uses;
        for (const std::size_t place : places)
            uses.push_back(uses_[place]);
        return uses;
    }

    std::vector<VolumeUse> uses_;
    // By name, where in `uses_` they are.
    std::unordered_map<std::string_view, std::vector<std::size_t>> left_;
};

DriveUse WithVolumes(const Instance* drive, std::vector<VolumeUse> volumes)
{
    DriveUse use{drive, drive != nullptr ? SizeIn(*drive, "Size") : 0, std::move(volumes)};
    std::int64_t sum = 0;
    for (const VolumeUse& volume : use.volumes)
        sum += volume.sizeMebibytes;
    use.sizeMebibytes = std::max(use.sizeMebibytes, sum);
    return use;
}

}  // namespace

double VolumeUse::usedShare() const noexcept
{
    if (sizeMebibytes == 0)
        return 0;
    return static_cast<double>(usedMebibytes()) / static_cast<double>(sizeMebibytes);
}

int VolumeUse::usedPercent() const noexcept
{
    const long most = freeMebibytes == 0 ? 100 : 99;
    return static_cast<int>(std::min(std::lround(usedShare() * 100), most));
}

std::vector<DriveUse> ReadDriveUse(const Report& report)
{
    CVolumes volumes{report};
    std::vector<DriveUse> drives;
    for (const Instance& drive : InstancesOf(report, "DiskDrive"))
        drives.push_back(
            WithVolumes(&drive, volumes.Take(SplitVolumes(Value(drive, "LogicalDisks")))));
    if (auto others = volumes.TakeAll(); !others.empty())
        drives.push_back(WithVolumes(nullptr, std::move(others)));
    return drives;
}

}  // namespace orrery::report
