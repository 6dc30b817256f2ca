#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "client/report/sidecar.h"
#include "client/system/console.h"
#include "client/system/exit_codes.h"
#include "client/system/library_search.h"
#include "orrery_version.h"
#include "sim/detour.h"
#include "support/unique.h"
#include "tests/report/case_file.h"

namespace orrery {
namespace {

namespace fs = std::filesystem;

constexpr char kEarlier[] = "the earlier report";

fs::path TestFolder()
{
    wchar_t path[MAX_PATH] = L"";
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    return fs::path{path}.parent_path();
}

std::string Content(const fs::path& path)
{
    std::ifstream file{path, std::ios::binary};
    return {std::istreambuf_iterator<char>{file}, {}};
}

void Fill(const fs::path& path, const std::string& content)
{
    std::ofstream{path, std::ios::binary} << content;
}

UniqueFile OpenOutput(const fs::path& path)
{
    // The console's own process may hold the file of an earlier run a little longer.
    constexpr DWORD kShare = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
    return UniqueFile{
        CreateFileW(path.c_str(), GENERIC_WRITE, kShare, &inheritable, CREATE_ALWAYS, 0, nullptr)};
}

std::wstring ThisComputer()
{
    wchar_t computer[MAX_COMPUTERNAME_LENGTH + 1] = L"";
    DWORD size = MAX_COMPUTERNAME_LENGTH + 1;
    GetComputerNameW(computer, &size);
    return computer;
}

struct Outcome {
    ExitCode code;
    std::string output, errors;
};

/// orreryctl.exe in a scratch folder of its own, beside a library of the test's choice.
class CollectCommand : public testing::Test {
protected:
    void SetUp() override
    {
        fs::create_directories(program_);
        fs::create_directories(reports_);
        Place(L"orreryctl.exe", L"orreryctl.exe");
        Place(L"stand_in_library.dll", L"orrery.dll");
        SetEnvironmentVariableW(L"ORRERY_STAND_IN", L"report");
        SetEnvironmentVariableW(L"ORRERY_STAND_IN_EVENT", eventName_.c_str());
    }
    void TearDown() override
    {
        std::error_code ignored;
        fs::remove_all(scratch_, ignored);
    }

    /// Copies a file that lies beside the tests to the folder of the program.
    void Place(const wchar_t* name, const wchar_t* newName)
    {
        fs::copy_file(TestFolder() / name, program_ / newName,
                      fs::copy_options::overwrite_existing);
    }

    /// Runs the program in the folder of the reports until it ends.
    /// @param whileItRuns called once after the start, with the number of the process
    Outcome Run(const std::wstring& arguments, const std::function<void(DWORD)>& whileItRuns = {})
    {
        const std::wstring number = std::to_wstring(++runs_);
        const fs::path outputFile = scratch_ / (L"output" + number);
        const fs::path errorFile = scratch_ / (L"errors" + number);
        UniqueFile output = OpenOutput(outputFile), errors = OpenOutput(errorFile);
        STARTUPINFOW startup{};
        startup.cb = sizeof startup;
        startup.dwFlags = STARTF_USESTDHANDLES;
        startup.hStdOutput = output.get();
        startup.hStdError = errors.get();
        std::wstring commandLine =
            L'"' + (program_ / L"orreryctl.exe").wstring() + L"\" " + arguments;
        PROCESS_INFORMATION started{};
        if (!CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, TRUE, CREATE_NO_WINDOW,
                            nullptr, reports_.c_str(), &startup, &started))
            return {ExitCode{-1}, "", "not started: " + SystemMessage(GetLastError())};
        const UniqueHandle process{started.hProcess}, thread{started.hThread};
        if (whileItRuns)
            whileItRuns(started.dwProcessId);
        WaitForSingleObject(process.get(), 30'000);
        DWORD code = 0;
        GetExitCodeProcess(process.get(), &code);
        TerminateProcess(process.get(), code);  // only what still runs is left to end
        return {ExitCode{static_cast<int>(code)}, Content(outputFile), Content(errorFile)};
    }

