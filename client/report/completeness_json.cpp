#include "client/report/completeness_json.h"

namespace orrery::report {

Json ToJson(const Completeness& completeness)
{
    Json json;
    json["state"] = completeness.state == Completeness::State::kWhole ? "whole"
                    : completeness.isCut()                            ? "cut"
                                                                      : "lacksCategories";
    if (completeness.state == Completeness::State::kLacksCategories) {
        json["missing"] = completeness.missing;
        json["lacking"] = completeness.lacking;
        json["perhaps"] = completeness.perhaps;
    }
    return json;
}

}  // namespace orrery::report
