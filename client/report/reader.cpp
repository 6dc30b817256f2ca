#include "client/report/reader.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <fstream>
#include <memory>
#include <optional>
#include <span>
#include <system_error>
#include <unordered_map>
#include <utility>

#include "client/system/console.h"
#include "client/system/exit_codes.h"
#include "client/text/utf8.h"

namespace orrery::report {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kBlockBytes = std::size_t{256} * 1024;
constexpr std::uint64_t kShownOfAKind = 5;

struct OddityText {
    Oddity oddity;
    const char* text;
};

constexpr auto kOddityTexts = std::to_array<OddityText>({
    {Oddity::kEmpty, "the report is empty"},
    {Oddity::kByteOrderMark,
     "the report begins with a byte-order mark, which the library does not write; it was skipped"},
    {Oddity::kUtf8,
     "the report is text in UTF-8, not the UTF-16LE that the library writes; it was "
     "read all the same"},
    {Oddity::kOddBytes, "the report ends within a character; its last byte was left out"},
    {Oddity::kNoFact, "no fact begins here; everything before the first fact was left out"},
    {Oddity::kIndexRange, "the index is not from 0 to 2147483647; the fact was left out"},
    {Oddity::kNoValue, "the fact has no value"},
    {Oddity::kCut, "the line was cut at 1023 characters; the value may lack its end"},
    {Oddity::kContinued, "no fact begins here; the line was taken as part of the value before it"},
    {Oddity::kLong, "the line is longer than the library writes; it may hold more than one fact"},
    {Oddity::kShortened, "the value is longer than 1048576 characters; its end was left out"},
    {Oddity::kCarriageReturn, "a carriage return before the line feed was left out"},
    {Oddity::kUnfinished, "the report is cut within this line; its value may lack its end"},
    {Oddity::kSurrogate, "the text is no valid Unicode; what cannot be spelled became U+FFFD"},
    {Oddity::kDuplicate, "the fact was there before; this later value counts"},
});

std::string TextOf(Oddity oddity)
{
    const auto row =
        std::find_if(kOddityTexts.begin(), kOddityTexts.end(),
                     [oddity](const OddityText& each) { return each.oddity == oddity; });
    return row != kOddityTexts.end() ? row->text : "";
}

/// What a file that is no report seems to be, from its first bytes.
std::string DescribeForeign(std::span<const unsigned char> start)
{
    const auto begins = [start](std::initializer_list<int> bytes) {
        return start.size() >= bytes.size() &&
               std::equal(bytes.begin(), bytes.end(), start.begin());
    };
    const auto zeros = [start](std::size_t from) {
        std::size_t count = 0;
        for (std::size_t at = from; at < start.size(); at += 2)
            count += start[at] == 0 ? 1u : 0u;
        return count;
    };
    const std::size_t half = start.size() / 2;
    if (begins({0xFF, 0xFE, 0, 0}) || begins({0, 0, 0xFE, 0xFF}))
        return "it is text in UTF-32";
    if (begins({0xFE, 0xFF}) || (zeros(0) > half / 2 && zeros(1) < half / 4))
        return "it is text in big-endian UTF-16";
    const bool isText = std::none_of(start.begin(), start.end(), [](unsigned char byte) {
        return byte < 0x20 && byte != '\t' && byte != '\r' && byte != '\n';
    });
    if (begins({0xEF, 0xBB, 0xBF}) || isText)
        return "it is not UTF-16, but perhaps text in UTF-8 or another encoding";
    return "none of its lines begins with a section, an index and a property between tabs";
}

/// The bytes of a file, or of standard input.
class CBytes {
public:
    explicit CBytes(const fs::path& path)
    {
        if (path == kStandardStream)
            stream_ = StandardInput();
        else
            file_.open(path, std::ios::binary);
    }
    /// Fills the block with the next bytes, of which there are as many as fit in but for the last ones.
    /// @return false at the end
    bool Read(std::vector<char>* block)
    {
        block->resize(kBlockBytes);
        if (stream_ != nullptr) {
            block->resize(std::fread(block->data(), 1, block->size(), stream_));
        } else if (file_) {
            file_.read(block->data(), static_cast<std::streamsize>(block->size()));
            block->resize(static_cast<std::size_t>(file_.gcount()));
        } else {
            return false;
        }
        return !block->empty();
    }
    /// Whether it was something else than the end that there was no more.
    bool isBroken() const
    {
        return stream_ != nullptr ? std::ferror(stream_) != 0 : file_.bad() || !file_.eof();
    }

private:
    std::ifstream file_;
    std::FILE* stream_ = nullptr;
};

/// Whether the first line is a fact, after a mark perhaps, in bytes of which none is the zero that
/// nearly every second one of a report is.
bool BeginsInUtf8(std::string_view start)
{
    if (start.starts_with("\xEF\xBB\xBF"))
        start.remove_prefix(3);
    start = start.substr(0, CReportParser::kLongestLine);
    if (start.find('\0') != start.npos)
        return false;
    const std::size_t section = start.find('\t');
    const std::size_t index = section == start.npos ? section : start.find('\t', section + 1);
    return section != 0 && index != start.npos && index > section + 1 &&
           std::all_of(start.begin(), start.begin() + static_cast<std::ptrdiff_t>(section),
                       [](char unit) { return unit > ' ' && unit < '\x7F'; }) &&
           start.substr(section + 1, index - section - 1).find_first_not_of("0123456789") ==
               start.npos;
}

/// Makes UTF-16LE of the parts of a text in UTF-8, wherever it was parted.
class CUtf8Decoder {
public:
    const std::vector<char>& Decode(const std::vector<char>& part)
    {
        waiting_.append(part.begin(), part.end());
        if (isFirst_ && waiting_.starts_with("\xEF\xBB\xBF"))
            waiting_.erase(0, 3);
        isFirst_ = false;
        return Take(WholeCharacters(waiting_));
    }
    /// What has waited for the end of its last character.
    const std::vector<char>& Rest() { return Take(waiting_.size()); }
    /// Whether there was something else than UTF-8.
    bool hasReplaced() const { return hasReplaced_; }

private:
    static std::size_t WholeCharacters(std::string_view text)
    {
        for (std::size_t back = 1; back <= 3 && back <= text.size(); ++back) {
            const auto byte = static_cast<unsigned char>(text[text.size() - back]);
            const std::size_t size = byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : byte >= 0xC0 ? 2 : 1;
            if (size > 1)
                return size > back ? text.size() - back : text.size();
            if (byte < 0x80)
                break;
        }
        return text.size();
    }
    const std::vector<char>& Take(std::size_t size)
    {
        std::string units;
        hasReplaced_ =
            AppendUtf16(std::string_view{waiting_}.substr(0, size), &units) || hasReplaced_;
        waiting_.erase(0, size);
        units_.assign(units.begin(), units.end());
        return units_;
    }

