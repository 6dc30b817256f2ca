#include "client/doctor/diagnosis.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include <nlohmann/json.hpp>

#include "client/doctor/diagnosis_text.h"

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

/// One line for each trouble: kind, what, keys with what they become, and what advice names.
std::string Lines(const std::vector<Trouble>& troubles)
{
    std::string lines;
    for (const Trouble& trouble : troubles) {
        lines += (trouble.isMissing ? "missing: " : "note: ") + trouble.what;
        for (const Loss& loss : trouble.losses) {
            lines += std::string{" |"} + "XEZS"[static_cast<int>(loss.without)] + loss.standIn;
            for (const std::string& key : loss.keys)
                lines += ' ' + key;
        }
        for (const char* word : {"as administrator", "wmimgmt", "net start Winmgmt", "Restart",
                                 "edition", "verifyrepository", "less busy", "hardware", "blank",
                                 "Wlansvc", "desktop apps", "Connect", "this user", "no such port"})
            if (trouble.advice.find(word) != std::string::npos)
                lines += std::string{" !"} + word;
        lines += '\n';
    }
    return lines;
}

const std::string kSsid =
    " |E NetworkAdapter.SSID NetworkAdapter.Protocol NetworkAdapter.SecurityType "
    "NetworkAdapter.NetworkBand NetworkAdapter.NetworkChannel";

