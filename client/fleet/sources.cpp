#include "client/fleet/sources.h"

#include <algorithm>
#include <chrono>
#include <system_error>
#include <tuple>

#include "client/system/exit_codes.h"
#include "client/text/fold_case.h"
#include "client/text/utf8.h"

namespace orrery::fleet {
namespace {

namespace fs = std::filesystem;

/// No report is nearly as long; what is would have to fit into memory.
constexpr std::uint64_t kLongestReport = std::uint64_t{32} << 20;

std::int64_t Modified(const fs::directory_entry& entry, std::error_code& error)
{
    const auto time = entry.last_write_time(error);
    if (error)
        return 0;
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::file_clock::to_sys(time).time_since_epoch())
        .count();
}

std::string Utf8(const fs::path& path)
{
    const auto text = path.u8string();
    return {text.begin(), text.end()};
}

/// A name with U+FFFD for what is no UTF-8.
std::string Spelled(std::string_view name)
{
    std::string spelled;
    while (!name.empty()) {
        const CodePoint next = DecodeUtf8(name);
        spelled += next.isValid ? name.substr(0, next.bytes) : "\xEF\xBF\xBD";
        name.remove_prefix(next.bytes);
    }
    return spelled;
}

void Look(const fs::directory_entry& entry, Sources* sources)
{
    std::error_code error;
    const std::string path = Utf8(entry.path());
    if (!entry.is_regular_file(error)) {
        // One that may not be looked into is left out by the search without a word.
        if (entry.is_directory(error) && !entry.is_symlink(error))
            fs::directory_iterator{entry.path(), error};
        if (error)
            sources->refused.push_back({path, error.message()});
        return;
    }
    const std::string name = FoldCase(Utf8(entry.path().filename()));
    const bool isReport = name.ends_with(".tsv");
    if (name.find(".partial") != std::string::npos ||
        (isReport && FoldCase(path).find(".partial/") != std::string::npos)) {
        sources->refused.push_back(
            {path, "the partial file of a run or a delivery that has not ended"});
        return;
    }
    if (!isReport)
        return;
    if (std::string spelled = Spelled(path); spelled != path) {
        sources->refused.push_back(
            {std::move(spelled), "its name is not UTF-8; give it another one"});
        return;
    }
    SourceFile file{path, entry.file_size(error), 0, 0};
    if (!error)
        file.modified = Modified(entry, error);
    if (error) {
        sources->refused.push_back({path, error.message()});
        return;
    }
    if (file.size > kLongestReport) {
        sources->refused.push_back({path, "too long for a report"});
        return;
    }
    std::error_code ignored;
    if (const fs::directory_entry sidecar{SidecarPath(entry.path()), ignored};
        !ignored && sidecar.is_regular_file(ignored))
        file.sidecarModified = Modified(sidecar, ignored);
    sources->files.push_back(std::move(file));
}

}  // namespace

fs::path SidecarPath(const fs::path& report)
{
    return fs::path{report}.replace_extension(".json");
}

Sources FindSources(const std::vector<std::string>& folders)
{
    Sources sources;
    for (const std::string& folder : folders) {
        std::error_code error;
        const fs::path top = fs::canonical(PathFromUtf8(folder), error);
        fs::recursive_directory_iterator entries;
        if (!error)
            entries = fs::recursive_directory_iterator{
                top, fs::directory_options::skip_permission_denied, error};
        if (error)
            throw CommandError(ExitCode::kInput,
                               "cannot read the folder \"" + folder + "\": " + error.message());
        for (; entries != fs::recursive_directory_iterator{}; entries.increment(error))
            Look(*entries, &sources);
        if (error)
            sources.refused.push_back({folder, error.message()});
    }
    const auto order = [](const SourceFile& file) { return std::tie(file.modified, file.path); };
    std::ranges::sort(sources.files, std::less<>{}, order);
    const auto again = std::ranges::unique(sources.files, std::equal_to<>{}, &SourceFile::path);
    sources.files.erase(again.begin(), again.end());
    return sources;
}

}  // namespace orrery::fleet
