#include "wmi/class_descriptors.h"

#include <gtest/gtest.h>

#include <string>

#include "client/report/vocabulary.h"
#include "client/system/console.h"

namespace orrery {
namespace {

TEST(ClassDescriptors, HaveNoPropertyThatReadersOfReportsDoNotKnow)
{
    const auto table = AllDescriptors();
    for (std::size_t at = 0; at < table.count; ++at) {
        const std::string section = ToUtf8(table.slots[at + 1]);
        for (at += 2; table.slots[at] != nullptr; ++at)
            EXPECT_NE(report::FindTerm(section, ToUtf8(table.slots[at])), nullptr)
                << section << ' ' << ToUtf8(table.slots[at]);
    }
}

}  // namespace
}  // namespace orrery
