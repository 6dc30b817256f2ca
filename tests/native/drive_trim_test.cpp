#include "native/drive_trim.h"

#include <gtest/gtest.h>

#include <cstring>

#include "sim/devices.h"

namespace orrery {
namespace {

TEST(DriveTrim, MakesADriveASolidStateDrive)
{
    const struct {
        DWORD returned;
        std::uint8_t flag;
        bool answers;
        const wchar_t* type;
    } rows[] = {
        {12, 1, true, L"SSD"}, {12, 0xFF, true, L"SSD"}, {12, 0, true, L"HDD"},
        {8, 1, true, L""},     {13, 1, true, L""},       {12, 1, false, L""},
    };
    for (const auto& row : rows) {
        const sim::Devices devices{
            {{L"\\\\.\\X", [&](const sim::DeviceCall& call) {
                  EXPECT_EQ(call.code, 0x2D1400U);
                  EXPECT_EQ(call.input.size(), 12U);
                  EXPECT_EQ(call.output.size(), 12U);
                  EXPECT_EQ(std::memcmp(call.input.data(), "\x08\0\0\0\0\0\0", 8), 0);
                  call.output[8] = row.flag;
                  *call.returned = row.returned;
                  return row.answers;
              }}}};
        EXPECT_EQ(ReadDiskType(L"\\\\.\\X"), row.type);
        EXPECT_EQ(ReadDiskType(L"\\\\.\\Y"), L"");
        EXPECT_EQ(devices.oddOpens + devices.CountOpen(), 0);
    }
}

}  // namespace
}  // namespace orrery
