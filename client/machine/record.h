#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace orrery::machine {

/// One "Name = value;" of an item, in UTF-8.
struct Value {
    enum class Spelling { kBare, kQuoted };

    std::string name;
    std::vector<std::string> parts{};  ///< without quotes and escapes; one unless isList
    Spelling spelling = Spelling::kQuoted;
    bool isList = false;
    std::string typeWord{};  ///< for a type that the spelling does not tell; empty for others
    /// The property's line of the object text where that is not the value as it is spelled here;
    /// empty when the object text has none.
    std::optional<std::string> objectLine{};
};

/// Bytes as two hexadecimal digits each.
std::wstring FormatBytes(std::span<const std::uint8_t> bytes, wchar_t separator);

Value NamedText(std::string_view name, std::wstring_view text);
/// A number; one of more than 32 bits stands in quotes.
Value NamedNumber(std::string_view name, std::int64_t number);
/// TRUE, FALSE or NULL.
Value NamedWord(std::string_view name, std::string_view word);

/// One line that begins something, with the values that belong to it.
struct Item {
    std::string heading;  ///< such as "volume C:"
    bool hasBody = true;
    std::vector<Value> values{};
};

/// What a machine answers, as the lines of a machine file.
struct Record {
    std::vector<Item> items{};
    std::vector<std::string> problems{};  ///< what could not be recorded
    bool isRedacted = false;
};

// Each asks this machine a part of what the library asks and adds the answers. A question that is
// not answered in time is a problem of the record; its thread is left to itself.

void RecordWindows(Record* record);
void RecordWmi(Record* record);

/// The part of RecordWindows that the WLAN service answers, for as long as that takes.
Record ReadWireless();
/// The part of RecordWindows that is read from the registry.
void RecordRegistry(Record* record);

/// Replaces what identifies the machine, its network or its people by placeholders, by the rules
/// for reports. Addresses become others that are valid and belong to nobody.
void Redact(Record* record);

/// A value as it stands in the object text, without the type word: "Name = value;".
std::string SpelledLine(const Value& value);

/// The text of a machine file.
std::string FormatRecord(const Record& record);

/// Whether the text of a machine file says that what identifies the machine was replaced.
/// @param start as much of it as there is before the first item
bool SaysRedacted(std::string_view start);

}  // namespace orrery::machine
