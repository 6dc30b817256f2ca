#include <array>

#include "client/page/blocks.h"

namespace orrery::page {
namespace {

CMarkup Group(const char* heading, const CMarkup& rows)
{
    if (rows.empty())
        return {};
    return Element("article", "card", Element("h3", "", Text(heading)) + Element("dl", "", rows)) +
           "\n";
}

CMarkup MachineGroup(const report::Report& report)
{
    return Group("Machine",
                 Definition("Maker", FirstValue(report, "BIOS", "SystemMan")) +
                     Definition("Model", FirstValue(report, "BIOS", "SystemMod")) +
                     Definition("Form", FirstValue(report, "SystemEnclosure", "ChassisTypes")) +
                     Definition("Serial number", FirstValue(report, "BIOS", "SerialNumber")) +
                     Definition("Asset tag", FirstValue(report, "BIOS", "AssetTag")));
}

CMarkup WindowsGroup(const report::Report& report)
{
    const auto value = [&report](std::string_view property) {
        return FirstValue(report, "OperatingSystem", property);
    };
    return Group("Windows", Definition("Product", value("Caption")) +
                                Definition("Feature release", value("Windows10Version")) +
                                Definition("Version", value("Version")) +
                                Definition("Time zone", value("TimeZone")) +
                                Definition("User", value("LoggedOnUser")));
}

CMarkup FirmwareGroup(const report::Report& report)
{
    static const report::Instance kNone;
    const auto& overviews = InstancesOf(report, "SystemOverview");
    const report::Instance& overview = overviews.empty() ? kNone : overviews.front();
    const auto value = [&report](std::string_view property) {
        return FirstValue(report, "BIOS", property);
    };
    const auto readable = [&overview](std::string_view property) {
        return Readable(overview, "SystemOverview", property);
    };
    return Group("Firmware", Definition("Maker", value("Manufacturer")) +
                                 Definition("Version", value("Version")) +
                                 Definition("Released", value("InstallDate")) +
                                 Definition("Mode", value("Mode")) +
                                 Definition("Last start", readable("AverageBootTime")) +
                                 Definition("TPM enabled", readable("TpmEnabled")) +
                                 Definition("TPM activated", readable("TpmActivated")));
}

/// The instances of a section as one list: a term's property, and the values beside it.
/// @param nameless what stands for the term of an instance that has none
CMarkup List(const report::Report& report, const char* section, const char* term,
             const char* nameless, const std::vector<const char*>& properties)
{
    CMarkup rows;
    for (const report::Instance& instance : InstancesOf(report, section)) {
        std::vector<std::string> values;
        for (const char* const property : properties)
            values.emplace_back(Value(instance, property));
        const auto name = Value(instance, term);
        rows += Definition(name.empty() ? std::string_view{nameless} : name, Listed(values));
    }
    return rows;
}

CMarkup NameList(const report::Report& report, const char* section)
{
    CMarkup items;
    for (const report::Instance& instance : InstancesOf(report, section))
        if (const auto name = Value(instance, "Name"); !name.empty())
            items += Element("li", "", Text(name));
    return items;
}

CMarkup UsbGroup(const report::Report& report)
{
    const CMarkup items = NameList(report, "USBDevice");
    if (items.empty())
        return {};
    return Element("article", "card",
                   Element("h3", "", "USB controllers") + Element("ul", "", items)) +
           "\n";
}

CMarkup GraphicsRows(const report::Report& report)
{
    CMarkup rows;
    for (const report::Instance& adapter : InstancesOf(report, "VideoController"))
        rows += Definition("Name", Value(adapter, "Name")) +
                Definition("Memory", Readable(adapter, "VideoController", "AdapterRAM")) +
                Definition("Converter", Value(adapter, "DACType"));
    return rows;
}

}  // namespace

CMarkup DetailsBlock(const report::Report& report)
{
    const CMarkup groups =
        MachineGroup(report) + WindowsGroup(report) + FirmwareGroup(report) +
        Group("Base board", List(report, "BaseBoard", "Product", "Board without a name",
                                 {"Manufacturer", "Version"})) +
        Group("Expansion slots", List(report, "SystemSlot", "SlotDesignation",
                                      "Slot without a label", {"CurrentUsage"})) +
        Group("Graphics", GraphicsRows(report)) + UsbGroup(report);
    return groups.empty() ? CMarkup{} : Block("Details", Element("div", "flow", groups));
}

}  // namespace orrery::page
