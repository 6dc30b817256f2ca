#include "wmi/section_writer.h"

#include <array>

#include "collect/drives.h"
#include "collect/operating_system.h"

namespace orrery {
namespace {

struct SectionWriter {
    std::wstring_view section;
    InstanceWriter write;
};

constexpr auto kWriters = std::to_array<SectionWriter>({
    {L"DiskDrive", WriteDiskDrive},
    {L"OperatingSystem", WriteOperatingSystemInstance},
});

}  // namespace

InstanceWriter FindSectionWriter(std::wstring_view section) noexcept
{
    for (const auto& writer : kWriters)
        if (writer.section == section)
            return writer.write;
    return nullptr;
}

}  // namespace orrery
