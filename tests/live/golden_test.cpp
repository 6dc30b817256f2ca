#include <winsock2.h>
#include <windows.h>
#include <winioctl.h>

#include <orrery/inventory.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <cwctype>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "sim/devices.h"
#include "sim/ip_helper.h"
#include "sim/platform.h"
#include "sim/registry_tree.h"
#include "sim/simulation.h"
#include "sim/wlan.h"
#include "support/library.h"
#include "support/unique.h"

namespace orrery {
namespace {

using Lines = std::vector<std::wstring>;

/// The lines of a report, of which the last may lack its end; times are replaced by a word.
Lines LinesOf(const std::wstring& report)
{
    const std::wstring elapsed = L"ET\t0\t\t";
    Lines lines;
    for (std::size_t at = 0, end = 0; at < report.size(); at = end + 1) {
        end = std::min(report.find(L'\n', at), report.size());
        auto& line = lines.emplace_back(report.substr(at, end - at));
        if (line.starts_with(elapsed) && line.size() > elapsed.size() &&
            std::all_of(line.begin() + elapsed.size(), line.end(), std::iswdigit))
            line.replace(elapsed.size(), line.npos, L"elapsed");
    }
    return lines;
}

/// One line for each that is missing, is too much or stands elsewhere, with its number; empty when
/// there is no difference.
std::wstring Differences(const Lines& expected, const Lines& got)
{
    std::wstring text;
    const auto tell = [&text](const wchar_t* what, const Lines& lines, std::size_t at) {
        text += std::to_wstring(at + 1) + what + lines[at] + L"\n";
    };
    const auto isBelow = [](const Lines& lines, std::size_t at, const std::wstring& line) {
        return std::find(lines.begin() + static_cast<std::ptrdiff_t>(at), lines.end(), line) !=
               lines.end();
    };
    std::size_t left = 0, right = 0;
    while (left < expected.size() || right < got.size()) {
        if (left < expected.size() && right < got.size() && expected[left] == got[right])
            ++left, ++right;
        else if (left < expected.size() && !isBelow(got, right, expected[left]))
            tell(L" expected: ", expected, left++);
        else if (right < got.size())
            tell(L" got:      ", got, right++);
        else
            tell(L" expected: ", expected, left++);
    }
    return text;
}

/// What the library reports, written to a file by its own export.
class Golden : public testing::Test {
protected:
    ~Golden() override { std::filesystem::remove(path); }

    /// Compares the report with the one in the test data, in a machine on which only these devices
    /// open.
    void ExpectReport(const wchar_t* name, std::map<std::wstring, sim::Devices::Answer> answers)
    {
        UniqueFile file{CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                    CREATE_ALWAYS, 0, nullptr)};
        ASSERT_TRUE(file);
        {
            sim::Devices devices{std::move(answers)};
            devices.Lend(path.wstring(), std::move(file));
            EXPECT_EQ(getInventoryEx(path.c_str(), 0x10), 1);
        }
        std::ifstream stream{path, std::ios::binary};
        std::wstring report;
        for (wchar_t unit = 0; stream.read(reinterpret_cast<char*>(&unit), sizeof unit);)
            report += unit;
        const std::wstring golden = L"" ORRERY_TEST_DATA "/reports/" + std::wstring{name};
        EXPECT_TRUE(report.ends_with(L'\n'));
        const auto differences =
            Differences(LinesOf(sim::LoadScenario(golden.c_str())), LinesOf(report));
        EXPECT_TRUE(differences.empty()) << name << "\n" << differences;
    }

