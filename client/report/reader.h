#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "client/report/parser.h"
#include "client/report/report.h"

namespace orrery::report {

/// A path as messages show it: UTF-8, in double quotes; "-" as what it stands for.
std::string Quoted(const std::filesystem::path& path);

/// Collects warnings: of each kind the first few in full, the others as a number. Of line ends, which
/// are odd in all lines or in none, there is one warning.
class CWarnings {
public:
    void Add(Oddity oddity, std::uint64_t line);
    /// All of them, ordered by line.
    std::vector<Warning> Take();

private:
    std::vector<Warning> warnings_;
    std::map<Oddity, std::uint64_t> counts_;
};

/// Has a parser hand the facts of a report file to a sink, without keeping any. "-" is standard input,
/// which can be read once. A report in UTF-8 is taken for what it was before a program saved it so.
/// @throws CommandError (kInput) for a file that cannot be read or is no report at all
void ParseReport(const std::filesystem::path& path, FactSink& sink);

/// Builds a report from its facts.
class CReportBuilder : public FactSink {
public:
    explicit CReportBuilder(FactFilter isKept = {});
    ~CReportBuilder() override;
    void OnFact(const FactView& fact) override;
    void OnOddity(Oddity oddity, std::uint64_t line) override;
    void OnEnd(bool endsLine) override;
    /// The report as far as its facts have come. Nothing may be added afterwards.
    Report Take();

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace orrery::report
