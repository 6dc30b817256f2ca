#include "client/report/section_digests.h"

#include <array>
#include <cstdint>
#include <random>
#include <set>
#include <unordered_map>

#include "client/report/diff.h"
#include "client/report/reader.h"
#include "client/text/utf8.h"

namespace orrery::report {
namespace {

/// Of all lines of a section, in their order: 128 bits, seeded anew for each run, so that no report can
/// be made to look like another one.
class CDigest {
public:
    void Add(std::u16string_view text)
    {
        for (const char16_t unit : text)
            AddUnit(unit);
        AddUnit(0x10000);  // no text has this, so that no two lists of texts look the same
    }
    bool operator==(const CDigest&) const = default;

private:
    static std::uint64_t Seed()
    {
        std::random_device random;
        return std::uint64_t{random()} << 32 | random();
    }
    void AddUnit(std::uint32_t unit)
    {
        // Source: FNV-1a's prime, and the multiplier of Knuth's MMIX generator.
        first_ = (first_ ^ unit) * 0x00000100000001B3;
        second_ = (second_ + unit) * 6364136223846793005;
        second_ ^= second_ >> 29;
    }

    static inline const std::uint64_t kFirstSeed = Seed(), kSecondSeed = Seed();
    std::uint64_t first_ = kFirstSeed, second_ = kSecondSeed;
};

using Digests = std::unordered_map<std::string, CDigest>;

class CDigestSink : public FactSink {
public:
    explicit CDigestSink(bool withPassing) : withPassing_(withPassing) {}
    void OnFact(const FactView& fact) override
    {
        if (last_ == nullptr || fact.section != std::u16string_view{lastSection_}) {
            lastSection_ = fact.section;
            section_.assign(fact.section.begin(), fact.section.end());
            last_ = &digests[section_];
        }
        property_.clear();
        AppendUtf8(fact.property, &property_);
        if (IsElapsedTime(fact) || (!withPassing_ && IsPassing(section_, property_)))
            return;
        const auto index = static_cast<std::uint32_t>(fact.index);
        const std::array units{static_cast<char16_t>(index >> 16), static_cast<char16_t>(index)};
        last_->Add({units.data(), units.size()});
        last_->Add(fact.property);
        last_->Add(fact.value);
    }
    void OnOddity(Oddity /*oddity*/, std::uint64_t /*line*/) override {}

    Digests digests;

private:
    const bool withPassing_;
    std::u16string lastSection_;
    std::string section_;  // the same
    CDigest* last_ = nullptr;
    std::string property_;  // of the present fact; kept for its memory
};

Digests DigestsOf(const std::filesystem::path& path, bool withPassing)
{
    CDigestSink sink{withPassing};
    ParseReport(path, sink);
    return std::move(sink.digests);
}

}  // namespace

FactFilter KeepDifferingSections(const std::filesystem::path& before,
                                 const std::filesystem::path& after, bool withPassing)
{
    std::error_code ignored;
    for (const auto& path : {before, after})
        if (std::filesystem::exists(path, ignored) &&
            !std::filesystem::is_regular_file(path, ignored))
            return {};
    const Digests old = DigestsOf(before, withPassing), now = DigestsOf(after, withPassing);
    std::set<std::string, std::less<>> kept;
    for (const auto& [section, digest] : old)
        if (const auto other = now.find(section); other != now.end() && other->second != digest)
            kept.insert(section);
    return [kept](std::string_view section, std::string_view) { return kept.contains(section); };
}

}  // namespace orrery::report
