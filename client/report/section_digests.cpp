#include "client/report/section_digests.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <cstdint>
#include <set>
#include <unordered_map>
#include <utility>

#include "client/report/reader.h"
#include "client/report/vocabulary.h"
#include "client/text/utf8.h"

namespace orrery::report {
namespace {

/// Of all facts of a section, in their order.
struct Digest {
    XXH128_hash_t hash{};

    bool operator==(const Digest& other) const noexcept
    {
        return XXH128_isEqual(hash, other.hash) != 0;
    }
};

using Digests = std::unordered_map<std::string, Digest>;

class CDigestSink : public FactSink {
public:
    explicit CDigestSink(bool withPassing) : withPassing_(withPassing) {}
    void OnFact(const FactView& fact) override
    {
        if (last_ == nullptr || fact.section != std::u16string_view{lastSection_}) {
            lastSection_ = fact.section;
            section_.clear();
            AppendUtf8(fact.section, &section_);
            last_ = &digests[section_];
        }
        property_.clear();
        AppendUtf8(fact.property, &property_);
        if (IsElapsedTime(fact) || (!withPassing_ && RoleOf(section_, property_) == Role::kPassing))
            return;
        // A property has no tab, so this is another text for every other fact or digest before it.
        text_.clear();
        Append(&last_->hash, sizeof last_->hash);
        Append(&fact.index, sizeof fact.index);
        Append(fact.property.data(), fact.property.size() * sizeof(char16_t));
        Append(u"\t", sizeof(char16_t));
        Append(fact.value.data(), fact.value.size() * sizeof(char16_t));
        last_->hash = XXH3_128bits(text_.data(), text_.size());
    }
    void OnOddity(Oddity /*oddity*/, std::uint64_t /*line*/) override {}

    Digests digests;

private:
    void Append(const void* bytes, std::size_t size)
    {
        text_.append(static_cast<const char*>(bytes), size);
    }

    const bool withPassing_;
    std::u16string lastSection_;
    std::string section_;  // the same
    Digest* last_ = nullptr;
    std::string property_, text_;  // of the present fact; kept for their memory
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
