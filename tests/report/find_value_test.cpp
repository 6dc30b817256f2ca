#include "client/report/find_value.h"

#include <gtest/gtest.h>

#include "client/system/exit_codes.h"
#include "made_report.h"
#include "test_folder.h"
#include "parsed_json.h"

namespace orrery::report {
namespace {

constexpr char kFacts[] =
    "BIOS|0|Version|1.0\nDisk|0|Name|a].b\nDisk|0|Size|\nDisk|2|NAME|x\nDisk|2|Name|\u00FC|2\n"
    "Disk|10|Name|EN 0\nDisk|10|Size|7\nLogicalDisk|1|Size|51200\nLogicalDisk|1|Description|5\n"
    "ET|0||1\nET|0||2\nET|0||3\nET|0||4\nET|0||5\nET|0||6\nET|0||7\nET|0||8\nET|0||9\nET|0||10\n"
    "ET|0||11\nET|0||12\n";

/// "Section.Property.index=value" for each value of a name, or the hint.
std::string Told(const FoundValues& found)
{
    std::string told = found.isUnknown ? "unknown" + found.hint : found.hint;
    for (const auto& [section, index, property, value] : found.values)
        told += section + '.' + property + '.' + std::to_string(index) + '=' + value + '\n';
    return told;
}

TEST(FindValues, FindsByNameIndexAndAnotherProperty)
{
    const struct {
        const char *name, *expected;
    } rows[] = {
        {"BIOS.Version", "BIOS.Version.0=1.0\n"},
        {"bios.VERSION.0", "BIOS.Version.0=1.0\n"},
        {"BIOS.Versions", "; did you mean \"BIOS.Version\"?"},
        {"BIOS.Unheard", ": the section has Version"},
        {"BIOS.VersionOfFirmware", "; the nearest is \"BIOS.Version\""},
        {"LogicalDisk.freespace", ": the property is not in this report"},
        {"Disk[10].Size", "Disk.Size.10=7\n"},
        {"Disk[*].Size", "Disk.Size.0=\nDisk.Size.10=7\n"},
        {"BIOS.Version.1", ": it is there with the index 0"},
        {"Bois.Version", "unknown: there is no such section; did you mean \"BIOS\"?"},
        {"Processor.Name", ": the section is not in this report"},
        {"Disk.Size", "Disk.Size.0=\n"},
        {"Disk.Name.2", "Disk.Name.2=\u00FC\t2\n"},  // in just these letters
        {"disk.2.NAME", "Disk.NAME.2=x\n"},
        {"Disk.Size.*", "Disk.Size.0=\nDisk.Size.10=7\n"},
        {"Disk.*.Name", "Disk.Name.0=a].b\nDisk.Name.2=\u00FC\t2\nDisk.Name.10=EN 0\n"},
        {"Disk[Name=en 0].Size", "Disk.Size.10=7\n"},
        {"Disk[name=A].B].size", "Disk.Size.0=\n"},
        {"Disk[Name=\u00DC\t2].Size", ": it is there with the index 0, 10"},
        {"Disk[Name=EN 1].Size", ": no Name is \"EN 1\"; did you mean \"EN 0\"?"},
        {"Disk[Nam=x].Size", ": no Nam is there to choose by; did you mean \"Disk.NAME\"?"},
        {"ET.BIOS", "ET.BIOS.0=1\n"},
        {"et.video", "ET.Video.0=13\n"},
        {"ET.BIOS.1", ": elapsed times have no index"},
        {"ET.Vidoe", "; did you mean \"ET.Video\"?"},
    };
    const CTestFolder folder;
    const auto path = folder.Write("x.tsv", ReportBytes(std::string{kFacts}.append("ET|0||13\n")));
    for (const auto& row : rows)
        EXPECT_EQ(Told(FindValues(path, {ParseValueName(row.name)}).found.front()), row.expected)
            << row.name;
    const auto shortRun = folder.Write("y.tsv", ReportBytes(kFacts));
    EXPECT_EQ(Told(FindValues(shortRun, {ParseValueName("ET.BIOS")}).found.front()),
              ": a run that was not complete does not tell the category of a time");
}

TEST(FindValues, GivesTypedValuesToPrograms)
{
    const CTestFolder folder;
    const auto path = folder.Write("x.tsv", ReportBytes(std::string{kFacts}.append("ET|0||13\n")));
    std::vector<ValueName> names;
    for (const char* name :
         {"LogicalDisk.*.Size", "LogicalDisk.1.Description", "Disk.Size", "et.bios", "X.Y"})
        names.push_back(ParseValueName(name));
    const auto expected = InOrder(R"({
        "format": "orrery-values", "formatVersion": 2, "report": "pc.tsv", "values": [
            {"name": "LogicalDisk.*.Size", "section": "LogicalDisk", "index": 1, "property": "Size",
             "value": 51200},
            {"name": "LogicalDisk.1.Description", "section": "LogicalDisk", "index": 1,
             "property": "Description", "value": "5"},
            {"name": "Disk.Size", "section": "Disk", "index": 0, "property": "Size", "value": null},
            {"name": "et.bios", "section": "ET", "index": 0, "property": "BIOS", "value": 1}],
        "missing": ["X.Y"]})");
    EXPECT_EQ(InOrder(FormatValuesJson("pc.tsv", FindValues(path, names))), expected);
}

TEST(FindValues, RefusesNamesOfAnotherForm)
{
    for (const char* name :
         {"", "BIOS", ".Version", "BIOS.Version.x", "BIOS.Version.1x", "BIOS.Version.-1",
          "BIOS.Version.", "BIOS.Version.99999999999", "BIOS.*", "BIOS[Name].Version",
          "BIOS[=x].Version", "BIOS[Name=x]", "BIOS[Name=x].", "BIOS[Name=x].A.1"})
        EXPECT_THROW(ParseValueName(name), CommandError) << name;
}

}  // namespace
}  // namespace orrery::report
