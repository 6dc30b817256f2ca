#pragma once

#include <string>
#include <vector>

#include "client/doctor/diagnosis.h"
#include "client/report/show.h"

namespace orrery::doctor {

/// The findings as tables for people, then what is missing and what is noted.
std::string FormatDiagnosis(const Findings& findings, const std::vector<Trouble>& troubles,
                            const report::ShowStyle& style);

/// The same for programs, as JSON of format "orrery-doctor".
std::string FormatDiagnosisJson(const Findings& findings, const std::vector<Trouble>& troubles);

}  // namespace orrery::doctor
