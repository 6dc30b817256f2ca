#include "wmi/section_writer.h"

namespace orrery {

InstanceWriter FindSectionWriter(std::wstring_view /*section*/) noexcept
{
    return nullptr;
}

}  // namespace orrery