    bool isFirst_ = true, hasReplaced_ = false;
    std::string waiting_;
    std::vector<char> units_;
};

[[noreturn]] void FailUnreadable(const fs::path& path, int error)
{
    std::error_code ignored;
    std::string reason;
    if (path == kStandardStream)
        throw CommandError(ExitCode::kInput,
                           "standard input cannot be read: " +
                               (error != 0 ? std::generic_category().message(error)
                                           : std::string{"the reading failed"}) +
                               "; have a program or \"<\" give a report to it");
    if (fs::is_directory(path, ignored))
        reason = "it is a folder; give the name of a report in it";
    else if (!fs::exists(path, ignored))
        reason = "there is no such file; check the name";
    else
        reason = (error != 0 ? std::generic_category().message(error) : "the reading failed") +
                 "; check that you may read it and that its disk is in order";
    throw CommandError(ExitCode::kInput,
                       "the report " + Quoted(path) + " cannot be read: " + reason);
}

}  // namespace

std::string Quoted(const std::filesystem::path& path)
{
    const std::u8string text = path.u8string();
    if (path == kStandardStream)
        return "standard input";
    return '"' + std::string{text.begin(), text.end()} + '"';
}

void CWarnings::Add(Oddity oddity, std::uint64_t line)
{
    const std::uint64_t count = ++counts_[oddity];
    if (oddity != Oddity::kCarriageReturn && count <= kShownOfAKind)
        warnings_.push_back({line, TextOf(oddity)});
}

std::vector<Warning> CWarnings::Take()
{
    std::stable_sort(warnings_.begin(), warnings_.end(),
                     [](const Warning& a, const Warning& b) { return a.line < b.line; });
    for (const auto& [oddity, count] : counts_)
        if (oddity == Oddity::kCarriageReturn)
            warnings_.push_back({0, TextOf(oddity) + " of " + std::to_string(count) +
                                        (count == 1 ? " line" : " lines")});
        else if (count > kShownOfAKind)
            warnings_.push_back(
                {0, std::to_string(count - kShownOfAKind) + " further lines: " + TextOf(oddity)});
    counts_.clear();
    return std::exchange(warnings_, {});
}

void ParseReport(const fs::path& path, FactSink& sink)
{
    errno = 0;
    CBytes bytes{path};
    std::vector<char> block(kBlockBytes);
    std::array<unsigned char, 256> start{};
    std::size_t startSize = 0;
    CReportParser parser{sink};
    std::optional<CUtf8Decoder> decoder;
    for (bool isFirst = true; bytes.Read(&block); isFirst = false) {
        if (isFirst) {
            startSize = std::min(block.size(), start.size());
            std::copy_n(block.begin(), startSize, start.begin());
            if (BeginsInUtf8({block.data(), block.size()})) {
                sink.OnOddity(Oddity::kUtf8, 0);
                decoder.emplace();
            }
        }
        parser.Add(std::as_bytes(std::span{decoder ? decoder->Decode(block) : block}));
    }
    if (bytes.isBroken())
        FailUnreadable(path, errno);
    if (decoder) {
        parser.Add(std::as_bytes(std::span{decoder->Rest()}));
        if (decoder->hasReplaced())
            sink.OnOddity(Oddity::kSurrogate, 0);
    }
    parser.Finish();
    if (parser.hasText() && parser.facts() == 0)
        throw CommandError(
            ExitCode::kInput,
            (path == kStandardStream ? "" : "the file ") + Quoted(path) +
                " is no report: " + DescribeForeign(std::span{start}.first(startSize)) +
                "; give a file that \"orreryctl collect\" or orrery.dll wrote");
}

