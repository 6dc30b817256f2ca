#include "client/report/csv.h"

#include <string>
#include <string_view>

#include "client/report/machine.h"

namespace orrery::report {
namespace {

void AppendText(std::string* csv, std::string_view text)
{
    if (!text.empty() && text.find_first_of(",\"\r\n") == std::string_view::npos) {
        *csv += text;
        return;
    }
    *csv += '"';
    for (const char character : text)
        csv->append(character == '"' ? 2 : 1, character);
    *csv += '"';
}

class CCsvWriter {
public:
    CCsvWriter(const std::string* machine, const TextSink& sink) : sink_(sink)
    {
        if (machine != nullptr)
            AppendText(&machine_, *machine);
        sink_("machine,section,index,property,value\r\n");
    }
    void Add(std::string_view section, std::string_view index, std::string_view property,
             std::string_view value)
    {
        row_ = machine_;
        for (const auto field : {section, index, property, value}) {
            row_ += ',';
            AppendText(&row_, field);
        }
        sink_(row_ += "\r\n");
    }

private:
    const TextSink& sink_;
    std::string machine_;
    std::string row_;  // kept for its memory
};

}  // namespace

void WriteCsv(const Report& report, const TextSink& sink)
{
    CCsvWriter writer{MachineName(report), sink};
    for (const Section& section : report.sections)
        for (const Instance& instance : section.instances)
            for (const auto& [name, value] : instance.properties)
                writer.Add(section.name, std::to_string(instance.index), name, value);
    for (std::size_t at = 0; at < report.elapsedTimes.size(); ++at)
        writer.Add("ET", std::to_string(at), ElapsedCategory(report, at), report.elapsedTimes[at]);
}

}  // namespace orrery::report
