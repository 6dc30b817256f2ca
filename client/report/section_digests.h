#pragma once

#include <filesystem>

#include "client/report/report.h"

namespace orrery::report {

/// Finds out which sections have to be read to compare two report files of any size, without keeping
/// any fact: those that both files have with different facts. Their facts are told apart by a hash of 128
/// bits (XXH128), which chance does not deceive, but somebody who makes a report for it may.
/// @param withPassing see CompareReports
/// @return what keeps these sections; everything where a file cannot be read twice, such as a pipe
/// @throws CommandError (kInput) for a file that cannot be read or is no report at all
FactFilter KeepDifferingSections(const std::filesystem::path& before,
                                 const std::filesystem::path& after, bool withPassing);

}  // namespace orrery::report
