#include "client/report/find_value.h"

#include <algorithm>
#include <charconv>

#include "client/system/exit_codes.h"
#include "client/report/reader.h"
#include "client/report/vocabulary.h"
#include "client/text/utf8.h"

namespace orrery::report {
namespace {

/// Compares names, whose letters are ASCII.
bool IsEqualButForCase(std::u16string_view one, std::u16string_view other)
{
    const auto lower = [](char16_t unit) {
        return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + 32) : unit;
    };
    return std::equal(
        one.begin(), one.end(), other.begin(), other.end(),
        [lower](char16_t left, char16_t right) { return lower(left) == lower(right); });
}

/// Keeps the latest value of one name, and the elapsed time at one place.
class CValueSink : public FactSink {
public:
    explicit CValueSink(const ValueName& name)
        : name_(name), section_(Wide(name.section)), wideProperty_(Wide(name.property))
    {
        const auto category = std::find(kCategories.begin(), kCategories.end(), name.property);
        if (name.section == "ET" && name.index == 0)
            elapsedPlace_ = static_cast<std::size_t>(category - kCategories.begin());
    }
    void OnFact(const FactView& fact) override
    {
        check_.OnFact(fact);
        if (IsElapsedTime(fact)) {
            if (elapsedCount_++ == elapsedPlace_)
                Keep(fact, &elapsed_);
            return;
        }
        if (alike_.empty() && fact.index == name_.index)
            NoteAlike(fact);
        if (fact.section != section_ || fact.index != name_.index)
            return;
        property_.clear();
        AppendUtf8(fact.property, &property_);
        if (property_ == name_.property) {
            if (value_)
                OnOddity(Oddity::kDuplicate, fact.line);
            Keep(fact, &value_);
        }
    }
    void OnOddity(Oddity oddity, std::uint64_t line) override { warnings_.Add(oddity, line); }
    void OnEnd(bool endsLine) override { completeness_ = check_.Result(endsLine); }

    FoundValue Take()
    {
        const bool areNamed = elapsedCount_ == kCategories.size();
        if (areNamed && name_.index == 0 && IsEqualButForCase(section_, u"ET"))
            for (const auto& category : kCategories)
                alike_.push_back("ET." + std::string{category});
        return {value_ || !areNamed ? value_ : elapsed_, std::move(alike_), warnings_.Take(),
                completeness_};
    }

private:
    static std::u16string Wide(const std::string& ascii) { return {ascii.begin(), ascii.end()}; }

    /// Keeps the name of a fact that the user may have meant.
    void NoteAlike(const FactView& fact)
    {
        if (!IsEqualButForCase(fact.section, section_) ||
            !IsEqualButForCase(fact.property, wideProperty_))
            return;
        std::string& name = alike_.emplace_back();
        AppendUtf8(fact.section, &name);
        name += '.';
        AppendUtf8(fact.property, &name);
        if (name_.index != 0)
            name += '.' + std::to_string(name_.index);
    }
    void Keep(const FactView& fact, std::optional<std::string>* value)
    {
        value->emplace();
        if (AppendUtf8(fact.value, &**value))
            OnOddity(Oddity::kSurrogate, fact.line);
    }

    const ValueName& name_;
    const std::u16string section_, wideProperty_;
    std::size_t elapsedPlace_ = kCategories.size();
    std::size_t elapsedCount_ = 0;
    std::string property_;  // of the present fact; kept for its memory
    std::optional<std::string> value_, elapsed_;
    std::vector<std::string> alike_;
    CWarnings warnings_;
    CCompletenessCheck check_;
    Completeness completeness_;
};

}  // namespace

ValueName ParseValueName(std::string_view text)
{
    const auto fail = [text] {
        throw CommandError(ExitCode::kInput,
                           "\"" + std::string{text} +
                               "\" names no value; give SECTION.PROPERTY or, for other instances "
                               "than the first, SECTION.PROPERTY.INDEX, such as BIOS.Version or "
                               "LogicalDisk.Size.1");
    };
    const std::size_t first = text.find('.');
    if (first == 0 || first == std::string_view::npos)
        fail();
    ValueName name{std::string{text.substr(0, first)}, std::string{text.substr(first + 1)}, 0};
    const std::size_t last = name.property.rfind('.');
    if (last == std::string::npos)
        return name;
    const char* const end = name.property.data() + name.property.size();
    const auto [stop, error] = std::from_chars(name.property.data() + last + 1, end, name.index);
    if (error != std::errc{} || stop != end || name.index < 0)
        fail();
    name.property.resize(last);
    return name;
}

FoundValue FindValue(const std::filesystem::path& path, const ValueName& name)
{
    CValueSink sink{name};
    ParseReport(path, sink);
    return sink.Take();
}

}  // namespace orrery::report
