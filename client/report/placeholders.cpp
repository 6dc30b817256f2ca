#include "client/report/placeholders.h"

#include <algorithm>
#include <array>
#include <string>

#include "client/text/fold_case.h"

namespace orrery::report {
namespace {

/// In small letters, by letter, without blanks and signs: makers punctuate them as they please.
constexpr auto kWords = std::to_array<std::string_view>({
    "assetno",
    "assettag",
    "assettagno",
    "baseboardserialnumber",
    "chassisserialnumber",
    "default",
    "defaultstring",
    "empty",
    "fillbyoem",
    "invalid",
    "na",
    "newsystem",
    "nil",
    "noassetinformation",
    "noassettag",
    "none",
    "noserial",
    "noserialnumber",
    "notapplicable",
    "notavailable",
    "notdefined",
    "notpresent",
    "notset",
    "notspecified",
    "null",
    "oem",
    "oemdefault",
    "oemdefaultstring",
    "oemstring",
    "serial",
    "serialnumber",
    "sernum",
    "string",
    "systemmanufacturer",
    "systemname",
    "systemproductname",
    "systemserialnumber",
    "systemversion",
    "tobedefinedbyoem",
    "tobefilled",
    "tobefilledbyoem",
    "tobesetbyoem",
    "unknown",
    "unspecified",
});
static_assert(std::is_sorted(kWords.begin(), kWords.end()));

/// "12345", "0123456789" and "1234567890abcdef" are what a keyboard gives when something must be typed.
constexpr std::string_view kCounting = "01234567890123456789";
constexpr std::string_view kHexCounting = "0123456789abcdef0";
constexpr std::size_t kLeastCounting = 5;
/// A UUID that one maker left in every firmware.
constexpr std::string_view kSharedUuid = "03000200040005000006000700080009";

/// Signs and blanks left out, the rest in small letters.
std::string Letters(std::string_view value)
{
    std::string letters;
    for (const char unit : FoldCase(value))
        if (const auto byte = static_cast<unsigned char>(unit);
            byte >= 0x80 || (byte >= '0' && byte <= '9') || (byte >= 'a' && byte <= 'z'))
            letters += unit;
    return letters;
}

bool IsOneSign(std::string_view letters)
{
    // A single letter is no serial number either, but "1" may be a version.
    return std::ranges::all_of(letters, [&](char unit) { return unit == letters.front(); });
}

}  // namespace

bool IsPlaceholder(std::string_view value)
{
    if (value.empty())
        return false;
    const std::string letters = Letters(value);
    if (letters.empty() || IsOneSign(letters) || letters == kSharedUuid)
        return true;
    if (letters.size() >= kLeastCounting && (kCounting.find(letters) != std::string_view::npos ||
                                             kHexCounting.find(letters) != std::string_view::npos))
        return true;
    return std::ranges::binary_search(kWords, std::string_view{letters});
}

bool IsPlaceholder(const Term& term, std::string_view value)
{
    if (term.secret != Secret::kSerial && term.section != "BIOS" && term.section != "BaseBoard")
        return false;
    const bool isNumber = value.find_first_of("0123456789") != std::string_view::npos &&
                          value.find_first_not_of("0123456789.,-_ ") == std::string_view::npos;
    return IsPlaceholder(value) && !(isNumber && term.property == "Version");
}

}  // namespace orrery::report
