#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "client/console.h"
#include "client/exit_codes.h"
#include "support/unique.h"

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
        const fs::path outputFile = scratch_ / L"output", errorFile = scratch_ / L"errors";
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

    const fs::path scratch_ =
        fs::temp_directory_path() / (L"orreryctl " + std::to_wstring(GetCurrentProcessId()));
    const fs::path program_ = scratch_ / L"program";
    const fs::path reports_ = scratch_ / L"B\u00FCro \u0416\u65E5";
};

using Names = std::vector<std::wstring>;

TEST_F(CollectCommand, PutsTheReportInPlaceAndPrintsItsFacts)
{
    const Outcome outcome = Run(L"collect \"\u00FCber uns.tsv\"");
    EXPECT_EQ(outcome.code, ExitCode::kDone) << outcome.errors;
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(outcome.output.substr(0, outcome.output.find("\nReport")),
              "Section             Facts\n"
              "BIOS                    1\n"
              "ET (elapsed times)      2\n"
              "Total                   3\n");
    EXPECT_NE(outcome.output.find("B\xC3\xBCro \xD0\x96\xE6\x97\xA5\\\xC3\xBC"
                                  "ber uns.tsv\n"),
              std::string::npos)
        << outcome.output;
    EXPECT_EQ(Left(), (Names{L"\u00FCber uns.tsv"}));
    EXPECT_EQ(Content(reports_ / L"\u00FCber uns.tsv").size(), 72u);  // 36 code units
}

