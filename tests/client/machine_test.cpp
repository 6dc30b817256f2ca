#include <winsock2.h>
#include <windows.h>

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <regex>
#include <set>
#include <string>

#include "client/system/console.h"
#include "client/doctor/diagnosis.h"
#include "client/doctor/words.h"
#include "client/machine/questions.h"
#include "client/machine/record.h"
#include "client/machine/system_probe.h"
#include "client/machine/wmi_probe.h"
#include "entry/categories.h"
#include "native/devices.h"
#include "sim/detour.h"
#include "sim/devices.h"
#include "sim/facts.h"
#include "sim/ip_helper.h"
#include "sim/platform.h"
#include "sim/registry_tree.h"
#include "sim/simulation.h"
#include "sim/whole_machine.h"
#include "sim/wlan.h"
#include "support/library.h"
#include "support/text.h"
#include "tests/report/case_file.h"

namespace orrery::machine {
namespace {

using namespace std::chrono_literals;
using Asked = std::set<std::string>;

constexpr char kUnnamed[] = "'%'";

/// What a call asks for; empty for calls that ask for nothing new.
std::string WhatIsAsked(const std::string& line)
{
    static const std::regex forms[] = {
        std::regex{R"(IWbemLocator::(ConnectServer)\(([^,]+), .*)"},
        std::regex{R"(IWbemServices::(CreateInstanceEnum)\(([^,]+), .*)"},
        std::regex{R"(IWbemServices::(ExecQuery)\(WQL, (.*), 0x30\))"},
        std::regex{R"(IWbemServices::(ExecMethod)\(.*, ([^,]+), 0x0, .*)"}};
    std::smatch found;
    for (const std::regex& form : forms)
        if (std::regex_match(line, found, form))
            return found.str(1) + ' ' +
                   std::regex_replace(found.str(2), std::regex{"'[^']*'"}, kUnnamed);
    return "";
}

/// What all categories tell.
sim::Facts CollectAll()
{
    const ComApartment apartment;
    CInvMap map;
    const auto collector = std::make_unique<CHardwareCollector>();
    for (const auto& category : kHardwareCategories)
        RunCategory(category.id, collector.get(), &map);
    return sim::FactsOf(map);
}

TEST(Questions, AreThoseOfTheLibrary)
{
    Asked asked, stated;
    {
        const sim::Platform platform{
            {.volumes = {{L'C', {DRIVE_FIXED, 1 << 30, 1 << 20, L"NTFS", L"System", 1}}}}};
        const sim::Simulation simulation{
            sim::LoadScenario(L"" ORRERY_TEST_DATA "/machines/workstation.machine")};
        CollectAll();
        for (const auto& line : simulation.Trace())
            asked.insert(WhatIsAsked(line));
    }
    for (const auto& each : WmiNamespaces())
        stated.insert("ConnectServer " + ToUtf8(each.path));
    for (const auto& each : WmiQuestions())
        stated.insert(
            each.asking == doctor::Asking::kClass
                ? "CreateInstanceEnum " + ToUtf8(each.className)
                : (each.asking == doctor::Asking::kMethod ? "ExecMethod " : "ExecQuery ") +
                      ToUtf8(each.text));
    stated.insert("");
    EXPECT_EQ(stated, asked);
}

/// A machine that has one of everything, and tells nothing of it.
std::wstring BlankMachine()
{
    std::wstring text = L"namespace root\\cimv2\n";
    for (const auto& each : WmiQuestions())
        if (each.asking == doctor::Asking::kClass)
            text.append(L"instance of ").append(each.className).append(L"\n{\n};\n");
    return text + sim::LoadScenario(L"" ORRERY_TEST_DATA "/cases/blank.machine");
}

/// The values under HKEY_LOCAL_MACHINE that are read while it lives, as "path|value" in lower case.
class ReadValues {
public:
    ReadValues() { current = this; }
    ~ReadValues() { current = nullptr; }
    ReadValues(const ReadValues&) = delete;
    ReadValues& operator=(const ReadValues&) = delete;

