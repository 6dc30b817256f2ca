#include "prove/facts.h"

#include <cstddef>
#include <cwchar>
#include <span>
#include <string>

#include "client/system/console.h"
#include "client/report/parser.h"
#include "client/report/vocabulary.h"
#include "client/text/utf8.h"

namespace orrery::prove {
namespace {

class Sorter : public report::FactSink {
public:
    explicit Sorter(Facts& facts) : facts_(facts) {}

    void OnFact(const report::FactView& fact) override
    {
        if (report::IsElapsedTime(fact)) {
            ++facts_.elapsedTimes;
            Expect(!fact.value.empty() &&
                       fact.value.find_first_not_of(u"0123456789") == fact.value.npos,
                   "an elapsed time that is no number", fact);
            return;
        }
        std::u16string key{fact.section};
        key.append(1, u'\\').append(fact.property).append(1, u'\\');
        for (const char digit : std::to_string(fact.index))
            key += static_cast<char16_t>(digit);
        Expect(last_ < key, "a fact out of order", fact);
        last_ = key;
        std::string section, property;
        AppendUtf8(fact.section, &section);
        AppendUtf8(fact.property, &property);
        const report::Term* const term = report::FindTerm(section, property);
        Expect(term != nullptr && !term->category.empty(), "a fact that no category tells", fact);
        const int caller =
            term != nullptr ? CallerOf(std::string{term->category}).value_or(kTheRun) : kTheRun;
        facts_.byCaller[static_cast<std::size_t>(caller)][key] = fact.value;
    }

    void OnOddity(report::Oddity oddity, std::uint64_t line) override
    {
        // A value may be as long as it likes, its line is cut; and there may be no fact at all.
        if (oddity != report::Oddity::kCut && oddity != report::Oddity::kEmpty)
            facts_.flaws += "; line " + std::to_string(line) + " is odd (kind " +
                            std::to_string(static_cast<int>(oddity)) + ")";
    }

private:
    void Expect(bool holds, const char* what, const report::FactView& fact)
    {
        if (!holds)
            facts_.flaws += std::string{"; "} + what + " on line " + std::to_string(fact.line);
    }

    Facts& facts_;
    std::u16string last_;
};

}  // namespace

std::string Differences(const Facts& expected, const Facts& got, int caller)
{
    const auto& left = expected.byCaller[static_cast<std::size_t>(caller)];
    const auto& right = got.byCaller[static_cast<std::size_t>(caller)];
    std::string text;
    const auto note = [&](const char* what, const std::u16string& key) {
        text += "; " + CallerName(caller) + what + ToUtf8(std::wstring{key.begin(), key.end()});
    };
    for (const auto& [key, value] : left)
        if (const auto found = right.find(key); found == right.end())
            note(" lost ", key);
        else if (found->second != value)
            note(" changed ", key);
    for (const auto& [key, value] : right)
        if (!left.contains(key))
            note(" made up ", key);
    return text;
}

Facts FactsOf(const std::wstring& report)
{
    Facts facts;
    Sorter sorter{facts};
    report::CReportParser parser{sorter};
    parser.Add(std::as_bytes(std::span{report}));
    parser.Finish();
    return facts;
}

}  // namespace orrery::prove