    /// The names in the folder of the reports, in order.
    std::vector<std::wstring> Left() const
    {
        std::vector<std::wstring> names;
        for (const auto& entry : fs::directory_iterator{reports_})
            names.push_back(entry.path().filename().wstring());
        std::sort(names.begin(), names.end());
        return names;
    }

    /// Waits until the stand-in has written the report of the run that the program has started.
    void AwaitReport(DWORD program) const
    {
        const std::wstring start = L"pc." + ThisComputer() + L'-' + std::to_wstring(program) + L'-';
        bool isThere = false;
        for (int tries = 0; tries < 500 && !isThere; ++tries, Sleep(20))
            for (const std::wstring& name : Left())
                isThere = isThere || (name.starts_with(start) && name.ends_with(L".partial") &&
                                      !Content(reports_ / name / L"report.tsv").empty());
        ASSERT_TRUE(isThere) << "the run does not begin";
    }

    /// Whether the process of a run is still there, a moment after it should have ended.
    bool RunIsAlive() const
    {
        for (int tries = 0; tries < 50; ++tries, Sleep(20))
            if (!UniqueHandle{OpenEventW(SYNCHRONIZE, FALSE, eventName_.c_str())})
                return false;
        return true;
    }

    /// Expects how a run ends, and a part of what it prints or, when it fails, of its errors; it
    /// prints nothing else.
    void Expect(const std::string& arguments, ExitCode code, const std::string& expected)
    {
        const Outcome outcome = Run(FromUtf8(arguments));
        const bool isDone = code == ExitCode::kDone;
        const std::string& text = isDone ? outcome.output : outcome.errors;
        EXPECT_EQ(outcome.code, code) << arguments;
        EXPECT_NE(text.find(expected), std::string::npos) << text;
        EXPECT_TRUE(!expected.empty() || text.empty()) << text;
        EXPECT_EQ(isDone ? outcome.errors : outcome.output, "") << arguments;
        EXPECT_LT(text.size(), 3000U);
    }

    /// Expects that a failed run has left the earlier report pc.tsv as it was, and nothing else.
    void ExpectNothingLeft() const
    {
        EXPECT_FALSE(RunIsAlive());
        EXPECT_EQ(Left(), (std::vector<std::wstring>{L"pc.tsv"}));
        EXPECT_EQ(Content(reports_ / L"pc.tsv"), kEarlier);
    }