TEST(Diagnosis, SaysWhatIsMissingWhatItCostsAndWhatToDo)
{
    const struct {
        std::function<void(Findings&)> change;
        std::string expected;
    } rows[] = {
        {[](Findings&) {}, ""},
        {[](Findings& f) { f.namespaces[1].outcome = Failed(0x80041003); },
         "missing: root\\b cannot be opened: access denied (0x80041003) |Z SystemOverview.Tpm"
         " !as administrator\n"},
        {[](Findings& f) {
             f.namespaces[1].outcome = Failed(0x80041003);
             f.rights = Rights::kAdministrator;
         },
         "missing: root\\b cannot be opened: access denied (0x80041003) |Z SystemOverview.Tpm"
         " !wmimgmt\n"},
        {[](Findings& f) {
             f.classes[0].outcome = Failed(0x80041003);
             f.classes[1].count = 0;
             f.scsi.ports[0] = Failed(5);
             f.rights = Rights::kLocalSystem;
         },
         "missing: Win32_BIOS in root\\a fails: access denied (0x80041003) |E BIOS.Serial "
         "!wmimgmt\n"
         "missing: Win32_DiskDrive in root\\a has no instance |Sports DiskDrive.Size"
         " !verifyrepository !hardware\n"
         "missing: No drive answers on SCSI ports 0 and 1, which stand in for WMI: access denied "
         "(error 5) |X DiskDrive.Caption DiskDrive.Size !no such port\n"},
        // One path for two kinds of session.
        {[](Findings& f) {
             f.namespaces = {{"root\\b", Failed(0x8004100E), 0},
                             {"root\\b", Failed(0x8004100E), 0}};
         },
         "missing: root\\b cannot be opened: no such namespace (0x8004100E) |E BIOS.Serial"
         " |Sports DiskDrive.Size |Z SystemOverview.Tpm !edition !verifyrepository\n"},
        {[](Findings& f) {
             f.classes[2].outcome = Failed(0x8004100E);
             f.classes[2].objects = 3, f.classes[2].objectsAnswered = 2;
         },
         "missing: Query for Win32_Tpm in root\\b fails: no such namespace (0x8004100E); 2 of 3 "
         "answered |Z SystemOverview.Tpm !edition !verifyrepository\n"},
        // One service behind all; an instance that the service would have given is no news.
        {[](Findings& f) {
             f.wmiService = ServiceState::kDisabled;
             for (auto& each : f.namespaces)
                 each.outcome = Failed(0x80070422);
             for (auto& each : f.classes)
                 each.outcome = {}, each.count = 0;
         },
         "missing: root\\a, root\\b cannot be opened: the service is disabled (0x80070422)"
         " |E BIOS.Serial |Sports DiskDrive.Size |Z SystemOverview.Tpm !net start Winmgmt\n"
         "missing: No drive answers on SCSI ports 0 and 1, which stand in for WMI"
         " |X DiskDrive.Caption DiskDrive.Size !no such port\n"},
        // An error that says nothing, of a service that does not run.
        {[](Findings& f) {
             f.wmiService = ServiceState::kStopped;
             f.namespaces[1].outcome = Failed(0x80041001);
         },
         "missing: root\\b cannot be opened: WMI or its provider failed (0x80041001)"
         " |Z SystemOverview.Tpm !net start Winmgmt\n"},
        {[](Findings& f) {
             f.namespaces[0].outcome = {Ending::kNoAnswer, 0};
         },
         "missing: root\\a cannot be opened: no answer within 7 s"
         " |E BIOS.Serial |Sports DiskDrive.Size !Restart\n"},
        {[](Findings& f) { f.classes[2].outcome = Failed(0x80041010); },
         "missing: Query for Win32_Tpm in root\\b fails: no such class (0x80041010)"
         " |Z SystemOverview.Tpm !edition !verifyrepository\n"},
        {[](Findings& f) { f.classes[0].outcome = Failed(0xDEADBEEF); },
         "missing: Win32_BIOS in root\\a fails: 0xDEADBEEF |E BIOS.Serial !as administrator"
         " !verifyrepository\n"},
        {[](Findings& f) {
             f.classes[2].outcome = {Ending::kNoAnswer, 0};
         },
         "missing: Query for Win32_Tpm in root\\b gives no answer within 7 s, and may hold up the "
         "whole run |Z SystemOverview.Tpm !Restart\n"},
        // Some instances are in time: the others are left out, whatever stands in for none.
        {[](Findings& f) { f.classes[1].late = 1; },
         "missing: Win32_DiskDrive in root\\a: 1 of 2 instances come later than the one second "
         "that the library waits |X DiskDrive.Size !less busy\n"},
        {[](Findings& f) {
             f.classes[1].late = 2;
             f.scsi.ports[1] = Failed(5);
         },
         "missing: Win32_DiskDrive in root\\a: 2 of 2 instances come later than the one second "
         "that the library waits |Sports DiskDrive.Size !less busy\n"
         "missing: No drive answers on SCSI ports 0 and 1, which stand in for WMI: access denied "
         "(error 5) |X DiskDrive.Caption DiskDrive.Size !as administrator\n"},
        {[](Findings& f) {
             f.classes[1].count = 0;
             f.scsi.drives = 1;
             f.classes[2].count = 0;
             f.classes[2].mayBeEmpty = true;
         },
         "missing: Win32_DiskDrive in root\\a has no instance |Sports DiskDrive.Size"
         " !verifyrepository !hardware\n"
         "note: Query for Win32_Tpm in root\\b has no instance |Z SystemOverview.Tpm !hardware\n"},
        {[](Findings& f) { f.classes[0].withoutValue = {"Serial"}; },
         "note: Win32_BIOS in root\\a gives no Serial |E BIOS.Serial !blank\n"},
        {[](Findings& f) {
             f.classes[0].withoutValue = {"A", "B", "C"};
             f.classes[0].feeds = {{{{"A", "K.A", Without::kStandIn, "word"},
                                     {"B", "K.B"},
                                     {"A", "K.C", Without::kLeftOut}},
                                    Without::kZero,
                                    ""}};
         },
         "note: Win32_BIOS in root\\a gives no A, B, C |Sword K.A |E K.B |X K.C !blank\n"},
        {[](Findings& f) {
             f.wlan.connection = Failed(5);
             f.wlan.deniedBy = {"this user"};
         },
         "missing: Location access blocks the wireless network's name (SSID)" + kSsid +
             " !desktop apps !this user\n"},
        {[](Findings& f) { f.wlan.connection = Failed(1168); },
         "missing: A connected wireless adapter does not tell its network: error 1168" + kSsid +
             "\n"},
        {[](Findings& f) {
             f.wlan.connected = 0;
             f.wlan.deniedBy = {"this user"};
         },
         "note: No wireless adapter is connected" + kSsid + " !desktop apps !Connect !this user\n"},
        {[](Findings& f) { f.wlan = {true, kAnswered, 0, 0, {}, {"this user"}}; },
         "note: There is no wireless adapter" + kSsid + "\n"},
        {[](Findings& f) { f.wlan = {true, Failed(1062), 0, 0, {}, {}}; },
         "note: The WLAN service lists no adapters: the service is not running (error 1062)" +
             kSsid + " !Wlansvc\n"},
        {[](Findings& f) { f.wlan = {}; },
         "note: Windows has no wireless networking (wlanapi.dll)" + kSsid + "\n"},
        {[](Findings& f) {
             f.wlan = {false, {Ending::kNoAnswer, 0}, 0, 0, {}, {}};
         },
         "missing: The WLAN service gives no answer within 7 s, and may hold up the whole run" +
             kSsid + " !Restart !Wlansvc\n"},
    };
    for (const auto& row : rows) {
        Findings findings = Sound();
        row.change(findings);
        const auto troubles = Diagnose(findings);
        EXPECT_EQ(Lines(troubles), row.expected);
        EXPECT_EQ(IsAnythingMissing(troubles), row.expected.starts_with("missing")) << row.expected;
    }
}

