#include "collect/operating_system.h"
#include "wmi/section_writer.h"

namespace orrery {

InstanceWriter FindSectionWriter(std::wstring_view section) noexcept
{
    if (section == L"OperatingSystem")
        return WriteOperatingSystemInstance;
    return nullptr;
}

}  // namespace orrery
