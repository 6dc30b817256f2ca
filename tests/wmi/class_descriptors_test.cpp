#include "wmi/class_descriptors.h"

#include <gtest/gtest.h>

#include <string>

#include "client/report/vocabulary.h"

namespace orrery {
namespace {

TEST(ClassDescriptors, HaveNoPropertyThatReadersOfReportsDoNotKnow)
{
    const auto narrow = [](const std::wstring& text) {
        return std::string(text.begin(), text.end());
    };
    const auto table = AllDescriptors();
    for (std::size_t at = 0; at < table.count; ++at) {
        const std::string section = narrow(table.slots[at + 1]);
        for (at += 2; table.slots[at] != nullptr; ++at)
            EXPECT_NE(report::FindTerm(section, narrow(table.slots[at])), nullptr)
                << section << ' ' << narrow(table.slots[at]);
    }
}

}  // namespace
}  // namespace orrery
