#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "client/page/markup.h"
#include "client/report/report.h"
#include "client/text/text_sink.h"

namespace orrery::page {

// The parts of the page. Each is empty when the report has nothing for it.
CMarkup SummaryCards(const report::Report& report);
CMarkup StorageBlock(const report::Report& report);
CMarkup MemoryBlock(const report::Report& report);
CMarkup NetworkBlock(const report::Report& report);
CMarkup DetailsBlock(const report::Report& report);
CMarkup ElapsedBlock(const report::Report& report);
/// Writes the last part, fact by fact, since it has all of them.
void WriteAllFacts(const report::Report& report, const TextSink& sink);

// What the parts share.

/// A property's value; empty also when the instance lacks it.
std::string_view Value(const report::Instance& instance, std::string_view property) noexcept;
/// The same for a section's instance 0.
std::string_view FirstValue(const report::Report& report, std::string_view section,
                            std::string_view property) noexcept;
std::optional<std::int64_t> Number(const report::Instance& instance, std::string_view property);
/// A property's value in its unit, such as "16 GiB"; empty also when the instance lacks it.
std::string Readable(const report::Instance& instance, std::string_view section,
                     std::string_view property);
/// The speed of a network adapter, such as "1 Gbit/s"; empty when it has none at present.
std::string SpeedOf(const report::Instance& adapter);
/// The instances of a section; none when the report lacks it.
const std::vector<report::Instance>& InstancesOf(const report::Report& report,
                                                 std::string_view section) noexcept;

/// The memory modules, as far as the report describes them.
std::vector<const report::Instance*> MemoryModules(const report::Report& report);

/// "1.5 GiB" for 1536.
std::string SizeText(std::int64_t mebibytes);
/// "1 drive", "2 drives"
std::string Count(std::size_t number, const std::string& noun);
/// The texts that are not empty, with a separator between them.
std::string Joined(const std::vector<std::string>& texts,
                   const std::string& separator = " \u00B7 ");

/// A word on a coloured ground; `kind` is good, warn, bad or empty.
CMarkup Chip(const char* kind, std::string_view text);
/// A term and what it stands for, as a row of a definition list; nothing for an empty value.
CMarkup Definition(std::string_view term, std::string_view value);
/// A part of the page with its heading; nothing without content.
CMarkup Block(const char* heading, const CMarkup& content);

/// A volume and how full it is.
struct VolumeUse {
    const report::Instance* volume;
    std::int64_t sizeMebibytes = 0;  ///< 0 when not known
    std::int64_t freeMebibytes = 0;

    std::int64_t usedMebibytes() const noexcept { return sizeMebibytes - freeMebibytes; }
    double usedShare() const noexcept;
};

/// A drive with the volumes on it, as far as the report describes them.
struct DriveUse {
    const report::Instance* drive;   ///< null for the volumes that are on no drive of the report
    std::int64_t sizeMebibytes = 0;  ///< never less than its volumes together
    std::vector<VolumeUse> volumes;
};

/// The drives in the report's order, then the volumes that none of them names. A volume stands with
/// the first drive that names it.
std::vector<DriveUse> ReadDriveUse(const report::Report& report);

}  // namespace orrery::page
