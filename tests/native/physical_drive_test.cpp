#include "native/physical_drive.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
#include <vector>

#include "sim/detour.h"
#include "sim/devices.h"

namespace orrery {
namespace {

using namespace std::string_view_literals;

std::span<const std::uint8_t> BytesOf(std::string_view text)
{
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

TEST(IdentifyRequestLayout, IsAMiniportHeaderAndAnIdentifyCommand)
{
    const auto request = MakeIdentifyRequest(1);
    constexpr auto expected =
        "\x1C\0\0\0"
        "SCSIDISK"
        "\x10\x27\0\0"        // 10000 seconds
        "\x01\x05\x1B\0"      // 0x1B0501
        "\0\0\0\0"            //
        "\x11\x02\0\0"        // 529
        "\0\0\0\0"            //
        "\0\0\0\0\0\0\xEC\0"  // the registers
        "\x01"sv;             // the target
    const auto bytes = BytesOf(expected);
    ASSERT_EQ(bytes.size(), 41U);
    EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), request.begin()));
    EXPECT_EQ(std::set<int>(request.begin() + 41, request.end()), std::set<int>{0});
    EXPECT_EQ(MakeIdentifyRequest(0)[40], 0);
}

TEST(AtaText, IsSwappedCutAndTrimmed)
{
    const struct {
        std::string_view bytes;
        const wchar_t* expected;
    } rows[] = {
        {"IDKSM DOLE          "sv, L"DISK MODEL"},
        {"  BA"sv, L"AB"},
        {"A B "sv, L"A B"},  // inner blanks stay
        {"\tA \n"sv, L"A"},
        {"    "sv, L""},
        {"BA\0CDE"sv, L"ABC"},  // the zero counts where the swap has put it
        {"\0\0BA"sv, L""},
        {"\xE9"
         "A"sv,
         L"A\xFFE9"},
        {"\x80\x7F"sv, L"\x007F\xFF80"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(AtaText(BytesOf(row.bytes)), row.expected) << testing::PrintToString(row.bytes);
}

using Block = std::array<std::uint8_t, 512>;

void Put(Block& block, std::size_t offset, std::string_view bytes)
{
    std::copy(bytes.begin(), bytes.end(), block.begin() + static_cast<std::ptrdiff_t>(offset));
}

TEST(IdentifyParsing, TakesTextsAndTheSectorCountThatApplies)
{
    struct Part {
        std::size_t offset;
        std::string_view bytes;
    };
    const struct {
        const char* about;
        std::vector<Part> parts;
        const wchar_t* size;  // null: no record
    } rows[] = {
        {"28 bits", {{120, "\xFF\xFF\xFF\0"sv}, {200, "\x01"sv}}, L"8589934080"},
        {"28 bits, all four bytes", {{120, "\0\0\0\x80"sv}}, L"1099511627776"},
        {"48 bits",
         {{166, "\0\x04"sv}, {120, "\xFF\xFF\xFF\x0F"sv}, {200, "\xB0\x88\xE0\xE8"sv}},
         L"2000398934016"},
        {"another bit of the word", {{166, "\x04\0"sv}, {120, "\x02"sv}, {200, "\x01"sv}}, L"1024"},
        {"48 bits, high words", {{166, "\0\x04"sv}, {204, "\x01\0"sv}}, L"2199023255552"},
        {"signed text", {{166, "\0\x04"sv}, {206, "\x40"sv}}, L"-9223372036854775808"},
        {"removable", {{0, "\x80"sv}}, nullptr},
        {"other general bits", {{0, "\x7F\xFF"sv}}, L"0"},
        {"no model", {{54, "\0"sv}}, nullptr},
    };
    for (const auto& row : rows) {
        Block block{};
        Put(block, 20, "  1SZ9        \0\0\0\0\0\0"sv);
        Put(block, 46, "F1 W   \x20"sv);
        Put(block, 54, "IDKSM DOLE                              "sv);
        Put(block, 94, "XX"sv);  // just past the model
        for (const auto& [offset, bytes] : row.parts)
            Put(block, offset, bytes);
        const auto record = ParseIdentify(block);
        ASSERT_EQ(record.has_value(), row.size != nullptr) << row.about;
        if (!record)
            continue;
        EXPECT_EQ(record->model, L"DISK MODEL");
        EXPECT_EQ(record->firmwareRevision, L"1FW");
        EXPECT_EQ(record->serialNumber, L"S19Z");
        EXPECT_EQ(record->sizeInBytes, row.size) << row.about;
    }
}

/// Answers for the listed targets, with a drive of 3907029168 sectors that is named after both.
sim::Devices::Answer DrivesAt(char port, std::string targets)
{
    return [=](const sim::DeviceCall& call) {
        EXPECT_EQ(call.code, 0x4D008U);
        EXPECT_EQ(call.input.data(), call.output.data());
        EXPECT_EQ(call.input.size(), 60U);
        EXPECT_EQ(call.output.size(), 557U);
        const char target = static_cast<char>('0' + call.output[40]);
        if (targets.find(target) == std::string::npos)
            return false;
        Block block{};
        Put(block, 54, std::string{target, port});
        Put(block, 166, "\0\x04"sv);
        Put(block, 200, "\xB0\x88\xE0\xE8"sv);
        std::copy(block.begin(), block.end(), call.output.begin() + 44);
        return true;
    };
}

DWORD platform = VER_PLATFORM_WIN32_NT;

BOOL WINAPI TellPlatform(OSVERSIONINFOW* version)
{
    EXPECT_EQ(version->dwOSVersionInfoSize, 276U);
    version->dwPlatformId = platform;
    return TRUE;
}

TEST(PhysicalDrive, AsksTwoTargetsOnTwoPorts)
{
    const std::wstring scsi0 = L"\\\\.\\Scsi0:", scsi1 = L"\\\\.\\Scsi1:";
    const struct {
        DWORD platform;
        std::map<std::wstring, sim::Devices::Answer> ports;
        std::vector<WideString> models;
    } rows[] = {
        {2,
         {{scsi0, DrivesAt('0', "01")}, {scsi1, DrivesAt('1', "01")}},
         {L"00", L"01", L"10", L"11"}},
        {2, {{scsi1, DrivesAt('1', "1")}}, {L"11"}},
        {1, {{scsi0, DrivesAt('0', "01")}}, {}},
    };
    for (const auto& row : rows) {
        platform = row.platform;
        const sim::Detour version{L"kernel32.dll", "GetVersionExW", TellPlatform};
        const sim::Devices devices{row.ports};
        const CPhysicalDrive drives;
        std::vector<WideString> models;
        for (std::size_t at = 0; at < drives.Count(); ++at) {
            models.push_back(drives.Model(at));
            EXPECT_EQ(drives.SizeInMebibytes(at), L"1907729");
        }
        EXPECT_EQ(models, row.models);
        EXPECT_EQ(devices.asked.size(), row.platform == 2 ? 2U : 0U);
        EXPECT_EQ(devices.oddOpens + devices.CountOpen(), 0);
        for (const auto accessor :
             {&CPhysicalDrive::Model, &CPhysicalDrive::FirmwareRevision,
              &CPhysicalDrive::SerialNumber, &CPhysicalDrive::SizeInMebibytes})
            EXPECT_EQ((drives.*accessor)(row.models.size()), L"");
    }
}

}  // namespace
}  // namespace orrery
