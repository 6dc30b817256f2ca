#include "native/seek_penalty.h"

#include <gtest/gtest.h>

#include <cstring>

#include "sim/devices.h"

namespace orrery {
namespace {

TEST(SeekPenalty, ReadsASetFlagAsSolidState)
{
    const struct {
        std::uint8_t flag;
        DWORD returned;
        bool answers;
        const wchar_t* type;
    } rows[] = {
        {1, 12, true, L"SSD"}, {0xFF, 12, true, L"SSD"}, {0, 12, true, L"HDD"},
        {1, 8, true, L""},     {1, 13, true, L""},       {1, 12, false, L""},
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
        EXPECT_EQ(ProbeDiskType(L"\\\\.\\X"), row.type);
        EXPECT_EQ(ProbeDiskType(L"\\\\.\\Y"), L"");
        EXPECT_EQ(devices.oddOpens + devices.CountOpen(), 0);
    }
}

}  // namespace
}  // namespace orrery
