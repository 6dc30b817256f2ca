#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "client/report/drive_use.h"
#include "client/report/report.h"

namespace orrery::report {

struct ProcessorProfile {
    std::string_view name;  ///< of the first one
    std::size_t count = 0;
    /// In all processors together; nothing unless each of them says how many.
    std::optional<std::int64_t> cores, threads;
    std::optional<std::int64_t> megahertz;  ///< of the first one, at the time of the run
};

struct MemoryProfile {
    std::optional<std::int64_t> mebibytes;
    std::vector<const Instance*> modules;  ///< as far as the report describes them
    std::optional<std::int64_t> slots;
    std::string type;  ///< of the modules; "mixed DDR4 and DDR5" where they differ

    /// @return nothing where slots or modules are not known, or the slots are said to be fewer
    std::optional<std::int64_t> freeSlots() const noexcept;
};

struct StorageProfile {
    std::vector<DriveUse> drives;  ///< and, last, the volumes that are on none
    std::size_t driveCount = 0, volumeCount = 0;
    std::int64_t mebibytes = 0;                           ///< of all drives
    std::int64_t volumeMebibytes = 0, freeMebibytes = 0;  ///< of all volumes

    double usedShare() const noexcept;
};

struct GraphicsProfile {
    std::string_view name;
    std::optional<std::int64_t> mebibytes;
};

struct NetworkProfile {
    std::size_t adapters = 0, connected = 0;
    /// The adapter that says best how the PC is connected; null when none has an address.
    const Instance* shown = nullptr;
};

enum class SecureBoot { kNotKnown, kOn, kOff, kNotSupported };

struct SecurityProfile {
    SecureBoot secureBoot = SecureBoot::kNotKnown;
    std::string_view tpmVersion;  ///< empty when no TPM was seen
    bool isTpmOn = false;
    // Of the fixed volumes; what somebody carries about is not the PC's.
    std::size_t judgedVolumes = 0;  ///< of which it is known whether they are protected
    std::size_t protectedVolumes = 0;
    std::size_t otherVolumes = 0;  ///< of which it is not known

    bool isAllProtected() const noexcept
    {
        return protectedVolumes == judgedVolumes && otherVolumes == 0;
    }
};

/// What people ask first about a PC, worked out of its report. Texts are empty and numbers missing
/// where the report does not tell. The report has to outlive it.
struct Profile {
    std::string_view machine, maker, model, form, user;
    std::string_view system, release, version;
    ProcessorProfile processor;
    MemoryProfile memory;
    StorageProfile storage;
    std::vector<GraphicsProfile> graphics;
    NetworkProfile network;
    SecurityProfile security;
};

Profile ReadProfile(const Report& report);

/// The speed of a network adapter in bits a second; nothing when it has none at present.
std::optional<std::int64_t> SpeedOf(const Instance& adapter) noexcept;

/// An adapter's IPv4 address; empty when it has none at present.
std::string_view AddressOf(const Instance& adapter) noexcept;

}  // namespace orrery::report