    const std::wstring eventName_ = L"orreryctl " + std::to_wstring(GetCurrentProcessId());
    const fs::path scratch_ = fs::temp_directory_path() / eventName_;
    const fs::path program_ = scratch_ / L"program";
    const fs::path reports_ = scratch_ / L"B\u00FCro \u0416\u65E5";
    int runs_ = 0;
};

using Names = std::vector<std::wstring>;

TEST_F(CollectCommand, PutsTheReportInPlaceOfAnEarlierOneAndPrintsItsFacts)
{
    Fill(reports_ / L"\u00FCber uns.tsv", kEarlier);
    const Outcome outcome = Run(L"collect \"\u00FCber uns.tsv\"");
    EXPECT_EQ(outcome.code, ExitCode::kDone) << outcome.errors;
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(outcome.output.substr(0, outcome.output.find("\nReport")),
              "Section             Facts  Empty\n"
              "BIOS                    1      0\n"
              "ET (elapsed times)     13      0\n"
              "VideoController         1      0\n"
              "Total                  15      0\n");
    EXPECT_NE(outcome.output.find("B\xC3\xBCro \xD0\x96\xE6\x97\xA5\\\xC3\xBC"
                                  "ber uns.tsv\n"),
              std::string::npos)
        << outcome.output;
    EXPECT_EQ(Left(), (Names{L"\u00FCber uns.tsv"}));
    EXPECT_EQ(Content(reports_ / L"\u00FCber uns.tsv").size(), 322u);  // 161 code units
}

TEST_F(CollectCommand, WritesToPathsLongerThanTheUsualLimit)
{
    const std::wstring level = L'\\' + std::wstring(60, L'd');
    std::wstring folder = LR"(\\?\)" + reports_.wstring();
    for (int depth = 0; depth < 5; ++depth)
        CreateDirectoryW((folder += level).c_str(), nullptr);
    const std::wstring report = folder + L'\\' + std::wstring(240, L'r') + L".tsv";

    const Outcome outcome = Run(L"collect \"" + report.substr(4) + L'"');
    EXPECT_EQ(outcome.code, ExitCode::kDone) << outcome.errors;
    EXPECT_EQ(outcome.output.find("\\\\?\\"), std::string::npos) << outcome.output;
    EXPECT_TRUE(DeleteFileW(report.c_str()));
    for (int depth = 5; depth > 0; --depth, folder.resize(folder.size() - level.size()))
        EXPECT_TRUE(RemoveDirectoryW(folder.c_str())) << "something is left at level " << depth;
}

TEST_F(CollectCommand, WritesWhereAndInWhatFormItIsAsked)
{
    constexpr std::string_view kReport{"B\0I\0O\0S\0", 8}, kJson = "{", kPage = "<!DOCTYPE html>";
    const std::wstring pc = ThisComputer();
    const struct {
        const wchar_t* arguments;
        std::vector<std::pair<std::wstring, std::string_view>> files;  // with how they start
        std::string_view output;
    } rows[] = {
        {L"collect", {{pc + L".tsv", kReport}}, "Section"},
        {L"collect --quiet --to html", {{pc + L".html", kPage}, {pc + L".tsv", kReport}}, ""},
        {L"collect b.tsv --to json", {{L"b.json", kJson}, {L"b.tsv", kReport}}, "Section"},
        {L"collect b.json --to json", {{L"b.json", kJson}}, "Section"},
        {L"collect -", {}, kReport},
        {L"collect - --to json", {}, kJson},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(ToUtf8(row.arguments));
        const Outcome outcome = Run(row.arguments);
        EXPECT_EQ(outcome.code, ExitCode::kDone);
        EXPECT_EQ(outcome.errors, "");
        EXPECT_EQ(outcome.output.empty(), row.output.empty());
        EXPECT_TRUE(outcome.output.starts_with(row.output)) << outcome.output;
        // The whole of it: the last section of the stand-in's report.
        EXPECT_TRUE(row.output != kReport || outcome.output.size() == 322U)
            << outcome.output.size();
        EXPECT_TRUE(row.output != kJson ||
                    outcome.output.find("VideoController") != std::string::npos);
        Names expected;
        for (const auto& [name, start] : row.files) {
            expected.push_back(name);
            EXPECT_TRUE(Content(reports_ / name).starts_with(start)) << ToUtf8(name);
        }
        EXPECT_EQ(Left(), expected);
        for (const std::wstring& name : Left())
            fs::remove(reports_ / name);
    }
    for (const auto& entry : fs::directory_iterator{fs::temp_directory_path()})
        EXPECT_FALSE(entry.path().filename().wstring().starts_with(L"orreryctl."))
            << entry.path().string();
}

TEST_F(CollectCommand, KeepsTheReportWhenItsPageCannotBeWritten)
{
    SetEnvironmentVariableW(L"ORRERY_STAND_IN", L"gate");
    const Outcome outcome = Run(L"collect pc.tsv --to html", [&](DWORD program) {
        AwaitReport(program);
        fs::create_directory(reports_ / L"pc.html");
        SetEvent(UniqueHandle{OpenEventW(EVENT_MODIFY_STATE, FALSE, eventName_.c_str())}.get());
    });
    EXPECT_EQ(outcome.code, ExitCode::kReport);
    EXPECT_NE(outcome.errors.find("pc.tsv\" was written"), std::string::npos) << outcome.errors;
    EXPECT_EQ(Content(reports_ / L"pc.tsv").size(), 322U);
    EXPECT_EQ(Left(), (Names{L"pc.html", L"pc.tsv"}));
}

TEST_F(CollectCommand, EndsAsItsCaseTellsAndKeepsTheEarlierReportWhenItFails)
{
    fs::create_directory(reports_ / L"folder.tsv");
    Fill(reports_ / L"open.tsv", kEarlier);
    const UniqueFile inUse{CreateFileW((reports_ / L"open.tsv").c_str(), GENERIC_READ,
                                       FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr)};
    for (const Case& row : Cases("collect", {"library", "arguments", "code", "tells"})) {
        SCOPED_TRACE(row.what);
        const auto line = [&row](const char* name) {
            return row[name].substr(0, row[name].find('\n'));
        };
        SetEnvironmentVariableW(L"ORRERY_STAND_IN", FromUtf8(line("library")).c_str());
        Fill(reports_ / L"pc.tsv", kEarlier);
        const ExitCode code{std::stoi(line("code"))};
        Expect(line("arguments"), code, row["tells"].substr(0, row["tells"].rfind('\n')));
        EXPECT_FALSE(RunIsAlive());
        EXPECT_EQ(Left(), (Names{L"folder.tsv", L"open.tsv", L"pc.tsv"}));
        const bool isCollected = code == ExitCode::kDone && line("library") != "refuse";
        EXPECT_EQ(Content(reports_ / L"pc.tsv") != kEarlier, isCollected);
    }
}

TEST_F(CollectCommand, KeepsTheEarlierReportWhenTheLibraryCannotBeUsed)
{
    Fill(reports_ / L"pc.tsv", kEarlier);
    const auto expect = [this](const char* expected) {
        Expect("collect pc.tsv", ExitCode::kLibrary, expected);
        ExpectNothingLeft();
    };
    Place(L"bare_library.dll", L"orrery.dll");
    expect("does not export GetInventory, GetInventoryEx, Cancel; replace it");
    Fill(program_ / L"orrery.dll", "not a library");
    expect("cannot be loaded: ");
    const struct {
        WORD machine;
        const char* processor;
    } others[] = {{IMAGE_FILE_MACHINE_I386, "x86"},
                  {IMAGE_FILE_MACHINE_AMD64, "x64"},
                  {IMAGE_FILE_MACHINE_ARM64, "ARM64"},
                  {IMAGE_FILE_MACHINE_ARMNT, "another processor"}};
    for (const auto& other : others) {
        std::string library = Content(TestFolder() / L"orreryctl.exe");
        const auto at = library.find(std::string_view{"PE\0\0", 4}) + 4;
        if (std::memcmp(&library[at], &other.machine, sizeof other.machine) == 0)
            continue;
        std::memcpy(&library[at], &other.machine, sizeof other.machine);
        Fill(program_ / L"orrery.dll", library);
        expect((" is for " + std::string{other.processor} + " and this program for x").c_str());
    }
    fs::remove(program_ / L"orrery.dll");
    // A library in the current folder or on the search path is not taken instead.
    fs::copy_file(TestFolder() / L"stand_in_library.dll", scratch_ / L"orrery.dll");
    SetEnvironmentVariableW(L"PATH", scratch_.c_str());
    expect("program\\orrery.dll\" is missing; put orrery.dll into the folder");
}

TEST_F(CollectCommand, LetsAnotherRunReplaceTheSameReportMeanwhile)
{
    SetEnvironmentVariableW(L"ORRERY_STAND_IN", L"gate");
    const Outcome first = Run(L"collect pc.tsv", [this](DWORD program) {
        AwaitReport(program);
        SetEnvironmentVariableW(L"ORRERY_STAND_IN", L"report");
        EXPECT_EQ(Run(L"collect pc.tsv").code, ExitCode::kDone);
        EXPECT_EQ(Left().size(), 2U) << "the first run has lost its file";
        Fill(reports_ / L"pc.tsv", kEarlier);
        SetEvent(UniqueHandle{OpenEventW(EVENT_MODIFY_STATE, FALSE, eventName_.c_str())}.get());
    });
    EXPECT_EQ(first.code, ExitCode::kDone) << first.errors;
    EXPECT_EQ(Left(), Names{L"pc.tsv"});
    EXPECT_EQ(Content(reports_ / L"pc.tsv").size(), 322U);
}

constexpr int kFound = 40, kNotFound = 41;
enum class Kept { kNot, kOnOldWindows, kYes };

/// Whether a library of that name is found, as the exit code of the process.
[[noreturn]] void Find(const wchar_t* name, const fs::path& currentFolder, const fs::path& path,
                       Kept kept)
{
    std::optional<sim::Detour> old;
    if (kept == Kept::kOnOldWindows)
        old.emplace(L"kernel32.dll", "SetDefaultDllDirectories", [](DWORD) { return FALSE; });
    SetCurrentDirectoryW(currentFolder.c_str());
    SetEnvironmentVariableW(L"PATH", path.c_str());
    if (kept != Kept::kNot)
        KeepToSystemLibraries();
    // Old Windows looks beside the program all the same, but not for what is loaded already.
    if (kept == Kept::kOnOldWindows)
        for (const wchar_t* early :
             {L"wlanapi.dll", L"iphlpapi.dll", L"bcrypt.dll", L"version.dll"})
            if (GetModuleHandleW(early) == nullptr)
                ExitProcess(1);
    ExitProcess(LoadLibraryW(name) != nullptr ? kFound : kNotFound);
}

TEST(SystemLibraries, AreTheOnlyOnesThatAreFoundByTheirBareNames)
{
    const fs::path tests = TestFolder(), other = tests / L"planted", none = tests / L"none";
    fs::create_directories(other);
    fs::create_directories(none);
    if (!fs::exists(other / L"planted_elsewhere.dll"))  // each process that dies comes by here
        fs::copy_file(tests / L"planted_library.dll", other / L"planted_elsewhere.dll");
    const struct {
        const char* where;
        const wchar_t* name;
        fs::path currentFolder, path;
        int onOldWindows;
    } rows[] = {
        {"beside the program", L"planted_library.dll", none, none, kFound},
        {"in the current folder", L"planted_elsewhere.dll", other, none, kNotFound},
        {"on PATH", L"planted_elsewhere.dll", none, other, kNotFound},
    };
    for (const auto& [where, name, currentFolder, path, onOldWindows] : rows) {
        SCOPED_TRACE(where);
        EXPECT_EXIT(Find(name, currentFolder, path, Kept::kNot), testing::ExitedWithCode(kFound),
                    "");
        EXPECT_EXIT(Find(name, currentFolder, path, Kept::kOnOldWindows),
                    testing::ExitedWithCode(onOldWindows), "");
        EXPECT_EXIT(Find(name, currentFolder, path, Kept::kYes), testing::ExitedWithCode(kNotFound),
                    "");
    }
}

TEST_F(CollectCommand, TakesNoLibraryThatWasPlanted)
{
    // Beside the program, where one of that name comes before that of the system.
    Place(L"planted_library.dll", L"wlanapi.dll");
    Run(L"doctor --timeout 1");
    EXPECT_EQ(Left(), Names{});
}

TEST_F(CollectCommand, LeavesNoProcessWhenItIsKilledAndNoFileAfterTheNextRun)
{
    // Another report's, another computer's and no process's.
    const Names others{L"pc.OTHER-1-0123456789abcdef.partial", L"pc.partial"};
    for (const std::wstring& name : others)
        fs::create_directory(reports_ / name);
    SetEnvironmentVariableW(L"ORRERY_STAND_IN", L"hang");
    Run(L"collect pc.tsv", [this](DWORD program) {
        AwaitReport(program);
        const UniqueHandle process{OpenProcess(PROCESS_TERMINATE, FALSE, program)};
        EXPECT_TRUE(TerminateProcess(process.get(), 1));
    });
    EXPECT_FALSE(RunIsAlive());
    EXPECT_EQ(Left().size(), 3U) << "there is nothing to clean up";
    SetEnvironmentVariableW(L"ORRERY_STAND_IN", L"report");
    EXPECT_EQ(Run(L"collect pc.tsv").code, ExitCode::kDone);
    EXPECT_EQ(Left(), (Names{others[0], others[1], L"pc.tsv"}));
}

TEST_F(CollectCommand, HandsNoHandleOfItsCallerToTheRun)
{
    SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
    const UniqueHandle event{CreateEventW(&inheritable, TRUE, FALSE, nullptr)};
    SetEnvironmentVariableW(L"ORRERY_STAND_IN", L"leak");
    SetEnvironmentVariableW(L"ORRERY_STAND_IN_HANDLE",
                            std::to_wstring(reinterpret_cast<std::uintptr_t>(event.get())).c_str());
    EXPECT_EQ(Run(L"collect pc.tsv").code, ExitCode::kDone);
    EXPECT_EQ(WaitForSingleObject(event.get(), 0), DWORD{WAIT_TIMEOUT});
}

/// Joins the console of a process, once that has begun to use it.
bool JoinConsole(DWORD process)
{
    FreeConsole();
    bool joined = false;
    for (int tries = 0; tries < 500 && !joined; ++tries, Sleep(20))
        joined = AttachConsole(process) != FALSE;
    return joined;
}

/// Presses Ctrl+C in the console of a process.
void PressCtrlC(DWORD process, int times)
{
    // The event goes to every process of a console, so this one joins that of the program and looks
    // away for the moment.
    ASSERT_TRUE(JoinConsole(process)) << SystemMessage(GetLastError());
    SetConsoleCtrlHandler(nullptr, TRUE);
    for (int press = 0; press < times; ++press) {
        EXPECT_TRUE(GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0)) << SystemMessage(GetLastError());
        Sleep(500);
    }
    FreeConsole();
    SetConsoleCtrlHandler(nullptr, FALSE);
}

TEST_F(CollectCommand, CancelsOnCtrlCAndKeepsNoReportOfTheRun)
{
    Fill(reports_ / L"pc.tsv", kEarlier);
    SetEnvironmentVariableW(L"ORRERY_STAND_IN", L"hang");
    const struct {
        int presses;
        ULONGLONG least, most;  // seconds from the first press to the end
    } rows[] = {
        {2, 0, 8},   // is ended at the second press
        {1, 9, 15},  // is ended when its time is over
    };
    for (const auto& row : rows) {
        ULONGLONG start = 0;
        const Outcome outcome = Run(L"collect pc.tsv", [&](DWORD program) {
            AwaitReport(program);
            start = GetTickCount64();
            PressCtrlC(program, row.presses);
        });
        const ULONGLONG seconds = (GetTickCount64() - start) / 1000;
        EXPECT_TRUE(seconds >= row.least && seconds <= row.most) << seconds;
        EXPECT_EQ(outcome.code, ExitCode::kCancelled);
        EXPECT_NE(outcome.errors.find("orreryctl: cancelled; the report"), std::string::npos);
        EXPECT_TRUE(outcome.errors.starts_with("orreryctl: cancelling, waiting for "))
            << outcome.errors;
        EXPECT_EQ(outcome.output, "");
        ExpectNothingLeft();
    }
}

TEST_F(CollectCommand, SaysWhatTheReportOfACancelledRunLacks)
{
    const struct {
        const wchar_t* behaviour;
        ExitCode code;
        const char* errors;
    } rows[] = {
        // Both heed Cancel, else they would go on for 20 s.
        {L"late", ExitCode::kNo, "cancelled: the report lacks 10 categories"},
        {L"wait", ExitCode::kDone, ""},  // the cancel came when everything was collected
    };
    for (const auto& row : rows) {
        SetEnvironmentVariableW(L"ORRERY_STAND_IN", row.behaviour);
        const Outcome outcome = Run(L"collect pc.tsv --quiet", [&](DWORD program) {
            AwaitReport(program);
            PressCtrlC(program, 1);
        });
        EXPECT_EQ(outcome.code, row.code) << outcome.errors;
        EXPECT_NE(outcome.errors.find(row.errors), std::string::npos) << outcome.errors;
        EXPECT_EQ(Left(), Names{L"pc.tsv"});
        fs::remove(reports_ / L"pc.tsv");
    }
}

std::optional<report::Sidecar> SidecarIn(const fs::path& folder, const std::wstring& name)
{
    return report::ReadSidecar(folder / (name + L".json"));
}

TEST_F(CollectCommand, WritesASidecarOnRequestAndRenewsIt)
{
    Fill(reports_ / L"own.json", "{}");
    EXPECT_EQ(Run(L"collect own.tsv").code, ExitCode::kDone);
    EXPECT_EQ(Content(reports_ / L"own.json"), "{}") << "what is no sidecar was replaced";

    Place(L"orrery.dll", L"orrery.dll");  // which has a version
    const std::time_t start = std::time(nullptr);
    const Outcome outcome = Run(L"collect pc.tsv --sidecar");
    EXPECT_EQ(outcome.code, ExitCode::kDone) << outcome.errors;
    EXPECT_NE(outcome.output.find("\nSidecar "), std::string::npos) << outcome.output;
    const auto sidecar = SidecarIn(reports_, L"pc");
    ASSERT_TRUE(sidecar);
    EXPECT_TRUE(sidecar->collected >= start && sidecar->collected <= std::time(nullptr));
    EXPECT_EQ(sidecar->client, ORRERY_VERSION_TEXT);
    EXPECT_EQ(sidecar->library, ORRERY_VERSION_TEXT);
    EXPECT_NE(sidecar->rights, "");
    EXPECT_EQ(sidecar->completeness, "whole");
    EXPECT_EQ(sidecar->computerName, ToUtf8(ThisComputer()));
    EXPECT_EQ(sidecar->installation.size(), 64U);

    Place(L"stand_in_library.dll", L"orrery.dll");
    EXPECT_EQ(Run(L"collect pc.tsv").code, ExitCode::kDone);
    EXPECT_EQ(SidecarIn(reports_, L"pc")->library, "") << "the sidecar is of an earlier report";
}

TEST_F(CollectCommand, DeliversAReportWithItsSidecarOrKeepsTheNewestForTheNextRun)
{
    const std::wstring pc = ThisComputer(), options = L" --spool spool --quiet";
    const fs::path drop = reports_ / L"drop", spool = reports_ / L"spool";
    const auto holds = [&](const fs::path& folder) {
        Names names;
        for (const auto& entry : fs::directory_iterator{folder})
            names.push_back(entry.path().filename().wstring());
        std::sort(names.begin(), names.end());
        return names;
    };
    const Names none, both{pc + L".json", pc + L".tsv"},
        waiting{L"undelivered.json", L"undelivered.tsv"};

    for (int times = 0; times < 2; ++times) {  // the share is away
        const Outcome outcome = Run(L"collect --drop drop" + options);
        EXPECT_EQ(outcome.code, ExitCode::kNotDelivered);
        EXPECT_NE(outcome.errors.find("undelivered.tsv\" for the next run"), std::string::npos)
            << outcome.errors;
        EXPECT_EQ(holds(spool), waiting);
    }
    fs::create_directory(drop);
    SetEnvironmentVariableW(L"ORRERY_STAND_IN", L"crash");
    EXPECT_EQ(Run(L"collect --drop drop" + options).code, ExitCode::kCrash);
    EXPECT_EQ(holds(drop), both) << "what had been waiting is not delivered";
    EXPECT_EQ(holds(spool), none);

    SetEnvironmentVariableW(L"ORRERY_STAND_IN", L"report");
    Fill(drop / (pc + L".tsv"), kEarlier);
    Fill(drop / (pc + L".tsv.partial"), "of a run that was killed");
    const Outcome delivered = Run(L"collect --drop drop --spool spool --random-delay 1");
    EXPECT_EQ(delivered.code, ExitCode::kDone) << delivered.errors;
    EXPECT_NE(delivered.output.find("\nTo      "), std::string::npos) << delivered.output;
    EXPECT_EQ(holds(drop), both);
    EXPECT_EQ(holds(spool), none);
    EXPECT_EQ(Content(drop / (pc + L".tsv")).size(), 322U);
    EXPECT_EQ(SidecarIn(drop, pc)->computerName, ToUtf8(pc));

    // Wherever a delivery ends, no report lies beside a sidecar of another run.
    for (const wchar_t* inTheWay : {L".json", L".tsv", L".tsv.partial", L".json.partial"}) {
        SCOPED_TRACE(ToUtf8(inTheWay));
        fs::remove_all(drop);
        fs::create_directories(drop / (pc + inTheWay));
        if (inTheWay == std::wstring_view{L".json"})
            Fill(drop / (pc + L".tsv"), kEarlier);
        EXPECT_EQ(Run(L"collect --drop drop" + options).code, ExitCode::kNotDelivered);
        EXPECT_EQ(holds(drop), Names{pc + inTheWay});
        EXPECT_EQ(holds(spool), waiting);
    }
    fs::remove_all(drop);
    fs::create_directory(drop);
    Fill(drop / (pc + L".tsv"), kEarlier);
    Fill(drop / (pc + L".json"), "of the earlier report");
    const UniqueFile read{CreateFileW((drop / (pc + L".tsv")).c_str(), GENERIC_READ,
                                      FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr)};
    EXPECT_EQ(Run(L"collect --drop drop" + options).code, ExitCode::kNotDelivered);
    EXPECT_EQ(holds(drop), both);
    EXPECT_EQ(Content(drop / (pc + L".json")), "of the earlier report");

    // Nor does one wait so, where its sidecar cannot be written when the run has ended.
    SetEnvironmentVariableW(L"ORRERY_STAND_IN", L"gate");
    const Outcome outcome = Run(L"collect --drop drop" + options, [&](DWORD) {
        UniqueHandle run;
        for (int tries = 0; tries < 500 && !run; ++tries, Sleep(20))
            run.reset(OpenEventW(EVENT_MODIFY_STATE, FALSE, eventName_.c_str()));
        fs::remove(spool / L"undelivered.json");
        fs::create_directory(spool / L"undelivered.json");
        SetEvent(run.get());
    });
    EXPECT_EQ(outcome.code, ExitCode::kReport) << outcome.errors;
    EXPECT_EQ(holds(spool), Names{L"undelivered.json"});
}

TEST_F(CollectCommand, IsCancelledWhileItWaitsForItsTime)
{
    const Outcome outcome = Run(L"collect pc.tsv --quiet --random-delay 86400", [](DWORD program) {
        JoinConsole(program);
        Sleep(1000);
        PressCtrlC(program, 1);
    });
    EXPECT_EQ(outcome.code, ExitCode::kCancelled) << outcome.errors;
    EXPECT_EQ(Left(), Names{});
}

TEST_F(CollectCommand, HasADoctorThatNeedsNoLibrary)
{
    fs::remove(program_ / L"orrery.dll");
    const auto written = Run(L"doctor --to json -o pc.json");
    EXPECT_EQ(written.output + written.errors, "");
    const bool isComplete =
        Content(reports_ / L"pc.json").find("\"complete\": true") != std::string::npos;
    EXPECT_EQ(written.code, isComplete ? ExitCode::kDone : ExitCode::kNo);
    EXPECT_TRUE(Run(L"doctor").output.starts_with("This machine\n  Rights "));
    for (const wchar_t* arguments : {L"doctor --timeout 0", L"doctor --to html", L"doctor -o ."})
        EXPECT_EQ(Run(arguments).code, ExitCode::kInput) << ToUtf8(arguments);
}

// The programs of examples/, in place of this one.
TEST_F(CollectCommand, HasExamplesBesideItThatPrintUtf8)
{
    SetEnvironmentVariableW(L"ORRERY_STAND_IN", L"name");
    SetEnvironmentVariableW(L"LOCALAPPDATA", reports_.c_str());
    for (const wchar_t* example : {L"example_c.exe", L"example_cpp.exe"}) {
        Place(example, L"orreryctl.exe");
        const Outcome outcome = Run(L"");
        EXPECT_EQ(outcome.code, ExitCode::kDone) << outcome.errors;
        EXPECT_TRUE(outcome.output.starts_with("Windows \xD0\x96\xE6\x97\xA5")) << outcome.output;
        EXPECT_EQ(Left(), Names{L"inventory.tsv"});
    }
}

}  // namespace
}  // namespace orrery
