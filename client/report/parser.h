#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace orrery::report {

/// A fact as it stands in the report. The views are valid during the call that hands them out.
struct FactView {
    std::uint64_t line;  ///< on which the fact begins, from 1; lines end at line feeds
    std::u16string_view section;
    std::int32_t index;
    std::u16string_view property;
    std::u16string_view value;
    bool isCut;  ///< the line reached the library's limit or has no end, so the value may lack some
};

/// Whether the fact is the elapsed time of a category, which has no name.
inline bool IsElapsedTime(const FactView& fact)
{
    return fact.section == u"ET" && fact.index == 0 && fact.property.empty();
}

/// What a report may hold that the library does not write, or that is not told apart for sure.
enum class Oddity {
    kEmpty,           // no fact and nothing else
    kByteOrderMark,   // skipped
    kUtf8,            // in place of UTF-16
    kOddBytes,        // the last byte is left out
    kNoFact,          // lines before the first fact, left out
    kIndexRange,      // an index that is negative or beyond 2^31 - 1; the fact is left out
    kNoValue,         // a line without the tab before the value
    kCut,             // see FactView::isCut
    kContinued,       // a line that begins no fact, taken as part of the value before it
    kLong,            // longer than the library writes, and not cut
    kShortened,       // longer than is kept of a fact
    kCarriageReturn,  // before a line feed, left out
    kUnfinished,      // the end of the report within a line, which is no part of the one before
    kSurrogate,       // half of a surrogate pair, or no UTF-8, replaced by U+FFFD
    kDuplicate,       // a fact that an earlier line gave; the later one counts
};

/// Takes what a parser finds, in the report's order.
class FactSink {
public:
    virtual ~FactSink() = default;
    virtual void OnFact(const FactView& fact) = 0;
    /// @param line from 1; 0 for the report as a whole
    virtual void OnOddity(Oddity oddity, std::uint64_t line) = 0;
    /// @param endsLine whether the report ends with a line feed
    virtual void OnEnd(bool /*endsLine*/) {}
};

/// Finds the facts in the bytes of a report, which may be anything.
///
/// A fact begins where a line begins with a section, a tab, a number and a tab. Values are written
/// raw, so a line that does not begin so continues the value before it; and a line of 1023 code
/// units was cut there, so the next fact follows it without a line feed. A last line without its end
/// belongs to no value before it, and is a fact only when its value has begun.
///
/// Memory: one fact, of which at most kLongestFact code units are kept, and one block of bytes.
class CReportParser {
public:
    static constexpr std::size_t kLongestLine = 1023;  // as the library formats it
    static constexpr std::size_t kLongestFact = 1 << 20;

    explicit CReportParser(FactSink& sink) : sink_(sink) {}

    /// Takes the next bytes, any number of them.
    void Add(std::span<const std::byte> bytes);
    /// Hands out what is left. Nothing may be added afterwards.
    void Finish();

    /// Facts that were found, including those that are left out for their index.
    std::uint64_t facts() const noexcept { return facts_; }
    /// Whether there was anything but a byte-order mark.
    bool hasText() const noexcept { return hasText_; }

private:
    struct Header {
        std::size_t section = 0;   // units of the section
        std::size_t property = 0;  // where the property begins
        std::int64_t index = 0;
    };
    enum class Match { kNo, kYes, kUndecided };

    static Match MatchHeader(std::u16string_view text, bool atEnd, Header& header);
    void Append(std::span<const std::byte> bytes);
    void SkipByteOrderMark();
    void Scan(bool atEnd);
    bool FindCandidate();
    static bool MayBeUnfinished(std::u16string_view text);
    void RejectCandidate();
    void EndAtUnfinishedLine();
    void BeginFact(const Header& header);
    void EndFact(std::size_t end);
    std::u16string_view WithoutLineEnd(std::u16string_view text, bool* isCut, bool* isUnfinished);
    void Compact();

    FactSink& sink_;
    std::u16string buffer_;  // from the present fact on
    std::optional<std::byte> lowByte_;
    std::size_t scan_ = 0;                      // where the search for the next line goes on
    std::optional<std::size_t> candidate_ = 0;  // where a fact may begin, not decided yet
    std::uint64_t line_ = 1;                    // of scan_
    std::uint64_t facts_ = 0;
    bool atStart_ = true;
    bool hasText_ = false;
    char16_t lastUnit_ = 0;

    // The present fact; before the first one there is none.
    bool inFact_ = false;
    Header header_;
    std::size_t factStart_ = 0;
    std::uint64_t factLine_ = 1;
    bool cutTried_ = false;   // what follows the longest line was looked at
    bool continued_ = false;  // there is a line that begins no fact
    bool shortened_ = false;
};

}  // namespace orrery::report
