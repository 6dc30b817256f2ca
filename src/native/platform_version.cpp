#include "native/platform_version.h"

#include <windows.h>

namespace orrery {

PlatformVersion ReadPlatformVersion() noexcept
{
    OSVERSIONINFOW version{};
    version.dwOSVersionInfoSize = sizeof version;
    if (!GetVersionExW(&version))
        return {};
    return {version.dwPlatformId, version.dwMajorVersion, version.dwMinorVersion};
}

}  // namespace orrery
