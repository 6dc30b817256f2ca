#include "client/report/parser.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace orrery::report {
namespace {

constexpr std::size_t kBlockBytes = std::size_t{128} * 1024;
constexpr char16_t kByteOrderMark = 0xFEFF;

constexpr bool IsSectionCharacter(char16_t unit)
{
    return unit > u' ' && unit < u'\x7F';
}

constexpr bool IsDigit(char16_t unit)
{
    return unit >= u'0' && unit <= u'9';
}

constexpr char16_t Unit(std::byte low, std::byte high)
{
    return static_cast<char16_t>(std::to_integer<unsigned>(low) | std::to_integer<unsigned>(high)
                                                                      << 8);
}

}  // namespace

void CReportParser::Add(std::span<const std::byte> bytes)
{
    while (!bytes.empty()) {
        const auto block = bytes.first(std::min(bytes.size(), kBlockBytes));
        bytes = bytes.subspan(block.size());
        Append(block);
        SkipByteOrderMark();
        Scan(false);
        Compact();
    }
}

void CReportParser::Finish()
{
    Scan(true);
    if (inFact_)
        EndFact(buffer_.size());
    if (lowByte_) {
        hasText_ = true;
        sink_.OnOddity(Oddity::kOddBytes, line_);
    }
    if (!hasText_)
        sink_.OnOddity(Oddity::kEmpty, 0);
    sink_.OnEnd(lastUnit_ == u'\n' && !lowByte_);
}

void CReportParser::Append(std::span<const std::byte> bytes)
{
    if (lowByte_) {
        buffer_ += Unit(*lowByte_, bytes.front());
        lowByte_.reset();
        bytes = bytes.subspan(1);
    }
    const std::size_t old = buffer_.size();
    const std::size_t units = bytes.size() / 2;
    buffer_.resize(old + units);
    if constexpr (std::endian::native == std::endian::little)
        std::memcpy(buffer_.data() + old, bytes.data(), units * 2);
    else
        for (std::size_t at = 0; at < units; ++at)
            buffer_[old + at] = Unit(bytes[2 * at], bytes[2 * at + 1]);
    if (bytes.size() % 2 != 0)
        lowByte_ = bytes.back();
    if (!buffer_.empty())
        lastUnit_ = buffer_.back();
}

void CReportParser::SkipByteOrderMark()
{
    if (!atStart_ || buffer_.empty())
        return;
    atStart_ = false;
    if (buffer_.front() == kByteOrderMark) {
        sink_.OnOddity(Oddity::kByteOrderMark, 1);
        buffer_.erase(0, 1);
    }
}

void CReportParser::Scan(bool atEnd)
{
    hasText_ = hasText_ || !buffer_.empty();
    while (candidate_ || FindCandidate()) {
        Header header;
        const auto rest = std::u16string_view{buffer_}.substr(*candidate_);
        const Match match = MatchHeader(rest, atEnd, header);
        if (match == Match::kUndecided || (match == Match::kNo && !atEnd && MayBeUnfinished(rest)))
            return;
        if (match == Match::kNo && inFact_ && !rest.empty() && MayBeUnfinished(rest)) {
            EndAtUnfinishedLine();
            return;
        }
        if (match == Match::kYes) {
            EndFact(*candidate_);
            BeginFact(header);
        } else if (!rest.empty()) {
            RejectCandidate();
        }
        candidate_.reset();
    }
}

/// Goes on to where the next fact may begin.
/// @return false when that lies beyond the units at hand
bool CReportParser::FindCandidate()
{
    const std::size_t cut = inFact_ && !cutTried_ ? factStart_ + kLongestLine : buffer_.max_size();
    const std::size_t end = std::min(buffer_.size(), cut);
    const char16_t* const lineFeed =
        std::char_traits<char16_t>::find(buffer_.data() + scan_, end - scan_, u'\n');
    if (lineFeed != nullptr) {
        scan_ = static_cast<std::size_t>(lineFeed - buffer_.data()) + 1;
        ++line_;
    } else {
        scan_ = end;
        if (end != cut)
            return false;
        cutTried_ = true;
    }
    candidate_ = scan_;
    return true;
}

