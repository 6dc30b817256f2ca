#pragma once

#include <cstdint>

#include "native/os_version.h"
#include "store/wide_string.h"

namespace orrery {

/// The Windows that this process runs on. Filled when the object is built and only read from then
/// on; all empty when the system does not tell its version. What no collector uses stands on purpose.
class COperatingSystem {
public:
    COperatingSystem();
    /// Describes a given version in place of the machine's own.
    explicit COperatingSystem(const OsVersion& facts);
    COperatingSystem(const COperatingSystem&) = delete;
    COperatingSystem& operator=(const COperatingSystem&) = delete;
    virtual ~COperatingSystem();

    std::int32_t familyCode = 0;  ///< a WindowsFamily
    WideString caption;           ///< such as "Windows 7 Professional x64"
    WideString version;           ///< major, minor and build, such as "6.1.7601"
    WideString servicePack;       ///< the system's own text; "OSR2" or "SE" on the 9x family
    WideString build;             ///< decimal
    WideString is64Bit;           ///< "1" or empty
    WideString updateRevision;    ///< decimal
    WideString featureRelease;    ///< such as "23H2"

private:
    void Describe(const OsVersion& facts);
};

}  // namespace orrery