TEST_F(CollectCommand, ReplacesAnEarlierReport)
{
    Fill(reports_ / L"pc.tsv", kEarlier);
    EXPECT_EQ(Run(L"collect pc.tsv").code, ExitCode::kDone);
    EXPECT_EQ(Left(), (Names{L"pc.tsv"}));
    EXPECT_EQ(Content(reports_ / L"pc.tsv").substr(0, 4), std::string("B\0I\0", 4));
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

TEST_F(CollectCommand, RefusesAPathBeforeAnythingIsCollected)
{
    SetEnvironmentVariableW(L"ORRERY_STAND_IN", L"refuse");  // a run would end with kCancelled
    fs::create_directory(reports_ / L"folder.tsv");
    Fill(reports_ / L"open.tsv", kEarlier);
    const UniqueFile inUse{CreateFileW((reports_ / L"open.tsv").c_str(), GENERIC_READ,
                                       FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr)};
    const struct {
        const wchar_t* argument;
        ExitCode code;
        const char* expected;
    } rows[] = {
        {L"report.TSV", ExitCode::kInput, "\"report.TSV\" does not end in \".tsv\""},
        {L"report.tsv.txt", ExitCode::kInput, "does not end in \".tsv\""},
        {L"tsv", ExitCode::kInput, "does not end in \".tsv\""},
        {L"none\\report.tsv", ExitCode::kInput, "create it or choose another one"},
        {L"open.tsv\\report.tsv", ExitCode::kInput, "create it or choose another one"},
        {L"que?.tsv", ExitCode::kReport, "choose a folder in which you may create files"},
        {L"folder.tsv", ExitCode::kInput, "is a folder; give the name of a file"},
        {L"open.tsv", ExitCode::kReport, "close the program that uses it"},
    };
    for (const auto& row : rows) {
        const Outcome outcome = Run(std::wstring{L"collect "} + row.argument);
        EXPECT_EQ(outcome.code, row.code) << ToUtf8(row.argument);
        EXPECT_NE(outcome.errors.find(row.expected), std::string::npos) << outcome.errors;
        EXPECT_EQ(outcome.output, "");
    }
    EXPECT_EQ(Left(), (Names{L"folder.tsv", L"open.tsv"}));
}

TEST_F(CollectCommand, SaysWhichArgumentsItTakes)
{
    const struct {
        const wchar_t* arguments;
        ExitCode code;
        const char* expected;
    } rows[] = {
        {L"", ExitCode::kInput,
         "a command is missing\n\"orreryctl\" takes: collect, --version, --help"},
        {L"colect pc.tsv", ExitCode::kInput, "\"colect\" is not known here\n\"orreryctl\" takes:"},
        {L"collect pc.tsv --fast", ExitCode::kInput, "\"--fast\" is not known here"},
        {L"collect front desk.tsv", ExitCode::kInput, "put a path with spaces in quotes"},
        {L"collect", ExitCode::kInput, "REPORT.tsv is required\n\"orreryctl collect\" takes:"},
        {L"--help", ExitCode::kDone, "\n  5  cancelled"},
        {L"collect --help", ExitCode::kDone, "orreryctl collect \"C:\\Reports\\front desk.tsv\""},
        {L"--version", ExitCode::kDone, "orreryctl "},
    };
    for (const auto& row : rows) {
        const Outcome outcome = Run(row.arguments);
        EXPECT_EQ(outcome.code, row.code) << ToUtf8(row.arguments);
        const bool asked = row.code == ExitCode::kDone;
        EXPECT_NE((asked ? outcome.output : outcome.errors).find(row.expected), std::string::npos)
            << outcome.output << outcome.errors;
        EXPECT_EQ(asked ? outcome.errors : outcome.output, "");
    }
    EXPECT_EQ(Left(), Names{});
}

TEST_F(CollectCommand, KeepsTheEarlierReportWhenTheLibraryCannotBeUsed)
{
    Fill(reports_ / L"pc.tsv", kEarlier);
    const auto expect = [this](const char* expected) {
        const Outcome outcome = Run(L"collect pc.tsv");
        EXPECT_EQ(outcome.code, ExitCode::kLibrary);
        EXPECT_NE(outcome.errors.find(expected), std::string::npos) << outcome.errors;
        EXPECT_EQ(Left(), (Names{L"pc.tsv"}));
        EXPECT_EQ(Content(reports_ / L"pc.tsv"), kEarlier);
    };
    Place(L"bare_library.dll", L"orrery.dll");
    expect("does not export GetInventory, GetInventoryEx, Cancel; replace it");
    Fill(program_ / L"orrery.dll", "not a library");
    expect("cannot be loaded: ");
    fs::remove(program_ / L"orrery.dll");
    // A library in the current folder or on the search path is not taken instead.
    fs::copy_file(TestFolder() / L"stand_in_library.dll", scratch_ / L"orrery.dll");
    SetEnvironmentVariableW(L"PATH", scratch_.c_str());
    expect("program\\orrery.dll\" is missing; put orrery.dll into the folder");
}

TEST_F(CollectCommand, KeepsTheEarlierReportWhenTheRunGivesNone)
{
    Fill(reports_ / L"pc.tsv", kEarlier);
    const struct {
        const wchar_t* behaviour;
        ExitCode code;
        const char* expected;
    } rows[] = {
        {L"nothing", ExitCode::kReport, "did not write the whole report"},
        {L"cut", ExitCode::kReport, "did not write the whole report"},
        {L"refuse", ExitCode::kCancelled, "cancelled; the report"},
    };
    for (const auto& row : rows) {
        SetEnvironmentVariableW(L"ORRERY_STAND_IN", row.behaviour);
        const Outcome outcome = Run(L"collect pc.tsv");
        EXPECT_EQ(outcome.code, row.code) << ToUtf8(row.behaviour);
        EXPECT_NE(outcome.errors.find(row.expected), std::string::npos) << outcome.errors;
        EXPECT_EQ(Left(), (Names{L"pc.tsv"}));
        EXPECT_EQ(Content(reports_ / L"pc.tsv"), kEarlier);
    }
}

TEST_F(CollectCommand, CancelsOnCtrlCAndKeepsNoReportOfTheRun)
{
    Fill(reports_ / L"pc.tsv", kEarlier);
    SetEnvironmentVariableW(L"ORRERY_STAND_IN", L"wait");
    const Outcome outcome = Run(L"collect pc.tsv", [this](DWORD process) {
        const fs::path partial = reports_ / (L"pc." + std::to_wstring(process) + L".partial.tsv");
        std::error_code ignored;
        for (int tries = 0; tries < 500 && Content(partial).empty(); ++tries)
            Sleep(20);
        // The event goes to every process of a console, so this one joins that of the program and
        // looks away for the moment.
        FreeConsole();
        ASSERT_TRUE(AttachConsole(process)) << SystemMessage(GetLastError());
        SetConsoleCtrlHandler(nullptr, TRUE);
        EXPECT_TRUE(GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0)) << SystemMessage(GetLastError());
        Sleep(500);
        FreeConsole();
        SetConsoleCtrlHandler(nullptr, FALSE);
    });
    EXPECT_EQ(outcome.code, ExitCode::kCancelled);
    EXPECT_NE(outcome.errors.find("cancelling, waiting for the categories that already run\n"),
              std::string::npos)
        << outcome.errors;
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(Left(), (Names{L"pc.tsv"}));
    EXPECT_EQ(Content(reports_ / L"pc.tsv"), kEarlier);
}

}  // namespace
}  // namespace orrery
