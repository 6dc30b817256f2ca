#pragma once

#include <array>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace orrery::report {

/// The categories of a run, in the order of the "ET" lines of a complete one: by code unit, as the
/// report orders its lines.
inline constexpr auto kCategories = std::to_array<std::string_view>({
    "BIOS",
    "BaseBoard",
    "CPU",
    "CompSys",
    "Enclosure",
    "Memory",
    "Network",
    "OS",
    "PhysicalDrive",
    "SystemOverview",
    "SystemSlot",
    "USB",
    "Video",
});

/// What a value is.
enum class Kind {
    kText,
    kWord,  ///< one of a fixed set of words or of drive letters, or several of them
    kFlag,  ///< yes or no, spelled "true" and "false" or "1" and "0"
    kCode,  ///< a number that stands for something
    kCount,
    kMebibytes,
    kBitsPerSecond,
    kKilohertz,
    kMegahertz,
    kMilliseconds,
    kDate,  ///< month/day/year, two digits each
    kTime,  ///< "2024-02-05T07:08:09Z"
};

/// Whom or what a value makes known, which a redacted report must not.
enum class Secret {
    kNothing,
    kSerial,     ///< a number that only this machine or its software has
    kMac,        ///< a hardware address
    kAddresses,  ///< addresses in the machine's network, one or a list
    kNetwork,    ///< the name of a wireless network
    kHost,       ///< the name of a computer
    kDomain,     ///< the name of a domain or an organization
    kUser,       ///< the name of a person or an account
};

/// What a value is to the comparison of two reports of a machine.
enum class Role {
    kFact,
    kIdentity,      ///< tells which instances are the same thing
    kFallback,      ///< does so where the identity changed or is missing
    kBeside,        ///< helps to tell apart instances of the same identity
    kWholeSection,  ///< a fact of the section, which stands with its first instance
    kMoving,        ///< differs with where the machine is and who sits at it
    kPassing,       ///< differs between any two runs
};

/// What a value is to a person who looks for an instance.
enum class Label {
    kNone,
    kName,      ///< what the instance is called; the first column of tables
    kModel,     ///< the same, for things without a name; no column is moved for it
    kAddition,  ///< in brackets after that
};

/// A value, and the word for it.
struct ValueWord {
    std::string_view value, word;
};

/// What is known about a property of a report.
struct Term {
    std::string_view section, property;
    std::string_view category;  ///< that tells it; empty: none does, though WMI's class has it
    Kind kind = Kind::kText;
    Secret secret = Secret::kNothing;
    Role role = Role::kFact;
    Label label = Label::kNone;
    std::span<const ValueWord> words = {};
};

/// Every property that a report may have, by section and property. Those of the empty section stand for
/// properties that a section may get which is not in the table.
std::span<const Term> Vocabulary() noexcept;

/// The properties of one section.
/// @return nothing for a section that the table lacks
std::span<const Term> TermsOf(std::string_view section) noexcept;

/// The sections of the table.
std::vector<std::string> KnownSections();

/// @return null for what the table lacks
const Term* FindTerm(std::string_view section, std::string_view property) noexcept;

/// What a value makes known. A property that the table lacks is as secret as those of the same name
/// in the other sections, where these agree.
Secret SecretOf(std::string_view section, std::string_view property) noexcept;

/// Whether a value is one of a few that anything may be called, so that a name found in it is chance.
/// A property that the table lacks is taken as in SecretOf.
bool HasFixedValues(std::string_view section, std::string_view property) noexcept;

/// @return kFact for what the table lacks
Role RoleOf(std::string_view section, std::string_view property) noexcept;

}  // namespace orrery::report
