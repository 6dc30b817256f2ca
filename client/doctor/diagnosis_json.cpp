#include "client/doctor/diagnosis_text.h"
#include "client/doctor/words.h"
#include "client/report/ordered_json.h"

namespace orrery::doctor {
namespace {

constexpr int kFormatVersion = 1;

using report::Json;

/// Adds how a question ended, with the error of one that failed.
void AddOutcome(Json* json, const Outcome& outcome)
{
    (*json)["result"] = InWords(outcome.ending);
    if (outcome.ending != Ending::kFailed)
        return;
    (*json)["error"] = outcome.error;
    (*json)["errorText"] = ErrorText(outcome.error);
}

Json JsonOf(const Outcome& outcome)
{
    Json json = Json::object();
    AddOutcome(&json, outcome);
    return json;
}

Json JsonOf(const NamespaceFinding& each)
{
    Json json;
    json["path"] = each.path;
    if (!each.use.empty())
        json["use"] = each.use;
    AddOutcome(&json, each.outcome);
    if (each.outcome.ending == Ending::kAnswered)
        json["connectMilliseconds"] = each.milliseconds;
    return json;
}

Json JsonOf(const ClassFinding& asked, const Findings& findings)
{
    Json json;
    json["name"] = asked.name;
    const NamespaceFinding& space = findings.namespaces[asked.wmiNamespace];
    json["namespace"] = space.path;
    if (!space.use.empty())
        json["use"] = space.use;
    json["by"] = InWords(asked.asking);
    if (!asked.method.empty())
        json["method"] = asked.method;
    AddOutcome(&json, asked.outcome);
    json["instances"] = asked.count;
    json["late"] = asked.late;
    if (asked.objects != 0) {
        json["objects"] = asked.objects;
        json["objectsAnswered"] = asked.objectsAnswered;
    }
    if (asked.count != 0) {
        json["firstMilliseconds"] = asked.first;
        json["lastMilliseconds"] = asked.last;
    }
    json["withoutValue"] = asked.withoutValue;
    return json;
}

Json JsonOf(const WlanFinding& wlan)
{
    Json json;
    json["library"] = wlan.hasLibrary;
    AddOutcome(&json, wlan.outcome);
    json["adapters"] = wlan.adapters;
    json["connected"] = wlan.connected;
    json["connection"] = JsonOf(wlan.connection);
    json["locationDeniedBy"] = wlan.deniedBy;
    return json;
}

Json JsonOf(const ScsiFinding& scsi)
{
    Json json = JsonOf(scsi.outcome);
    json["ports"] = Json::array();
    for (const Outcome& port : scsi.ports)
        json["ports"].push_back(JsonOf(port));
    json["drives"] = scsi.drives;
    return json;
}

Json JsonOf(const Trouble& trouble)
{
    Json json;
    json["kind"] = trouble.isMissing ? "missing" : "note";
    json["what"] = trouble.what;
    json["keys"] = Json::array();
    for (const Loss& loss : trouble.losses) {
        for (const std::string& key : loss.keys) {
            Json lost;
            lost["key"] = key;
            lost["becomes"] = InWords(loss.without);
            if (!loss.standIn.empty())
                lost["standIn"] = loss.standIn;
            json["keys"].push_back(std::move(lost));
        }
    }
    json["advice"] = trouble.advice;
    return json;
}

}  // namespace

std::string FormatDiagnosisJson(const Findings& findings, const std::vector<Trouble>& troubles)
{
    Json json;
    json["format"] = "orrery-doctor";
    json["formatVersion"] = kFormatVersion;
    json["complete"] = !IsAnythingMissing(troubles);
    json["timeoutSeconds"] = findings.timeoutSeconds;
    json["rights"] = InWords(findings.rights);
    json["wmiService"] = InWords(findings.wmiService);
    json["wlanService"] = InWords(findings.wlanService);
    json["namespaces"] = Json::array();
    for (const NamespaceFinding& each : findings.namespaces)
        json["namespaces"].push_back(JsonOf(each));
    json["classes"] = Json::array();
    for (const ClassFinding& asked : findings.classes)
        json["classes"].push_back(JsonOf(asked, findings));
    json["wlan"] = JsonOf(findings.wlan);
    json["scsi"] = JsonOf(findings.scsi);
    json["troubles"] = Json::array();
    for (const Trouble& trouble : troubles)
        json["troubles"].push_back(JsonOf(trouble));
    return report::Dump(json) + '\n';
}

}  // namespace orrery::doctor
