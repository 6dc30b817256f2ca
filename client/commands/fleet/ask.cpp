#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "client/commands/fleet/fleet.h"
#include "client/commands/open_report.h"
#include "client/commands/terminal_style.h"
#include "client/fleet/ask.h"
#include "client/report/number.h"
#include "client/report/typed_value.h"
#include "client/system/console.h"
#include "client/system/output_file.h"
#include "client/text/suggestion.h"
#include "client/text/utf8.h"

namespace orrery {
namespace {

struct Options {
    std::optional<std::string> name;
    std::string database = kFleetDatabase, form = "text", output;
    std::optional<std::string> since, days, below;
};

const fleet::View& ViewNamed(const std::string& name)
{
    if (const fleet::View* const view = fleet::FindView(name))
        return *view;
    std::vector<std::string> names;
    for (const fleet::View& view : fleet::Views())
        names.emplace_back(view.name);
    const std::string suggestion = Suggestion(name, names);
    throw CommandError(ExitCode::kInput, "there is no answer \"" + name + '"' + suggestion +
                                             (suggestion.empty() ? ";" : "") +
                                             " \"orreryctl fleet ask\" lists them");
}

/// The bound that an option gives for a view.
/// @throws CommandError (kInput) for one that is none, or that the view does not take
std::optional<std::string> BoundFor(const fleet::View& view, const Options& options)
{
    std::optional<std::string> bound;
    for (const auto& [option, value] :
         {std::pair{"since", &options.since}, std::pair{"days", &options.days},
          std::pair{"below", &options.below}}) {
        if (!*value)
            continue;
        if (view.option != option) {
            const auto taker = std::ranges::find(fleet::Views(), option, &fleet::View::option);
            throw CommandError(ExitCode::kInput, '"' + std::string{view.name} + "\" takes no --" +
                                                     option + "; only \"" +
                                                     std::string{taker->name} + "\" does");
        }
        const bool isDay = view.option == "since";
        const auto number = report::ParseNumber(**value);
        if (isDay ? !report::IsIsoTime(**value + "T00:00:00Z") : !number || *number < 0)
            throw CommandError(ExitCode::kInput, std::string{"give --"} + option +
                                                     (isDay ? " a day such as 2026-11-23, not \""
                                                            : " a number, not \"") +
                                                     **value + '"');
        bound = **value;
    }
    return bound;
}

void ListViews()
{
    std::string text;
    for (const fleet::View& view : fleet::Views()) {
        constexpr std::size_t kColumn = 21;
        const std::string name{view.name};
        text += name + std::string(kColumn - name.size(), ' ') + std::string{view.about} + '\n';
    }
    Print(text);
}

void AskFleet(const Options& options)
{
    if (!options.name) {
        ListViews();
        return;
    }
    const fleet::View& view = ViewNamed(*options.name);
    const auto bound = BoundFor(view, options);
    CheckOutputFile(options.output, PathFromUtf8(options.database));
    const auto database = OpenFleet(options.database);
    const bool isPrinted = options.output == kStandardStream;
    const TextSource text = [&](const TextSink& sink) {
        if (options.form == "text")
            fleet::WriteTable(*database, view, bound,
                              isPrinted ? StyleOf(OutputTerminal()) : report::ShowStyle{}, sink);
        else
            fleet::WriteAnswer(
                *database, view, bound,
                options.form == "csv" ? fleet::AnswerForm::kCsv : fleet::AnswerForm::kJson, sink);
    };
    WriteOrPrint(options.output, isPrinted ? ForOutput(text) : text);
    if (const auto count = fleet::VolumesLeftOut(*database, view); count != 0)
        PrintError("left out: " + std::to_string(count) + (count == 1 ? " volume" : " volumes") +
                   " of no known drive");
}

}  // namespace

void AddFleetAskCommand(CCommand& fleet)
{
    CCommand ask =
        fleet.AddCommand("ask", "Answer a question about all PCs; without a name, list them");
    const auto options = std::make_shared<Options>();
    ask.OptionalOperand("NAME", &options->name, "The answer's name");
    ask.TextOption("--from", "DATABASE", &options->database,
                   "A file of SQLite, or postgresql://... (else fleet.db in the current folder)");
    ask.Choice("--to", "FORMAT", {"text", "csv", "json"}, &options->form,
               "text for people (the default), csv or json");
    ask.OutputOption(&options->output);
    ask.TextOption("--since", "DAY", &options->since,
                   "changed_since: from this day on, as 2026-11-23");
    ask.TextOption("--days", "N", &options->days, "stale: not seen for so many days (30)");
    ask.TextOption("--below", "N", &options->below,
                   "disk_low: less than so many percent free (10)");
    ask.Footer(
        "Examples:\n  orreryctl fleet ask\n  orreryctl fleet ask windows11 --to csv\n"
        "  orreryctl fleet ask changed_since --since 2026-11-16 --to json\n\n" +
        ExitCodeHelp(
            {ExitCode::kDone, ExitCode::kInput, ExitCode::kReport, ExitCode::kUnexpected}));
    ask.Does([options] { AskFleet(*options); });
}

}  // namespace orrery
