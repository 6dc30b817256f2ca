#include "client/report/reader.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fstream>
#include <memory>
#include <optional>
#include <span>
#include <system_error>
#include <unordered_map>
#include <utility>

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
    {Oddity::kOddBytes, "the report ends within a character; its last byte was left out"},
    {Oddity::kNoFact, "no fact begins here; everything before the first fact was left out"},
    {Oddity::kIndexRange, "the index is not from 0 to 2147483647; the fact was left out"},
    {Oddity::kNoValue, "the fact has no value"},
    {Oddity::kCut, "the line was cut at 1023 characters; the value may lack its end"},
    {Oddity::kContinued, "no fact begins here; the line was taken as part of the value before it"},
    {Oddity::kLong, "the line is longer than the library writes; it may hold more than one fact"},
    {Oddity::kShortened, "the value is longer than 1048576 characters; its end was left out"},
    {Oddity::kCarriageReturn, "the line ends in a carriage return, which was left out"},
    {Oddity::kUnfinished, "the report is cut within this line; its value may lack its end"},
    {Oddity::kSurrogate, "the text is no valid UTF-16; what cannot be spelled became U+FFFD"},
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

[[noreturn]] void FailUnreadable(const fs::path& path, int error)
{
    std::error_code ignored;
    std::string reason;
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
    return '"' + std::string{text.begin(), text.end()} + '"';
}

void CWarnings::Add(Oddity oddity, std::uint64_t line)
{
    if (++counts_[oddity] <= kShownOfAKind)
        warnings_.push_back({line, TextOf(oddity)});
}

std::vector<Warning> CWarnings::Take()
{
    std::stable_sort(warnings_.begin(), warnings_.end(),
                     [](const Warning& a, const Warning& b) { return a.line < b.line; });
    for (const auto& [oddity, count] : counts_)
        if (count > kShownOfAKind)
            warnings_.push_back(
                {0, std::to_string(count - kShownOfAKind) + " further lines: " + TextOf(oddity)});
    counts_.clear();
    return std::exchange(warnings_, {});
}

void ParseReport(const std::filesystem::path& path, FactSink& sink)
{
    errno = 0;
    std::ifstream file{path, std::ios::binary};
    std::vector<char> block(kBlockBytes);
    std::array<unsigned char, 256> start{};
    std::size_t startSize = 0;
    CReportParser parser{sink};
    while (file) {
        file.read(block.data(), static_cast<std::streamsize>(block.size()));
        const auto bytes = std::span{block}.first(static_cast<std::size_t>(file.gcount()));
        const std::size_t missing = std::min(bytes.size(), start.size() - startSize);
        std::copy_n(bytes.begin(), missing, start.begin() + static_cast<std::ptrdiff_t>(startSize));
        startSize += missing;
        parser.Add(std::as_bytes(bytes));
    }
    if (file.bad() || !file.eof())
        FailUnreadable(path, errno);
    parser.Finish();
    if (parser.hasText() && parser.facts() == 0)
        throw CommandError(ExitCode::kInput,
                           "the file " + Quoted(path) + " is no report: " +
                               DescribeForeign(std::span{start}.first(startSize)) +
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
