#include <winsock2.h>
#include <windows.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <span>

#include "client/machine/form_words.h"
#include "client/machine/record.h"
#include "client/report/redact.h"
#include "client/report/vocabulary.h"
#include "native/nic_card.h"

namespace orrery::machine {
namespace {

/// A value of a record that identifies, and what the report calls it.
struct Identity {
    std::string_view name, section, property;
};

constexpr auto kIdentities = std::to_array<Identity>({
    {form::kHostName, "ComputerSystem", "Name"},
    {form::kUserName, "OperatingSystem", "LoggedOnUser"},
    {"SMBIOSAssetTag", "BIOS", "AssetTag"},
    {form::kSerial, "LogicalDisk", "VolumeSerialNumber"},
    {form::kAddress, "NetworkAdapter", "MACAddress"},
    {form::kAddresses, "NetworkAdapter", "IPV6Address"},
    {form::kGateway, "NetworkAdapter", "DefaultIPGateway"},
    {form::kWINSServer, "NetworkAdapter", "WINSPrimaryServer"},
});

// What other things are found by, or are read as numbers from.
constexpr auto kKept = std::to_array<std::string_view>({
    "Class",
    "ClassGUID",
    "CurrentBuildNumber",
    "CurrentVersion",
    "DriveLetter",
    form::kVersion,
});

/// The number of a placeholder such as "ip-7"; 0 for another text.
unsigned PlaceholderNumber(std::string_view text, std::string_view kind)
{
    if (!text.starts_with(kind))
        return 0;
    return static_cast<unsigned>(std::strtoul(text.data() + kind.size(), nullptr, 10));
}

template <class... Numbers>
std::string Formatted(const char* form, Numbers... numbers)
{
    std::array<char, 48> text{};
    std::snprintf(text.data(), text.size(), form, numbers...);
    return text.data();
}

/// Turns a placeholder into what a machine can have in its place.
/// @param original the value that it stands for
std::string Plausible(std::string_view name, const std::string& original, const std::string& value)
{
    if (const unsigned mac = PlaceholderNumber(value, "mac-"))
        return original.find(':') != std::string::npos
                   ? Formatted("02:00:00:00:%02X:%02X", mac >> 8 & 0xFF, mac & 0xFF)
                   : Formatted("02-00-00-00-%02X-%02X", mac >> 8 & 0xFF, mac & 0xFF);
    if (const unsigned ip = PlaceholderNumber(value, "ip-")) {
        const std::size_t zone = value.find('%');
        return original.find(':') != std::string::npos
                   ? Formatted("2001:db8::%x", ip) +
                         (zone == std::string::npos ? std::string{} : value.substr(zone))
                   : Formatted("198.18.%u.%u", ip >> 8 & 0xFF, ip & 0xFF);
    }
    const unsigned serial = PlaceholderNumber(value, "serial-");
    return name == form::kSerial && serial != 0 ? Formatted("%08X", serial) : value;
}

/// Whether the report leaves adapters with this address out, for which it has to stay.
bool IsPassedOver(const std::string& address)
{
    std::array<unsigned, 6> parts{};
    std::array<std::uint8_t, 6> bytes{};
    if (std::sscanf(address.c_str(), "%x-%x-%x-%x-%x-%x", &parts[0], &parts[1], &parts[2],
                    &parts[3], &parts[4], &parts[5]) != 6)
        return false;
    std::transform(parts.begin(), parts.end(), bytes.begin(),
                   [](unsigned part) { return static_cast<std::uint8_t>(part); });
    return !IsReportedAdapter(IF_TYPE_ETHERNET_CSMACD, std::span<const std::uint8_t, 6>{bytes});
}

/// Replaces the random numbers in a path, such as a volume's, and the computer's name before it.
void RedactPath(std::string* path, report::CRedactor* redactor)
{
    constexpr std::size_t kGuidLength = 36;
    for (std::size_t at = path->find('{'); at != std::string::npos; at = path->find('{', at + 1))
        if (path->find('}', at) == at + kGuidLength + 1) {
            const std::string guid = path->substr(at + 1, kGuidLength);
            path->replace(at + 1, kGuidLength, redactor->Replaced("", "SerialNumber", guid));
        }
    if (path->starts_with("\\\\") && !path->starts_with("\\\\.\\")) {
        const std::size_t length = path->find('\\', 2) - 2;
        const std::string host = path->substr(2, length);
        path->replace(2, length, redactor->Replaced("ComputerSystem", "Name", host));
    }
}

/// Replaces what identifies in the name of a key: a device's instance is often called by its serial
/// number. Words are left alone, since a user may be called "system".
void RedactKey(std::string* heading, report::CRedactor* redactor)
{
    const std::string controls =
        form::Heading(form::kKeyItem, form::kLocalMachine) + "\\SYSTEM\\CurrentControlSet\\";
    const std::string_view path =
        std::string_view{*heading}.substr(std::min(heading->size(), controls.size()));
    if (!heading->starts_with(controls) || !path.starts_with("Enum\\")) {
        if (!path.starts_with("Control\\Class\\"))  // the number of a class is everybody's
            RedactPath(heading, redactor);
        return;
    }
    const std::size_t end = path.ends_with("\\Control") ? heading->rfind('\\') : heading->size();
    const std::size_t start = heading->rfind('\\', end - 1) + 1;
    const std::string instance = heading->substr(start, end - start);
    heading->replace(start, end - start, redactor->Replaced("", "SerialNumber", instance));
}

/// A method is found by the path of its object.
void RedactMethod(std::string* heading, report::CRedactor* redactor)
{
    const std::size_t start = heading->find(form::kOf) + form::kOf.size();
    std::string path = heading->substr(start);
    RedactPath(&path, redactor);
    heading->replace(start, std::string::npos, path);
}

void RedactValue(Value* value, report::CRedactor* redactor)
{
    const auto identity =
        std::find_if(kIdentities.begin(), kIdentities.end(),
                     [&](const Identity& each) { return each.name == value->name; });
    const Identity known =
        identity == kIdentities.end() ? Identity{value->name, "", value->name} : *identity;
    const bool isSecret =
        report::SecretOf(known.section, known.property) != report::Secret::kNothing;
    // The line of the object text would tell what is replaced.
    if (isSecret)
        value->objectLine.reset();
    else if (value->objectLine)
        redactor->TakeText(&*value->objectLine);
    if (value->spelling == Value::Spelling::kBare || value->typeWord == form::kRegBinary ||
        std::find(kKept.begin(), kKept.end(), value->name) != kKept.end())
        return;
    if (value->name == "__PATH" || value->name == form::kKey) {
        RedactPath(&value->parts.front(), redactor);
        return;
    }
    for (std::string& part : value->parts) {
        if (value->name == form::kAddress && IsPassedOver(part))
            continue;
        const std::string original = part;
        redactor->Take(known.section, known.property, &part);
        if (isSecret)
            part = Plausible(value->name, original, part);
    }
}

}  // namespace

void Redact(Record* record)
{
    report::CRedactor redactor;
    for (Item& item : record->items) {
        if (item.heading.starts_with(form::Heading(form::kKeyItem, "")))
            RedactKey(&item.heading, &redactor);
        else if (item.heading.starts_with(form::Heading(form::kMethod, "")))
            RedactMethod(&item.heading, &redactor);
        for (Value& value : item.values)
            RedactValue(&value, &redactor);
    }
    redactor.Finish();
    record->isRedacted = true;
}

}  // namespace orrery::machine
