#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "client/commands/fleet/fleet.h"
#include "client/fleet/load.h"
#include "client/fleet/schema.h"
#include "client/system/console.h"
#include "client/system/exit_codes.h"
#include "client/text/utf8.h"

namespace orrery {
namespace {

using Clock = std::chrono::steady_clock;

struct Options {
    std::vector<std::string> folders;
    std::string database = kFleetDatabase;
    bool isQuiet = false;
};

std::string HostName()
{
    std::array<char, 256> name{};
    gethostname(name.data(), name.size() - 1);
    return name.data();
}

/// Tells on a terminal how far a load is and how long it will take.
class CProgressLine {
public:
    explicit CProgressLine(bool isShown) : isShown_(isShown && isatty(STDERR_FILENO) != 0) {}
    ~CProgressLine() { Clear(); }
    CProgressLine(const CProgressLine&) = delete;
    CProgressLine& operator=(const CProgressLine&) = delete;

    void Show(const fleet::LoadProgress& progress)
    {
        const auto now = Clock::now();
        constexpr std::chrono::milliseconds kStep{250};
        if (!isShown_ || now - shown_ < kStep)
            return;
        shown_ = now;
        const double seconds = std::chrono::duration<double>(now - start_).count();
        const double left = seconds / static_cast<double>(progress.done) *
                            static_cast<double>(progress.files - progress.done);
        std::fprintf(stderr, "\r%llu of %llu reports, %.0f s left   ",
                     static_cast<unsigned long long>(progress.done),
                     static_cast<unsigned long long>(progress.files), left);
        isDirty_ = true;
    }
    void Clear()
    {
        if (isDirty_)
            std::fputs("\r\x1b[K", stderr);
        isDirty_ = false;
    }

private:
    const bool isShown_;
    bool isDirty_ = false;
    const Clock::time_point start_ = Clock::now();
    Clock::time_point shown_{};
};

std::string Describe(const fleet::LoadResult& result)
{
    const auto counted = [](std::uint64_t count, const char* one, const char* many) {
        return std::to_string(count) + ' ' + (count == 1 ? one : many);
    };
    std::string text = counted(result.stored.reports, "report loaded", "reports loaded");
    text += ", " + std::to_string(result.unchanged) + " as before";
    text += "; " + counted(result.stored.machines, "new machine", "new machines");
    text += ", " + counted(result.stored.changed, "changed", "changed");
    if (result.refused != 0)
        text += "; " + std::to_string(result.refused) + " refused, see above";
    return text + '\n';
}

ExitCode LoadFleet(const Options& options)
{
    CheckDatabaseName(options.database);
    // Before there is an empty database, which would answer that there are no PCs.
    for (const std::string& folder : options.folders)
        if (std::error_code ignored; !std::filesystem::is_directory(PathFromUtf8(folder), ignored))
            throw CommandError(
                ExitCode::kInput,
                '"' + folder + "\" is no folder; give the one that the reports are in");
    const auto database = fleet::OpenDatabase(options.database, true);
    fleet::PrepareSchema(*database);
    CProgressLine line{!options.isQuiet};
    const auto result = fleet::Load(
        *database, options.folders, HostName(),
        {[&](const fleet::LoadProgress& progress) { line.Show(progress); },
         [&](const fleet::Refusal& refusal) {
             line.Clear();
             const bool isNamed = refusal.reason.find(refusal.path) != std::string::npos;
             PrintError(isNamed ? refusal.reason : refusal.path + ": " + refusal.reason);
         }});
    line.Clear();
    if (!options.isQuiet)
        Print(result.files + result.refused == 0
                  ? "there are no reports in it; their names end in \".tsv\"\n"
                  : Describe(result));
    if (result.stored.conflicts != 0)
        PrintError(
            "some PCs tell the same serial number or UUID and are kept apart; \"orreryctl fleet "
            "ask "
            "conflicts\" says what to do");
    return result.refused == 0 && result.stored.conflicts == 0 ? ExitCode::kDone : ExitCode::kNo;
}

}  // namespace

void AddFleetLoadCommand(CCommand& fleet, ExitCode* result)
{
    CCommand load = fleet.AddCommand("load", "Load the reports of folders into a database");
    const auto options = std::make_shared<Options>();
    load.Operands("DIR", &options->folders, "Folders with reports, which may be in folders below");
    load.TextOption("--to", "DATABASE", &options->database,
                    "A file of SQLite, or postgresql://... (else fleet.db in the current folder)");
    load.Flag("--quiet", &options->isQuiet, "Tell nothing but what is refused");
    load.Footer(
        "What was loaded before and has not changed is not read again. What is no whole report is "
        "told\n"
        "with the reason and left out; a report that lacks categories is loaded. A load that was\n"
        "stopped goes on where it was when it is repeated.\n\n"
        "Examples:\n  orreryctl fleet load reports\n"
        "  orreryctl fleet load site-a site-b --to postgresql://localhost/inventory\n\n" +
        ExitCodeHelp({ExitCode::kDone, ExitCode::kInput, ExitCode::kReport, ExitCode::kUnexpected},
                     kNoOfLoad));
    load.Does([options, result] { *result = LoadFleet(*options); });
}

}  // namespace orrery
