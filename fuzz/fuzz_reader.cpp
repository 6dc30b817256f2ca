// Feeds bytes to all that takes a report apart, shows, compares or converts it. Run by scripts/fuzz.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>

#include <nlohmann/json.hpp>

#include "client/page/blocks.h"
#include "client/report/csv.h"
#include "client/report/diff_text.h"
#include "client/report/json.h"
#include "client/report/reader.h"
#include "client/report/redact.h"
#include "client/report/show.h"
#include "client/report/writer.h"
#include "made_report.h"

namespace orrery::report {
namespace {

Report Parsed(std::span<const std::byte> bytes, std::size_t blockSize)
{
    CReportBuilder builder;
    CReportParser parser{builder};
    for (; !bytes.empty(); bytes = bytes.subspan(std::min(blockSize, bytes.size())))
        parser.Add(bytes.first(std::min(blockSize, bytes.size())));
    parser.Finish();
    return builder.Take();
}

void Check(bool holds)
{
    if (!holds)
        std::abort();
}

/// Blocks of any size give the same facts and warnings.
void CheckSame(const Report& report, const Report& other)
{
    Check(FactsOf(report) == FactsOf(other));
    Check(std::equal(report.warnings.begin(), report.warnings.end(), other.warnings.begin(),
                     other.warnings.end(), [](const Warning& one, const Warning& two) {
                         return one.line == two.line && one.text == two.text;
                     }));
}

/// What is shown fits in and has nothing that a terminal acts on.
void CheckShown(const Report& report, std::size_t columns, Charset charset)
{
    const ShowStyle style{columns, true, false, charset, charset};
    const std::string text = Written([&](const TextSink& sink) {
        WriteTables(report, SelectSections(report, {}), style, sink);
    });
    std::size_t start = 0;
    for (std::size_t end; (end = text.find('\n', start)) != std::string::npos; start = end + 1) {
        const std::string line = text.substr(start, end - start);
        Check(Escaped(line, charset) == line);
        Check(Columns(line) <= columns);
    }
    Check(start == text.size());
}

/// What other programs get can be read by them, whatever a report says.
void CheckForms(const Report& report)
{
    const Source source{"x", 0, false, "1"};
    Check(nlohmann::json::accept(Written(WriteJson, report, source)));
    const std::string line = Written(WriteJsonLine, report, source);
    Check(line.find('\n') == line.size() - 1 && nlohmann::json::accept(line));
    const std::string page = Written(page::WriteAllFacts, report);
    Check(page.find_first_of(std::string{"\0\x1B\x7F", 3}) == std::string::npos);
    for (const CsvReader reader : {CsvReader::kDatabase, CsvReader::kSpreadsheet}) {
        const std::string csv = Written(WriteCsv, report, source, reader);
        Check(csv.empty() || csv.ends_with("\r\n"));
    }
    Check(Written(WriteReport, report).size() % 2 == 0);
}

/// A report is the same as itself, and its differences from any other one can be told.
void CheckChanges(const Report& report)
{
    Check(CompareReports(report, report, true).empty());
    Report redacted = report;
    Redact(&redacted);
    FormatDiff(CompareReports(report, redacted, true), {"a", "b"}, 80, Charset::kAscii);
}

}  // namespace
}  // namespace orrery::report

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace orrery::report;
    const auto bytes = std::as_bytes(std::span{data, size});
    const Report report = Parsed(bytes, size + 1);
    CheckSame(report, Parsed(bytes, size % 7 + 1));
    CheckShown(report, 60 + size % 100,
               size % 2 == 0 ? orrery::Charset::kUnicode : orrery::Charset::kAscii);
    CheckForms(report);
    CheckChanges(report);
    return 0;
}
