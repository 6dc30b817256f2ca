#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace orrery {

/// What Windows tells of its version, not yet put into words.
struct OsVersion {
    std::uint32_t platformId = 0;  ///< 2 on the NT family, 1 on the 9x family
    std::int32_t major = 0;
    std::int32_t minor = 0;
    std::int32_t build = 0;  ///< the 9x family repeats major and minor in the upper half
    std::wstring servicePack{};

    bool isExtended = false;       ///< whether the system told its suites and its product type
    std::uint16_t suites = 0;      ///< VER_SUITE_ flags
    std::uint8_t productType = 0;  ///< VER_NT_WORKSTATION (1) or one of the servers

    /// A PROCESSOR_ARCHITECTURE_ number: of the processor itself for a 32-bit process on a 64-bit
    /// system, but of an x64 one for an x64 process on an ARM64 PC.
    std::uint16_t architecture = 0;
    bool isServerR2 = false;    ///< SM_SERVERR2
    std::uint32_t edition = 0;  ///< a PRODUCT_ number of GetProductInfo; asked from version 6 on
    std::wstring
        productOptions{};  ///< "ProductType" of the product options; read unless isExtended

    // What only the registry tells, and only to a process that is shown version 6.2.
    std::wstring productName{};
    std::wstring displayVersion{};
    std::wstring releaseId{};
    std::uint32_t updateRevision = 0;  ///< "UBR"
};

/// Where the registry tells the version, under HKEY_LOCAL_MACHINE.
constexpr const wchar_t* kCurrentVersionKey = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";

/// Values of kCurrentVersionKey; what cannot be read is empty or 0.
struct RegistryVersion {
    std::wstring currentVersion{};  ///< such as "6.3"; stays that from 8.1 on
    std::wstring currentBuildNumber{};
    std::wstring csdVersion{};
    std::wstring productName{};
    std::wstring displayVersion{};
    std::wstring releaseId{};
    std::uint32_t updateRevision = 0;
    std::int32_t majorNumber = 0;  ///< "CurrentMajorVersionNumber", there from 10.0 on
    std::int32_t minorNumber = 0;
};

/// Completes a version that was reported as 6.2 by what the registry says: always the names, and
/// the numbers and the service pack too when the registry's version is 6.0 or later.
void ApplyRegistryVersion(const RegistryVersion& registry, OsVersion* version);

/// Asks the system for all of it. A process whose manifest does not name Windows 8.1 and later is
/// shown 6.2 in their place, so for 6.2 the registry decides.
/// @return nothing when the system does not tell its version
std::optional<OsVersion> ReadOsVersion();

}  // namespace orrery
