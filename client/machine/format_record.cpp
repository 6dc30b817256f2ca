#include <array>
#include <cstdio>
#include <cwchar>

#include "client/system/console.h"
#include "client/machine/form_words.h"
#include "client/machine/record.h"

namespace orrery::machine {
namespace {

std::string Escaped(std::string_view text)
{
    std::string escaped;
    for (const char each : text) {
        if (each == '\n') {
            escaped += "\\n";
        } else if (each == '\t') {
            escaped += "\\t";
        } else if (static_cast<unsigned char>(each) < 0x20) {
            std::array<char, 8> code{};
            std::snprintf(code.data(), code.size(), "\\x%04X", static_cast<unsigned>(each));
            escaped += code.data();
        } else {
            if (each == '\\' || each == '"')
                escaped += '\\';
            escaped += each;
        }
    }
    return escaped;
}

std::string Spelled(const Value& value)
{
    std::string text;
    for (const std::string& part : value.parts) {
        const bool isQuoted = value.spelling == Value::Spelling::kQuoted;
        text += (text.empty() ? "" : ", ") + (isQuoted ? '"' + Escaped(part) + '"' : part);
    }
    return value.isList ? '{' + text + '}' : text;
}

void AppendItem(const Item& item, std::string* text)
{
    *text += item.heading + '\n';
    if (!item.hasBody)
        return;
    text->append(form::kOpen) += '\n';
    for (const Value& value : item.values) {
        *text +=
            '\t' + value.typeWord + (value.typeWord.empty() ? "" : " ") + SpelledLine(value) + '\n';
        if (value.objectLine)
            text->append(1, '\t')
                .append(form::kObjectText)
                .append(value.objectLine->empty() ? "" : " ")
                .append(*value.objectLine) += '\n';
    }
    text->append(form::kClose) += '\n';
}

}  // namespace

std::string SpelledLine(const Value& value)
{
    return value.name + " = " + Spelled(value) + ';';
}

std::wstring FormatBytes(std::span<const std::uint8_t> bytes, wchar_t separator)
{
    std::wstring text;
    for (const std::uint8_t each : bytes) {
        std::array<wchar_t, 4> byte{};
        std::swprintf(byte.data(), byte.size(), L"%02X", each);
        if (!text.empty())
            text += separator;
        text += byte.data();
    }
    return text;
}

Value NamedText(std::string_view name, std::wstring_view text)
{
    return {.name = std::string{name}, .parts = {ToUtf8(text)}};
}

Value NamedNumber(std::string_view name, std::int64_t number)
{
    const bool isShort = number >= INT32_MIN && number <= UINT32_MAX;
    return {.name = std::string{name},
            .parts = {std::to_string(number)},
            .spelling = isShort ? Value::Spelling::kBare : Value::Spelling::kQuoted};
}

Value NamedWord(std::string_view name, std::string_view word)
{
    return {.name = std::string{name},
            .parts = {std::string{word}},
            .spelling = Value::Spelling::kBare};
}

namespace {

constexpr std::string_view kRedactedLine =
    "# Redacted: what identifies the machine, its network and its people was replaced.\n";

}  // namespace

bool SaysRedacted(std::string_view start)
{
    return start.find(kRedactedLine) != start.npos;
}

std::string FormatRecord(const Record& record)
{
    std::string text = "# What the library asks of a machine, and its answers.\n";
    if (record.isRedacted)
        text += kRedactedLine;
    for (const std::string& problem : record.problems)
        text += "# Not recorded: " + problem + '\n';
    for (const Item& item : record.items) {
        if (item.heading.starts_with(form::Heading(form::kNamespace, "")))
            text += '\n';
        AppendItem(item, &text);
    }
    return text;
}

}  // namespace orrery::machine