    const std::filesystem::path path =
        std::filesystem::temp_directory_path() /
        (L"orrery-golden-" + std::to_wstring(GetCurrentProcessId()) + L".tsv");
    const UniqueModule library{LoadLibraryW(L"orrery.dll")};
    decltype(&GetInventoryEx) getInventoryEx =
        FindFunction<decltype(getInventoryEx)>(library.get(), "GetInventoryEx");
};

void SetText(IP_ADDRESS_STRING& field, const char* text)
{
    std::copy_n(text, std::strlen(text) + 1, field.String);
}

struct AdapterRow {
    const char* description;
    std::array<std::uint8_t, 6> address;
    UINT type;
    const char *ip = "", *mask = "", *gateway = "", *dhcpServer = "", *wins = "";
    bool usesDhcp = false;
    time_t leaseObtained = 0, leaseExpires = 0;
};

std::vector<IP_ADAPTER_INFO> AdaptersOf(std::initializer_list<AdapterRow> rows)
{
    std::vector<IP_ADAPTER_INFO> adapters;
    for (const auto& row : rows) {
        auto& adapter =
            adapters.emplace_back(sim::MakeAdapter(row.description, row.address, row.type));
        adapter.Index = static_cast<DWORD>(adapters.size());
        SetText(adapter.IpAddressList.IpAddress, row.ip);
        SetText(adapter.IpAddressList.IpMask, row.mask);
        SetText(adapter.GatewayList.IpAddress, row.gateway);
        SetText(adapter.DhcpServer.IpAddress, row.dhcpServer);
        SetText(adapter.PrimaryWinsServer.IpAddress, row.wins);
        adapter.DhcpEnabled = row.usesDhcp ? 1 : 0;
        adapter.LeaseObtained = row.leaseObtained;
        adapter.LeaseExpires = row.leaseExpires;
    }
    return adapters;
}

/// A drive that tells, or denies, that it has a seek penalty.
sim::Devices::Answer Drive(std::uint8_t incursSeekPenalty)
{
    return [incursSeekPenalty](const sim::DeviceCall& call) {
        if (call.code != IOCTL_STORAGE_QUERY_PROPERTY || call.output.size() != 12)
            return false;
        call.output[8] = incursSeekPenalty;
        return true;
    };
}

sim::PlatformFacts Workstation()
{
    constexpr std::uint64_t kGib = 1 << 30;
    sim::PlatformFacts facts{
        .architecture = PROCESSOR_ARCHITECTURE_AMD64,
        .edition = PRODUCT_PROFESSIONAL,
        .hostName = L"vaerksted-07",
        .userName = L"kari.nordmann",
        .memory = 39 * kGib,  // less than the modules hold
        .zoneResult = TIME_ZONE_ID_DAYLIGHT,
        .volumes = {{L'A', {DRIVE_REMOVABLE, kGib, kGib, L"FAT"}},
                    {L'C', {DRIVE_FIXED, 64 * kGib, 10 * kGib, L"NTFS", L"System", 0x0A1B2C3D}},
                    {L'D', {DRIVE_FIXED, 107375230975, 1048575, L"ReFS", L"", 0xFFFFFFFF}},
                    {L'E', {DRIVE_FIXED, 4000650887168, 123456789012, L"NTFS", L"M\xE5linger", 1}},
                    {L'F', {DRIVE_FIXED, 1999844147200, 8589869056, L"exFAT", L"Flyttbar", 0}},
                    {L'G', {DRIVE_CDROM, kGib, 0, L"CDFS", L"Plate", 7}},
                    {L'P', {DRIVE_RAMDISK, 31914983424, 2097152, L"FAT32", L"Ramdisk", 0xBADC0DE}},
                    {L'U', {DRIVE_REMOVABLE}},
                    {L'X', {DRIVE_NO_ROOT_DIR}},
                    {L'Y', {DRIVE_UNKNOWN}},
                    {L'Z', {DRIVE_REMOTE, kGib, kGib, L"NTFS", L"Server", 9}}},
        // the second is another head of the first, the last has no driver
        .displays = {{L"Aurora RX 7", L"PCI\\RX7", L"\\Registry\\Machine\\System\\Video\\0000"},
                     {L"Aurora RX 7", L"PCI\\RX7", L"\\Registry\\Machine\\System\\Video\\0000"},
                     {L"Remote mirror", L"MIRROR", L"\\Registry\\Machine\\System\\Video\\0001",
                      DISPLAY_DEVICE_ATTACHED_TO_DESKTOP | DISPLAY_DEVICE_MIRRORING_DRIVER},
                     {L"Not in use", L"PCI\\IDLE", L"\\Registry\\Machine\\System\\Video\\0001", 0},
                     {L"Onboard VGA", L"PCI\\VGA", L"\\REGISTRY\\Machine\\SYSTEM\\Video\\0001"},
                     {L"Driverless", L"PCI\\NONE", L"\\Registry\\Machine\\System\\Video\\0002"}}};
    auto& version = facts.version.emplace();
    version.dwMajorVersion = 6;  // as a program without a manifest is told
    version.dwMinorVersion = 2;
    version.dwBuildNumber = 9200;
    version.dwPlatformId = VER_PLATFORM_WIN32_NT;
    version.wProductType = VER_NT_WORKSTATION;
    facts.zone.Bias = 210;
    facts.zone.DaylightBias = -60;
    std::wcscpy(facts.zone.StandardName, L"Newfoundland Standard Time");
    std::wcscpy(facts.zone.DaylightName, L"Newfoundland Daylight Time");
    return facts;
}

TEST_F(Golden, ReportOfAWorkstation)
{
    const std::wstring ntVersion = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";
    const std::wstring control = L"SYSTEM\\CurrentControlSet\\Control\\";
    const std::wstring device = L"SYSTEM\\CurrentControlSet\\Enum\\USB\\VID_1\\0";
    const std::wstring video = L"System\\Video\\";
    const RegistryTree registry{
        HKEY_LOCAL_MACHINE,
        {
            {control + L"Session Manager\\Power", L"FwPOSTTime", NumberValue(7123)},
            {control + L"SecureBoot\\State", L"UEFISecureBootEnabled", NumberValue(1)},
            {ntVersion, L"CurrentVersion", TextValue(L"6.3")},
            {ntVersion, L"CurrentMajorVersionNumber", NumberValue(10)},
            {ntVersion, L"CurrentMinorVersionNumber", NumberValue(0)},
            {ntVersion, L"CurrentBuildNumber", TextValue(L"22631")},
            {ntVersion, L"UBR", NumberValue(3007)},
            {ntVersion, L"ReleaseId", TextValue(L"2009")},
            {ntVersion, L"DisplayVersion", TextValue(L"23H2")},
            {ntVersion, L"ProductName", TextValue(L"Windows 10 Pro")},
            {device + L"\\Control"},
            {device, L"Class", TextValue(L"USB")},
            {device, L"FriendlyName", TextValue(L"Known to the registry only")},
            {video + L"0000", L"InstalledDisplayDrivers", TextsValue({L"rx7a", L"rx7b"})},
            {video + L"0000", L"HardwareInformation.qwMemorySize",
             BytesValue({0, 0, 0, 0, 2, 0, 0, 0})},  // 8 GiB
            {video + L"0000", L"HardwareInformation.MemorySize", NumberValue(0x40000000)},
            {video + L"0000", L"HardwareInformation.DacType", TextValue(L"Internal DAC(400MHz)")},
            {video + L"0001", L"InstalledDisplayDrivers", TextsValue({L"vga"})},
            {video + L"0001", L"HardwareInformation.MemorySize", NumberValue(0x04000000)},
            {video + L"0001", L"HardwareInformation.DacType",
             TextValue(L"Integrated RAMDAC", REG_BINARY)},
            {video + L"0002"},
        }};
    sim::IpHelper ipHelper{AdaptersOf({
        {"Loopback", {2, 1, 1, 1, 1, 1}, IF_TYPE_SOFTWARE_LOOPBACK, "127.0.0.1", "255.0.0.0"},
        {"Halvorsen GX-1 Gigabit",
         {0x02, 0x1B, 0x21, 0x0A, 0x0B, 0x0C},
         IF_TYPE_ETHERNET_CSMACD,
         "192.168.10.20",
         "255.255.255.0",
         "192.168.10.1",
         "192.168.10.2",
         "0.0.0.0",
         true,
         1700000000,
         1700086400},
        {"Virtual host network", {0x00, 0x50, 0x56, 0xC0, 0x00, 0x01}, IF_TYPE_ETHERNET_CSMACD},
        {"Nordlys AX Wireless",
         {0x02, 0x7C, 0x55, 0x00, 0x10, 0xFF},
         IF_TYPE_IEEE80211,
         "10.20.30.40",
         "255.255.0.0",
         "0.0.0.0",
         "0.0.0.0",
         "10.20.30.5"},
        {"Solheim Tunnel",
         {0x02, 0x00, 0x00, 0x11, 0x22, 0x33},
         IF_TYPE_TUNNEL,
         "0.0.0.0",
         "0.0.0.0",
         "0.0.0.0",
         "255.255.255.255",
         "0.0.0.0",
         true},
        {"Brandvik Reserve", {0x00, 0x50, 0x56, 0xC1, 0x00, 0x01}, IF_TYPE_ETHERNET_CSMACD},
    })};
    ipHelper.dnsServers = {{2, "192.168.10.53"}, {4, "10.20.30.53"}, {5, nullptr}};
    ipHelper.ipv6Adapters = {{L"Loopback", {L"::1"}},
                             {L"Halvorsen GX-1 Gigabit", {L"2001:db8::20", L"fd00::20"}},
                             {L"Nordlys AX Wireless", {}},
                             {L"Solheim Tunnel", {L"fd00::2"}}};
    sim::Wlan wlan{{{L"Halvorsen GX-1 Gigabit", wlan_interface_state_disconnected,
                     sim::MakeConnection("Not this"), 1},
                    {L"Nordlys AX Wireless",
                     wlan_interface_state_connected,
                     sim::MakeConnection("Fjord 5G", DOT11_AUTH_ALGO_RSNA, 10),
                     36,
                     {{{"Fjell", 2437000}, {"Fjord 5G", 5180000}, {"Fjord", 2412000}}}}}};
    const sim::Simulation simulation{
        sim::LoadScenario(L"" ORRERY_TEST_DATA "/machines/workstation.machine")};

    auto facts = Workstation();
    for (const DWORD processors : {24, 1}) {
        SCOPED_TRACE(processors);
        facts.processors = processors;
        ipHelper.addressCalls = 0;
        const sim::Platform platform{facts};
        ExpectReport(L"workstation.tsv",
                     {{L"\\\\.\\PHYSICALDRIVE3", Drive(1)}, {L"\\\\.\\PHYSICALDRIVE4", Drive(0)}});
        EXPECT_EQ(simulation.LiveObjects(), 0);
        EXPECT_TRUE(wlan.blocks.empty());
    }
}

TEST_F(Golden, ReportOfAMachineThatTellsNothing)
{
    const RegistryTree localMachine{HKEY_LOCAL_MACHINE};
    sim::IpHelper ipHelper{{}};
    sim::Simulation simulation{L""};
    simulation.FailCall("CoCreateInstance", 0, REGDB_E_CLASSNOTREG);
    for (const DWORD processors : {2, 1}) {
        SCOPED_TRACE(processors);
        const sim::Platform platform{{.processors = processors}};
        ExpectReport(L"bare.tsv", {});
    }
}

}  // namespace
}  // namespace orrery
