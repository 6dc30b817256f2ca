#include "client/report/writer.h"

#include <algorithm>
#include <cstddef>
#include <tuple>

namespace orrery::report {
namespace {

/// One line, and the texts that its place is decided by.
struct Line {
    std::string section, property, index;  // each with the mark that ends it in the library's key
    const std::string* value;
};

/// Takes the next character off the front of UTF-8 text.
char32_t TakeCharacter(std::string_view* text)
{
    const auto lead = static_cast<unsigned char>(text->front());
    const std::size_t size = lead < 0xC0 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    char32_t character = size == 1 ? lead : lead & (0x7Fu >> size);
    for (std::size_t at = 1; at < size && at < text->size(); ++at)
        character = character << 6 | (static_cast<unsigned char>((*text)[at]) & 0x3Fu);
    text->remove_prefix(std::min(size, text->size()));
    return character;
}

void AppendUnit(char32_t unit, std::string* bytes)
{
    *bytes += static_cast<char>(unit & 0xFF);
    *bytes += static_cast<char>(unit >> 8 & 0xFF);
}

void AppendUtf16(std::string_view text, std::string* bytes)
{
    while (!text.empty()) {
        const char32_t character = TakeCharacter(&text);
        if (character >= 0x10000) {
            AppendUnit(0xD800 + ((character - 0x10000) >> 10), bytes);
            AppendUnit(0xDC00 + ((character - 0x10000) & 0x3FF), bytes);
        } else {
            AppendUnit(character, bytes);
        }
    }
}

std::vector<Line> LinesOf(const Report& report)
{
    std::vector<Line> lines;
    for (const Section& section : report.sections)
        for (const Instance& instance : section.instances)
            for (const Property& property : instance.properties)
                lines.push_back({section.name + '\\', property.name + '\\',
                                 std::to_string(instance.index), &property.value});
    for (const std::string& time : report.elapsedTimes)
        lines.push_back({"ET\\", "\\", "0", &time});
    // The library orders its keys as text, which the marks take part in: "PhysicalMemoryLocation\" comes
    // before "PhysicalMemory\". Elapsed times keep their order, which alone tells them apart.
    std::stable_sort(lines.begin(), lines.end(), [](const Line& left, const Line& right) {
        return std::tie(left.section, left.property, left.index) <
               std::tie(right.section, right.property, right.index);
    });
    return lines;
}

}  // namespace

std::string FormatReport(const Report& report)
{
    std::string bytes;
    for (const auto& [section, property, index, value] : LinesOf(report)) {
        AppendUtf16(std::string_view{section}.substr(0, section.size() - 1), &bytes);
        AppendUtf16("\t", &bytes);
        AppendUtf16(index, &bytes);
        AppendUtf16("\t", &bytes);
        AppendUtf16(std::string_view{property}.substr(0, property.size() - 1), &bytes);
        AppendUtf16("\t", &bytes);
        AppendUtf16(*value, &bytes);
        AppendUtf16("\n", &bytes);
    }
    return bytes;
}

}  // namespace orrery::report
