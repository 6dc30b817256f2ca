#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "client/doctor/findings.h"

namespace orrery::doctor {

/// Keys of the report that lose their source, and what they become.
struct Loss {
    std::vector<std::string> keys;
    Without without = Without::kLeftOut;
    std::string standIn;
};

/// Something that the library does not get.
struct Trouble {
    bool isMissing;  ///< false: a note, on what sound machines lack as well
    std::string what;
    std::vector<Loss> losses;  ///< none where the report is complete all the same
    std::string advice;
};

/// A namespace, and the session to it where there are several.
std::string TitleOf(const NamespaceFinding& found);

/// Says what is missing for the library, what that costs the report and what to do about it, what is
/// missing before what is only noted. With a rehearsal the keys that are said to be left out or empty
/// are those that it lacks or holds empty in any instance, of the categories that it finished.
std::vector<Trouble> Diagnose(const Findings& findings);

/// Whether anything is missing, as opposed to noted.
bool IsAnythingMissing(const std::vector<Trouble>& troubles);

/// An error of Windows or WMI in words, with its number.
std::string ErrorText(std::uint32_t error);

/// The same in words alone; the number of an error that has none.
std::string ErrorWords(std::uint32_t error);

}  // namespace orrery::doctor
