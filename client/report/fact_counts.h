#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "client/report/completeness.h"
#include "client/report/parser.h"

namespace orrery {

struct SectionCount {
    std::string section;
    std::size_t facts = 0;  ///< that say something
    std::size_t empty = 0;  ///< whose value is nothing or blanks
};

/// Counts the facts of a report, section by section, from its UTF-16LE bytes.
class CFactCounter : private report::FactSink {
public:
    CFactCounter() : parser_(*this) {}
    CFactCounter(const CFactCounter&) = delete;
    CFactCounter& operator=(const CFactCounter&) = delete;

    /// Takes the next bytes of the report, any number of them.
    void Add(std::span<const std::byte> bytes) { parser_.Add(bytes); }
    /// Counts what is left. Nothing may be added afterwards.
    void Finish() { parser_.Finish(); }

    /// The sections in the order in which the report first names them.
    const std::vector<SectionCount>& sections() const noexcept { return sections_; }
    /// The sum of all sections, which has no name.
    SectionCount total() const;
    /// How complete the report is, once it was counted.
    const report::Completeness& completeness() const noexcept { return completeness_; }

private:
    void OnFact(const report::FactView& fact) override;
    void OnOddity(report::Oddity /*oddity*/, std::uint64_t /*line*/) override {}
    void OnEnd(bool endsLine) override { completeness_ = check_.Result(endsLine); }

    report::CReportParser parser_;
    report::CCompletenessCheck check_;
    report::Completeness completeness_;
    std::vector<SectionCount> sections_;
};

/// The counts as a table of aligned columns with a heading and the total, and what to do about
/// sections of which all facts are empty.
std::string FactCountTable(const CFactCounter& counter);

}  // namespace orrery