/// @param text what follows a place where a fact may begin
/// @param atEnd whether nothing will be added to it
CReportParser::Match CReportParser::MatchHeader(std::u16string_view text, bool atEnd,
                                                Header& header)
{
    const std::size_t end = std::min(text.size(), kLongestLine);
    const Match undecided = atEnd || end == kLongestLine ? Match::kNo : Match::kUndecided;

    std::size_t at = 0;
    while (at < end && IsSectionCharacter(text[at]))
        ++at;
    if (at == end)
        return undecided;
    if (at == 0 || text[at] != u'\t')
        return Match::kNo;
    header.section = at++;

    const bool isNegative = at < end && text[at] == u'-';
    if (isNegative)
        ++at;
    const std::size_t digits = at;
    constexpr std::int64_t kEnough = std::int64_t{1} << 40;  // beyond any index
    for (; at < end && IsDigit(text[at]); ++at)
        header.index = std::min(kEnough, header.index * 10 + (text[at] - u'0'));
    if (at == end)
        return undecided;
    if (at == digits || text[at] != u'\t')
        return Match::kNo;
    if (isNegative)
        header.index = -1 - header.index;  // so that -0 is out of range, too
    header.property = at + 1;
    return Match::kYes;
}

/// Whether a text that begins no fact is, as far as it has come, a line without its end: the rest of a
/// line that nobody wrote to its end.
bool CReportParser::MayBeUnfinished(std::u16string_view text)
{
    return text.size() < kLongestLine && text.find(u'\n') == text.npos;
}

void CReportParser::EndAtUnfinishedLine()
{
    EndFact(*candidate_);
    sink_.OnOddity(Oddity::kUnfinished, line_);
    inFact_ = false;
    candidate_.reset();
}

void CReportParser::RejectCandidate()
{
    const bool isLine = *candidate_ == 0 || buffer_[*candidate_ - 1] == u'\n';
    if (inFact_ && *candidate_ == factStart_ + kLongestLine && cutTried_)
        sink_.OnOddity(Oddity::kLong, factLine_);
    else if (isLine && !continued_)
        sink_.OnOddity(inFact_ ? Oddity::kContinued : Oddity::kNoFact, line_);
    continued_ = continued_ || isLine;
}

void CReportParser::BeginFact(const Header& header)
{
    inFact_ = true;
    header_ = header;
    factStart_ = *candidate_;
    factLine_ = line_;
    cutTried_ = continued_ = shortened_ = false;
    ++facts_;
}

std::u16string_view CReportParser::WithoutLineEnd(std::u16string_view text, bool* isCut,
                                                  bool* isUnfinished)
{
    *isCut = *isUnfinished = false;
    if (text.ends_with(u'\n')) {
        text.remove_suffix(1);
        if (text.ends_with(u'\r')) {
            text.remove_suffix(1);
            sink_.OnOddity(Oddity::kCarriageReturn, factLine_);
        }
    } else if (text.size() == kLongestLine) {
        *isCut = true;
        sink_.OnOddity(Oddity::kCut, factLine_);
    } else {
        *isCut = *isUnfinished = true;
        sink_.OnOddity(Oddity::kUnfinished, line_);
    }
    return text;
}

void CReportParser::EndFact(std::size_t end)
{
    if (!inFact_)
        return;
    bool isCut = false, isUnfinished = false;
    auto text = WithoutLineEnd(std::u16string_view{buffer_}.substr(factStart_, end - factStart_),
                               &isCut, &isUnfinished);
    if (shortened_) {
        text = text.substr(0, kLongestFact);
        sink_.OnOddity(Oddity::kShortened, factLine_);
    }
    if (header_.index < 0 || header_.index > std::numeric_limits<std::int32_t>::max()) {
        sink_.OnOddity(Oddity::kIndexRange, factLine_);
        return;
    }
    const auto rest = text.substr(std::min(text.size(), header_.property));
    const std::size_t propertyEnd = std::min(rest.size(), rest.find_first_of(u"\t\n"));
    const bool hasValue = propertyEnd != rest.size() && rest[propertyEnd] == u'\t';
    if (isUnfinished && !hasValue)
        return;  // its property may lack its end
    if (!hasValue)
        sink_.OnOddity(Oddity::kNoValue, factLine_);
    sink_.OnFact({factLine_, text.substr(0, header_.section),
                  static_cast<std::int32_t>(header_.index), rest.substr(0, propertyEnd),
                  rest.substr(std::min(rest.size(), propertyEnd + 1)), isCut});
}

/// Gives up the units before the present fact, and those of the fact that are beyond the limit.
void CReportParser::Compact()
{
    // The line feed before an undecided place still has to end the fact.
    const std::size_t seen =
        candidate_ ? *candidate_ - std::min<std::size_t>(*candidate_, 1) : scan_;
    const std::size_t kept = inFact_ ? kLongestFact : 0;
    std::size_t excess = 0;
    if (seen > factStart_ + kept) {
        excess = seen - factStart_ - kept;
        buffer_.erase(factStart_ + kept, excess);
        shortened_ = inFact_;
    }
    const std::size_t moved = excess + factStart_;
    buffer_.erase(0, factStart_);
    scan_ -= moved;
    if (candidate_)
        *candidate_ -= moved;
    factStart_ = 0;
}

}  // namespace orrery::report