    std::set<std::wstring> names;

private:
    // The detoured functions are stubs of these.
    template <class Function>
    static Function* Original(const char* name)
    {
        return FindFunction<Function*>(GetModuleHandleW(L"kernelbase.dll"), name);
    }
    static LSTATUS WINAPI Open(HKEY parent, const wchar_t* path, DWORD options, REGSAM access,
                               HKEY* key)
    {
        const LSTATUS status =
            Original<decltype(RegOpenKeyExW)>("RegOpenKeyExW")(parent, path, options, access, key);
        if (status != ERROR_SUCCESS)
            return status;
        const auto known = current->paths_.find(parent);
        if (parent == HKEY_LOCAL_MACHINE)
            current->paths_[*key] = ToLower(path) + L'\\';
        else if (known != current->paths_.end())
            current->paths_[*key] = known->second + ToLower(path) + L'\\';
        else
            current->paths_.erase(*key);  // what Windows reads for itself
        return status;
    }
    static LSTATUS WINAPI Query(HKEY key, const wchar_t* name, DWORD* reserved, DWORD* type,
                                BYTE* data, DWORD* size)
    {
        if (const auto known = current->paths_.find(key); known != current->paths_.end())
            current->names.insert(known->second + L'|' + ToLower(name));
        return Original<decltype(RegQueryValueExW)>("RegQueryValueExW")(key, name, reserved, type,
                                                                        data, size);
    }