/// A machine that is refused one thing, lacks another, and waits for a third.
Findings Troubled()
{
    Findings findings = Sound();
    findings.namespaces[1].outcome = Failed(0x80041003);
    findings.namespaces[0].path = "\\\\.\\root\\a";
    findings.scsi.ports[1] = Failed(5);
    findings.classes[0].late = 1;
    findings.classes[1].withoutValue = {"Size"};
    findings.classes[2].outcome = {};
    findings.classes[2].count = 0;
    return findings;
}

TEST(Diagnosis, IsReadInATerminal)
{
    const Findings findings = Troubled();
    EXPECT_EQ(FormatDiagnosis(findings, Diagnose(findings),
                              {64, true, false, Charset::kAscii, Charset::kAscii}),
              "This machine\n"
              "  Rights        user\n"
              "  WMI service   running\n"
              "  WLAN service  running\n"
              "  Wireless      1 adapter, 1 connected\n"
              "  SCSI ports    0 drives, port 0 not there, port 1 access denied\n"
              "\n"
              "WMI namespaces (times in ms)  2 instances\n"
              "  #  Name    Connect  Result\n"
              "  0  root\\a        3  open\n"
              "  1  root\\b        -  access denied\n"
              "\n"
              "WMI classes (times in ms)  3 instances\n"
              "  #  Name             By     First  Last  Count  Result\n"
              "  0  Win32_BIOS       class      4  1250      2  1 too late\n"
              "  1  Win32_DiskDrive  class      4  1250      2  lacks 1 value\n"
              "  2  Win32_Tpm        query      -     -      0  not asked\n"
              "\n"
              "Missing  what the library does not get here\n"
              "  1. root\\b cannot be opened: access denied (0x80041003)\n"
              "     \"0\"       SystemOverview.Tpm\n"
              "     To do     Run the inventory as administrator (from a\n"
              "               command prompt opened with \"Run as\n"
              "               administrator\") or as LocalSystem.\n"
              "  2. Win32_BIOS in \\\\.\\root\\a: 1 of 2 instances come later than\n"
              "     the one second that the library waits\n"
              "     Left out  BIOS.Serial\n"
              "     To do     Collect again when the machine is less busy: the\n"
              "               provider often answers faster the second time. If\n"
              "               it stays slow, update the driver or program that\n"
              "               provides it.\n"
              "\n"
              "Notes  what a sound machine may lack\n"
              "  1. Win32_DiskDrive in \\\\.\\root\\a gives no Size\n"
              "     Empty     DiskDrive.Size\n"
              "     To do     Nothing, if the maker left it blank; else update\n"
              "               the firmware or the driver.\n"
              "\n"
              "2 things that the library asks for are missing.\n");
}

TEST(Diagnosis, IsReadByPrograms)
{
    const Findings findings = Troubled();
    const auto json = nlohmann::json::parse(FormatDiagnosisJson(findings, Diagnose(findings)));
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
        EXPECT_EQ(json.value(nlohmann::json::json_pointer{pointer}, nlohmann::json{}).dump(),
                  expected)
            << pointer;
}

}  // namespace
}  // namespace orrery::doctor
