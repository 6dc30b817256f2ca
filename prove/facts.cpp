#include "prove/facts.h"

#include <cstddef>
#include <cwchar>
#include <span>
#include <string_view>

#include "client/system/console.h"
#include "client/report/parser.h"
#include "client/text/utf8.h"

namespace orrery::prove {
namespace {

struct Owner {
    std::u16string_view section;
    std::u16string_view property;  ///< empty for all that are not listed
    const char* category;
};

// Two categories write to sections of others, so single properties come first.
constexpr Owner kOwners[] = {
    {u"BIOS", u"Mode", "SystemOverview"},
    {u"PhysicalMemoryLocation", u"MemorySlots", "SystemOverview"},
    {u"BIOS", u"", "BIOS"},
    {u"BaseBoard", u"", "BaseBoard"},
    {u"ComputerSystem", u"", "CompSys"},
    {u"DiskDrive", u"", "PhysicalDrive"},
    {u"LogicalDisk", u"", "PhysicalDrive"},
    {u"NetworkAdapter", u"", "Network"},
    {u"OperatingSystem", u"", "OS"},
    {u"PhysicalMemory", u"", "Memory"},
    {u"PhysicalMemoryLocation", u"", "BIOS"},
    {u"Processor", u"", "CPU"},
    {u"SystemEnclosure", u"", "Enclosure"},
    {u"SystemOverview", u"", "SystemOverview"},
    {u"SystemSlot", u"", "SystemSlot"},
    {u"USBDevice", u"", "USB"},
    {u"VideoController", u"", "Video"},
};

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
        for (const Owner& owner : kOwners)
            if (owner.section == fact.section &&
                (owner.property.empty() || owner.property == fact.property)) {
                const auto caller = CallerOf(owner.category).value_or(kTheRun);
                facts_.byCaller[static_cast<std::size_t>(caller)][key] = fact.value;
                return;
            }
        Expect(false, "a fact of an unknown section", fact);
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