    static inline ReadValues* current = nullptr;
    std::map<HKEY, std::wstring> paths_;
    sim::Detour open_{L"advapi32.dll", "RegOpenKeyExW", &Open};
    sim::Detour query_{L"advapi32.dll", "RegQueryValueExW", &Query};
};

TEST(RecordRegistry, ReadsTheValuesThatTheLibraryReads)
{
    // The firmware's setting is read on early systems alone.
    const sim::Detour version{L"kernel32.dll", "GetVersion", [] { return DWORD{0x0A280105}; }};
    std::set<std::wstring> recordedEver, readEver;
    for (const auto& file : std::filesystem::directory_iterator{ORRERY_TEST_DATA "/machines"}) {
        const sim::WholeMachine machine{file.path().wstring()};
        const auto& system = machine.platform.version;
        if (system && (system->dwPlatformId != VER_PLATFORM_WIN32_NT || system->dwMajorVersion < 5))
            continue;  // is not recorded
        const auto valuesOf = [&machine](const std::function<void()>& action) {
            const ReadValues values;
            machine.Run(1, action);
            return values.names;
        };
        const auto read = valuesOf([] { CollectAll(); });
        const auto recorded = valuesOf([] {
            Record record;
            RecordRegistry(&record);
        });
        std::set<std::wstring> recordedKeys;
        for (const std::wstring& value : recorded)
            recordedKeys.insert(value.substr(0, value.find(L'|')));
        for (const std::wstring& value : read) {
            // The list holds devices and their classes that no report names.
            const bool isOfDevice = value.starts_with(ToLower(kDevicesKey)) ||
                                    value.starts_with(ToLower(kDeviceClassesKey));
            const bool isCompared =
                !isOfDevice || recordedKeys.contains(value.substr(0, value.find(L'|')));
            EXPECT_TRUE(!isCompared || recorded.contains(value))
                << file.path().string() << ' ' << ToUtf8(value);
            readEver.insert(value.substr(value.find(L'|')));
        }
        for (const std::wstring& value : recorded)
            recordedEver.insert(value.substr(value.find(L'|')));
    }
    for (const std::wstring& value : recordedEver)
        EXPECT_TRUE(readEver.contains(value)) << ToUtf8(value);
}

TEST(Questions, KnowWhatTheReportShowsForABlankValue)
{
    const sim::Platform platform{
        {.memory = 8ULL << 30,
         .volumes = {{L'C', {DRIVE_FIXED, 1 << 30, 1 << 20, L"NTFS", L"System", 1}}}}};
    const sim::IpHelper ipHelper{
        {sim::MakeAdapter("Card", {2, 0, 0, 0, 0, 1}, IF_TYPE_ETHERNET_CSMACD)}};
    const sim::Simulation simulation{BlankMachine()};
    const sim::Facts facts = CollectAll();
    for (const auto& question : WmiQuestions())
        for (const doctor::Feed& feed : question.feeds)
            for (const doctor::FedKey& each : feed.keys) {
                if (each.reads.empty() || each.key.empty())
                    continue;
                using doctor::Without;
                const std::size_t dot = each.key.find('.');
                const auto fact = facts.find(FromUtf8(each.key).replace(dot, 1, L"\\") + L"\\0");
                const std::string value =
                    fact != facts.end() ? '"' + ToUtf8(fact->second) + '"' : "none";
                const std::string& standIn = each.blankStandIn;
                const bool isStated = each.blank == Without::kLeftOut ? value == "none"
                                      : each.blank == Without::kEmpty ? value == "\"\""
                                      : each.blank == Without::kZero  ? value == "\"0\""
                                      : standIn.starts_with('"')
                                          ? standIn.find(value) != std::string::npos
                                          : value != "\"\"";
                EXPECT_TRUE(isStated) << each.key << ' ' << value << ' ' << standIn;
            }
}

std::string EndingOf(const doctor::Outcome& outcome)
{
    return outcome.ending == doctor::Ending::kFailed ? doctor::ErrorText(outcome.error)
                                                     : InWords(outcome.ending);
}

/// One line for each class: how it ended, how many instances, of which too late, and what it lacks.
std::string Lines(const doctor::Findings& findings)
{
    std::string lines;
    for (const auto& each : findings.namespaces)
        lines += each.path + ' ' + EndingOf(each.outcome) + '\n';
    for (const auto& each : findings.classes) {
        lines += each.name + ' ' + EndingOf(each.outcome) + ' ' + std::to_string(each.count) +
                 (each.late != 0 ? ", late " + std::to_string(each.late) : "");
        if (each.objects != 0)
            lines += " for " + std::to_string(each.objectsAnswered) + " of " +
                     std::to_string(each.objects);
        for (const std::string& property : each.withoutValue)
            lines += ' ' + property;
        lines += '\n';
    }
    return lines;
}

TEST(ProbeWmi, TellsWhatIsRefusedLateEmptyAndHanging)
{
    const sim::Platform platform{{.volumes = {{L'C', {}}, {L'D', {}}, {L'E', {}}}}};
    const Case row = Cases("probe", {"machine", "findings"}).front();
    sim::Simulation simulation{FromUtf8(row["machine"])};
    // at call level, as sessions for one use are secured
    simulation.FailCall("IClientSecurity::SetBlanket(10, 0, null, 3, 3, null, 0)", 0,
                        E_ACCESSDENIED);
    for (const char* const query :
         {"Associators of {Win32_DiskDrive.DeviceID='\\\\.\\PHYSICALDRIVE8'} where "
          "AssocClass=Win32_DiskDriveToDiskPartition",
          "SELECT * FROM Win32_EncryptableVolume Where DriveLetter='C:' "})
        simulation.FailCall("IWbemServices::ExecQuery(WQL, " + std::string{query} + ", 0x30)", 0,
                            static_cast<HRESULT>(WBEM_E_FAILED));
    // "U" has no such method
    simulation.FailCall(
        "IWbemLocator::ConnectServer(\\\\.\\root\\CIMV2\\Security\\MicrosoftTpm, null, null, null, "
        "0x0, null)",
        0, static_cast<HRESULT>(WBEM_E_ACCESS_DENIED));
    // longer than the limit
    simulation.DelayCall("IWbemServices::CreateInstanceEnum(Win32_BaseBoard, 0x1)", 4000);
    doctor::Findings findings;
    std::string announced;
    ProbeWmi(
        3s, [&announced](const std::string& what) { announced = what; }, &findings);
    EXPECT_EQ(Lines(findings), row["findings"]);
    EXPECT_EQ(announced, "Win32_EncryptableVolume");
    for (const auto& each : findings.classes)
        EXPECT_EQ(each.late != 0, each.last >= 1000) << each.name << each.last;
    // The question that was given up still uses the simulation.
    for (int tries = 0; tries < 500 && simulation.LiveObjects() != 0; ++tries)
        Sleep(20);
    EXPECT_EQ(simulation.LiveObjects(), 0);
}

TEST(Wireless, IsRecordedAndExaminedWithinWhatTheServiceAnswers)
{
    const auto home = sim::MakeConnection("Home");
    auto oddType = home;
    const std::int32_t type = 7;
    std::memcpy(&oddType.wlanAssociationAttributes.dot11BssType, &type, sizeof type);
    const std::string fullName(32, 's');
    const auto endless = sim::MakeConnection(fullName.c_str());
    using Adapters = std::vector<sim::Wlan::Interface>;
    constexpr auto kOn = wlan_interface_state_connected, kOff = wlan_interface_state_disconnected;
    const std::vector<sim::Wlan::Network> networks{{"Other", 5180000}, {"Home", 2437000}};
    const auto card = [&](const WLAN_CONNECTION_ATTRIBUTES& connection) {
        return Adapters{{L"Card", kOn, connection, 6, networks}};
    };
    const auto same = [](sim::Wlan&) {};
    const struct {
        const char* what;
        Adapters adapters;
        void (*change)(sim::Wlan&);
        std::string recorded, examined;
    } rows[] = {
        {"a list that counts more than it holds", card(home),
         [](sim::Wlan& wlan) { wlan.hiddenNetworks = 1000000; }, "Home 2437000",
         "answered 0, 1 of 1 connected, answered 0"},
        {"a connection cut short", card(home), [](sim::Wlan& wlan) { wlan.connectionSize = 16; },
         "", "answered 0, 1 of 1 connected, failed 13"},
        {"a type of network without a name", card(oddType), same, "Home 2437000",
         "answered 0, 1 of 1 connected, answered 0"},
        {"a name without an end",
         {{L"Card", kOn, endless, 6, {{{"Home", 1}}}}},
         same,
         fullName,
         "answered 0, 1 of 1 connected, answered 0"},
        {"no adapter", {}, same, "", "answered 0, 0 of 0 connected, not asked 0"},
        {"no service",
         {},
         [](sim::Wlan& wlan) { wlan.openResult = 1062; },
         "",
         "failed 1062, 0 of 0 connected, not asked 0"},
        {"no list",
         {},
         [](sim::Wlan& wlan) { wlan.listResult = 8; },
         "",
         "failed 8, 0 of 0 connected, not asked 0"},
        {"a connection that may not be asked for, and one of an adapter that is off",
         {{L"Idle", kOff}, {L"On"}, {L"Too", {}, home}},
         [](sim::Wlan& wlan) { wlan.noConnection = 5; },
         "",
         "answered 0, 1 of 3 connected, failed 5"},
        {"the second of two connections that may not be asked for",
         {{L"On", kOn, home}, {L"Refused"}},
         [](sim::Wlan& wlan) { wlan.noConnection = 5; },
         "Home",
         "answered 0, 2 of 2 connected, failed 5"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        sim::Wlan wlan{row.adapters};
        row.change(wlan);
        std::string recorded;
        for (const Item& item : ReadWireless().items)
            for (const Value& value : item.values)
                if (value.name == "SSID" && item.heading == "wireless interface")
                    recorded += value.parts.front();
                else if (value.name == "Frequency")
                    recorded += ' ' + value.parts.front();
        EXPECT_EQ(recorded, row.recorded);
        doctor::Findings findings;
        ProbeSystem(30s, &findings);
        const auto& found = findings.wlan;
        const auto ended = [](const doctor::Outcome& outcome) {
            return InWords(outcome.ending) + std::string{' '} + std::to_string(outcome.error);
        };
        EXPECT_EQ(ended(found.outcome) + ", " + std::to_string(found.connected) + " of " +
                      std::to_string(found.adapters) + " connected, " + ended(found.connection),
                  row.examined);
        EXPECT_TRUE(wlan.blocks.empty());
    }
}

TEST(ProbeSystem, TellsWhatPoliciesAndPortsRefuse)
{
    const RegistryTree registry{
        HKEY_LOCAL_MACHINE,
        {{L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\CapabilityAccessManager\\ConsentStore\\"
          L"location",
          L"Value", orrery::TextValue(L"deny")},
         {L"SOFTWARE\\Policies\\Microsoft\\Windows\\LocationAndSensors", L"DisableLocation",
          orrery::NumberValue(1)}}};
    const sim::Wlan wlan;
    const sim::Devices devices{{{L"\\\\.\\Scsi1:", [](const sim::DeviceCall&) { return false; }}}};
    doctor::Findings findings;
    ProbeSystem(30s, &findings);
    EXPECT_TRUE(findings.wlan.hasLibrary);
    EXPECT_EQ(findings.wlan.deniedBy,
              (std::vector<std::string>{"this device", "everyone, by policy"}));
    ASSERT_EQ(findings.scsi.ports.size(), 2U);
    EXPECT_EQ(findings.scsi.ports[0].error, 2U);
    EXPECT_EQ(findings.scsi.ports[1].ending, doctor::Ending::kAnswered);
    EXPECT_NE(findings.rights, doctor::Rights::kNotKnown);
}

}  // namespace
}  // namespace orrery::machine
