#include "client/report/writer.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "client/text/utf8.h"

namespace orrery::report {
namespace {

constexpr std::string_view kLineEnd{"\n\0", 2};  // in UTF-16LE

struct Line {
    std::string_view property;
    std::string index;
    const std::string* value;
};

bool ComesBefore(const Line& left, const Line& right)
{
    if (left.property != right.property)
        return ComesFirst(left.property, right.property);
    return left.index < right.index;
}

void WriteLines(std::string_view section, std::vector<Line> lines, const TextSink& sink)
{
    // Elapsed times keep their order, which alone tells them apart.
    std::stable_sort(lines.begin(), lines.end(), &ComesBefore);
    std::string bytes;
    for (const auto& [property, index, value] : lines) {
        bytes.clear();
        for (const std::string_view field : {section, std::string_view{index}, property}) {
            AppendUtf16(field, &bytes);
            AppendUtf16("\t", &bytes);
        }
        AppendUtf16(*value, &bytes);
        sink(bytes);
    }
}

std::vector<Line> LinesOf(const Section& section)
{
    std::vector<Line> lines;
    for (const Instance& instance : section.instances)
        for (const auto& [name, value] : instance.properties)
            lines.push_back({name, std::to_string(instance.index), &value});
    return lines;
}

}  // namespace

void WriteReport(const Report& report, const TextSink& sink)
{
    static const Section kNone{"ET", {}};
    std::vector<const Section*> sections;
    for (const Section& section : report.sections)
        sections.push_back(&section);
    if (report.Find(kNone.name) == nullptr)
        sections.push_back(&kNone);
    std::sort(sections.begin(), sections.end(), [](const Section* left, const Section* right) {
        return ComesFirst(left->name, right->name);
    });
    // The last line of a report that lacks its end must not become a whole one.
    std::string end;
    const TextSink write = [&](std::string_view line) {
        sink(end);
        sink(line);
        end = kLineEnd;
    };
    for (const Section* const section : sections) {
        std::vector<Line> lines = LinesOf(*section);
        if (section->name == kNone.name)
            for (const std::string& time : report.elapsedTimes)
                lines.push_back({"", "0", &time});
        WriteLines(section->name, std::move(lines), write);
    }
    if (report.completeness.endsLine)
        sink(end);
}

}  // namespace orrery::report
