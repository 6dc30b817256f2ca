#include "client/report/redact.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <unordered_map>
#include <utility>
#include <vector>

#include "client/report/phrases.h"
#include "client/report/vocabulary.h"
#include "client/text/fold_case.h"

namespace orrery::report {
namespace {

// Addresses that say nothing about the network: no DHCP answer yet, and the machine itself.
constexpr auto kNeutralAddresses =
    std::to_array<std::string_view>({"255.255.255.255", "127.0.0.1", "::1"});

constexpr std::string_view kAlphanumerics =
    "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
constexpr std::string_view kDigits = kAlphanumerics.substr(0, 10);
constexpr std::string_view kBlanks = " \t\r\n";
constexpr auto kNowhere = std::string_view::npos;

std::string_view Trimmed(std::string_view text)
{
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == kNowhere)
        return {};
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

bool IsAscii(std::string_view text)
{
    return std::all_of(text.begin(), text.end(), [](char byte) { return (byte & 0x80) == 0; });
}

/// Whether a number or address says nothing, such as "0", "00-00-00-00-00-00" or "true".
bool IsNeutral(std::string_view value)
{
    if (value == "true" || value == "false")
        return true;
    return IsAscii(value) && value.find_first_of(kAlphanumerics.substr(1)) == kNowhere;
}

}  // namespace

/// The placeholders given out so far, and what each of them stands for.
class CPlaceholders {
public:
    /// The placeholder of a name, which is also replaced in other texts unless it is a number.
    std::string ForName(const char* kind, std::string_view name)
    {
        return For(kind, FoldCase(name), name.find_first_not_of(kDigits) != kNowhere);
    }

    /// The placeholder of a serial number or an address, which is also replaced in other texts unless
    /// it could be something ordinary.
    std::string ForNumber(const char* kind, std::string_view number)
    {
        constexpr std::size_t kShortestToFind = 6;
        return For(kind, FoldCase(number),
                   number.size() >= kShortestToFind && number.find_first_of(kDigits) != kNowhere);
    }

    /// The placeholder of a wireless network, which letter case tells apart from others; its name may
    /// be any word, so it is not looked for elsewhere.
    std::string ForNetwork(std::string_view name)
    {
        const auto [entry, isNew] = networks_.try_emplace(std::string{name}, networks_.size() + 1);
        return "ssid-" + std::to_string(entry->second);
    }

    /// Has to be called after the last value and before the first text.
    void Prepare() { terms_.Prepare(); }

    /// The text with placeholders where it has what they stand for as whole words. What was put in is
    /// not searched again.
    std::string ReplaceIn(const std::string& text) const
    {
        std::string result;
        std::size_t copied = 0;
        for (const auto& [start, size, number] : terms_.FindIn(FoldCase(text))) {
            result.append(text, copied, start - copied).append(*placeholders_[number]);
            copied = start + size;
        }
        return copied == 0 ? text : result.append(text, copied);
    }

private:
    struct Known {
        std::string placeholder;
        bool isTerm = false;
    };
    std::string For(const char* kind, const std::string& folded, bool findElsewhere)
    {
        Known& known = known_[folded];
        if (known.placeholder.empty())
            known.placeholder = kind + ('-' + std::to_string(++counts_[kind]));
        if (findElsewhere && !known.isTerm)
            AddTerm(folded, known.placeholder);
        known.isTerm = known.isTerm || findElsewhere;
        return known.placeholder;
    }

    void AddTerm(const std::string& folded, const std::string& placeholder)
    {
        terms_.Add(folded, static_cast<std::uint32_t>(placeholders_.size()));
        placeholders_.push_back(&placeholder);
    }