/// A report in the making: where each name already stands in it.
struct CReportBuilder::State {
    struct InstanceState {
        std::size_t position;
        std::unordered_map<std::string, std::size_t> properties;  // only of a large instance
    };
    struct SectionState {
        std::size_t position;
        std::unordered_map<std::int32_t, InstanceState> instances;
    };

    SectionState& FindOrAddSection(const std::string& name);
    Property& FindOrAddProperty(SectionState& section, std::int32_t index, const std::string& name,
                                bool* isNew);

    FactFilter isKept;
    Report report;
    CWarnings warnings;
    CCompletenessCheck completeness;
    std::unordered_map<std::string, SectionState> sections;
    SectionState* lastSection = nullptr;
    std::string sectionName, propertyName;  // of the present fact; kept for their memory
};

CReportBuilder::State::SectionState& CReportBuilder::State::FindOrAddSection(
    const std::string& name)
{
    if (lastSection != nullptr && report.sections[lastSection->position].name == name)
        return *lastSection;
    const auto [found, isNew] =
        sections.try_emplace(name, SectionState{report.sections.size(), {}});
    if (isNew)
        report.sections.push_back({name, {}});
    return *(lastSection = &found->second);
}

Property& CReportBuilder::State::FindOrAddProperty(SectionState& section, std::int32_t index,
                                                   const std::string& name, bool* isNew)
{
    auto& instances = report.sections[section.position].instances;
    const auto [found, isNewInstance] =
        section.instances.try_emplace(index, InstanceState{instances.size(), {}});
    if (isNewInstance)
        instances.push_back({index, {}});
    auto& properties = instances[found->second.position].properties;

    // No section of the library has so many; whatever has is looked up at a steady cost.
    constexpr std::size_t kMany = 32;
    std::size_t at = 0;
    if (properties.size() < kMany) {
        at = static_cast<std::size_t>(
            std::find_if(properties.begin(), properties.end(),
                         [&name](const Property& each) { return each.name == name; }) -
            properties.begin());
    } else {
        auto& positions = found->second.properties;
        for (std::size_t each = positions.size(); each < properties.size(); ++each)
            positions.try_emplace(properties[each].name, each);
        at = positions.try_emplace(name, properties.size()).first->second;
    }
    *isNew = at == properties.size();
    if (*isNew)
        properties.push_back({name, {}});
    return properties[at];
}

CReportBuilder::CReportBuilder(FactFilter isKept) : state_(std::make_unique<State>())
{
    state_->isKept = std::move(isKept);
}

CReportBuilder::~CReportBuilder() = default;

void CReportBuilder::OnFact(const FactView& fact)
{
    state_->completeness.OnFact(fact);
    std::string &section = state_->sectionName, &property = state_->propertyName;
    section.clear();
    AppendUtf8(fact.section, &section);
    property.clear();
    const bool nameReplaced = AppendUtf8(fact.property, &property);
    const bool isElapsed = IsElapsedTime(fact);
    if (!isElapsed && state_->isKept && !state_->isKept(section, property)) {
        state_->FindOrAddSection(section);
        return;
    }
    std::string value;
    value.reserve(fact.value.size());
    if (AppendUtf8(fact.value, &value) || nameReplaced)
        OnOddity(Oddity::kSurrogate, fact.line);

    if (isElapsed) {
        state_->report.elapsedTimes.push_back(std::move(value));
        return;
    }
    bool isNew = false;
    Property& kept =
        state_->FindOrAddProperty(state_->FindOrAddSection(section), fact.index, property, &isNew);
    kept.value = std::move(value);
    if (!isNew)
        OnOddity(Oddity::kDuplicate, fact.line);
}

void CReportBuilder::OnOddity(Oddity oddity, std::uint64_t line)
{
    state_->warnings.Add(oddity, line);
}

void CReportBuilder::OnEnd(bool endsLine)
{
    state_->report.completeness = state_->completeness.Result(endsLine);
}

Report CReportBuilder::Take()
{
    for (Section& section : state_->report.sections)
        std::sort(section.instances.begin(), section.instances.end(),
                  [](const Instance& a, const Instance& b) { return a.index < b.index; });
    state_->report.warnings = state_->warnings.Take();
    return std::move(state_->report);
}

Report ReadReport(const std::filesystem::path& path, const FactFilter& isKept)
{
    CReportBuilder builder{isKept};
    ParseReport(path, builder);
    return builder.Take();
}

}  // namespace orrery::report
