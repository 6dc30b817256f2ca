#include "client/report/find_value.h"
#include "client/report/number.h"
#include "client/report/ordered_json.h"
#include "client/report/vocabulary.h"

namespace orrery::report {
namespace {

constexpr int kFormatVersion = 1;

/// A number where the property has numbers that can be counted with, else the text.
Json TypedValue(const FoundValue& found)
{
    const Term* const term = FindTerm(found.section, found.property);
    bool isNumber = found.section == "ET" && term == nullptr;
    if (term != nullptr)
        switch (term->kind) {
            case Kind::kCount:
            case Kind::kMebibytes:
            case Kind::kBitsPerSecond:
            case Kind::kKilohertz:
            case Kind::kMegahertz:
            case Kind::kMilliseconds:
                isNumber = true;
                break;
            case Kind::kText:
            case Kind::kWord:
            case Kind::kFlag:
            case Kind::kCode:
            case Kind::kDate:
            case Kind::kTime:
                break;
        }
    const auto number = isNumber ? ParseNumber(found.value) : std::nullopt;
    return number ? Json(*number) : Json(found.value);
}

}  // namespace

std::string FormatValuesJson(const std::string& path, const Lookup& lookup)
{
    Json values = Json::array(), missing = Json::array();
    for (const FoundValues& found : lookup.found) {
        for (const FoundValue& each : found.values)
            values.push_back({{"name", found.name.text},
                              {"section", each.section},
                              {"index", each.index},
                              {"property", each.property},
                              {"value", TypedValue(each)}});
        if (found.values.empty())
            missing.push_back(found.name.text);
    }
    return Dump({{"format", "orrery-values"},
                 {"formatVersion", kFormatVersion},
                 {"report", path},
                 {"values", std::move(values)},
                 {"missing", std::move(missing)}}) +
           '\n';
}

}  // namespace orrery::report