    // One table for all kinds, so that an asset tag that is also the computer's name stays equal to it.
    std::unordered_map<std::string, Known> known_;  // by folded value
    std::map<std::string, std::size_t> counts_;     // by kind
    std::unordered_map<std::string, std::size_t> networks_;
    CPhrases terms_;                                // what to look for in other texts
    std::vector<const std::string*> placeholders_;  // of the terms, by their numbers
};

namespace {

std::string RedactAddress(std::string_view address, CPlaceholders* placeholders)
{
    // The zone of an IPv6 address is a number that only this machine knows.
    const std::size_t zone = address.find('%');
    const bool hasZone =
        zone != kNowhere && address.find_first_not_of(kDigits, zone + 1) == kNowhere;
    const std::string_view bare = hasZone ? address.substr(0, zone) : address;
    if (IsNeutral(bare) || std::find(kNeutralAddresses.begin(), kNeutralAddresses.end(), bare) !=
                               kNeutralAddresses.end())
        return std::string{address};
    return placeholders->ForNumber("ip", bare) + std::string{address.substr(bare.size())};
}

/// Replaces every item of a list of addresses and keeps what separates them.
std::string RedactAddresses(std::string_view list, CPlaceholders* placeholders)
{
    constexpr std::string_view kSeparators = ",;| \t\r\n";
    std::string result;
    while (!list.empty()) {
        const std::size_t end = std::min(list.find_first_of(kSeparators), list.size());
        result += RedactAddress(list.substr(0, end), placeholders);
        const std::size_t next = std::min(list.find_first_not_of(kSeparators, end), list.size());
        result += list.substr(end, next - end);
        list.remove_prefix(next);
    }
    return result;
}

/// "host" or "host.domain".
std::string RedactHost(std::string_view name, CPlaceholders* placeholders)
{
    const std::size_t dot = name.find('.');
    if (dot == kNowhere || dot == 0 || dot + 1 == name.size())
        return placeholders->ForName("host", name);
    const std::string host = placeholders->ForName("host", name.substr(0, dot));
    return host + '.' + placeholders->ForName("domain", name.substr(dot + 1));
}

/// "user" or "DOMAIN\user".
std::string RedactUser(std::string_view name, CPlaceholders* placeholders)
{
    const std::size_t slash = name.find('\\');
    if (slash == kNowhere || slash == 0 || slash + 1 == name.size())
        return placeholders->ForName("user", name);
    const std::string domain = placeholders->ForName("domain", name.substr(0, slash));
    return domain + '\\' + placeholders->ForName("user", name.substr(slash + 1));
}

/// WMI separates by colons what others separate by dashes.
std::string RedactMac(std::string address, CPlaceholders* placeholders)
{
    std::replace(address.begin(), address.end(), ':', '-');
    return placeholders->ForNumber("mac", address);
}

std::string RedactValue(Secret secret, const std::string& value, CPlaceholders* placeholders)
{
    const std::string_view trimmed = Trimmed(value);
    if (trimmed.empty())
        return value;
    switch (secret) {
        case Secret::kSerial:
            return IsNeutral(trimmed) ? value : placeholders->ForNumber("serial", trimmed);
        case Secret::kMac:
            return IsNeutral(trimmed) ? value : RedactMac(std::string{trimmed}, placeholders);
        case Secret::kAddresses:
            return RedactAddresses(value, placeholders);
        case Secret::kNetwork:
            return placeholders->ForNetwork(value);
        case Secret::kHost:
            return RedactHost(trimmed, placeholders);
        case Secret::kDomain:
            return placeholders->ForName("domain", trimmed);
        case Secret::kUser:
            return RedactUser(trimmed, placeholders);
        case Secret::kNothing:
            break;
    }
    return value;
}

}  // namespace

CRedactor::CRedactor() : placeholders_(std::make_unique<CPlaceholders>()) {}

CRedactor::~CRedactor() = default;

bool CRedactor::Take(std::string_view section, std::string_view property, std::string* value)
{
    const Secret secret = SecretOf(section, property);
    *value = Replaced(section, property, *value);
    // A computer may well be called "laptop", and a placeholder in place of such a word would give its
    // name away.
    if (secret == Secret::kNothing && !HasFixedValues(section, property))
        TakeText(value);
    return secret != Secret::kNothing;
}

std::string CRedactor::Replaced(std::string_view section, std::string_view property,
                                const std::string& value)
{
    return RedactValue(SecretOf(section, property), value, placeholders_.get());
}

void CRedactor::Finish()
{
    placeholders_->Prepare();
    for (std::string* const text : texts_)
        *text = placeholders_->ReplaceIn(*text);
}

namespace {

constexpr auto kPlaceholderKinds =
    std::to_array<std::string_view>({"serial", "mac", "ip", "ssid", "host", "domain", "user"});

/// Whether a value begins with a placeholder, such as "host-1.domain-2" or "ip-3, ip-4".
bool IsPlaceholder(std::string_view value)
{
    const std::size_t dash = value.find('-');
    const std::string_view kind = value.substr(0, dash);
    return dash != kNowhere && dash + 1 < value.size() &&
           kDigits.find(value[dash + 1]) != kNowhere &&
           std::find(kPlaceholderKinds.begin(), kPlaceholderKinds.end(), kind) !=
               kPlaceholderKinds.end();
}

void RedactAll(std::initializer_list<Report*> reports)
{
    CRedactor redactor;
    for (Report* const report : reports)
        for (Section& section : report->sections)
            for (Instance& instance : section.instances)
                for (Property& property : instance.properties)
                    redactor.Take(section.name, property.name, &property.value);
    for (Report* const report : reports)
        for (Warning& warning : report->warnings)
            redactor.TakeText(&warning.text);
    redactor.Finish();
}

}  // namespace

void Redact(Report* report)
{
    RedactAll({report});
}

void RedactTogether(Report* one, Report* other)
{
    RedactAll({one, other});
}

bool IsRedacted(const Report& report)
{
    bool isAny = false;
    for (const Section& section : report.sections)
        for (const Instance& instance : section.instances)
            for (const Property& property : instance.properties) {
                if (SecretOf(section.name, property.name) == Secret::kNothing)
                    continue;
                // One that says nothing stays in a redacted report.
                const bool isPlaceholder = IsPlaceholder(property.value);
                if (!isPlaceholder && CRedactor{}.Replaced(section.name, property.name,
                                                           property.value) != property.value)
                    return false;
                isAny = isAny || isPlaceholder;
            }
    return isAny;
}

}  // namespace orrery::report
