#include "client/report/csv.h"

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
    explicit CCsvWriter(const std::string* machine)
    {
        if (machine != nullptr)
            AppendText(&machine_, *machine);
    }
    void Add(std::string_view section, std::string_view index, std::string_view property,
             std::string_view value)
    {
        csv_ += machine_;
        for (const auto field : {section, index, property, value}) {
            csv_ += ',';
            AppendText(&csv_, field);
        }
        csv_ += "\r\n";
    }
    std::string Take() && { return std::move(csv_); }

private:
    std::string csv_ = "machine,section,index,property,value\r\n";
    std::string machine_;
};

}  // namespace

std::string ToCsv(const Report& report)
{
    CCsvWriter writer{MachineName(report)};
    for (const Section& section : report.sections)
        for (const Instance& instance : section.instances)
            for (const auto& [name, value] : instance.properties)
                writer.Add(section.name, std::to_string(instance.index), name, value);
    for (std::size_t at = 0; at < report.elapsedTimes.size(); ++at)
        writer.Add("ET", std::to_string(at), ElapsedCategory(report, at), report.elapsedTimes[at]);
    return std::move(writer).Take();
}

}  // namespace orrery::report
