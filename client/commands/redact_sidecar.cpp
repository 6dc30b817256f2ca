#include "client/commands/redact_sidecar.h"

#include <filesystem>
#include <string_view>
#include <system_error>

#include "client/system/exit_codes.h"
#include "client/system/output_file.h"
#include "client/text/fold_case.h"
#include "client/text/utf8.h"

namespace orrery {
namespace {

constexpr std::string_view kReportSuffix = ".tsv", kSuffix = ".json";

/// What the report calls its computer, without its domain; empty where it does not.
std::string HostOf(const report::Report& report)
{
    for (const report::Section& section : report.sections)
        for (const report::Instance& instance : section.instances)
            for (const report::Property& property : instance.properties)
                if (section.name == "ComputerSystem" && property.name == "Name")
                    return property.value.substr(0, property.value.find('.'));
    return "";
}

void Replace(std::string* value, const std::string& placeholder)
{
    if (!value->empty())
        *value = placeholder;
}

}  // namespace

CSidecarCopy::CSidecarCopy(const std::string& input, const std::string& output)
{
    // What is no report by its name, such as standard output, has nothing beside it.
    if (!FoldCase(output).ends_with(kReportSuffix))
        return;
    const auto source = PathFromUtf8(input).replace_extension(kSuffix);
    sidecar_ = report::ReadSidecar(source);
    output_ = output.substr(0, output.size() - kReportSuffix.size()).append(kSuffix);
    const auto target = PathFromUtf8(output_);
    const bool isSidecar = report::ReadSidecar(target).has_value();
    if (!sidecar_) {
        isStale_ = isSidecar;
        return;
    }
    CheckOutputFile(output_, source);
    std::error_code ignored;
    if (std::filesystem::exists(target, ignored) && !isSidecar)
        throw CommandError(ExitCode::kInput,
                           "the report has a sidecar, whose copy would replace \"" + output_ +
                               "\", which is none; choose another name");
}

void CSidecarCopy::Write(const report::Report& redacted)
{
    // That of the report whose place the copy takes says nothing of the copy, and may not be redacted.
    if (std::error_code ignored; isStale_)
        std::filesystem::remove(PathFromUtf8(output_), ignored);
    if (!sidecar_)
        return;
    const std::string host = HostOf(redacted);
    Replace(&sidecar_->computerName, host.empty() ? "host-1" : host);
    Replace(&sidecar_->uuid, "uuid-1");
    Replace(&sidecar_->installation, "installation-1");
    WriteOutputFile(output_, WholeText(report::FormatSidecar(*sidecar_)));
}

}  // namespace orrery
