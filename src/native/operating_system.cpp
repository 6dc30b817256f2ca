#include "native/operating_system.h"

#include <string>

#include "native/os_naming.h"

namespace orrery {

COperatingSystem::COperatingSystem()
{
    if (const auto facts = ReadOsVersion())
        Describe(*facts);
}

COperatingSystem::COperatingSystem(const OsVersion& facts)
{
    Describe(facts);
}

COperatingSystem::~COperatingSystem() = default;

void COperatingSystem::Describe(const OsVersion& facts)
{
    const ProductNaming naming = NameProduct(facts);
    familyCode = static_cast<std::int32_t>(naming.family);
    caption = naming.caption;
    servicePack = naming.servicePack;
    is64Bit = naming.is64Bit ? L"1" : L"";

    build = std::to_wstring(facts.build & 0xFFFF);
    version = std::to_wstring(facts.major) + L'.' + std::to_wstring(facts.minor) + L'.';
    version += build;
    updateRevision = std::to_wstring(static_cast<std::int32_t>(facts.updateRevision));
    featureRelease = facts.displayVersion.empty() ? facts.releaseId : facts.displayVersion;
}

}  // namespace orrery
