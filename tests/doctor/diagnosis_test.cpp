#include "client/doctor/diagnosis.h"

#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>

#include "client/doctor/diagnosis_text.h"
#include "client/doctor/words.h"
#include "client/report/vocabulary.h"
#include "report/case_file.h"
#include "report/parsed_json.h"

namespace orrery::doctor {
namespace {

constexpr Outcome kAnswered{Ending::kAnswered, 0};

Outcome Failed(std::uint32_t error)
{
    return {Ending::kFailed, error};
}

ClassFinding Answered(std::size_t wmiNamespace, const char* name, Asking asking, const char* reads,
                      const char* key, Without without, const char* standIn = "")
{
    ClassFinding asked;
    asked.wmiNamespace = wmiNamespace;
    asked.name = name;
    asked.asking = asking;
    asked.feeds = {{{{reads, key}}, without, standIn}};
    asked.outcome = kAnswered;
    asked.first = 4;
    asked.last = 1250;
    asked.count = 2;
    return asked;
}

/// A machine without any trouble.
Findings Sound()
{
    Findings sound;
    sound.timeoutSeconds = 7;
    sound.rights = Rights::kUser;
    sound.wmiService = sound.wlanService = ServiceState::kRunning;
    sound.namespaces = {{"root\\a", kAnswered, 3}, {"root\\b", kAnswered, 12}};
    sound.classes = {
        Answered(0, "Win32_BIOS", Asking::kClass, "Serial", "BIOS.Serial", Without::kEmpty),
        Answered(0, "Win32_DiskDrive", Asking::kClass, "Size", "DiskDrive.Size", Without::kStandIn,
                 "ports"),
        Answered(1, "Win32_Tpm", Asking::kQuery, "IsActivated", "SystemOverview.Tpm",
                 Without::kZero)};
    sound.wlan = {true, kAnswered, 1, 1, kAnswered, {}};
    sound.scsi = {kAnswered, {Failed(2), Failed(2)}, 0};
    return sound;
}

/// Sound findings, changed by lines such as "class 2 fails 80041010": errors are hexadecimal.
Findings Changed(const std::string& changes)
{
    Findings found = Sound();
    std::istringstream lines{changes};
    for (std::string line, subject, verb, rest; std::getline(lines, line);) {
        std::istringstream words{line};
        std::size_t number = 0;
        words >> subject;
        if (subject == "namespace" || subject == "class" || subject == "port")
            words >> number;
        words >> verb;
        std::getline(words >> std::ws, rest);
        const auto value = std::strtoul(rest.c_str(), nullptr, 10);
        auto& space = found.namespaces.at(subject == "namespace" ? number - 1 : 0);
        auto& asked = found.classes.at(subject == "class" ? number - 1 : 0);
        const std::map<std::string, Outcome*> outcomes{
            {"namespace", &space.outcome},
            {"class", &asked.outcome},
            {"port", &found.scsi.ports.at(subject == "port" ? number : 0)},
            {"wlan", &found.wlan.outcome},
            {"connection", &found.wlan.connection}};
        const std::map<std::string, std::size_t*> counts{{"instances", &asked.count},
                                                         {"late", &asked.late},
                                                         {"objects", &asked.objects},
                                                         {"answered", &asked.objectsAnswered}};
        if (verb == "fails")
            *outcomes.at(subject) =
                Failed(static_cast<std::uint32_t>(std::stoul(rest, nullptr, 16)));
        else if (verb == "hangs")
            *outcomes.at(subject) = {Ending::kNoAnswer, 0};
        else if (verb == "unasked")
            *outcomes.at(subject) = {};
        else if (verb == "path")
            space.path = rest;
        else if (verb == "optional")
            asked.mayBeEmpty = true;
        else if (verb == "lacks")
            asked.withoutValue = {rest};
        else if (subject == "class")
            *counts.at(verb) = value;
        else if (subject == "rights")
            found.rights = verb == "administrator" ? Rights::kAdministrator : Rights::kLocalSystem;
        else if (subject == "service")
            found.wmiService = verb == "stopped" ? ServiceState::kStopped : ServiceState::kDisabled;
        else if (subject == "library")
            found.wlan.hasLibrary = false;
        else if (subject == "denied")
            found.wlan.deniedBy = {rest};
        else
            (subject == "adapters"    ? found.wlan.adapters
             : subject == "connected" ? found.wlan.connected
                                      : found.scsi.drives) = std::stoul(verb);
    }
    return found;
}

/// The troubles: what they are, what becomes of which keys, and the words that tell advice apart.
std::string Told(const std::vector<Trouble>& troubles)
{
    std::string told;
    for (const Trouble& trouble : troubles) {
        told += (trouble.isMissing ? "missing: " : "note: ") + trouble.what + '\n';
        for (const Loss& loss : trouble.losses) {
            const std::map<Without, std::string> fates{{Without::kLeftOut, "left out"},
                                                       {Without::kEmpty, "empty"},
                                                       {Without::kZero, "zero"},
                                                       {Without::kStandIn, loss.standIn}};
            told += "  " + fates.at(loss.without) + ':';
            for (const std::string& key : loss.keys)
                told += ' ' + key;
            told += '\n';
        }
        std::string advice;
        for (const char* word : {"as administrator", "wmimgmt", "net start Winmgmt", "Restart",
                                 "edition", "verifyrepository", "less busy", "hardware", "blank",
                                 "Wlansvc", "desktop apps", "Connect", "this user", "no such port"})
            if (trouble.advice.find(word) != std::string::npos)
                advice.append(advice.empty() ? "  advice: " : ", ").append(word);
        told += advice.empty() ? "" : advice + '\n';
    }
    return told;
}

TEST(Diagnosis, SaysWhatIsMissingWhatItCostsAndWhatToDo)
{
    int number = 1;
    for (const Case& row : Cases("doctor", {"findings", "troubles", "text"})) {
        SCOPED_TRACE(row.what);
        const Findings findings = Changed(row["findings"]);
        const auto troubles = Diagnose(findings);
        EXPECT_EQ(Told(troubles), row["troubles"]);
        EXPECT_EQ(IsAnythingMissing(troubles), row["troubles"].starts_with("missing"));
        // For json_schema.py.
        RecordProperty("diagnosis" + std::to_string(number++),
                       FormatDiagnosisJson(findings, troubles));
        if (row.texts.contains("text")) {
            EXPECT_EQ(FormatDiagnosis(findings, troubles,
                                      {64, true, false, Charset::kAscii, Charset::kAscii}),
                      row["text"]);
        }
    }
}

TEST(Diagnosis, PutsKeysTogetherThatShareAFate)
{
    Findings findings = Sound();
    findings.classes[0].withoutValue = {"A", "B", "C"};
    findings.classes[0].feeds = {{{{"A", "K.A", Without::kStandIn, "word"},
                                   {"C", "K.D", Without::kStandIn, "other"},
                                   {"B", "K.B"},
                                   {"C", "K.B"},
                                   {"A", "K.C", Without::kLeftOut}},
                                  Without::kZero,
                                  ""}};
    EXPECT_EQ(Told(Diagnose(findings)),
              "note: Win32_BIOS in root\\a gives no A, B, C\n"
              "  word: K.A\n  other: K.D\n  empty: K.B\n  left out: K.C\n  advice: blank\n");
}

TEST(Diagnosis, NamesWhatARehearsalLacksAndNothingElse)
{
    Findings findings = Sound();
    findings.namespaces = {{"root\\a", kAnswered, 3, "classes"},
                           {"root\\a", Failed(5), 0, "drives"}};
    findings.classes = {
        Answered(0, "Win32_BIOS", Asking::kClass, "Version", "BIOS.Version", Without::kEmpty),
        Answered(1, "Win32_DiskDrive", Asking::kQuery, "Size", "DiskDrive.Size", Without::kStandIn,
                 "ports"),
        Answered(1, "Win32_Tpm", Asking::kQuery, "A", "SystemOverview.TpmActivated",
                 Without::kZero)};
    findings.classes[0].withoutValue = {"Version"};  // a note on what the report has all the same
    Rehearsal& rehearsal = findings.rehearsal.emplace();
    rehearsal = {21, {}, {"Video"}};
    // Everything is there, but ...
    for (const report::Term& term : report::Vocabulary())
        for (const std::int32_t index : {0, 1})
            if (!term.category.empty() && (index == 0 || term.role != report::Role::kWholeSection))
                rehearsal.facts.push_back({std::string{term.section}, std::string{term.property},
                                           index, term.category == "Video"});
    std::erase_if(rehearsal.facts, [](const Fact& fact) {
        return (fact.property == "MediaType" && fact.index == 1) ||
               (fact.section == "DiskDrive" && fact.property == "Size") ||
               fact.section == "BaseBoard";
    });
    for (Fact& fact : rehearsal.facts)
        fact.isEmpty |= fact.property == "AverageBootTime";
    std::string told;
    for (const Trouble& trouble : Diagnose(findings)) {
        told += trouble.what.substr(0, trouble.what.find(':')) + '\n';
        for (const Loss& loss : trouble.losses)
            for (const std::string& key : loss.keys)
                told += "  " + key + ' ' + InWords(loss.without) + '\n';
    }
    EXPECT_EQ(told,
              "root\\a for drives cannot be opened\n"
              "  DiskDrive.Size left out\n"
              "  SystemOverview.TpmActivated 0\n"
              "Collecting for the category Video takes longer than 21 s, and may hold up the whole "
              "run\n"
              "What was asked has no value for it\n"
              "  BaseBoard.Manufacturer left out\n"
              "  BaseBoard.Product left out\n"
              "  BaseBoard.Version left out\n"
              "WMI has no kind of medium for the caption of a drive\n"
              "  DiskDrive.MediaType left out\n"
              "Windows keeps no time that the firmware took to start\n"
              "  SystemOverview.AverageBootTime empty\n");
}

TEST(Diagnosis, IsReadByPrograms)
{
    const Findings findings = Changed(
        "namespace 1 path \\\\.\\root\\a\nnamespace 2 fails 80041003\nport 1 fails 5\n"
        "class 1 late 1\nclass 2 lacks Size\nclass 3 unasked\nclass 3 instances 0\n");
    const std::string text = FormatDiagnosisJson(findings, Diagnose(findings));
    RecordProperty("diagnosis0", text);
    const CParsedJson json{text};
    const struct {
        const char *pointer, *expected;
    } rows[] = {
        {"/format", "\"orrery-doctor\""},
        {"/formatVersion", "1"},
        {"/complete", "false"},
        {"/namespaces/0",
         R"({"connectMilliseconds":3,"path":"\\\\.\\root\\a","result":"answered"})"},
        {"/namespaces/1/error", "2147749891"},
        {"/namespaces/1/errorText", "\"access denied (0x80041003)\""},
        {"/classes/0", R"({"by":"class","firstMilliseconds":4,"instances":2,)"
                       R"("lastMilliseconds":1250,"late":1,"name":"Win32_BIOS",)"
                       R"("namespace":"\\\\.\\root\\a","result":"answered","withoutValue":[]})"},
        {"/classes/2/result", "\"not asked\""},
        {"/scsi/ports/1/error", "5"},
        {"/troubles/0/kind", "\"missing\""},
        {"/troubles/0/keys", R"([{"becomes":"0","key":"SystemOverview.Tpm"}])"},
        {"/troubles/2/kind", "\"note\""},
    };
    for (const auto& [pointer, expected] : rows)
        EXPECT_EQ(json.At(pointer), expected) << pointer;
}

}  // namespace
}  // namespace orrery::doctor
